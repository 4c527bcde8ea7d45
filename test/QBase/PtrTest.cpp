#include "QBase/Ptr.h"

#include "QBase/Error.h"
#include "QBase/InterlockedInt.h"
#include "QBase/Memory.h"
#include "QBase/Table.h"
#include "QBase/Value.h"

#include "Support/Paths.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <type_traits>
#include <unordered_set>
#include <utility>

using namespace QBase;

namespace
{

int g_Destroyed = 0;

// Counts references as Object does.
class Counted
{
public:
    virtual ~Counted() { ++g_Destroyed; }

    int GetReferenceCount() const { return mReferenceCount.Value(); }

    static void AddReference(Counted* pObject) { pObject->mReferenceCount.Increment(); }
    static void DropReference(Counted* pObject)
    {
        if (pObject->mReferenceCount.Decrement() <= 0) {
            delete pObject;
        }
    }
    static void* operator new(std::size_t size)
    {
        return Memory::Alloc(static_cast<unsigned>(size), ALLOC_OBJECT, QBASE_HERE, true);
    }
    static void operator delete(void* pBlock) { Memory::Free(pBlock, true); }

    Ptr<Counted> mpNext;

private:
    InterlockedInt mReferenceCount;
};

class Derived : public Counted
{};

// What stands in the place of NAME in the lines "BEFORE NAME AFTER" of a source file.
std::set<std::string> NamesIn(const char* pFile, const std::string& before, const std::string& after)
{
    std::ifstream file(SourcePath(pFile));
    const std::string text(std::istreambuf_iterator<char>(file), {});
    const std::regex line("\n *" + before + "(\\w+)" + after);
    std::set<std::string> names;
    for (std::sregex_iterator match(text.begin(), text.end(), line), end; match != end; ++match) {
        names.insert((*match)[1]);
    }
    return names;
}

class PtrTest : public testing::Test
{
protected:
    PtrTest() { g_Destroyed = 0; }
};

static_assert(sizeof(Ptr<Counted>) == sizeof(Counted*));
static_assert(std::is_nothrow_move_constructible_v<Ptr<Counted>>);
static_assert(std::is_convertible_v<Ptr<Derived>, Ptr<Counted>>);
static_assert(!std::is_convertible_v<Ptr<Counted>, Ptr<Derived>>);
static_assert(std::is_same_v<decltype(std::declval<Ptr<Counted>&>() = nullptr), Counted*>);
static_assert(std::is_same_v<decltype(std::declval<Ptr<Counted>&>() = Ptr<Derived>()), Counted*>);

} // namespace

TEST_F(PtrTest, StartsAsNull)
{
    Ptr<Counted> pNone;

    EXPECT_EQ(static_cast<Counted*>(pNone), nullptr);
    EXPECT_FALSE(pNone);
}

TEST_F(PtrTest, TakesOneReferenceOnANewObject)
{
    Counted* pRaw = new Counted;
    EXPECT_EQ(pRaw->GetReferenceCount(), 0);

    Ptr<Counted> pObject(pRaw);

    EXPECT_EQ(pObject->GetReferenceCount(), 1);
    EXPECT_EQ(static_cast<Counted*>(pObject), pRaw);
}

TEST_F(PtrTest, CopiesHoldOneReferenceEachAndTheLastDestroysTheObject)
{
    {
        Ptr<Counted> pFirst = new Counted;
        {
            Ptr<Counted> pSecond(pFirst);
            EXPECT_EQ(pFirst->GetReferenceCount(), 2);
        }
        EXPECT_EQ(pFirst->GetReferenceCount(), 1);
        EXPECT_EQ(g_Destroyed, 0);
    }
    EXPECT_EQ(g_Destroyed, 1);
}

TEST_F(PtrTest, AssigningNullDestroysTheLastReferencedObjectAtOnce)
{
    Ptr<Counted> pObject = new Counted;

    pObject = nullptr;

    EXPECT_EQ(g_Destroyed, 1);
    EXPECT_EQ(pObject, nullptr);
}

TEST_F(PtrTest, AssignedItsOwnObjectKeepsItAlive)
{
    Ptr<Counted> pObject = new Counted;

    pObject = static_cast<Counted*>(pObject);
    const Ptr<Counted>& same = pObject;
    pObject = same;

    EXPECT_EQ(g_Destroyed, 0);
    EXPECT_EQ(pObject->GetReferenceCount(), 1);
}

TEST_F(PtrTest, MovingFromItselfKeepsTheObjectAlive)
{
    Ptr<Counted> pObject = new Counted;
    Ptr<Counted>& same = pObject;

    pObject = std::move(same);

    EXPECT_EQ(g_Destroyed, 0);
    EXPECT_EQ(pObject->GetReferenceCount(), 1);
}

TEST_F(PtrTest, AssignmentAnswersTheNewRawPointer)
{
    Ptr<Counted> pObject;
    Counted* pRaw = new Counted;

    EXPECT_EQ(pObject = pRaw, pRaw);
    Ptr<Counted> pOther;
    EXPECT_EQ(pOther = pObject, pRaw);
    EXPECT_EQ(pOther = nullptr, nullptr);
}

TEST_F(PtrTest, AssignmentFromWithinTheOldObjectIsSafe)
{
    Ptr<Counted> pHead = new Counted;
    pHead->mpNext = new Counted;
    Counted* pSecond = pHead->mpNext;

    Counted* pAnswer = (pHead = pHead->mpNext);

    EXPECT_EQ(pAnswer, pSecond);
    EXPECT_EQ(pHead, pSecond);
    EXPECT_EQ(pHead->GetReferenceCount(), 1);
    EXPECT_EQ(g_Destroyed, 1);
}

TEST_F(PtrTest, MovingOutOfTheOldObjectIsSafe)
{
    Ptr<Counted> pHead = new Counted;
    pHead->mpNext = new Counted;
    Counted* pSecond = pHead->mpNext;

    pHead = std::move(pHead->mpNext);

    EXPECT_EQ(pHead, pSecond);
    EXPECT_EQ(pHead->GetReferenceCount(), 1);
    EXPECT_EQ(g_Destroyed, 1);
}

TEST_F(PtrTest, DestructorOfTheOldObjectSeesTheNewPointer)
{
    struct Watcher : Counted
    {
        ~Watcher() override
        {
            *mppSeen = *mpWatched;
            *mpWatched = nullptr; // releases what it names now, not this object again
        }
        Ptr<Counted>* mpWatched = nullptr;
        Counted** mppSeen = nullptr;
    };
    Counted* pSeen = nullptr;
    Ptr<Counted> pObject;
    Watcher* pWatcher = new Watcher;
    pWatcher->mpWatched = &pObject;
    pWatcher->mppSeen = &pSeen;
    pObject = pWatcher;
    Ptr<Counted> pReplacement = new Counted;

    pObject = pReplacement;

    EXPECT_EQ(pSeen, pReplacement);
    EXPECT_EQ(pObject, nullptr);
    EXPECT_EQ(pReplacement->GetReferenceCount(), 1);
    EXPECT_EQ(g_Destroyed, 1);
}

TEST_F(PtrTest, MovesWithoutTouchingTheCount)
{
    Ptr<Counted> pFrom = new Counted;
    Counted* pRaw = pFrom;

    Ptr<Counted> pTo(std::move(pFrom));
    EXPECT_EQ(pFrom, nullptr);
    EXPECT_EQ(pTo, pRaw);
    EXPECT_EQ(pRaw->GetReferenceCount(), 1);

    Ptr<Counted> pLast;
    pLast = std::move(pTo);
    EXPECT_EQ(pTo, nullptr);
    EXPECT_EQ(pLast->GetReferenceCount(), 1);
}

TEST_F(PtrTest, ConvertsToAPtrToABaseClass)
{
    Ptr<Derived> pDerived = new Derived;

    Ptr<Counted> pBase = pDerived;
    EXPECT_EQ(pBase->GetReferenceCount(), 2);
    Ptr<Counted> pAssigned;
    pAssigned = pDerived;
    EXPECT_EQ(pBase->GetReferenceCount(), 3);
    pAssigned = std::move(pDerived);
    EXPECT_EQ(pBase->GetReferenceCount(), 2);
    EXPECT_EQ(pDerived, nullptr);
}

TEST_F(PtrTest, ComparesLikeRawPointers)
{
    Ptr<Derived> pDerived = new Derived;
    Ptr<Counted> pBase = pDerived;
    Ptr<Counted> pOther = new Counted;
    Counted* pRaw = pBase;
    const Counted* pConst = pBase;

    EXPECT_TRUE(pBase == pDerived);
    EXPECT_TRUE(pBase == pRaw);
    EXPECT_TRUE(pRaw == pBase);
    EXPECT_TRUE(pConst == pBase);
    EXPECT_TRUE(pDerived == pRaw);
    EXPECT_TRUE(pBase != pOther);
    EXPECT_TRUE(pRaw != pOther);
    EXPECT_TRUE(pBase != nullptr);
    EXPECT_FALSE(nullptr == pBase);
    EXPECT_FALSE(pBase == 0);
    EXPECT_TRUE(pBase && !!pOther);
}

TEST_F(PtrTest, TheLibraryExportsThePtrToEachOfItsClasses)
{
    const std::set<std::string> classes = NamesIn("source/QBase/Classes.cpp", "Registration<", ", ");
    ASSERT_GE(classes.size(), 28u);

    EXPECT_THAT(NamesIn("include/QBase/Ptr.h", R"(QBASE_EXPORTED_TEMPLATE\(Ptr<)", R"(>\);)"),
                testing::ContainerEq(classes));
    EXPECT_THAT(NamesIn("source/QBase/Containers.cpp", "template class Ptr<", ">;"),
                testing::ContainerEq(classes));
}

TEST_F(PtrTest, IsAKeyOfStandardContainers)
{
    Ptr<Counted> pObject = new Counted;

    std::unordered_set<Ptr<Counted>> objects{pObject, pObject, nullptr};

    EXPECT_EQ(objects.size(), 2u);
    EXPECT_EQ(objects.count(pObject), 1u);
}

TEST_F(PtrTest, BecomesAValueThatHoldsTheObject)
{
    Ptr<Table> pTable = static_cast<Table*>(Table::Construct(Value::Null));
    ASSERT_EQ(pTable->GetReferenceCount(), 1);

    Value copied = pTable;
    const Value constructed(pTable);
    Value assigned;
    assigned = pTable;
    const Value explicitly = pTable.operator Value();

    EXPECT_EQ(pTable->GetReferenceCount(), 5);
    EXPECT_EQ(copied.GetType(), Value::TYPE_OBJECT);
    EXPECT_EQ(copied.Get<Object*>(), pTable);
    EXPECT_TRUE(copied == constructed && assigned == explicitly && copied == assigned);
}

TEST_F(PtrTest, ANullPtrBecomesANullObjectValue)
{
    const Value value = Ptr<Object>();

    EXPECT_EQ(value.GetType(), Value::TYPE_OBJECT);
    EXPECT_EQ(value.Get<Object*>(), nullptr);
}

TEST_F(PtrTest, TheLastPtrReturnsARealObjectToTheAllocator)
{
    const std::int64_t objects = Memory::GetBlocksAllocated(ALLOC_OBJECT);
    Ptr<Object> pObject = Table::Construct(Value::Null);
    EXPECT_GT(Memory::GetBlocksAllocated(ALLOC_OBJECT), objects);

    pObject = nullptr;

    EXPECT_EQ(Memory::GetBlocksAllocated(ALLOC_OBJECT), objects);
}

using PtrThreadsTest = PtrTest;

TEST_F(PtrThreadsTest, TwoThreadsDroppingTheLastReferencesDestroyTheObjectOnce)
{
    constexpr int ROUNDS = 2000;
    for (int i = 0; i < ROUNDS; ++i) {
        Ptr<Counted> pFirst = new Counted;
        Ptr<Counted> pSecond = pFirst;
        std::thread other([pMoved = std::move(pSecond)]() mutable { pMoved = nullptr; });
        pFirst = nullptr;
        other.join();
    }
    EXPECT_EQ(g_Destroyed, ROUNDS);
}
