#include "QBase/ClassInfoTable.h"

#include "QBase/DynamicProperty.h"
#include "QBase/Function.h"
#include "QBase/Global.h"
#include "QBase/Property.h"

#include "Support/CapturedMessages.h"
#include "Support/Paths.h"
#include "Support/Specimen.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <string>

using namespace QBase;
using testing::EndsWith;

namespace
{

Ptr<ClassInfoTable> MakeTable()
{
    return ClassInfoTable::Construct(Value(7));
}

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
