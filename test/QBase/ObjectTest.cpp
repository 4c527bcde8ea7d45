#include "QBase/Object.h"

#include "QBase/ClassInfoTable.h"
#include "QBase/DynamicProperty.h"
#include "QBase/Enum.h"
#include "QBase/Global.h"
#include "QBase/List.h"
#include "QBase/Memory.h"
#include "QBase/Property.h"

#include "Support/CapturedMessages.h"
#include "Support/SmallStack.h"
#include "Support/Specimen.h"
#include "Support/VirtualSlot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

using namespace QBase;

namespace
{

constexpr std::size_t SMALL_STACK = 256 * 1024;
constexpr int MILLION = 1000000;

Value GetOf(Object* pObject, const char* pName)
{
    return pObject->FindProperty(pName)->Get(pObject);
}

// A clone starts with its source's count; this makes it an object that nobody holds yet.
template <typename T>
Ptr<T> Unshared(T* pClone)
{
    Ptr<T> pKept = pClone;
    while (pKept->GetReferenceCount() > 1) {
        pKept->Release();
    }
    return pKept;
}

Ptr<EnumInfoObject> MakeColors()
{
    Ptr<EnumInfoObject> pColors = EnumInfoObject::Construct(Value::Null);
    pColors->InsertEnum("Red", 0);
    pColors->InsertEnum("Green", 1);
    return pColors;
}

Specimen* MakeCounting(int& rDestroyed)
{
    Specimen* const pSpecimen = Specimen::Make();
    pSpecimen->mOnDestroy = [&rDestroyed](Specimen*) { ++rDestroyed; };
    return pSpecimen;
}

// The deepest object of the chain counts its destruction.
Ptr<Object> MakeChain(int length, int& rDestroyed, Ptr<Object> (*pWrap)(const Ptr<Object>&))
{
    Ptr<Object> pHead = MakeCounting(rDestroyed);
    for (int i = 1; i < length; ++i) {
        pHead = pWrap(pHead);
    }
    return pHead;
}

Ptr<Object> WrapInList(const Ptr<Object>& pInner)
{
    Ptr<List> pList = List::Construct(Value::Null);
    pList->Insert(pInner);
    return pList;
}

Ptr<Object> WrapInProperty(const Ptr<Object>& pInner)
{
    Ptr<Object> pOuter = Object::Construct(Value::Null);
    pOuter->AddPropertyValueFromValue("Next", pInner);
    return pOuter;
}

} // namespace

TEST(ObjectTest, ANewObjectHasCountZeroAndNoInstanceTable)
{
    Object* const pObject = Object::Construct(Value::Null);
    EXPECT_EQ(pObject->GetReferenceCount(), 0);
    EXPECT_EQ(pObject->GetInstanceTable(), nullptr);
    EXPECT_EQ(pObject->GetInstanceOrClassTable(), Object::ClassTable());
    delete pObject;
}

TEST(ObjectTest, InstanceTableAndCountStandInFrontOfEveryClassesOwnMembers)
{
    const Ptr<Object> pObject = Object::Construct(Value::Null);
    pObject->AddPropertyValue("x", Value::TYPE_INT);
    const Ptr<Object> pSecond = pObject;
    const auto* const pBytes = reinterpret_cast<const unsigned char*>(static_cast<Object*>(pObject));
    const void* pTable = nullptr;
    int count = 0;
    std::memcpy(&pTable, pBytes + sizeof(void*), sizeof(pTable)); // behind the virtual functions
    std::memcpy(&count, pBytes + 2 * sizeof(void*), sizeof(count));
    EXPECT_EQ(pTable, pObject->GetInstanceTable());
    EXPECT_EQ(count, 2);
}

TEST(ObjectTest, TheVirtualFunctionsKeepTheirPlaces)
{
    EXPECT_EQ(VirtualSlot(&Object::Clone), 0);
    EXPECT_EQ(VirtualSlot(&Object::Copy), 1);
    EXPECT_EQ(VirtualSlot(&Object::CopyTo), 2);
    EXPECT_EQ(VirtualSlot(&Object::GetClassTable), 3);
    EXPECT_EQ(VirtualSlot(&Object::GetClassName), 4);
    EXPECT_EQ(VirtualSlot(&Object::GetModuleName), 5);
    EXPECT_EQ(VirtualSlot(&Object::Execute), 6);
}

TEST(ObjectTest, ReleaseAnswersTheObjectUntilTheLastReferenceGoes)
{
    int destroyed = 0;
    Object* const pObject = MakeCounting(destroyed);
    EXPECT_EQ(pObject->Access(), pObject);
    EXPECT_EQ(pObject->Access(), pObject);
    EXPECT_EQ(pObject->GetReferenceCount(), 2);
    EXPECT_EQ(pObject->Release(), pObject);
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(pObject->Release(), nullptr);
    EXPECT_EQ(destroyed, 1);
}

TEST(ObjectTest, ReleaseOfAnObjectThatNobodyHoldsDestroysIt)
{
    int destroyed = 0;
    EXPECT_EQ(MakeCounting(destroyed)->Release(), nullptr);
    EXPECT_EQ(destroyed, 1);
}

TEST(ObjectTest, ObjectsLiveInObjectBlocksOfTheAllocator)
{
    const std::int64_t blocks = Memory::GetBlocksAllocated(ALLOC_OBJECT);
    const Ptr<Object> pObject = Object::Construct(Value::Null);
    EXPECT_EQ(Memory::GetBlocksAllocated(ALLOC_OBJECT), blocks + 1);
    EXPECT_EQ(Memory::GetAllocType(static_cast<Object*>(pObject)), ALLOC_OBJECT);
}

TEST(ObjectTest, ConstructAnswersNullWhenMemoryIsShort)
{
    testing::internal::CaptureStderr();
    Memory::SetFailureHook([](unsigned, AllocType type) { return type == ALLOC_OBJECT; });
    Object* const pObject = Object::Construct(Value::Null);
    Specimen* const pSpecimen = Specimen::Make();
    Memory::SetFailureHook(nullptr);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(pObject, nullptr);
    EXPECT_EQ(pSpecimen, nullptr);
}

TEST(ObjectTest, CloneOfAPlainObjectIsFreshAndBare)
{
    const Ptr<Object> pObject = Object::Construct(Value::Null);
    pObject->AddPropertyValueFromValue("x", 1);
    const Ptr<Object> pClone = pObject->Clone();
    EXPECT_EQ(pClone->GetReferenceCount(), 1);
    EXPECT_EQ(pClone->GetInstanceTable(), nullptr);
}

TEST(ObjectTest, CloneSharesTheInstanceTableWithoutAReferenceAndStartsAtTheSourcesCount)
{
    const Ptr<EnumInfoObject> pColors = MakeColors();
    const Ptr<EnumInfoObject> pSecond = pColors;
    const int tableCount = pColors->GetInstanceTable()->GetReferenceCount();

    EnumInfoObject* const pClone = pColors->Clone();

    EXPECT_EQ(pClone->GetReferenceCount(), 2);
    EXPECT_EQ(pClone->GetInstanceTable(), pColors->GetInstanceTable());
    EXPECT_EQ(pColors->GetInstanceTable()->GetReferenceCount(), tableCount);
    pClone->Release();
    pClone->Release();
}

TEST(ObjectTest, ASharedInstanceTableOutlivesWhicheverGoesFirst)
{
    for (const bool bSourceFirst : {true, false}) {
        Ptr<EnumInfoObject> pSource = MakeColors();
        Ptr<EnumInfoObject> pClone = Unshared(pSource->Clone());
        Ptr<EnumInfoObject> pSecondClone = Unshared(pClone->Clone());
        (bSourceFirst ? pSource : pClone) = nullptr;
        EXPECT_EQ((bSourceFirst ? pClone : pSource)->GetValueFromKey("Green"), 1);
        EXPECT_EQ(pSecondClone->GetValueFromKey("Green"), 1);
        (bSourceFirst ? pClone : pSource) = nullptr;
        EXPECT_EQ(pSecondClone->GetValueFromKey("Green"), 1);
    }
}

TEST(ObjectTest, ASharedInstanceTableSurvivesThatOneSharerTakesAnother)
{
    for (const bool bReplaceInSource : {true, false}) {
        const Ptr<EnumInfoObject> pSource = MakeColors();
        const Ptr<EnumInfoObject> pClone = Unshared(pSource->Clone());
        const Ptr<EnumInfoObject> pOther = MakeColors();
        EnumInfoObject* const pReplaced = bReplaceInSource ? pSource : pClone;
        EnumInfoObject* const pKeeping = bReplaceInSource ? pClone : pSource;
        pReplaced->SetInstanceTable(pOther->GetInstanceTable());
        EXPECT_EQ(pOther->GetInstanceTable()->GetReferenceCount(), 2);
        EXPECT_EQ(pKeeping->GetInstanceTable()->GetReferenceCount(), 1);
        EXPECT_EQ(pKeeping->GetValueFromKey("Green"), 1);
    }
}

TEST(ObjectTest, SetInstanceTableToTheSameTableKeepsIt)
{
    const Ptr<EnumInfoObject> pColors = MakeColors();
    pColors->SetInstanceTable(pColors->GetInstanceTable());
    EXPECT_EQ(pColors->GetInstanceTable()->GetReferenceCount(), 1);
    EXPECT_EQ(pColors->GetValueFromKey("Green"), 1);
}

TEST(ObjectTest, CopyOfAPlainObjectHasTheSameDynamicPropertiesOfItsOwn)
{
    const Ptr<Object> pObject = Object::Construct(Value::Null);
    pObject->AddPropertyValueFromValue("x", 1);
    Property* const pArray = pObject->AddPropertyArray("a", Value::TYPE_INT);
    for (const int element : {4, 5, 6}) {
        pArray->Insert(pObject, element);
    }

    const Ptr<Object> pCopy = pObject->Copy();

    EXPECT_NE(static_cast<Object*>(pCopy), static_cast<Object*>(pObject));
    EXPECT_EQ(pCopy->GetReferenceCount(), 1);
    EXPECT_EQ(GetOf(pCopy, "x").Get<int>(), 1);
    EXPECT_EQ(pCopy->FindProperty("a")->GetSize(pCopy), 3);
    EXPECT_EQ(pCopy->FindProperty("a")->GetAt(pCopy, 2).Get<int>(), 6);
    pCopy->FindProperty("x")->Set(pCopy, 2);
    pCopy->FindProperty("a")->Clear(pCopy);
    EXPECT_EQ(GetOf(pObject, "x").Get<int>(), 1);
    EXPECT_EQ(pArray->GetSize(pObject), 3);
}

TEST(ObjectTest, CopyOfAnEnumInfoObjectEndsTheSharing)
{
    const Ptr<EnumInfoObject> pColors = MakeColors();
    const Ptr<Object> pCopy = Unshared(pColors->Copy());
    EXPECT_NE(pCopy->GetInstanceTable(), pColors->GetInstanceTable());
    pCopy->FindProperty("Green")->Set(pCopy, 7);
    EXPECT_EQ(pColors->GetValueFromKey("Green"), 1);
    EXPECT_EQ(static_cast<EnumInfoObject*>(static_cast<Object*>(pCopy))->GetValueFromKey("Green"), 7);
}

TEST(ObjectTest, CopyToCopiesValuesOfTheSameNameTypeAndShapeAndSkipsTheRest)
{
    const Ptr<Specimen> pSource = Specimen::Make();
    pSource->mText = "Io";
    pSource->mCache = 3;
    pSource->mInts.Insert(1);
    pSource->mInts.Insert(2);
    pSource->AddPropertyValueFromValue("Extra", 2.5f);
    pSource->AddPropertyValueFromValue("Clash", 1);
    const Ptr<Specimen> pTarget = Specimen::Make();
    pTarget->mInts.Insert(9);
    pTarget->AddPropertyArray("Clash", Value::TYPE_INT);

    pSource->CopyTo(pTarget);

    EXPECT_EQ(pTarget->mText, String("Io"));
    EXPECT_EQ(pTarget->mCache, 0);
    EXPECT_TRUE(pTarget->mInts == pSource->mInts);
    EXPECT_EQ(GetOf(pTarget, "Extra").Get<float>(), 2.5f);
    EXPECT_EQ(pTarget->FindProperty("Clash")->GetSize(pTarget), 0);
}

TEST(ObjectTest, CopyToNullOrItselfDoesNothing)
{
    const Ptr<Specimen> pSpecimen = Specimen::Make();
    pSpecimen->mInts.Insert(1);
    pSpecimen->CopyTo(nullptr);
    pSpecimen->CopyTo(pSpecimen);
    EXPECT_EQ(pSpecimen->mInts.GetSize(), 1);
}

TEST(ObjectTest, CopyOfAnAbstractObjectIsNullAfterItsReport)
{
    CapturedMessages messages;
    const Ptr<Property> pProperty = CreateDynamicValue(Value::TYPE_INT);
    EXPECT_EQ(pProperty->Copy(), nullptr);
    EXPECT_THAT(messages.TakeError(), testing::EndsWith(": Failed to Construct interface class"));
}

TEST(ObjectTest, ObjectsThatNobodyHoldsSurviveBeingCopiedCalledAndExecuted)
{
    int destroyed = 0;
    Specimen* const pSource = MakeCounting(destroyed);
    Specimen* const pTarget = MakeCounting(destroyed);
    List* const pList = List::Construct(Value::Null);
    Table* const pTable = Table::Construct(Value::Null);
    pSource->AddPropertyValueFromValue("x", 1);
    pSource->CopyTo(pTarget);
    pTarget->CopyTo(pSource);
    EXPECT_EQ(pSource->Call("One", 4).Get<int>(), 4);
    pSource->Execute(Value::Null);
    pList->Execute(Value::Null);
    pList->Clear();
    EXPECT_EQ(pList->Find(pSource), -1);
    pList->Remove(pSource);
    pTable->Execute(Value::Null);
    pTable->Insert("a", nullptr);
    EXPECT_EQ(pTable->GetName(pSource), String::Null);
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(pSource->GetReferenceCount(), 0);
    EXPECT_EQ(pTarget->GetReferenceCount(), 0);
    EXPECT_EQ(pList->GetReferenceCount(), 0);
    EXPECT_EQ(pTable->GetReferenceCount(), 0);
    delete pSource;
    delete pTarget;
    delete pList;
    delete pTable;
}

TEST(ObjectTest, KeepAliveDestroysOnlyWhatSomebodyElseHeldAndLetGo)
{
    int destroyed = 0;
    Object* const pUnheld = MakeCounting(destroyed);
    {
        const KeepAlive keep(pUnheld);
        const Ptr<Object> pTemporary = pUnheld;
    }
    EXPECT_EQ(destroyed, 0);
    Ptr<Object> pHeld = pUnheld;
    {
        const KeepAlive keep(pHeld);
        pHeld = nullptr;
        EXPECT_EQ(destroyed, 0);
    }
    EXPECT_EQ(destroyed, 1);
    const KeepAlive nothing(nullptr);
}

TEST(ObjectTest, AChainOfAMillionPropertiesIsReleasedOnASmallStack)
{
    int destroyed = 0;
    RunOnSmallStack(SMALL_STACK, [&] { MakeChain(MILLION, destroyed, WrapInProperty); });
    EXPECT_EQ(destroyed, 1);
}

TEST(ObjectTest, AChainOfAMillionListsIsReleasedOnASmallStack)
{
    int destroyed = 0;
    RunOnSmallStack(SMALL_STACK, [&] { MakeChain(MILLION, destroyed, WrapInList); });
    EXPECT_EQ(destroyed, 1);
}

TEST(ObjectTest, ADestructorMayHoldAndReportItsOwnObject)
{
    int destroyed = 0;
    Ptr<Specimen> pSpecimen = Specimen::Make();
    pSpecimen->mOnDestroy = [&](Specimen* pThis) {
        ++destroyed;
        const Value value = pThis;
        const Ptr<Object> pHolder = pThis;
        const Ptr<Object> pSecond = pHolder;
    };
    pSpecimen = nullptr;
    EXPECT_EQ(destroyed, 1);
}

TEST(ObjectTest, AnObjectThatWaitsForItsDestructionMayBeHeldMeanwhile)
{
    // So deep down that the inner object waits; the outermost one looks at it once more in between.
    int destroyed = 0;
    Specimen* const pInner = MakeCounting(destroyed);
    Ptr<Object> pHead = pInner;
    for (int i = 0; i < 1000; ++i) {
        Ptr<Specimen> pOuter = Specimen::Make();
        pOuter->mpObject = pHead;
        pHead = pOuter;
    }
    Ptr<Specimen> pWatcher = Specimen::Make();
    bool bSeen = false;
    pWatcher->mOnDestroy = [&](Specimen*) {
        if (destroyed == 0) {
            const Ptr<Object> pBriefly = pInner;
            bSeen = true;
        }
    };
    // Destroyed after the chain, within the same outermost destruction.
    Ptr<List> pBoth = List::Construct(Value::Null);
    pBoth->Insert(pHead);
    pBoth->Insert(pWatcher);
    pHead = nullptr;
    pWatcher = nullptr;
    pBoth = nullptr;
    EXPECT_TRUE(bSeen);
    EXPECT_EQ(destroyed, 1);
}

TEST(ObjectTest, WhatDiesWithTheInstanceTableFindsTheObjectWithoutOne)
{
    Object* const pOwner = Object::Construct(Value::Null);
    bool bAsked = false;
    Specimen* const pMember = Specimen::Make();
    pMember->mOnDestroy = [&](Specimen*) {
        bAsked = true;
        EXPECT_EQ(pOwner->GetInstanceTable(), nullptr);
        EXPECT_EQ(pOwner->FindProperty("Member"), nullptr);
    };
    pOwner->AddPropertyValueFromValue("Member", pMember);
    pOwner->Release();
    EXPECT_TRUE(bAsked);
}

TEST(ObjectTest, AssignmentKeepsCountAndInstanceTable)
{
    const Ptr<Specimen> pTarget = Specimen::Make();
    const Ptr<Specimen> pSource = Specimen::Make();
    const Ptr<Object> pSecond = pSource;
    pSource->AddPropertyValueFromValue("x", 1);
    pSource->mInt = 5;
    *pTarget.operator->() = *pSource.operator->();
    EXPECT_EQ(pTarget->mInt, 5);
    EXPECT_EQ(pTarget->GetReferenceCount(), 1);
    EXPECT_EQ(pSource->GetReferenceCount(), 2);
    EXPECT_EQ(pTarget->GetInstanceTable(), nullptr);
}

TEST(ObjectTest, AnObjectBehindAnotherBaseIsFreedAsAWhole)
{
    const std::int64_t bytes = Memory::GetBytesAllocated(ALLOC_OBJECT);
    {
        const Ptr<Burdened> pBurdened = Burdened::Construct(Value::Null);
        EXPECT_NE(static_cast<void*>(static_cast<Object*>(pBurdened)),
                  static_cast<void*>(static_cast<Burdened*>(pBurdened)));
        EXPECT_EQ(Memory::GetBytesAllocated(ALLOC_OBJECT),
                  bytes + static_cast<std::int64_t>(sizeof(Burdened)));
        const Value value = pBurdened;
        EXPECT_EQ(value.Get<Burdened*>(), static_cast<Burdened*>(pBurdened));
    }
    EXPECT_EQ(Memory::GetBytesAllocated(ALLOC_OBJECT), bytes);
    delete static_cast<Object*>(Burdened::Construct(Value::Null));
    EXPECT_EQ(Memory::GetBytesAllocated(ALLOC_OBJECT), bytes);
}

TEST(ObjectTest, AnObjectOnTheStackIsLeftToItsScope)
{
    struct Local : Object
    {};
    Local local;
    {
        const KeepAlive keep(&local);
    }
    EXPECT_EQ(local.GetReferenceCount(), 0);
}

TEST(ObjectTest, TypeTestsWalkTheClassAndItsBases)
{
    const Ptr<List> pList = List::Construct(Value::Null);
    EXPECT_TRUE(pList->IsExactType(List::ClassTable()));
    EXPECT_FALSE(pList->IsExactType(Object::ClassTable()));
    EXPECT_TRUE(pList->IsDerivedType(List::ClassTable()));
    EXPECT_TRUE(pList->IsDerivedType(Object::ClassTable()));
    EXPECT_FALSE(pList->IsDerivedType(Table::ClassTable()));
    EXPECT_FALSE(pList->IsDerivedType(nullptr));
    const Ptr<Object> pObject = Object::Construct(Value::Null);
    EXPECT_TRUE(pObject->IsExactType(Object::ClassTable()));
}

TEST(ObjectTest, AnInstanceTableHasTheNumberOfBucketsOfItsDay)
{
    g_InstanceTableSize = 5;
    const Ptr<Object> pObject = Object::Construct(Value::Null);
    pObject->AddPropertyValue("x", Value::TYPE_INT);
    g_InstanceTableSize = 31;
    EXPECT_EQ(pObject->GetInstanceTable()->GetTableSize(), 5);
}

TEST(ObjectTest, TheInstanceTableTakesNoPartInTypeTests)
{
    const Ptr<Object> pObject = Object::Construct(Value::Null);
    pObject->AddPropertyValue("x", Value::TYPE_INT);
    EXPECT_FALSE(pObject->IsDerivedType(pObject->GetInstanceTable()));
    EXPECT_TRUE(pObject->IsExactType(Object::ClassTable()));
    EXPECT_EQ(pObject->GetInstanceOrClassTable(), pObject->GetInstanceTable());
    EXPECT_EQ(pObject->GetInstanceTable()->GetBaseClass(), Object::ClassTable());
    EXPECT_EQ(pObject->GetInstanceTable()->GetTableSize(), 31);
}

TEST(ObjectTest, ClassAndModuleNamesAreThoseOfTheSource)
{
    const Ptr<Object> pTable = ClassInfoTable::Construct(Value::Null);
    EXPECT_EQ(pTable->GetClassName(), String("ClassInfoTable"));
    EXPECT_EQ(pTable->GetModuleName(), String("QBase"));
    EXPECT_EQ(Specimen::ModuleName(), String("Test"));
    EXPECT_EQ(&Specimen::ClassName(), &Specimen::ClassName());
}

TEST(ObjectTest, FindPropertyAndFindFunctionAnswerOnlyTheirOwnKind)
{
    const Ptr<Specimen> pSpecimen = Specimen::Make();
    EXPECT_NE(pSpecimen->FindProperty("Int"), nullptr);
    EXPECT_EQ(pSpecimen->FindFunction("Int"), nullptr);
    EXPECT_NE(pSpecimen->FindFunction("One"), nullptr);
    EXPECT_EQ(pSpecimen->FindProperty("One"), nullptr);
    EXPECT_EQ(pSpecimen->FindProperty("Nowhere"), nullptr);
    EXPECT_EQ(pSpecimen->FindFunction("Nowhere"), nullptr);
    EXPECT_NE(pSpecimen->FindFunction("GetClassName"), nullptr); // Object's
}

TEST(ObjectTest, LookingUpNamesAllocatesNothing)
{
    const Ptr<Specimen> pSpecimen = Specimen::Make();
    const String property = "Int";
    const String function = "One";
    const std::int64_t bytes = Memory::GetTotalBytesAllocated();
    Memory::SetFailureHook([](unsigned, AllocType) {
        ADD_FAILURE() << "allocated";
        return false;
    });
    pSpecimen->FindProperty(property);
    pSpecimen->FindFunction(function);
    Memory::SetFailureHook(nullptr);
    EXPECT_EQ(Memory::GetTotalBytesAllocated(), bytes);
}

TEST(ObjectTest, ADynamicPropertyIsFoundOnItsObjectOnly)
{
    const Ptr<Object> pFirst = Object::Construct(Value::Null);
    const Ptr<Object> pSecond = Object::Construct(Value::Null);
    Property* const pProperty = pFirst->AddPropertyValue("x", Value::TYPE_INT);
    EXPECT_EQ(pFirst->FindProperty("x"), pProperty);
    EXPECT_EQ(pSecond->FindProperty("x"), nullptr);
}

TEST(ObjectTest, AnInstancePropertyShadowsTheClassPropertyOfItsName)
{
    const Ptr<Specimen> pSpecimen = Specimen::Make();
    pSpecimen->AddPropertyValue("Other", Value::TYPE_INT);
    const Ptr<Property> pShadow = CreateDynamicValue(Value::TYPE_STRING);
    pSpecimen->GetInstanceTable()->Insert("Int", pShadow);
    EXPECT_EQ(pSpecimen->FindProperty("Int"), static_cast<Property*>(pShadow));
    pSpecimen->GetInstanceTable()->Remove("Int");
    EXPECT_EQ(pSpecimen->FindProperty("Int")->GetType(), Value::TYPE_INT);
}

TEST(ObjectTest, ExecuteOfAPlainObjectDoesNothing)
{
    const Ptr<Object> pObject = Object::Construct(Value::Null);
    pObject->Execute(Value(1));
    EXPECT_EQ(pObject->GetReferenceCount(), 1);
}

TEST(ObjectTest, ReflectedObjectFunctionsWork)
{
    const Ptr<Object> pObject = Object::Construct(Value::Null);
    EXPECT_EQ(pObject->Call("GetClassName").AsString(), String("Object"));
    EXPECT_EQ(pObject->Call("GetModuleName").AsString(), String("QBase"));
    EXPECT_EQ(pObject->Call("GetReferenceCount").Get<int>(), 1);
}

TEST(ObjectThreadsTest, TwoThreadsThatDropTheLastReferencesDestroyOnce)
{
    constexpr int BATCH = 10000;
    constexpr int BATCHES = 100;
    std::atomic<int> destroyed{0};
    std::vector<Object*> objects(BATCH);
    std::atomic<int> arrivals{0};
    // std::barrier misses wake-ups where the system has no futex.
    const auto meet = [&](int meeting) {
        arrivals.fetch_add(1);
        while (arrivals < 2 * meeting) {
            std::this_thread::yield();
        }
    };
    const auto dropBatch = [&](int batch) {
        meet(2 * batch + 1);
        for (Object* const pObject : objects) {
            Object::DropReference(pObject);
        }
        meet(2 * batch + 2);
    };
    std::thread other([&] {
        for (int batch = 0; batch < BATCHES; ++batch) {
            dropBatch(batch);
        }
    });
    for (int batch = 0; batch < BATCHES; ++batch) {
        for (Object*& rpObject : objects) {
            Specimen* const pSpecimen = Specimen::Make();
            pSpecimen->mOnDestroy = [&](Specimen*) { destroyed.fetch_add(1, std::memory_order_relaxed); };
            rpObject = pSpecimen;
            Object::AddReference(rpObject);
            Object::AddReference(rpObject);
        }
        dropBatch(batch);
    }
    other.join();
    EXPECT_EQ(destroyed, BATCH * BATCHES);
}
