#include "QBase/Serializer.h"

#include "QBase/AsciiSerializer.h"
#include "QBase/BinarySerializer.h"
#include "QBase/Memory.h"
#include "QBase/Property.h"
#include "QBase/Reflection.h"
#include "QBase/StoredSize.h"
#include "QBase/Stream.h"
#include "Support/CapturedConsole.h"
#include "Support/CountedAllocations.h"
#include "Support/SavedGraphs.h"
#include "Support/Specimen.h"
#include "Support/StoredObjects.h"
#include "Support/VirtualSlot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

// What holds for both formats.

using namespace QBase;
using namespace StoredObjects;
using testing::ElementsAre;
using testing::EndsWith;

namespace StoredObjects
{

namespace
{

// Holds its moon, which knows its planet without holding it.
class Planet : public Object
{
    QBASE_OBJECT(Planet, Object)

public:
    Planet* GetCenter() const { return mpCenter; }
    void SetCenter(Planet* pCenter) { mpCenter = pCenter; }

    Ptr<Planet> mMoon;
    Array<Ptr<Planet>> mRings;
    Planet* mpCenter = nullptr;

protected:
    explicit Planet(const Value& value) : Object(value) {}
};

QBASE_IMPLEMENT(StoredObjects, Planet)

void Planet::Implement()
{
    AddProperty<&Planet::mMoon>("Moon");
    AddProperty<&Planet::mRings>("Rings");
    AddProperty<&Planet::GetCenter, &Planet::SetCenter>("Center");
}

// Takes the property that holds it away from its owner when it goes.
class Thief : public Object
{
    QBASE_OBJECT(Thief, Object)

public:
    ~Thief() override
    {
        if (mpOwner != nullptr) {
            mpOwner->RemoveProperty("Purse");
        }
    }

    Object* mpOwner = nullptr;

protected:
    explicit Thief(const Value& value) : Object(value) {}
};

QBASE_IMPLEMENT(StoredObjects, Thief)

void Thief::Implement()
{}

class Victim : public Object
{
    QBASE_OBJECT(Victim, Object)

protected:
    explicit Victim(const Value& value) : Object(value)
    {
        const Ptr<Thief> pThief = Thief::Construct(Value::Null);
        pThief->mpOwner = this;
        AddPropertyValueFromValue("Purse", Value(pThief));
    }
};

QBASE_IMPLEMENT(StoredObjects, Victim)

void Victim::Implement()
{}

// Its class gets one more property while the program runs.
class Growing : public Object
{
    QBASE_OBJECT(Growing, Object)

public:
    static void AddLate() { AddProperty<&Growing::mLate>("Late"); }
    static void RemoveLate() { ClassTable()->Remove("Late"); }

    int mEarly = 1;
    int mLate = 2;

protected:
    explicit Growing(const Value& value) : Object(value) {}
};

QBASE_IMPLEMENT(StoredObjects, Growing)

void Growing::Implement()
{
    AddProperty<&Growing::mEarly>("Early");
}

// A getter of which does something to the graph that is being saved.
class Meddler : public Object
{
    QBASE_OBJECT(Meddler, Object)

public:
    int GetNumber()
    {
        if (mAct) {
            mAct();
        }
        return 7;
    }
    void SetNumber(int) {}

    std::function<void()> mAct;

protected:
    explicit Meddler(const Value& value) : Object(value) {}
};

QBASE_IMPLEMENT(StoredObjects, Meddler)

void Meddler::Implement()
{
    AddProperty<&Meddler::GetNumber, &Meddler::SetNumber>("Number");
}

// Its Object part is not the first, and it refers to objects of its own class.
class Wagon : public Burdened
{
    QBASE_OBJECT(Wagon, Burdened)

public:
    enum Load : unsigned char
    {
        NOTHING,
        COAL = 200
    };

    int mNumber = 0;
    Load mLoad = NOTHING;
    Ptr<Wagon> mNext;
    Array<Ptr<Wagon>> mOthers;

protected:
    explicit Wagon(const Value& value) : Burdened(value) {}
};

QBASE_IMPLEMENT(StoredObjects, Wagon)

void Wagon::Implement()
{
    AddProperty<&Wagon::mNumber>("Number");
    AddProperty<&Wagon::mLoad>("Load");
    AddProperty<&Wagon::mNext>("Next");
    AddProperty<&Wagon::mOthers>("Others");
}

} // namespace

} // namespace StoredObjects

namespace
{

std::vector<Ptr<Serializer>> BothSerializers()
{
    return {Ptr<Serializer>(AsciiSerializer::Construct(Value::Null)),
            Ptr<Serializer>(BinarySerializer::Construct(Value::Null))};
}

// A file as no Serialize would write it, in both formats. Values are of type "int", or "Object": the number
// of an object, or -1.
struct Document
{
    struct Record
    {
        std::string mName;
        Value::Type mType;
        std::vector<int> mValues;
        bool mbArray = false;
    };
    struct Entry
    {
        std::string mName;
        int mObject;
    };
    struct Stored
    {
        std::string mModule;
        std::string mClass;
        std::vector<Record> mRecords;
        std::vector<Entry> mEntries = {};
    };
    std::vector<Stored> mObjects;

    std::string In(Serializer* pSerializer) const
    {
        return pSerializer->IsDerivedType(AsciiSerializer::ClassTable()) ? AsXml() : AsBytes();
    }

private:
    static std::string Path(int object) { return object < 0 ? "" : "object " + std::to_string(object); }

    std::string AsXml() const
    {
        std::string text = "<QuirlData id=\"1784827729\" version=\"3\">";
        int number = 0;
        for (const Stored& stored : mObjects) {
            text += "<Object Module=\"" + stored.mModule + "\" Class=\"" + stored.mClass + "\" Path=\"" +
                    Path(number++) + "\">";
            for (const Record& record : stored.mRecords) {
                const bool bObject = record.mType == Value::TYPE_OBJECT;
                text += "<Property Name=\"" + record.mName + "\" Type=\"" + (bObject ? "Object" : "int") +
                        (record.mbArray ? "\" Array=\"true\">" : "\">");
                for (const int value : record.mValues) {
                    const std::string valueText = bObject ? Path(value) : std::to_string(value);
                    text += record.mbArray ? "<Value>" + valueText + "</Value>" : valueText;
                }
                text += "</Property>";
            }
            for (const Entry& entry : stored.mEntries) {
                text += "<Child Name=\"" + entry.mName + "\">" + Path(entry.mObject) + "</Child>";
            }
            text += "</Object>";
        }
        return text + "</QuirlData>";
    }

    static std::string Int(int value)
    {
        std::string bytes;
        for (int shift = 0; shift < 32; shift += 8) {
            bytes += static_cast<char>(static_cast<unsigned>(value) >> shift);
        }
        return bytes;
    }

    std::string AsBytes() const
    {
        std::string texts;
        int numTexts = 0;
        const auto number = [&](const std::string& text) {
            texts += Int(static_cast<int>(text.size())) + text;
            return Int(numTexts++);
        };
        std::string table;
        std::string contents;
        for (const Stored& stored : mObjects) {
            table += number(stored.mModule) + number(stored.mClass);
            table += Int(static_cast<int>(stored.mRecords.size()));
            table += Int(static_cast<int>(stored.mEntries.size()));
            for (const Record& record : stored.mRecords) {
                contents += number(record.mName);
                contents += static_cast<char>(record.mType * 4 + (record.mbArray ? 1 : 0));
                contents += record.mbArray ? Int(static_cast<int>(record.mValues.size())) : "";
                for (const int value : record.mValues) {
                    contents += Int(value);
                }
            }
            for (const Entry& entry : stored.mEntries) {
                contents += number(entry.mName) + Int(entry.mObject);
            }
        }
        return Bytes("51 4F 62 6A 03 00 00 00") + Int(numTexts) + Int(static_cast<int>(mObjects.size())) +
               texts + table + contents;
    }
};

// An object that holds itself.
const Document::Stored SELF_HOLDER = {"StoredObjects", "Pair", {{"First", Value::TYPE_OBJECT, {1}}}};

int g_AllocationsLeft;

bool IsLastAllocation(unsigned, AllocType)
{
    return g_AllocationsLeft-- == 0;
}

} // namespace

TEST(SerializerTest, CannotBeConstructedOrCloned)
{
    CapturedMessages messages;
    EXPECT_EQ(Serializer::Construct(Value::Null), nullptr);
    EXPECT_THAT(messages.TakeError(), EndsWith("Failed to Construct interface class"));
    EXPECT_EQ(Serializer::ClassTable()->GetBaseClass(), Object::ClassTable());
    for (Serializer* const pSerializer : BothSerializers()) {
        EXPECT_TRUE(pSerializer->IsDerivedType(Serializer::ClassTable()));
    }
}

TEST(SerializerTest, ItsOperationsFollowThoseOfObjectInOrder)
{
    EXPECT_EQ(VirtualSlot(&Serializer::Serialize),
              VirtualSlot(&Stream::Write)); // the first of its own as well
    EXPECT_EQ(VirtualSlot(&Serializer::Deserialize), VirtualSlot(&Serializer::Serialize) + 1);
}

TEST(SerializerTest, NewMakesSerializersAsWell)
{
    const Ptr<Object> pObject = Object::Construct(Value::Null);
    for (const Ptr<Serializer>& pSerializer :
         {Ptr<Serializer>(new AsciiSerializer), Ptr<Serializer>(new BinarySerializer(Value(7)))}) {
        EXPECT_NE(Loaded(pSerializer, Saved(pSerializer, pObject)).AsObject(), nullptr);
    }
}

TEST(SerializerTest, ALoadedGraphIsSavedAgainAsTheSameBytes)
{
    // More names than buckets, so that several share each.
    const Ptr<Table> pTable = Table::Construct(Value::Null);
    const Ptr<Object> pOwner = Object::Construct(Value::Null);
    for (int i = 0; i < 300; ++i) {
        const String name = String::Format("name %d", i);
        const Ptr<Object> pEntry = Object::Construct(Value::Null);
        pEntry->AddPropertyValueFromValue(name, i);
        pTable->Insert(name, pEntry);
        pOwner->AddPropertyValueFromValue(name, i);
    }
    pTable->Insert("owner", pOwner);
    pTable->Insert("one", Ptr<Object>(Prefilled::Construct(Value::Null)));
    for (Serializer* const pSerializer : BothSerializers()) {
        const std::string bytes = Saved(pSerializer, pTable);
        const Value loaded = Loaded(pSerializer, bytes);
        EXPECT_EQ(Saved(pSerializer, loaded.AsObject()), bytes);
        EXPECT_TRUE(AreSameGraph(pTable, loaded.AsObject()));
    }
}

TEST(SerializerTest, AClassThatChangesBetweenTwoSavesIsStoredAsItIsThen)
{
    for (Serializer* const pSerializer : BothSerializers()) {
        const Ptr<Growing> pGrowing = Growing::Construct(Value::Null);
        pGrowing->mLate = 9;
        const std::string before = Saved(pSerializer, pGrowing);
        Growing::AddLate();
        const std::string between = Saved(pSerializer, pGrowing);
        const Value loaded = Loaded(pSerializer, between);
        EXPECT_EQ(loaded.Get<Growing*>()->mLate, 9);
        Growing::RemoveLate();
        EXPECT_NE(between, before);
        EXPECT_EQ(Saved(pSerializer, pGrowing), before);

        CapturedMessages messages;
        const Value reloaded = Loaded(pSerializer, between);
        EXPECT_THAT(messages.TakeAll(),
                    ElementsAre("WARNING: Ignoring deserialized value StoredObjects.Growing.Late, "
                                "property is invalid."));
        EXPECT_EQ(reloaded.Get<Growing*>()->mLate, 2);
        EXPECT_EQ(reloaded.Get<Growing*>()->mEarly, 1);
    }
}

TEST(SerializerTest, ObjectsOfOneClassWithAndWithoutPropertiesOfTheirOwnAreStoredEachAsItIs)
{
    const Ptr<List> pList = List::Construct(Value::Null);
    for (int i = 0; i < 6; ++i) {
        const Ptr<Pair> pPair = Pair::Construct(Value::Null);
        pPair->mNumber = i;
        pPair->mFirst = pList->GetSize() > 0 ? pList->GetAt(i - 1) : nullptr;
        if (i % 2 == 1) {
            pPair->AddPropertyValueFromValue("Extra", i);
        }
        pList->Insert(pPair);
    }
    for (Serializer* const pSerializer : BothSerializers()) {
        const Value loaded = Loaded(pSerializer, Saved(pSerializer, pList));
        EXPECT_TRUE(AreSameGraph(pList, loaded.AsObject()));
    }
}

TEST(SerializerTest, APropertyOfTheObjectsOwnHidesThatOfItsClass)
{
    const Ptr<List> pList = List::Construct(Value::Null);
    for (int i = 0; i < 3; ++i) {
        const Ptr<Pair> pPair = Pair::Construct(Value::Null);
        pPair->mNumber = i;
        pList->Insert(pPair);
    }
    Object* const pHiding = pList->GetAt(1);
    pHiding->AddPropertyValueFromValue("Other", "own");
    pHiding->GetInstanceTable()->Insert("Number", pHiding->FindProperty("Other"));
    for (Serializer* const pSerializer : BothSerializers()) {
        CapturedMessages messages;
        const Value loaded = Loaded(pSerializer, Saved(pSerializer, pList));
        EXPECT_THAT(messages.TakeAll(),
                    ElementsAre("WARNING: Ignoring deserialized value StoredObjects.Pair.Number, property is "
                                "of different type."));
        List* const pLoaded = loaded.Get<List*>();
        ASSERT_NE(pLoaded, nullptr);
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(static_cast<Pair*>(pLoaded->GetAt(i))->mNumber, i == 1 ? 0 : i);
        }
        EXPECT_EQ(pLoaded->GetAt(1)->FindProperty("Other")->Get(pLoaded->GetAt(1)), Value("own"));
    }
}

TEST(SerializerTest, WhatAGetterLetsGoDuringASaveIsSavedAllTheSame)
{
    for (Serializer* const pSerializer : BothSerializers()) {
        const Ptr<List> pRoot = List::Construct(Value::Null);
        const Ptr<Meddler> pMeddler = Meddler::Construct(Value::Null);
        pRoot->Insert(pMeddler);
        for (int i = 0; i < 100; ++i) {
            const Ptr<Pair> pPair = Pair::Construct(Value::Null);
            pPair->mNumber = i;
            pPair->mFirst = i % 2 == 0 ? Pair::Construct(Value::Null) : nullptr;
            pRoot->Insert(pPair);
        }
        pMeddler->mAct = [&] { pRoot->Clear(); };
        const Value loaded = Loaded(pSerializer, Saved(pSerializer, pRoot));
        EXPECT_EQ(pRoot->GetSize(), 0);
        ASSERT_NE(loaded.AsObject(), nullptr);
        EXPECT_EQ(CountObjects(loaded.AsObject()), 152);
    }
}

TEST(SerializerTest, WhatAGetterChangesDuringASaveIsSavedAsItIsWhenTheWalkGetsThere)
{
    for (Serializer* const pSerializer : BothSerializers()) {
        const Ptr<List> pRoot = List::Construct(Value::Null);
        const Ptr<Everything> pBefore = Everything::Construct(Value::Null);
        const Ptr<Meddler> pMeddler = Meddler::Construct(Value::Null);
        const Ptr<Everything> pBehind = Everything::Construct(Value::Null);
        for (Object* const pObject :
             {static_cast<Object*>(pBefore), static_cast<Object*>(pMeddler), static_cast<Object*>(pBehind)}) {
            pRoot->Insert(pObject);
        }
        pMeddler->mAct = [&] {
            for (Everything* const pObject :
                 {static_cast<Everything*>(pBefore), static_cast<Everything*>(pBehind)}) {
                pObject->mInt = 5;
                pObject->mString = "changed";
                pObject->mInts.Insert(6);
                pObject->mObject = Pair::Construct(Value::Null);
                pObject->mObjects.Insert(pObject->mObject);
            }
        };
        const Value loaded = Loaded(pSerializer, Saved(pSerializer, pRoot));
        List* const pLoaded = loaded.Get<List*>();
        ASSERT_NE(pLoaded, nullptr);
        EXPECT_TRUE(AreSameGraph(pLoaded->GetAt(0), Ptr<Object>(Everything::Construct(Value::Null))));
        EXPECT_TRUE(AreSameGraph(pLoaded->GetAt(2), pBehind));
    }
}

TEST(SerializerTest, ObjectsThatDoNotBeginWithTheirObjectPartComeBack)
{
    const Ptr<Wagon> pFirst = Wagon::Construct(Value::Null);
    const Ptr<Wagon> pSecond = Wagon::Construct(Value::Null);
    pFirst->mNumber = 1;
    pFirst->mLoad = Wagon::COAL; // in fewer bytes than a stored "Enum" has
    pFirst->mNext = pSecond;
    pFirst->mOthers.Insert(nullptr);
    pFirst->mOthers.Insert(pSecond);
    pSecond->mNumber = 2;
    for (Serializer* const pSerializer : BothSerializers()) {
        const Value loaded = Loaded(pSerializer, Saved(pSerializer, pFirst));
        EXPECT_TRUE(AreSameGraph(pFirst, loaded.AsObject()));
        const Wagon* const pLoaded = loaded.Get<Wagon*>();
        ASSERT_NE(pLoaded, nullptr);
        EXPECT_EQ(pLoaded->mLoad, Wagon::COAL);
        EXPECT_EQ(pLoaded->mNext->mNumber, 2);
        EXPECT_EQ(pLoaded->mOthers.GetAt(1), pLoaded->mNext);
    }
}

TEST(SerializerTest, AReferenceToAnObjectOfAnotherClassIsReportedAndNotTaken)
{
    const Document document = {{{"StoredObjects", "Wagon", {{"Next", Value::TYPE_OBJECT, {1}}}},
                                {"StoredObjects", "Pair", {{"Number", Value::TYPE_INT, {4}}}}}};
    for (Serializer* const pSerializer : BothSerializers()) {
        CapturedMessages messages;
        const Value loaded = Loaded(pSerializer, document.In(pSerializer));
        EXPECT_THAT(messages.TakeError(), EndsWith("Failed to set property - object is 'StoredObjects.Pair', "
                                                   "expected 'StoredObjects.Wagon'"));
        ASSERT_NE(loaded.AsObject(), nullptr);
        EXPECT_EQ(loaded.Get<Wagon*>()->mNext, nullptr);
    }
}

TEST(SerializerTest, SavingLeavesAnUnreferencedRootAloneThatItsObjectsKnowButDoNotHold)
{
    for (Serializer* const pSerializer : BothSerializers()) {
        Planet* const pPlanet = Planet::Construct(Value::Null);
        pPlanet->mMoon = Planet::Construct(Value::Null);
        pPlanet->mMoon->SetCenter(pPlanet);
        const std::string bytes = Saved(pSerializer, pPlanet);
        EXPECT_EQ(pPlanet->GetReferenceCount(), 0);

        const Value loaded = Loaded(pSerializer, bytes);
        Planet* const pLoaded = loaded.Get<Planet*>();
        ASSERT_NE(pLoaded, nullptr);
        EXPECT_EQ(pLoaded->mMoon->GetCenter(), pLoaded);
        const Ptr<Object> pOwner = pPlanet;
    }
}

TEST(SerializerTest, TheResultHoldsTheOnlyReferenceOnTheRoot)
{
    for (Serializer* const pSerializer : BothSerializers()) {
        const Ptr<List> pList = List::Construct(Value::Null);
        pList->Insert(Object::Construct(Value::Null));
        const Value loaded = Loaded(pSerializer, Saved(pSerializer, pList));
        ASSERT_NE(loaded.AsObject(), nullptr);
        EXPECT_EQ(loaded.AsObject()->GetReferenceCount(), 1);
        EXPECT_EQ(loaded.Get<List*>()->GetAt(0)->GetReferenceCount(), 1);
    }
}

TEST(SerializerTest, StoredValuesOfConstantsAndExcludedPropertiesArePassedOverWithAWarning)
{
    const std::string warning = "WARNING: Ignoring deserialized value StoredObjects.Everything.";
    const Document document = {{{"StoredObjects",
                                 "Everything",
                                 {{"Answer", Value::TYPE_INT, {5}}, // has no setter
                                  {"LIMIT", Value::TYPE_INT, {6}},
                                  {"Scratch", Value::TYPE_INT, {7}},
                                  {"int", Value::TYPE_INT, {8}}}}}};
    for (Serializer* const pSerializer : BothSerializers()) {
        CapturedMessages messages;
        const Value loaded = Loaded(pSerializer, document.In(pSerializer));
        ASSERT_NE(loaded.AsObject(), nullptr);
        EXPECT_THAT(messages.TakeAll(), ElementsAre(warning + "Answer, property is invalid.",
                                                    warning + "LIMIT, property is invalid.",
                                                    warning + "Scratch, property is invalid."));
        EXPECT_EQ(loaded.Get<Everything*>()->mScratch, 0);
        EXPECT_EQ(loaded.Get<Everything*>()->mInt, 8);
    }
}

TEST(SerializerTest, ACycleThatALaterValuePushesOutIsReleased)
{
    const Document documents[] = {
        {{{"StoredObjects",
           "Pair",
           {{"First", Value::TYPE_OBJECT, {1}}, {"First", Value::TYPE_OBJECT, {-1}}}},
          SELF_HOLDER}},
        {{{"StoredObjects",
           "Everything",
           {{"Value", Value::TYPE_OBJECT, {1}}, {"Value", Value::TYPE_INT, {1}}}},
          SELF_HOLDER}},
        {{{"StoredObjects",
           "Everything",
           {{"Objects", Value::TYPE_OBJECT, {1}, true}, {"Objects", Value::TYPE_OBJECT, {}, true}}},
          SELF_HOLDER}},
        {{{"QBase", "Table", {}, {{"name", 1}, {"name", -1}}}, SELF_HOLDER}}};
    for (Serializer* const pSerializer : BothSerializers()) {
        for (const Document& document : documents) {
            CapturedMessages messages;
            const Value loaded = Loaded(pSerializer, document.In(pSerializer));
            EXPECT_NE(loaded.AsObject(), nullptr);
        }
    }
}

TEST(SerializerTest, AValueThatGivesWayMayTakeItsPropertyAlong)
{
    const Document document = {{{"StoredObjects", "Victim", {{"Purse", Value::TYPE_OBJECT, {-1}}}}}};
    for (Serializer* const pSerializer : BothSerializers()) {
        const Value loaded = Loaded(pSerializer, document.In(pSerializer));
        ASSERT_NE(loaded.AsObject(), nullptr);
        EXPECT_EQ(loaded.AsObject()->FindProperty("Purse"), nullptr);
    }
}

TEST(SerializerTest, ACycleThatAPropertyOfAnotherClassRefusesIsReportedAndReleased)
{
    const Document documents[] = {
        {{{"StoredObjects", "Planet", {{"Moon", Value::TYPE_OBJECT, {1}}}}, SELF_HOLDER}},
        {{{"StoredObjects", "Planet", {{"Rings", Value::TYPE_OBJECT, {-1, 1}, true}}}, SELF_HOLDER}}};
    for (Serializer* const pSerializer : BothSerializers()) {
        for (const Document& document : documents) {
            CapturedMessages messages;
            const Value loaded = Loaded(pSerializer, document.In(pSerializer));
            EXPECT_NE(loaded.AsObject(), nullptr);
            EXPECT_THAT(messages.TakeAll(),
                        ElementsAre(EndsWith("Failed to set property - object is 'StoredObjects.Pair', "
                                             "expected 'StoredObjects.Planet'")));
        }
    }
}

TEST(SerializerTest, ALoadThatRunsOutOfMemoryIsReportedAndLeavesNothingBehind)
{
    for (Serializer* const pSerializer : BothSerializers()) {
        GraphOptions options;
        options.mNumObjects = 12;
        const Ptr<Object> pGraph = RandomGraph(3, options);
        const std::string bytes = Saved(pSerializer, pGraph);
        Dissolve(pGraph);
        bool bFailed = true;
        bool bReported = false;
        for (int allocations = 0; bFailed; ++allocations) {
            const Ptr<MemoryFile> pFile = FileOf(bytes);
            const CapturedConsole console; // where Memory itself reports
            CapturedMessages messages;
            g_AllocationsLeft = allocations;
            Memory::SetFailureHook(IsLastAllocation);
            const Value loaded = pSerializer->Deserialize(pFile);
            Memory::SetFailureHook(nullptr);
            bFailed = g_AllocationsLeft < 0;
            EXPECT_TRUE(bFailed || !loaded.IsVoid());
            for (const std::string& message : messages.TakeAll()) {
                bReported =
                    bReported ||
                    message.find("Failed to deserialize file 'memory' - out of memory") != message.npos;
            }
            if (loaded.AsObject() != nullptr) {
                Dissolve(loaded.AsObject());
            }
        }
        EXPECT_TRUE(bReported);
    }
}

TEST(SerializerTest, ASaveThatRunsOutOfMemoryIsReported)
{
    for (Serializer* const pSerializer : BothSerializers()) {
        GraphOptions options;
        options.mNumObjects = 12;
        const Ptr<Object> pGraph = RandomGraph(3, options);
        const std::string bytes = Saved(pSerializer, pGraph);
        bool bFailed = true;
        for (int after = 0; bFailed; ++after) {
            const Ptr<MemoryFile> pFile = EmptyFile();
            CapturedMessages messages;
            bool bSaved = false;
            {
                const FailingNew failing(1, after);
                bSaved = pSerializer->Serialize(pGraph, pFile);
                bFailed = failing.HasFailed();
            }
            EXPECT_EQ(bSaved, !bFailed);
            if (bFailed) {
                EXPECT_THAT(messages.TakeError(),
                            EndsWith("Failed to serialize to file 'memory' - out of memory"));
            }
        }
        EXPECT_EQ(Saved(pSerializer, pGraph), bytes);
        Dissolve(pGraph);
    }
}

// Each reference holds the whole path of what it leads to. These would take 4 GiB and some bytes, of which a
// number of 32 bits shows the bytes alone.
TEST(SerializerTest, ADocumentThatSomeReferencesMakeTooLargeIsReportedAndNotSaved)
{
    constexpr int NUM_REFERENCES = 4096;
    const Ptr<Table> pRoot = Table::Construct(Value::Null);
    const Ptr<List> pList = List::Construct(Value::Null);
    const Ptr<Object> pFar = Object::Construct(Value::Null);
    pRoot->Insert(std::string(1024 * 1024, 'n').c_str(), pFar);
    pFar->AddPropertyValueFromValue("references", pList);
    for (int i = 0; i < NUM_REFERENCES; ++i) {
        pList->Insert(pFar);
    }
    const Ptr<MemoryFile> pFile = EmptyFile();
    CapturedMessages messages;
    const Ptr<AsciiSerializer> pSerializer = AsciiSerializer::Construct(Value::Null);
    EXPECT_FALSE(pSerializer->Serialize(pRoot, pFile));
    EXPECT_THAT(messages.TakeError(), EndsWith("the document would take more than 2147483647 bytes"));
    EXPECT_EQ(pFile->GetSize(), 0);
    pList->Clear();
}

TEST(SerializerTest, AGraphThatIsTooLargeForOneWriteIsReportedAndNotSaved)
{
    GraphOptions options;
    options.mNumObjects = 12;
    const Ptr<Object> pGraph = RandomGraph(3, options);
    for (Serializer* const pSerializer : BothSerializers()) {
        const std::size_t size = Saved(pSerializer, pGraph).size();
        const bool bXml = pSerializer->IsDerivedType(AsciiSerializer::ClassTable());
        for (const std::size_t largest : {std::size_t{1}, size / 2, size - 20, size}) {
            const Ptr<MemoryFile> pFile = EmptyFile();
            CapturedMessages messages;
            SetLargestStoredSize(largest);
            const bool bSaved = pSerializer->Serialize(pGraph, pFile);
            SetLargestStoredSize(0);
            EXPECT_EQ(bSaved, largest == size);
            if (!bSaved) {
                EXPECT_THAT(messages.TakeError(), EndsWith((bXml ? "the document would take more than "
                                                                 : "the graph would take more than ") +
                                                           std::to_string(largest) + " bytes"));
            }
        }
    }
    Dissolve(pGraph);
}
