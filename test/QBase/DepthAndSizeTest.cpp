// Graphs as deep and as large as they come: saved, loaded, compared, copied, replicated and released on a
// stack of 1 MiB. No time is measured; the sizes are those at which anything that takes the square of them
// does not come to an end.

#include "QBase/AsciiSerializer.h"
#include "QBase/BinarySerializer.h"
#include "QBase/IOStream.h"
#include "QBase/List.h"
#include "QBase/ObjectDiff.h"
#include "QBase/ObjectDiffHandler.h"
#include "QBase/ObjectDiffSerializer.h"
#include "QBase/Reflection.h"
#include "QBase/Table.h"
#include "Support/Assertions.h"
#include "Support/CapturedMessages.h"
#include "Support/Effort.h"
#include "Support/Sanitizer.h"
#include "Support/SavedGraphs.h"
#include "Support/SmallStack.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

using namespace QBase;
using testing::HasSubstr;

namespace
{

constexpr std::size_t STACK_SIZE = std::size_t(1) << 20;
#ifdef NDEBUG
constexpr bool IS_OPTIMIZED = !HAS_SANITIZER; // the whole size where the library is as hosts have it
#else
constexpr bool IS_OPTIMIZED = false;
#endif
constexpr int MILLION = IS_OPTIMIZED ? 1000000 : 100000;
constexpr int DEEPEST_XML = 5000; // the text of all paths grows with the square

// Knows the next one.
class Link : public Object
{
    QBASE_OBJECT(Link, Object)

public:
    Ptr<Object> mNext;
    int mNumber = 0;

protected:
    explicit Link(const Value& value) : Object(value) {}
};

QBASE_IMPLEMENT(DepthAndSizeTest, Link)

void Link::Implement()
{
    AddProperty<&Link::mNext>("Next");
    AddProperty<&Link::mNumber>("Number");
}

// Counts what a pass finds.
class Counter : public ObjectDiffHandler
{
    QBASE_OBJECT(Counter, ObjectDiffHandler)

public:
    int mNumAdded = 0;
    int mNumRemoved = 0;
    int mNumModified = 0;

protected:
    explicit Counter(const Value& value) : ObjectDiffHandler(value) {}

private:
    void OnAddObject(Object*) override { ++mNumAdded; }
    void OnRemoveObject(Object*) override { ++mNumRemoved; }
    void OnModifyPropertyValue(Object*, const String&, const Value&, const Value&) override
    {
        ++mNumModified;
    }
    void OnNewRoot(Object*) override {}
    void OnAddPropertyValue(Object*, const String&, const Value&) override {}
    void OnRemovePropertyValue(Object*, const String&, const Value&) override {}
    void OnAddPropertyArray(Object*, const String&, Value::Type) override {}
    void OnAddPropertyArrayElement(Object*, const String&, int, const Value&) override {}
    void OnModifyPropertyArrayElement(Object*, const String&, int, const Value&, const Value&) override {}
    void OnDownsizePropertyArray(Object*, const String&, int, Value::Type) override {}
    void OnRemovePropertyArray(Object*, const String&, Value::Type) override {}
    void OnAddTableChild(Table*, const String&, Object*) override {}
    void OnModifyTableChild(Table*, const String&, Object*, Object*) override {}
    void OnRemoveTableChild(Table*, const String&) override {}
    void OnAddListChild(List*, int, Object*) override {}
    void OnModifyListChild(List*, int, Object*, Object*) override {}
    void OnDownsizeList(List*, int) override {}
};

QBASE_IMPLEMENT(DepthAndSizeTest, Counter)

void Counter::Implement()
{}

// What a graph looks like from outside.
struct Shape
{
    const char* mpName;
    Ptr<Object> (*mpMake)(int size);
    int (*mpCount)(Object* pRoot);        // the objects below the root
    Object* (*mpFindLast)(Object* pRoot); // a Link
    void (*mpOpen)(Object* pRoot);        // undoes what keeps the graph alive by itself
};

Link* AsLink(Object* pObject)
{
    return static_cast<Link*>(pObject);
}

Ptr<Object> MakeChain(int size)
{
    Ptr<Link> pFirst = Link::Construct(Value::Null);
    for (int i = 0; i < size; ++i) {
        const Ptr<Link> pLink = Link::Construct(Value::Null);
        pLink->mNumber = i;
        pLink->mNext = pFirst;
        pFirst = pLink;
    }
    return pFirst;
}

Object* FindEnd(Object* pRoot)
{
    Link* pLink = AsLink(pRoot);
    while (pLink->mNext != nullptr && pLink->mNext != pRoot) {
        pLink = AsLink(pLink->mNext);
    }
    return pLink;
}

int CountChain(Object* pRoot)
{
    int count = 0;
    for (Object* pLink = AsLink(pRoot)->mNext; pLink != nullptr && pLink != pRoot;
         pLink = AsLink(pLink)->mNext) {
        ++count;
    }
    return count;
}

Ptr<Object> MakeRing(int size)
{
    const Ptr<Object> pFirst = MakeChain(size);
    AsLink(FindEnd(pFirst))->mNext = pFirst;
    return pFirst;
}

void OpenRing(Object* pRoot)
{
    AsLink(FindEnd(pRoot))->mNext = nullptr;
}

Ptr<Object> MakeList(int size)
{
    const Ptr<List> pList = List::Construct(Value::Null);
    for (int i = 0; i < size; ++i) {
        const Ptr<Link> pLink = Link::Construct(Value::Null);
        pLink->mNumber = i;
        pList->Insert(pLink);
    }
    return Ptr<Object>(pList);
}

Ptr<Object> MakeTable(int size)
{
    const Ptr<Table> pTable = Table::Construct(Value::Null);
    for (int i = 0; i < size; ++i) {
        pTable->Insert(std::to_string(i).c_str(), Link::Construct(Value::Null));
    }
    return Ptr<Object>(pTable);
}

int CountEntries(Object* pRoot)
{
    int count = 0;
    for (const auto& node : static_cast<Table*>(pRoot)->GetEntries()) {
        count += node.GetValue() != nullptr ? 1 : 0;
    }
    return count;
}

// Lists within each other, which only children refer to.
Ptr<Object> MakeNest(int size)
{
    Ptr<List> pOuter = List::Construct(Value::Null);
    pOuter->Insert(Link::Construct(Value::Null));
    for (int i = 1; i < size; ++i) {
        const Ptr<List> pList = List::Construct(Value::Null);
        pList->Insert(pOuter);
        pOuter = pList;
    }
    return Ptr<Object>(pOuter);
}

Object* FindInnermost(Object* pRoot)
{
    Object* pObject = pRoot;
    while (pObject->IsDerivedType(List::ClassTable())) {
        pObject = static_cast<List*>(pObject)->GetAt(0);
    }
    return pObject;
}

int CountNest(Object* pRoot)
{
    int count = 0;
    for (Object* pObject = pRoot; pObject->IsDerivedType(List::ClassTable());
         pObject = static_cast<List*>(pObject)->GetAt(0)) {
        ++count;
    }
    return count;
}

void LeaveOpen(Object*)
{}

const Shape SHAPES[] = {
    {"chain", &MakeChain, &CountChain, &FindEnd, &LeaveOpen},
    {"ring", &MakeRing, &CountChain, &FindEnd, &OpenRing},
    {"list", &MakeList, [](Object* pRoot) { return static_cast<List*>(pRoot)->GetSize(); },
     [](Object* pRoot) { return static_cast<List*>(pRoot)->GetObjects().GetAt(0).operator Object*(); },
     &LeaveOpen},
    {"table", &MakeTable, &CountEntries, [](Object* pRoot) { return static_cast<Table*>(pRoot)->Find("0"); },
     &LeaveOpen},
    {"nest", &MakeNest, &CountNest, &FindInnermost, &LeaveOpen},
};

class DepthAndSizeTest : public testing::TestWithParam<Shape>
{};

std::string NameOf(const testing::TestParamInfo<Shape>& info)
{
    return info.param.mpName;
}

// A text with the hash of all others of its kind: of so long ones every third byte alone is looked at.
std::string CollidingName(int number)
{
    std::string name(67, 'y');
    for (std::size_t place = 1; number > 0; place += place % 3) { // 1, 2, 4, 5, 7, 8, ...
        name[place] = static_cast<char>('0' + number % 10);
        number /= 10;
    }
    return name;
}

template <typename Format>
void ExpectComesBack(const Shape& shape, Object* pGraph, int size)
{
    const Value loaded = LoadedAs<Format>(SavedAs<Format>(pGraph));
    ASSERT_NE(loaded.AsObject(), nullptr);
    EXPECT_EQ(shape.mpCount(loaded.AsObject()), size);
    shape.mpOpen(loaded.AsObject());
}

void ExpectEachPassTellsWhatChanged(const Shape& shape, Object* pGraph, int size)
{
    const Ptr<ObjectDiff> pDiff = ObjectDiff::Construct(Value::Null);
    const Ptr<Counter> pCounter = Counter::Construct(Value::Null);
    pDiff->SetRoot(pGraph);
    pDiff->Execute(Value(pCounter));
    EXPECT_EQ(pCounter->mNumAdded, size + 1);
    AsLink(shape.mpFindLast(pGraph))->mNumber = -1;
    pDiff->Execute(Value(pCounter));
    EXPECT_EQ(pCounter->mNumAdded, size + 1);
    EXPECT_EQ(pCounter->mNumModified, 1);
    pDiff->SetRoot(nullptr);
    pDiff->Execute(Value(pCounter));
    EXPECT_EQ(pCounter->mNumRemoved, size + 1);
}

} // namespace

TEST_P(DepthAndSizeTest, AMillionObjectsAreSavedLoadedComparedCopiedAndReleased)
{
    RunOnSmallStack(STACK_SIZE, [] {
        const Shape& shape = GetParam();
        const Ptr<Object> pGraph = shape.mpMake(MILLION);
        ExpectComesBack<BinarySerializer>(shape, pGraph, MILLION);
        ExpectEachPassTellsWhatChanged(shape, pGraph, MILLION);
        Object* const pCopy = pGraph->Copy(); // counts the references of its source
        if (pCopy->IsDerivedType(Link::ClassTable())) {
            EXPECT_EQ(AsLink(pCopy)->mNext, AsLink(pGraph)->mNext);
        } else {
            EXPECT_EQ(shape.mpCount(pCopy), MILLION);
        }
        for (int i = pCopy->GetReferenceCount(); i > 0; --i) {
            pCopy->Release();
        }
        shape.mpOpen(pGraph);
    });
}

TEST_P(DepthAndSizeTest, FiveThousandObjectsAreSavedLoadedAndReleasedInXml)
{
    RunOnSmallStack(STACK_SIZE, [] {
        const Shape& shape = GetParam();
        const Ptr<Object> pGraph = shape.mpMake(DEEPEST_XML);
        ExpectComesBack<AsciiSerializer>(shape, pGraph, DEEPEST_XML);
        shape.mpOpen(pGraph);
    });
}

INSTANTIATE_TEST_SUITE_P(Shapes, DepthAndSizeTest, testing::ValuesIn(SHAPES), &NameOf);

TEST(SizeTest, AStringOf64MiBIsSavedLoadedComparedAndReplicated)
{
    RunOnSmallStack(STACK_SIZE, [] {
        constexpr std::size_t SIZE = std::size_t(64) << 20;
        const Ptr<Object> pGraph = Object::Construct(Value::Null);
        pGraph->AddPropertyValueFromValue("Text", Value(String(std::string(SIZE, 'x').c_str())));
        const auto textOf = [](Object* pObject) {
            return pObject->FindProperty("Text")->Get(pObject).AsString();
        };
        for (const bool bXml : {false, true}) {
            const Value loaded = bXml ? LoadedAs<AsciiSerializer>(SavedAs<AsciiSerializer>(pGraph))
                                      : LoadedAs<BinarySerializer>(SavedAs<BinarySerializer>(pGraph));
            ASSERT_NE(loaded.AsObject(), nullptr);
            EXPECT_EQ(textOf(loaded.AsObject()), textOf(pGraph));
        }
        const Ptr<IOStream> pPipe = IOStream::Construct(Value::Null);
        const Ptr<ObjectDiffSerializer> pSource = ObjectDiffSerializer::Construct(Value::Null);
        const Ptr<ObjectDiffSerializer> pReplica = ObjectDiffSerializer::Construct(Value::Null);
        pSource->RegisterType(Object::ClassTable());
        pReplica->RegisterType(Object::ClassTable());
        pSource->SetRoot(pGraph);
        pSource->AddOutStream(pPipe);
        pReplica->AddInStream(pPipe);
        pSource->Execute(Value::Null);
        pReplica->UpdateInput();
        ASSERT_NE(pReplica->GetRoot(), nullptr);
        EXPECT_EQ(textOf(pReplica->GetRoot()), textOf(pGraph));
    });
}

TEST(SizeTest, TwoHundredThousandNamesThatShareOneHashAreSavedLoadedComparedAndReplicated)
{
    RunOnSmallStack(STACK_SIZE, [] {
        constexpr int NUM_NAMES = IS_OPTIMIZED ? 200000 : 50000;
        const Ptr<Table> pGraph = Table::Construct(Value::Null);
        for (int i = 0; i < NUM_NAMES; ++i) {
            const String name = CollidingName(i).c_str();
            ASSERT_EQ(name.hash(), String(CollidingName(0).c_str()).hash());
            pGraph->Insert(name, pGraph);
        }
        const Value binary = LoadedAs<BinarySerializer>(SavedAs<BinarySerializer>(pGraph));
        const Value xml = LoadedAs<AsciiSerializer>(SavedAs<AsciiSerializer>(pGraph));
        const Ptr<IOStream> pPipe = IOStream::Construct(Value::Null);
        const Ptr<ObjectDiffSerializer> pSource = ObjectDiffSerializer::Construct(Value::Null);
        const Ptr<ObjectDiffSerializer> pReplica = ObjectDiffSerializer::Construct(Value::Null);
        pSource->RegisterType(Table::ClassTable());
        pReplica->RegisterType(Table::ClassTable());
        pSource->SetRoot(pGraph);
        pSource->AddOutStream(pPipe);
        pReplica->AddInStream(pPipe);
        pSource->Execute(Value::Null);
        pSource->Execute(Value::Null);
        pReplica->UpdateInput();
        for (Object* const pTable :
             {static_cast<Object*>(pGraph), binary.AsObject(), xml.AsObject(), pReplica->GetRoot()}) {
            ASSERT_NE(pTable, nullptr);
            EXPECT_EQ(CountEntries(pTable), NUM_NAMES);
            EXPECT_EQ(static_cast<Table*>(pTable)->Find(CollidingName(NUM_NAMES / 2).c_str()), pTable);
            const Ptr<Object> keep = pTable;
            static_cast<Table*>(pTable)->Clear();
        }
    });
}

namespace
{

// A source and a replica with the classes of these graphs.
struct Replication
{
    Replication()
        : mpPipe(IOStream::Construct(Value::Null)), mpSource(ObjectDiffSerializer::Construct(Value::Null)),
          mpReplica(ObjectDiffSerializer::Construct(Value::Null))
    {
        for (const Ptr<ObjectDiffSerializer>& pSerializer : {mpSource, mpReplica}) {
            pSerializer->RegisterType(List::ClassTable());
            pSerializer->RegisterType(Link::ClassTable());
        }
        mpSource->AddOutStream(mpPipe);
        mpReplica->AddInStream(mpPipe);
    }

    void Send(Object* pGraph)
    {
        mpSource->SetRoot(pGraph);
        mpSource->Execute(Value::Null);
        mpReplica->UpdateInput();
    }

    List* GetReplica() const { return static_cast<List*>(mpReplica->GetRoot()); }

    Ptr<IOStream> mpPipe;
    Ptr<ObjectDiffSerializer> mpSource;
    Ptr<ObjectDiffSerializer> mpReplica;
};

} // namespace

TEST(SizeTest, AMillionObjectsAreReplicatedAsATree)
{
    RunOnSmallStack(STACK_SIZE, [] {
        constexpr int WIDTH = IS_OPTIMIZED ? 1000 : 300;
        const Ptr<List> pGraph = List::Construct(Value::Null);
        for (int i = 0; i < WIDTH; ++i) {
            pGraph->Insert(MakeList(WIDTH - 1));
        }
        Replication replication;
        replication.Send(pGraph);
        ASSERT_NE(replication.GetReplica(), nullptr);
        ASSERT_EQ(replication.GetReplica()->GetSize(), WIDTH);
        for (int i = 0; i < WIDTH; ++i) {
            const List* const pBranch = static_cast<List*>(replication.GetReplica()->GetAt(i));
            ASSERT_EQ(pBranch->GetSize(), WIDTH - 1);
            EXPECT_EQ(AsLink(pBranch->GetObjects().GetAt(WIDTH - 2))->mNumber, WIDTH - 2);
        }
        pGraph->Clear();
        replication.Send(pGraph);
        EXPECT_EQ(replication.GetReplica()->GetSize(), 0);
    });
}

TEST(SizeTest, AListOf65536ItemsIsReplicatedAndOneMoreStopsAtTheAssertion)
{
    const Ptr<Object> pGraph = MakeList(65536);
    Replication replication;
    replication.Send(pGraph);
    EXPECT_EQ(replication.GetReplica()->GetSize(), 65536);
    static_cast<List*>(static_cast<Object*>(pGraph))->Insert(nullptr);
    CapturedMessages messages;
    ResumedAssertions resumed;
    replication.Send(pGraph);
    EXPECT_EQ(resumed.GetCount(), 1);
    EXPECT_THAT(messages.TakeError(), HasSubstr("ASSERT( packet.index == index )"));
    EXPECT_EQ(replication.GetReplica()->GetSize(), 65536);
}

TEST(SizeDeathTest, AListOf65537ItemsStopsTheSource)
{
    const Ptr<Object> pGraph = MakeList(65537);
    Replication replication;
    EXPECT_ASSERTION(replication.Send(pGraph), "packet.index == index");
}
