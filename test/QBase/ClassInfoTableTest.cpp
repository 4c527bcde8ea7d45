#include "QBase/ClassInfoTable.h"

#include "QBase/DynamicProperty.h"
#include "QBase/File.h"
#include "QBase/Function.h"
#include "QBase/Global.h"
#include "QBase/Property.h"
#include "QBase/Reflection.h"

#include "Support/CapturedMessages.h"
#include "Support/Paths.h"
#include "Support/Specimen.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <string>
#include <thread>
#include <vector>

using namespace QBase;
using testing::EndsWith;

namespace
{

Ptr<ClassInfoTable> MakeTable()
{
    return ClassInfoTable::Construct(Value(7));
}

// Two classes whose tables the tests change.
class Ancestor : public Object
{
    QBASE_OBJECT(Ancestor, Object)

public:
    enum Age : int
    {
        YOUNG,
        OLD
    };
    static constexpr int LIMIT = 3;
    int GetYears() const { return 40; }
    void Tell() {}

protected:
    using Object::Object;
};

class Descendant : public Ancestor
{
    QBASE_OBJECT(Descendant, Ancestor)

protected:
    using Ancestor::Ancestor;
};

QBASE_IMPLEMENT(Test, Ancestor)
QBASE_IMPLEMENT(Test, Descendant)

void Ancestor::Implement()
{
    Describe("Somebody who was there before");
    AddFunction<&Ancestor::Tell>("Tell", {.mpDescription = "Tells a story"});
    AddProperty<&Ancestor::GetYears>("Years", {.mpDescription = "How old"});
    AddConstant<LIMIT>("LIMIT", {.mpDescription = "How many"});
    AddEnum<Age>("Age", {{"Young", YOUNG}, {"Old", OLD}}, "What people say");
    AddFunction<&Ancestor::GetYears>("CountYears");
    SetActsOutside();
}
void Descendant::Implement()
{}

const Table::Entries& LibraryClasses()
{
    return static_cast<Table*>(GetModuleTable()->Find("QBase"))->GetEntries();
}

} // namespace

TEST(ClassInfoTableTest, ClassTableAnswersTheSameTableAndTheRegistryHoldsIt)
{
    ClassInfoTable* const pTable = Specimen::ClassTable();
    EXPECT_EQ(Specimen::ClassTable(), pTable);
    Table* const pModule = static_cast<Table*>(GetModuleTable()->Find("Test"));
    ASSERT_NE(pModule, nullptr);
    EXPECT_EQ(pModule->Find("Specimen"), pTable);
    EXPECT_EQ(pTable->GetTableSize(), 61);
    EXPECT_EQ(pModule->GetTableSize(), 61);
    EXPECT_EQ(GetModuleTable()->GetTableSize(), 97);
}

TEST(ClassInfoTableTest, AClassAndItsEntriesCarryOneLineEach)
{
    const ClassInfoTable* const pTable = Ancestor::ClassTable();
    EXPECT_EQ(pTable->GetDescription(), String("Somebody who was there before"));
    EXPECT_EQ(pTable->GetEntryDescription("Tell"), String("Tells a story"));
    EXPECT_EQ(pTable->GetEntryDescription("Years"), String("How old"));
    EXPECT_EQ(pTable->GetEntryDescription("LIMIT"), String("How many"));
    EXPECT_EQ(pTable->GetEntryDescription("enum Age"), String("What people say"));
    EXPECT_EQ(pTable->GetEntryDescription("CountYears"), String::Null);
    EXPECT_EQ(pTable->GetEntryDescription("nobody"), String::Null);
    EXPECT_EQ(Descendant::ClassTable()->GetDescription(), String::Null);
    EXPECT_EQ(Descendant::ClassTable()->GetEntryDescription("Tell"), String::Null);
}

TEST(ClassInfoTableTest, EveryClassOfTheLibrarySaysWhatItIsFor)
{
    int numClasses = 0;
    for (const auto& entry : static_cast<Table*>(GetModuleTable()->Find("QBase"))->GetEntries()) {
        const ClassInfoTable* const pClass =
            static_cast<ClassInfoTable*>(static_cast<Object*>(entry.GetValue()));
        EXPECT_GT(pClass->GetDescription().size(), 0u) << entry.GetKey().c_str();
        ++numClasses;
    }
    EXPECT_GE(numClasses, 29);
}

TEST(ClassInfoTableTest, AClassTellsWhetherItsObjectsCanBeConstructed)
{
    for (const ClassInfoTable* const pTable : {File::ClassTable(), Property::ClassTable()}) {
        EXPECT_TRUE(pTable->IsAbstract());
    }
    for (const ClassInfoTable* const pTable : {Object::ClassTable(), Table::ClassTable(),
                                               ClassInfoTable::ClassTable(), Descendant::ClassTable()}) {
        EXPECT_FALSE(pTable->IsAbstract());
    }
}

TEST(ClassInfoTableTest, ALaterDescriptionReplacesTheFirst)
{
    const Ptr<ClassInfoTable> pTable = MakeTable();
    pTable->SetDescription("Speed", "How slow");
    pTable->SetDescription("Speed", "How fast");
    EXPECT_EQ(pTable->GetEntryDescription("Speed"), String("How fast"));
}

TEST(ClassInfoTableTest, AClassActsOutsideWhenItOrABaseSaysSo)
{
    EXPECT_TRUE(Ancestor::ClassTable()->ActsOutside());
    EXPECT_TRUE(Descendant::ClassTable()->ActsOutside());
    EXPECT_FALSE(Specimen::ClassTable()->ActsOutside());
    EXPECT_FALSE(Object::ClassTable()->ActsOutside());
}

TEST(ClassInfoTableTest, AClassTableIsHeldByTheRegistryAndForGood)
{
    EXPECT_GE(Specimen::ClassTable()->GetReferenceCount(), 2);
}

TEST(ClassInfoTableTest, ClassesAreLinkedToTheirBases)
{
    EXPECT_EQ(Object::ClassTable()->GetBaseClass(), nullptr);
    EXPECT_EQ(Specimen::ClassTable()->GetBaseClass(), Object::ClassTable());
    EXPECT_EQ(ClassInfoTable::ClassTable()->GetBaseClass(), Table::ClassTable());
    EXPECT_EQ(ValuePropertyCommon::ClassTable()->GetBaseClass(), Property::ClassTable());
}

TEST(ClassInfoTableTest, TheRegistryHoldsEveryClassOfTheLibrary)
{
    std::set<std::string> expected;
    std::ifstream file(SourcePath("source/QBase/Classes.cpp"));
    for (std::string line; std::getline(file, line);) {
        const std::size_t start = line.find("Registration<");
        if (line.find("> m") != std::string::npos && start != std::string::npos) {
            expected.insert(line.substr(start + 13, line.find(',') - start - 13));
        }
    }
    ASSERT_GE(expected.size(), 28u);

    std::set<std::string> registered;
    for (const auto& entry : LibraryClasses()) {
        registered.insert(entry.GetKey().c_str());
    }

    EXPECT_THAT(registered, testing::ContainerEq(expected));
}

TEST(ClassInfoTableTest, TheRegistryWalksInTheOrderOfRegistration)
{
    // A table puts each new name in front of the others of its bucket.
    std::vector<std::string> buckets[61];
    std::ifstream file(SourcePath("source/QBase/Classes.cpp"));
    for (std::string line; std::getline(file, line);) {
        const std::size_t start = line.find("Registration<");
        if (line.find("> m") != std::string::npos && start != std::string::npos) {
            const std::string name = line.substr(start + 13, line.find(',') - start - 13);
            std::vector<std::string>& rBucket = buckets[String(name.c_str()).hash() % 61];
            rBucket.insert(rBucket.begin(), name);
        }
    }
    std::vector<std::string> expected;
    for (const std::vector<std::string>& bucket : buckets) {
        expected.insert(expected.end(), bucket.begin(), bucket.end());
    }

    std::vector<std::string> names;
    for (const auto& entry : LibraryClasses()) {
        names.push_back(entry.GetKey().c_str());
    }

    EXPECT_EQ(names, expected);
}

TEST(ClassInfoTableTest, AnObjectOfAnyClassAndItsCloneGoInEitherOrder)
{
    int numConcrete = 0;
    for (const auto& entry : LibraryClasses()) {
        for (const bool bSourceFirst : {true, false}) {
            CapturedMessages messages;
            Ptr<Object> pSource = Construct("QBase", entry.GetKey(), Value::Null);
            if (!pSource) {
                EXPECT_THAT(messages.TakeError(), EndsWith("Failed to Construct interface class"));
                continue;
            }
            ++numConcrete;
            Object* const pClone = pSource->Clone(); // counts the references of its source
            ASSERT_NE(pClone, nullptr) << entry.GetKey().c_str();
            EXPECT_EQ(pClone->GetClassTable(), pSource->GetClassTable());
            if (bSourceFirst) {
                pSource = nullptr;
            }
            pClone->Release();
        }
    }
    EXPECT_GE(numConcrete, 2 * 16);
}

TEST(ClassInfoTableTest, ConstructIsAStaticFunctionOfOneValueThatAnswersTheObject)
{
    Object* const pEntry = Specimen::ClassTable()->Find("Construct");
    ASSERT_TRUE(pEntry != nullptr && pEntry->IsDerivedType(Function::ClassTable()));
    Function* const pConstruct = static_cast<Function*>(pEntry);
    EXPECT_EQ(pConstruct->GetType(), Function::Static);
    EXPECT_EQ(pConstruct->GetRetType(), Value::TYPE_OBJECT);
    EXPECT_EQ(pConstruct->GetNumArgs(), 1);
    EXPECT_EQ(pConstruct->GetArgType(0), Value::TYPE_VALUE);
    const Value made =
        pConstruct->Invoke(nullptr, Value::Null, Value::Null, Value::Null, Value::Null, Value::Null);
    ASSERT_EQ(made.GetType(), Value::TYPE_OBJECT);
    EXPECT_TRUE(made.AsObject()->IsExactType(Specimen::ClassTable()));
    EXPECT_EQ(made.AsObject()->GetReferenceCount(), 1);
}

TEST(ClassInfoTableTest, ItsOwnClassTableHoldsFindDerivedAndBaseClass)
{
    const Ptr<ClassInfoTable> pTable = MakeTable();
    Function* const pFindDerived = pTable->FindFunction("FindDerived");
    ASSERT_NE(pFindDerived, nullptr);
    EXPECT_EQ(pFindDerived->GetType(), Function::Member);
    EXPECT_EQ(pFindDerived->GetRetType(), Value::TYPE_OBJECT);
    EXPECT_EQ(pFindDerived->GetNumArgs(), 1);
    EXPECT_EQ(pFindDerived->GetArgType(0), Value::TYPE_STRING);
    Property* const pBaseClass = pTable->FindProperty("BaseClass");
    ASSERT_NE(pBaseClass, nullptr);
    EXPECT_EQ(pBaseClass->GetType(), Value::TYPE_OBJECT);
    EXPECT_FALSE(pBaseClass->IsArray());
    const Ptr<ClassInfoTable> pBase = MakeTable();
    pBaseClass->Set(pTable, pBase);
    EXPECT_EQ(pTable->GetBaseClass(), static_cast<ClassInfoTable*>(pBase));
    EXPECT_EQ(pBaseClass->Get(pTable).AsObject(), static_cast<Object*>(pBase));
}

TEST(ClassInfoTableTest, TheValueGivesTheNumberOfBucketsAndTheBaseStartsNull)
{
    const Ptr<ClassInfoTable> pTable = MakeTable();
    EXPECT_EQ(pTable->GetTableSize(), 7);
    EXPECT_EQ(pTable->GetBaseClass(), nullptr);
    EXPECT_EQ(Ptr<ClassInfoTable>(ClassInfoTable::Construct(Value::Null))->GetTableSize(), 97);
}

TEST(ClassInfoTableTest, FindDerivedAnswersTheFirstEntryAlongTheChain)
{
    const Ptr<ClassInfoTable> pBase = MakeTable();
    const Ptr<ClassInfoTable> pDerived = MakeTable();
    pDerived->SetBaseClass(pBase);
    const Ptr<Object> pInBase = Object::Construct(Value::Null);
    const Ptr<Object> pInBoth = Object::Construct(Value::Null);
    pBase->Insert("both", pInBase);
    pBase->Insert("base", pInBase);
    pDerived->Insert("both", pInBoth);
    pDerived->Insert("base", nullptr);
    EXPECT_EQ(pDerived->FindDerived("both"), static_cast<Object*>(pInBoth));
    EXPECT_EQ(pDerived->FindDerived("base"), static_cast<Object*>(pInBase));
    EXPECT_EQ(pDerived->FindDerived("none"), nullptr);
    EXPECT_EQ(pDerived->Call("FindDerived", "base").AsObject(), static_cast<Object*>(pInBase));
}

TEST(ClassInfoTableTest, SetBaseClassHoldsTheNewBaseAndReleasesTheOld)
{
    const Ptr<ClassInfoTable> pTable = MakeTable();
    const Ptr<ClassInfoTable> pFirst = MakeTable();
    const Ptr<ClassInfoTable> pSecond = MakeTable();
    pTable->SetBaseClass(pFirst);
    pTable->SetBaseClass(pFirst);
    EXPECT_EQ(pFirst->GetReferenceCount(), 2);
    pTable->SetBaseClass(pSecond);
    EXPECT_EQ(pFirst->GetReferenceCount(), 1);
    EXPECT_EQ(pSecond->GetReferenceCount(), 2);
    pTable->SetBaseClass(nullptr);
    EXPECT_EQ(pSecond->GetReferenceCount(), 1);
}

TEST(ClassInfoTableTest, ABaseThatLeadsBackIsReportedAndRefused)
{
    CapturedMessages messages;
    const Ptr<ClassInfoTable> pFirst = MakeTable();
    const Ptr<ClassInfoTable> pSecond = MakeTable();
    pFirst->SetBaseClass(pFirst);
    EXPECT_THAT(messages.TakeError(), EndsWith("the base is derived from this class itself"));
    EXPECT_EQ(pFirst->GetBaseClass(), nullptr);
    pFirst->SetBaseClass(pSecond);
    pSecond->FindProperty("BaseClass")->Set(pSecond, pFirst);
    EXPECT_THAT(messages.TakeError(), EndsWith("the base is derived from this class itself"));
    EXPECT_EQ(pSecond->GetBaseClass(), nullptr);
    EXPECT_EQ(pFirst->FindDerived("none"), nullptr);
    EXPECT_FALSE(pFirst->IsDerivedFrom(MakeTable()));
}

TEST(ClassInfoTableTest, AccessAndReleaseAnswerTheTable)
{
    ClassInfoTable* const pTable = ClassInfoTable::Construct(Value::Null);
    EXPECT_EQ(pTable->Access(), pTable);
    EXPECT_EQ(pTable->Access(), pTable);
    EXPECT_EQ(pTable->Release(), pTable);
    EXPECT_EQ(pTable->Release(), nullptr);
}

TEST(ClassInfoTableTest, ACloneHoldsTheBaseAndTheEntriesItself)
{
    const Ptr<ClassInfoTable> pBase = MakeTable();
    const Ptr<Object> pEntry = Object::Construct(Value::Null);
    for (const bool bSourceFirst : {true, false}) {
        ClassInfoTable* const pSource = ClassInfoTable::Construct(Value::Null);
        pSource->Access();
        pSource->SetBaseClass(pBase);
        pSource->Insert("a", pEntry);
        ClassInfoTable* const pClone = pSource->Clone(); // with the source's count of 1
        EXPECT_EQ(pClone->GetReferenceCount(), 1);
        EXPECT_EQ(pBase->GetReferenceCount(), 3);
        EXPECT_EQ(pEntry->GetReferenceCount(), 3);
        ClassInfoTable* const pLast = bSourceFirst ? pClone : pSource;
        (bSourceFirst ? pSource : pClone)->Release();
        EXPECT_EQ(pLast->GetBaseClass(), static_cast<ClassInfoTable*>(pBase));
        EXPECT_EQ(pLast->Find("a"), static_cast<Object*>(pEntry));
        pLast->Release();
        EXPECT_EQ(pBase->GetReferenceCount(), 1);
        EXPECT_EQ(pEntry->GetReferenceCount(), 1);
    }
}

TEST(ClassInfoTableTest, AnEntryThatDiesWithTheTableFindsItEmptyAndMayChangeIt)
{
    int found = -1;
    ClassInfoTable* const pTable = ClassInfoTable::Construct(Value::Null);
    Specimen* const pEntry = Specimen::Make();
    pEntry->mOnDestroy = [&](Specimen*) {
        found = pTable->Find("a") != nullptr;
        pTable->Remove("b");
        pTable->Insert("c", nullptr);
    };
    pTable->Insert("a", pEntry);
    pTable->Release();
    EXPECT_EQ(found, 0);
}

TEST(ClassInfoTableTest, EveryChangeOfAClassOrItsBasesShowsInTheNextLookUp)
{
    const Ptr<Object> pObject = Descendant::Construct(Value::Null);
    ClassInfoTable* const pBase = Ancestor::ClassTable();
    ClassInfoTable* const pOwn = Descendant::ClassTable();
    const auto find = [&] { return static_cast<Object*>(pObject->FindProperty("x")); };
    const Ptr<Object> pFirst = CreateDynamicValue(Value::TYPE_INT);
    const Ptr<Object> pSecond = CreateDynamicValue(Value::TYPE_INT);
    EXPECT_EQ(find(), nullptr);
    pBase->Insert("x", pFirst);
    EXPECT_EQ(find(), static_cast<Object*>(pFirst));
    pOwn->Insert("x", pSecond);
    EXPECT_EQ(find(), static_cast<Object*>(pSecond));
    pOwn->Insert("x", nullptr); // as if it were absent
    EXPECT_EQ(find(), static_cast<Object*>(pFirst));
    pOwn->Insert("x", Object::Construct(Value::Null)); // hides the property
    EXPECT_EQ(find(), nullptr);
    EXPECT_EQ(pOwn->FindDerived("x"), pOwn->Find("x"));
    pOwn->Remove("x");
    EXPECT_EQ(find(), static_cast<Object*>(pFirst));
    pOwn->SetBaseClass(Object::ClassTable());
    EXPECT_EQ(find(), nullptr);
    pOwn->SetBaseClass(pBase);
    EXPECT_EQ(find(), static_cast<Object*>(pFirst));
    pBase->Remove("x");
    EXPECT_EQ(find(), nullptr);
    Object::ClassTable()->Insert("x", pSecond);
    EXPECT_EQ(find(), static_cast<Object*>(pSecond));
    Object::ClassTable()->Remove("x");
    EXPECT_EQ(find(), nullptr);
    EXPECT_NE(pObject->FindFunction("GetClassName"), nullptr);
}

TEST(ClassInfoTableTest, ABaseThatIsNoClassShowsItsChangesToo)
{
    const Ptr<Object> pObject = Descendant::Construct(Value::Null);
    const Ptr<ClassInfoTable> pBetween = MakeTable();
    pBetween->SetBaseClass(Ancestor::ClassTable());
    Descendant::ClassTable()->SetBaseClass(pBetween);
    EXPECT_EQ(pObject->FindProperty("x"), nullptr);
    const Ptr<Object> pProperty = CreateDynamicValue(Value::TYPE_INT);
    pBetween->Insert("x", pProperty);
    EXPECT_EQ(pObject->FindProperty("x"), static_cast<Object*>(pProperty));
    pBetween->SetBaseClass(nullptr);
    EXPECT_EQ(pObject->FindFunction("GetClassName"), nullptr);
    Descendant::ClassTable()->SetBaseClass(Ancestor::ClassTable());
    EXPECT_EQ(pObject->FindProperty("x"), nullptr);
    EXPECT_NE(pObject->FindFunction("GetClassName"), nullptr);
}

TEST(ClassInfoTableTest, WhatDiesWithAnEntryFindsTheClassWithoutIt)
{
    const Ptr<Object> pObject = Descendant::Construct(Value::Null);
    Specimen* const pHeld = Specimen::Make();
    int found = -1;
    pHeld->mOnDestroy = [&](Specimen*) { found = pObject->FindProperty("x") != nullptr; };
    Property* const pProperty = CreateDynamicValue(Value::TYPE_OBJECT);
    pProperty->Set(nullptr, pHeld);
    Ancestor::ClassTable()->Insert("x", pProperty);
    EXPECT_EQ(pObject->FindProperty("x"), pProperty);
    Ancestor::ClassTable()->Remove("x");
    EXPECT_EQ(found, 0);
    EXPECT_EQ(pObject->FindProperty("x"), nullptr);
}

TEST(ClassInfoTableTest, AClassWithThousandsOfNamesFindsThemAll)
{
    constexpr int COUNT = 20000;
    const Ptr<Object> pObject = Descendant::Construct(Value::Null);
    const Ptr<Property> pProperty = CreateDynamicValue(Value::TYPE_INT);
    std::vector<String> names;
    for (int i = 0; i < COUNT; ++i) {
        names.push_back(String::Format("name %d", i));
        (i % 2 ? Ancestor::ClassTable() : Descendant::ClassTable())->Insert(names.back(), pProperty);
    }
    int found = 0;
    for (int round = 0; round < 50; ++round) {
        for (const String& name : names) {
            found += pObject->FindProperty(name) == static_cast<Property*>(pProperty);
        }
    }
    EXPECT_EQ(found, 50 * COUNT);
    for (const String& name : names) {
        Ancestor::ClassTable()->Remove(name);
        Descendant::ClassTable()->Remove(name);
    }
    EXPECT_EQ(pProperty->GetReferenceCount(), 1);
}

TEST(ClassInfoTableThreadsTest, ThreadsThatLookUpAChangedClassFirstAgree)
{
    const Ptr<Object> pObject = Descendant::Construct(Value::Null);
    const String name = "x";
    int wrong = 0;
    for (int round = 0; round < 500; ++round) {
        const Ptr<Property> pProperty = CreateDynamicValue(Value::TYPE_INT);
        Ancestor::ClassTable()->Insert(name, pProperty);
        const auto check = [&](int& rWrong) {
            for (int i = 0; i < 3; ++i) {
                rWrong += pObject->FindProperty(name) != static_cast<Property*>(pProperty);
            }
        };
        int otherWrong = 0;
        std::thread other([&] { check(otherWrong); });
        check(wrong);
        other.join();
        wrong += otherWrong;
    }
    Ancestor::ClassTable()->Remove(name);
    EXPECT_EQ(wrong, 0);
}
