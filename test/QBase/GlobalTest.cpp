#include "QBase/Global.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/Enum.h"
#include "QBase/Function.h"
#include "QBase/List.h"
#include "QBase/Property.h"
#include "QBase/TablePath.h"
#include "QBase/Version.h"

#include "Support/CapturedMessages.h"
#include "Support/ChildProcess.h"
#include "Support/Paths.h"
#include "Support/Patterns.h"
#include "Support/Specimen.h"
#include "Support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using namespace QBase;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;

namespace
{

std::vector<std::string> NamesOf(const Object* pTable)
{
    std::vector<std::string> names;
    for (const auto& node : static_cast<const Table*>(pTable)->GetEntries()) {
        names.push_back(node.GetKey().c_str());
    }
    return names;
}

// Puts an entry into a table, and the old one back if there was one.
class Replaced
{
public:
    Replaced(Table* pTable, const char* pName, const Ptr<Object>& pEntry)
        : mpTable(pTable), mName(pName), mpOld(pTable->Find(pName))
    {
        mpTable->Insert(mName, pEntry);
    }
    ~Replaced()
    {
        if (mpOld != nullptr) {
            mpTable->Insert(mName, mpOld);
        } else {
            mpTable->Remove(mName);
        }
    }
    Replaced(const Replaced&) = delete;
    Replaced& operator=(const Replaced&) = delete;

private:
    Table* mpTable;
    String mName;
    Ptr<Object> mpOld;
};

} // namespace

TEST(GlobalTest, TheGlobalsHaveTheirValues)
{
    EXPECT_EQ(g_VersionMajor, 2);
    EXPECT_EQ(g_VersionMinor, 1);
    EXPECT_EQ(g_ModuleTableSize, 61);
    EXPECT_EQ(g_ClassTableSize, 61);
    EXPECT_EQ(g_InstanceTableSize, 31);
    EXPECT_EQ(g_DefaultTableSize, 97);
}

TEST(GlobalTest, TheVersionOfTheHeadersIsThatOfTheLibrary)
{
    EXPECT_EQ(QBASE_VERSION_MAJOR, g_VersionMajor);
    EXPECT_EQ(QBASE_VERSION_MINOR, g_VersionMinor);
    EXPECT_EQ(QBASE_VERSION, g_VersionMajor * 10000 + g_VersionMinor * 100 + QBASE_VERSION_PATCH);
    const std::string start = std::to_string(g_VersionMajor) + "." + std::to_string(g_VersionMinor) + ".";
    EXPECT_EQ(QBASE_VERSION_TEXT, start + std::to_string(QBASE_VERSION_PATCH));
}

TEST(GlobalTest, InitReportsTheVersionEachTimeAndKeepsTheRegistry)
{
    CapturedMessages messages;
    Table* const pRegistry = GetModuleTable();
    Init();
    EXPECT_EQ(messages.TakeInfo(), "Quirl v.2.1");
    EXPECT_EQ(GetModuleTable(), pRegistry);
    EXPECT_NE(Construct("QBase", "List"), nullptr);
}

TEST(GlobalTest, TheRegistryHoldsEveryClassOfTheModel)
{
    Object* const pModule = GetModuleTable()->Find("QBase");
    ASSERT_NE(pModule, nullptr);
    EXPECT_THAT(NamesOf(pModule), testing::IsSupersetOf({"Object", "Table", "ClassInfoTable", "Property",
                                                         "ValuePropertyCommon", "ArrayPropertyCommon",
                                                         "Function", "EnumInfoObject", "TablePath", "List"}));
}

TEST(GlobalTest, EveryEntryOfTheRegistryIsAClassTableWithAConstructFunction)
{
    for (const auto& module : GetModuleTable()->GetEntries()) {
        ASSERT_TRUE(module.GetValue()->IsExactType(Table::ClassTable())) << module.GetKey().c_str();
        for (const auto& entry : static_cast<Table*>(static_cast<Object*>(module.GetValue()))->GetEntries()) {
            ASSERT_TRUE(entry.GetValue()->IsExactType(ClassInfoTable::ClassTable()));
            auto* const pClass = static_cast<ClassInfoTable*>(static_cast<Object*>(entry.GetValue()));
            ASSERT_NE(pClass->Find("Construct"), nullptr) << entry.GetKey().c_str();
            EXPECT_TRUE(pClass->Find("Construct")->IsDerivedType(Function::ClassTable()));
            EXPECT_TRUE(pClass->IsDerivedFrom(Object::ClassTable())) << entry.GetKey().c_str();
        }
    }
}

TEST(GlobalTest, ConstructAnswersANewObjectThatOnlyTheCallerHolds)
{
    const Ptr<Object> pList = Construct("QBase", "List", Value::Null);
    ASSERT_NE(pList, nullptr);
    EXPECT_TRUE(pList->IsExactType(List::ClassTable()));
    EXPECT_EQ(pList->GetReferenceCount(), 1);
    EXPECT_EQ(static_cast<List*>(static_cast<Object*>(pList))->GetSize(), 0);
    const Ptr<Object> pTable = Construct("QBase", "Table", 7);
    EXPECT_EQ(pTable->Call("GetTableSize").Get<int>(), 7);
}

TEST(GlobalTest, ConstructOfAnUnknownModuleOrClassIsReported)
{
    CapturedMessages messages;
    EXPECT_EQ(Construct("QBase", "NoSuchClass"), nullptr);
    EXPECT_THAT(messages.TakeError(),
                MatchesPattern("ERROR: Global \\(line [0-9]+\\): Failed to construct 'QBase\\.NoSuchClass'"));
    EXPECT_EQ(Construct("NoSuchModule", "List"), nullptr);
    EXPECT_THAT(messages.TakeError(), EndsWith(": Failed to construct 'NoSuchModule.List'"));
    EXPECT_EQ(Construct("QBase", "list"), nullptr);
    EXPECT_THAT(messages.TakeError(), EndsWith(": Failed to construct 'QBase.list'"));
    EXPECT_EQ(Construct(String::Null, ""), nullptr);
    EXPECT_THAT(messages.TakeError(), EndsWith(": Failed to construct '.'"));
}

TEST(GlobalTest, ConstructOfAnAbstractClassHasItsOwnReportOnly)
{
    CapturedMessages messages;
    EXPECT_EQ(Construct("QBase", "Property"), nullptr);
    EXPECT_THAT(messages.TakeError(), EndsWith(": Failed to Construct interface class"));
}

TEST(GlobalTest, ARegistryEntryOfTheWrongKindFailsLikeAMissingOne)
{
    CapturedMessages messages;
    Table* const pModule = static_cast<Table*>(GetModuleTable()->Find("Test"));
    const Ptr<Object> pStray = List::Construct(Value::Null);
    {
        const Replaced module(GetModuleTable(), "Test", pStray);
        EXPECT_EQ(Construct("Test", "Specimen"), nullptr);
        EXPECT_THAT(messages.TakeError(), EndsWith(": Failed to construct 'Test.Specimen'"));
    }
    {
        const Replaced entry(pModule, "Specimen", pStray);
        EXPECT_EQ(Construct("Test", "Specimen"), nullptr);
        EXPECT_THAT(messages.TakeError(), EndsWith(": Failed to construct 'Test.Specimen'"));
    }
    {
        const Replaced construct(Specimen::ClassTable(), "Construct", pStray);
        EXPECT_EQ(Construct("Test", "Specimen"), nullptr);
        EXPECT_THAT(messages.TakeError(), EndsWith(": Failed to construct 'Test.Specimen'"));
    }
    EXPECT_NE(Construct("Test", "Specimen"), nullptr);
}

TEST(GlobalTest, WhatConstructFoundBeforeIsForgottenWithEveryChangeOfTheRegistry)
{
    CapturedMessages messages;
    Table* const pModule = static_cast<Table*>(GetModuleTable()->Find("Test"));
    const auto nameOfConstructed = [](const char* pModuleName, const char* pClassName) {
        const Ptr<Object> pObject = Construct(pModuleName, pClassName);
        return std::string(pObject != nullptr ? pObject->GetClassName().c_str() : "none");
    };
    EXPECT_EQ(nameOfConstructed("Test", "Specimen"), "Specimen");
    {
        const Replaced construct(Specimen::ClassTable(), "Construct", List::ClassTable()->Find("Construct"));
        EXPECT_EQ(nameOfConstructed("Test", "Specimen"), "List");
        EXPECT_EQ(nameOfConstructed("Test", "Specimen"), "List");
    }
    EXPECT_EQ(nameOfConstructed("Test", "Specimen"), "Specimen");
    {
        const Replaced entry(pModule, "Specimen", List::ClassTable());
        EXPECT_EQ(nameOfConstructed("Test", "Specimen"), "List");
    }
    EXPECT_EQ(nameOfConstructed("Test", "Specimen"), "Specimen");
    {
        const Replaced module(GetModuleTable(), "Test", GetModuleTable()->Find("QBase"));
        EXPECT_EQ(nameOfConstructed("Test", "List"), "List");
        EXPECT_EQ(nameOfConstructed("Test", "Specimen"), "none");
        EXPECT_THAT(messages.TakeError(), EndsWith(": Failed to construct 'Test.Specimen'"));
    }
    EXPECT_EQ(nameOfConstructed("Test", "Specimen"), "Specimen");
    EXPECT_EQ(nameOfConstructed("Test", "List"), "none");
    EXPECT_THAT(messages.TakeError(), EndsWith(": Failed to construct 'Test.List'"));
}

// A host may put tables of its own in there, which tell nobody when they change.
TEST(GlobalTest, ConstructFollowsTheChangesOfTablesThatAHostRegistered)
{
    CapturedMessages messages;
    const Ptr<Table> pModule = Table::Construct(Value::Null);
    const Ptr<Table> pClass = Table::Construct(Value::Null);
    const Replaced registered(GetModuleTable(), "Own", pModule);
    pModule->Insert("Thing", List::ClassTable());
    EXPECT_TRUE(Construct("Own", "Thing")->IsExactType(List::ClassTable()));
    pModule->Insert("Thing", Specimen::ClassTable());
    EXPECT_TRUE(Construct("Own", "Thing")->IsExactType(Specimen::ClassTable()));
    pModule->Insert("Thing", pClass);
    pClass->Insert("Construct", List::ClassTable()->Find("Construct"));
    EXPECT_TRUE(Construct("Own", "Thing")->IsExactType(List::ClassTable()));
    pClass->Insert("Construct", Specimen::ClassTable()->Find("Construct"));
    EXPECT_TRUE(Construct("Own", "Thing")->IsExactType(Specimen::ClassTable()));
    const Replaced thing(static_cast<Table*>(GetModuleTable()->Find("Test")), "Thing", pClass);
    EXPECT_TRUE(Construct("Test", "Thing")->IsExactType(Specimen::ClassTable()));
    pClass->Remove("Construct");
    EXPECT_EQ(Construct("Test", "Thing"), nullptr);
    EXPECT_THAT(messages.TakeError(), EndsWith(": Failed to construct 'Test.Thing'"));
    EXPECT_EQ(Construct("Own", "Thing"), nullptr);
    EXPECT_THAT(messages.TakeError(), EndsWith(": Failed to construct 'Own.Thing'"));
}

TEST(GlobalThreadsTest, ThreadsThatConstructByNameAtOnceGetWhatTheyAskedFor)
{
    std::vector<std::pair<String, ClassInfoTable*>> classes;
    for (const char* const pName : {"Object", "Table", "List", "TablePath", "IOStream", "MemoryFile", "Timer",
                                    "DeferredList", "EnumInfoObject", "ObjectDiff"}) {
        classes.emplace_back(pName, static_cast<ClassInfoTable*>(
                                        static_cast<Table*>(GetModuleTable()->Find("QBase"))->Find(pName)));
        ASSERT_NE(classes.back().second, nullptr) << pName;
    }
    // Names of one class that share places with those of others.
    Table* const pModule = static_cast<Table*>(GetModuleTable()->Find("QBase"));
    std::vector<std::unique_ptr<Replaced>> aliases;
    for (int i = 0; i < 100; ++i) {
        const String alias = String::Format("Alias%d", i);
        ClassInfoTable* const pClass = classes[static_cast<std::size_t>(i) % classes.size()].second;
        aliases.push_back(std::make_unique<Replaced>(pModule, alias, pClass));
        classes.emplace_back(alias, pClass);
    }
    std::vector<std::thread> threads;
    std::atomic<int> numWrong = 0;
    for (std::size_t thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread] {
            for (std::size_t i = 0; i < 2000; ++i) {
                const auto& [rName, pClass] = classes[(i * (thread + 1) + thread) % classes.size()];
                const Ptr<Object> pObject = Construct("QBase", rName);
                numWrong += pObject != nullptr && pObject->IsExactType(pClass) ? 0 : 1;
            }
        });
    }
    for (std::thread& rThread : threads) {
        rThread.join();
    }
    EXPECT_EQ(numWrong, 0);
}

TEST(GlobalTest, ConstructIsLookedUpInTheClassItselfOnly)
{
    CapturedMessages messages;
    const Replaced construct(Specimen::ClassTable(), "Construct", nullptr);
    EXPECT_EQ(Construct("Test", "Specimen"), nullptr);
    EXPECT_THAT(messages.TakeError(), EndsWith(": Failed to construct 'Test.Specimen'"));
}

TEST(GlobalTest, LoadModuleOfTheLibraryItselfLoadsNothing)
{
    EXPECT_EQ(LoadModule("QBase"), GetModuleTable()->Find("QBase"));
    EXPECT_EQ(LoadModule("Test"), GetModuleTable()->Find("Test"));
}

TEST(GlobalTest, AMissingModuleIsReportedWithTheSystemsText)
{
    CapturedMessages messages;
    EXPECT_EQ(LoadModule("Missing"), nullptr);
    const std::string report = messages.TakeError();
    EXPECT_THAT(report,
                MatchesPattern("ERROR: Global \\(line [0-9]+\\): Failed to load module 'Missing': .+"));
    if (std::filesystem::exists(BinaryPath("Harbour_Release.so"))) {
        EXPECT_THAT(report, HasSubstr("Missing_Release")); // this system's own text names the file
    }
    EXPECT_EQ(LoadModule(String::Null), nullptr);
    EXPECT_THAT(messages.TakeError(), HasSubstr(": Failed to load module '': "));
}

TEST(GlobalTest, AModuleThatLacksASymbolIsReportedWithThatSymbol)
{
    if (!std::filesystem::exists(BinaryPath("Lacking_Release.so"))) {
        GTEST_SKIP() << "the linker of this system makes no such module";
    }
    CapturedMessages messages;
    EXPECT_EQ(LoadModule("Lacking"), nullptr);
    EXPECT_THAT(messages.TakeError(), AllOf(HasSubstr("Failed to load module 'Lacking': "),
                                            HasSubstr("QBaseTestSymbolThatNobodyHas")));
}

TEST(GlobalTest, ALibraryThatRegistersNothingUnderItsNameIsNullSilently)
{
    CapturedMessages messages;
    EXPECT_EQ(LoadModule("Silent"), nullptr);
    EXPECT_EQ(LoadModule("Silent"), nullptr);
}

// Loading stays for good, so it happens in a process of its own: the counts of this one come back.
TEST(GlobalDeathTest, AModuleBesideTheProgramLoadsFromAnyDirectory)
{
    EXPECT_EXIT(
        {
            std::filesystem::current_path("/");
            Table* const pModule = LoadModule("Harbour");
            bool bWorks = pModule != nullptr && LoadModule("Harbour") == pModule;
            const Ptr<Object> pFerry = Construct("Harbour", "Ferry", 12);
            bWorks = bWorks && pFerry->GetModuleName() == String("Harbour") &&
                     pFerry->GetClassName() == String("Ferry") &&
                     pFerry->FindProperty("Crew")->Get(pFerry).Get<int>() == 12 &&
                     pFerry->Call("GetDecks").Get<int>() == 2 &&
                     pFerry->IsDerivedType(static_cast<ClassInfoTable*>(pModule->Find("Vessel"))) &&
                     pFerry->IsDerivedType(Object::ClassTable());
            std::_Exit(bWorks ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(GlobalDeathTest, NewModulesAndClassesHaveTheBucketsOfTheDay)
{
    EXPECT_EXIT(
        {
            g_ModuleTableSize = 7;
            g_ClassTableSize = 9;
            Table* const pModule = LoadModule("Harbour");
            const bool bWorks = pModule != nullptr && pModule->GetTableSize() == 7 &&
                                static_cast<Table*>(pModule->Find("Ferry"))->GetTableSize() == 9;
            std::_Exit(bWorks ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(GlobalDeathTest, AnEnumerationThatOneModuleNamesHasItsNamesInEveryOther)
{
    EXPECT_EXIT(
        {
            LoadModule("Pier");
            const Ptr<Object> pCrane = Construct("Pier", "Crane");
            Property* const pCargo = pCrane->FindProperty("Cargo");
            bool bWorks = pCargo->GetType() == Value::TYPE_ENUM && pCargo->GetEnumInfo() == nullptr;
            LoadModule("Harbour");
            EnumInfoObject* const pNames = pCargo->GetEnumInfo();
            bWorks = bWorks && pNames != nullptr && pNames->GetKeyFromValue(2) == String("Fish") &&
                     Construct("Harbour", "Ferry")->FindProperty("Cargo")->GetEnumInfo() == pNames;
            std::_Exit(bWorks ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(GlobalTest, ModulesAreSearchedForInOneOrderAndTheFirstThatIsThereIsReported)
{
    namespace fs = std::filesystem;
    const fs::path binaries = BinaryPath("");
    if (!fs::exists(binaries / "Harbour_Release.so")) {
        GTEST_SKIP() << "this system finds its libraries in another way";
    }
    // The library stands in a folder of its own and the system comes to it through another.
    const TempFolder folder;
    const fs::path root = folder.Path("").c_str();
    for (const char* const pName : {"program", "library", "system", "work"}) {
        fs::create_directory(root / pName);
    }
    fs::copy_file(binaries / "ModuleLoader", root / "program/ModuleLoader");
    fs::copy_file(binaries / "libQBase.so.2", root / "library/libQBase.so.2");
    fs::create_symlink(root / "library/libQBase.so.2", root / "system/libQBase.so.2");
    const auto load = [&](const char* pName) {
        return RunProgram("cd " + (root / "work").string() + " && LD_LIBRARY_PATH=" +
                          (root / "system").string() + " ../program/ModuleLoader " + pName)
            .mOutput;
    };

    const std::string folders[] = {"program", "library", "system", "work"};
    for (const std::string& name : folders) {
        folder.Write((name + "/Astray_Release.so").c_str(), "no library");
        folder.Write((name + "/libAstray_Release.so").c_str(), "no library");
    }
    for (const std::string& name : folders) {
        for (const char* const pFile : {"Astray_Release.so", "libAstray_Release.so"}) {
            const fs::path file = root / name / pFile;
            EXPECT_THAT(load("Astray"), HasSubstr("Failed to load module 'Astray': " + file.string()));
            fs::remove(file);
        }
    }
    EXPECT_THAT(load("Astray"), HasSubstr("libAstray_Release.so: cannot open shared object file"));

    fs::copy_file(binaries / "Harbour_Release.so", root / "work/libHarbour_Release.so");
    EXPECT_THAT(load("Harbour"), EndsWith("Harbour is loaded\n"));
}

TEST(GlobalTest, TheClassTableOfEveryClassCanBeTheFirstThingAskedFor)
{
    for (const std::string& name : NamesOf(GetModuleTable()->Find("QBase"))) {
        const Outcome outcome = RunProgram(BinaryPath("ClassTable") + " " + name);
        EXPECT_EQ(outcome.mOutput, "Quirl v.2.1\n") << name;
        EXPECT_EQ(outcome.mExitCode, 0) << name;
    }
}

TEST(GlobalTest, StaticObjectsUseTheRegistryBeforeMain)
{
    EXPECT_EQ(RunProgram(BinaryPath("EarlyCalls")).mOutput, "Quirl v.2.1\nworked\n");
}
