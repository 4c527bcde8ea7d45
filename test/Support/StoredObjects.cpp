#include "Support/StoredObjects.h"

#include "QBase/Property.h"
#include "QBase/Reflection.h"
#include "QBase/StringConverter.h"

#include <bit>
#include <cmath>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <vector>

using namespace QBase;

namespace StoredObjects
{

QBASE_IMPLEMENT(StoredObjects, Everything)
QBASE_IMPLEMENT(StoredObjects, Pair)
QBASE_IMPLEMENT(StoredObjects, Renumbered)
QBASE_IMPLEMENT(StoredObjects, Prefilled)
QBASE_IMPLEMENT(StoredObjects, PrefilledList)
QBASE_IMPLEMENT(StoredObjects, PrefilledTable)
QBASE_IMPLEMENT(StoredObjects, Fickle)

void Everything::Implement()
{
    AddEnum<Mood>("Mood", {{"Calm", CALM}, {"Eager", EAGER}, {"Wild", WILD}});
    AddProperty<&Everything::mInt>("int");
    AddProperty<&Everything::mFloat>("float");
    AddProperty<&Everything::mBool>("bool");
    AddProperty<&Everything::mString>("String");
    AddProperty<&Everything::mObject>("Object");
    AddProperty<&Everything::mVector2>("Vector2");
    AddProperty<&Everything::mVector3>("Vector3");
    AddProperty<&Everything::mVector4>("Vector4");
    AddProperty<&Everything::mVector2i>("Vector2i");
    AddProperty<&Everything::mVector3i>("Vector3i");
    AddProperty<&Everything::mVector4i>("Vector4i");
    AddProperty<&Everything::mColor>("Color");
    AddProperty<&Everything::mMood>("Enum");
    AddProperty<&Everything::mQuaternion>("Quaternion");
    AddProperty<&Everything::mAny>("Value");
    AddProperty<&Everything::mInts>("ints");
    AddProperty<&Everything::mFloats>("floats");
    AddProperty<&Everything::mBools>("bools");
    AddProperty<&Everything::mStrings>("Strings");
    AddProperty<&Everything::mObjects>("Objects");
    AddProperty<&Everything::mVector3s>("Vector3s");
    AddProperty<&Everything::mColors>("Colors");
    AddProperty<&Everything::mMoods>("Enums");
    AddProperty<&Everything::mAnys>("Values");
    AddProperty<&Everything::mScratch>("Scratch", {.mbExcluded = true});
    AddProperty<&Everything::GetAnswer>("Answer");
    AddConstant<LIMIT>("LIMIT");
}

Everything::Everything(const Value& value) : Object(value)
{}

void Pair::Implement()
{
    AddProperty<&Pair::mNumber>("Number");
    AddProperty<&Pair::mFirst>("First");
    AddProperty<&Pair::mSecond>("Second");
}

Pair::Pair(const Value& value) : Object(value)
{}

void Renumbered::Implement()
{
    AddProperty<&Renumbered::mNumberText>("Number");
}

Renumbered::Renumbered(const Value& value) : Pair(value)
{}

void Prefilled::Implement()
{
    AddProperty<&Prefilled::mNumbers>("Numbers");
    AddProperty<&Prefilled::mHidden>("Hidden", {.mbExcluded = true});
}

Prefilled::Prefilled(const Value& value) : Object(value)
{
    for (int i = 1; i <= 3; ++i) {
        mNumbers.Insert(i);
    }
    AddPropertyValueFromValue("Extra", 5);
}

void PrefilledList::Implement()
{}

PrefilledList::PrefilledList(const Value& value) : List(value)
{
    Insert(Object::Construct(Value::Null));
    Insert(nullptr);
}

void PrefilledTable::Implement()
{}

PrefilledTable::PrefilledTable(const Value& value) : Table(value)
{
    Table::Insert("default", Object::Construct(Value::Null));
}

void Fickle::Implement()
{
    AddProperty<&Fickle::GetFresh, &Fickle::SetFresh>("Fresh");
}

Fickle::Fickle(const Value& value) : Object(value)
{}

Ptr<Object> Fickle::GetFresh()
{
    Ptr<Pair> pFresh = Pair::Construct(Value::Null);
    pFresh->mNumber = ++mReads;
    return Ptr<Object>(static_cast<Object*>(pFresh));
}

namespace
{

class Generator
{
public:
    Generator(unsigned seed, const GraphOptions& options) : mRandom(seed), mOptions(options) {}

    Ptr<Object> Run()
    {
        mObjects.push_back(Ptr<Object>(Table::Construct(Value(Roll(40)))));
        while (static_cast<int>(mObjects.size()) < mOptions.mNumObjects) {
            mObjects.push_back(MakeObject());
        }
        // Everything hangs on something before it, so all of it can be reached.
        for (std::size_t i = 0; i < mObjects.size(); ++i) {
            Fill(mObjects[i]);
            if (i > 0) {
                const String name = String::Format("%s#%d", Name().c_str(), static_cast<int>(i));
                static_cast<Table*>(static_cast<Object*>(mObjects[0]))->Insert(name, mObjects[i]);
            }
        }
        return mObjects[0];
    }

private:
    int Roll(int sides) { return static_cast<int>(mRandom() % static_cast<unsigned>(sides)); }

    Ptr<Object> MakeObject()
    {
        switch (Roll(8)) {
        case 0:
            return Ptr<Object>(Table::Construct(Value(1 + Roll(20))));
        case 1:
            return Ptr<Object>(List::Construct(Value::Null));
        case 2:
            return Ptr<Object>(Object::Construct(Value::Null));
        case 3:
            return Ptr<Object>(Prefilled::Construct(Value::Null));
        case 4:
            return Ptr<Object>(Renumbered::Construct(Value::Null));
        case 5:
            return Ptr<Object>(Pair::Construct(Value::Null));
        default:
            return Ptr<Object>(Everything::Construct(Value::Null));
        }
    }

    Object* Any()
    {
        return Roll(5) == 0 ? nullptr : static_cast<Object*>(mObjects[mRandom() % mObjects.size()]);
    }

    String Text()
    {
        static const char* const sTexts[] = {"",
                                             " ",
                                             "\n",
                                             "\r\n",
                                             "\t",
                                             " a ",
                                             "]]>",
                                             "&#10;",
                                             "&amp;",
                                             "<b c=\"d\">'e'</b>",
                                             "\x01\x1f",
                                             "\x7f",
                                             "\xEF\xBF\xBE",
                                             "a.b[0]",
                                             "root",
                                             "\xF0\x9F\x98\x80",
                                             "&",
                                             "&#0;",
                                             "  \r"};
        if (Roll(3) == 0) {
            return sTexts[Roll(static_cast<int>(std::size(sTexts)))];
        }
        return String::Format("text %d", Roll(1000));
    }

    String Name()
    {
        static const char* const sNames[] = {"a",  "b",   "a][b", "p.q", "[0]", "]",   " ",     "\t",
                                             "\"", "<&>", "\r",   "#2",  "a#2", "\n.", "Number"};
        if (mOptions.mbEmptyNames && Roll(20) == 0) {
            return String::Null;
        }
        if (mOptions.mbHardNames && Roll(3) == 0) {
            return sNames[Roll(static_cast<int>(std::size(sNames)))];
        }
        return String::Format("name%d", Roll(100000));
    }

    float Float()
    {
        if (mOptions.mbRoundedVectors) {
            return static_cast<float>(Roll(2000) - 1000) / 8.0f;
        }
        return std::bit_cast<float>(static_cast<std::uint32_t>(mRandom()));
    }

    // Any float that its own text keeps: all but the kinds of NaN.
    float Scalar()
    {
        const float value = std::bit_cast<float>(static_cast<std::uint32_t>(mRandom()));
        return mOptions.mbRoundedVectors && std::isnan(value) ? std::numeric_limits<float>::quiet_NaN()
                                                              : value;
    }

    int Int() { return static_cast<int>(mRandom()); }

    Value AnyValue(Value::Type type)
    {
        switch (type) {
        case Value::TYPE_INT:
            return Int();
        case Value::TYPE_FLOAT:
            return Scalar();
        case Value::TYPE_BOOL:
            return Roll(2) == 0;
        case Value::TYPE_STRING:
            return Text();
        case Value::TYPE_OBJECT:
            return Value(Any());
        case Value::TYPE_VECTOR2:
            return Vector2(Float(), Float());
        case Value::TYPE_VECTOR3:
            return Vector3(Float(), Float(), Float());
        case Value::TYPE_VECTOR4:
            return Vector4(Float(), Float(), Float(), Float());
        case Value::TYPE_VECTOR2I:
            return Vector2i(Int(), Int());
        case Value::TYPE_VECTOR3I:
            return Vector3i(Int(), Int(), Int());
        case Value::TYPE_VECTOR4I:
            return Vector4i(Int(), Int(), Int(), Int());
        case Value::TYPE_COLOR:
            return Color::FromUint32(static_cast<std::uint32_t>(mRandom()));
        case Value::TYPE_ENUM:
            return Value(static_cast<Everything::Mood>(Roll(100)));
        default:
            return Quaternion(Float(), Float(), Float(), Float());
        }
    }

    Value::Type AnyType()
    {
        static constexpr Value::Type TYPES[] = {
            Value::TYPE_INT,      Value::TYPE_FLOAT,     Value::TYPE_BOOL,     Value::TYPE_STRING,
            Value::TYPE_OBJECT,   Value::TYPE_VECTOR2,   Value::TYPE_VECTOR3,  Value::TYPE_VECTOR4,
            Value::TYPE_VECTOR2I, Value::TYPE_VECTOR3I,  Value::TYPE_VECTOR4I, Value::TYPE_COLOR,
            Value::TYPE_ENUM,     Value::TYPE_QUATERNION};
        return TYPES[Roll(static_cast<int>(std::size(TYPES)))];
    }

    void Set(Object* pObject, Property* pProperty, Value::Type type)
    {
        if (!pProperty->IsArray()) {
            pProperty->Set(pObject, AnyValue(type));
            return;
        }
        pProperty->Clear(pObject);
        for (int i = Roll(4); i > 0; --i) {
            pProperty->Insert(pObject, AnyValue(type));
        }
    }

    void Fill(Object* pObject)
    {
        for (const char* pName :
             {"int",     "float",    "bool",     "String",   "Object",  "Vector2", "Vector3",
              "Vector4", "Vector2i", "Vector3i", "Vector4i", "Color",   "Enum",    "Quaternion",
              "Value",   "ints",     "floats",   "bools",    "Strings", "Objects", "Vector3s",
              "Colors",  "Enums",    "Values",   "Number",   "First",   "Second",  "Numbers"}) {
            if (Property* const pProperty = pObject->FindProperty(pName)) {
                const Value::Type type = pProperty->GetType();
                Set(pObject, pProperty, type == Value::TYPE_VALUE ? AnyType() : type);
            }
        }
        for (int i = Roll(4); i > 0; --i) {
            const String name = Name();
            const Value::Type type = AnyType();
            if (pObject->FindProperty(name) != nullptr || pObject->FindFunction(name) != nullptr) {
                continue;
            }
            Property* const pProperty =
                Roll(3) == 0 ? pObject->AddPropertyArray(name, type) : pObject->AddPropertyValue(name, type);
            Set(pObject, pProperty, type);
        }
        for (int i = Roll(5); i > 0; --i) {
            if (pObject->IsDerivedType(Table::ClassTable())) {
                static_cast<Table*>(pObject)->Insert(Name(), Any());
            } else if (pObject->IsDerivedType(List::ClassTable())) {
                static_cast<List*>(pObject)->Insert(Any());
            }
        }
    }

    std::mt19937 mRandom;
    GraphOptions mOptions;
    std::vector<Ptr<Object>> mObjects;
};

// The properties that count, by name.
std::map<std::string, Ptr<Property>> PropertiesOf(Object* pObject)
{
    std::map<std::string, Ptr<Property>> properties;
    for (const ClassInfoTable* pTable = pObject->GetInstanceOrClassTable(); pTable != nullptr;
         pTable = pTable->GetBaseClass()) {
        for (const auto& node : pTable->GetEntries()) {
            Property* const pProperty = pObject->FindProperty(node.GetKey());
            if (pProperty != nullptr && !pProperty->IsExcluded()) {
                properties[node.GetKey().c_str()] = pProperty;
            }
        }
    }
    return properties;
}

std::vector<Value> ValuesOf(Object* pObject, Property* pProperty)
{
    std::vector<Value> values;
    if (!pProperty->IsArray()) {
        values.push_back(pProperty->Get(pObject));
    }
    for (int i = 0; pProperty->IsArray() && i < pProperty->GetSize(pObject); ++i) {
        values.push_back(pProperty->GetAt(pObject, i));
    }
    return values;
}

std::map<std::string, Object*> EntriesOf(Object* pObject)
{
    std::map<std::string, Object*> entries;
    if (pObject->IsDerivedType(Table::ClassTable())) {
        for (const auto& node : static_cast<Table*>(pObject)->GetEntries()) {
            entries[node.GetKey().c_str()] = node.GetValue();
        }
    } else if (pObject->IsDerivedType(List::ClassTable())) {
        int index = 0;
        for (const Ptr<Object>& pItem : static_cast<List*>(pObject)->GetObjects()) {
            entries[std::to_string(index++)] = pItem;
        }
    }
    return entries;
}

class Comparison
{
public:
    testing::AssertionResult Run(Object* pA, Object* pB)
    {
        if (!Match(pA, pB)) {
            return Different("the roots");
        }
        for (std::size_t i = 0; i < mPairs.size(); ++i) {
            const testing::AssertionResult result = Compare(mPairs[i].first, mPairs[i].second);
            if (!result) {
                return result;
            }
        }
        return testing::AssertionSuccess();
    }

private:
    static testing::AssertionResult Different(const std::string& what)
    {
        return testing::AssertionFailure() << "the graphs differ in " << what;
    }

    // Each object of one graph stands for exactly one of the other.
    bool Match(Object* pA, Object* pB)
    {
        if (pA == nullptr || pB == nullptr) {
            return pA == pB;
        }
        const auto a = mAToB.find(pA);
        const auto b = mBToA.find(pB);
        if (a != mAToB.end() || b != mBToA.end()) {
            return a != mAToB.end() && b != mBToA.end() && a->second == pB && b->second == pA;
        }
        mAToB[pA] = pB;
        mBToA[pB] = pA;
        mPairs.push_back({pA, pB});
        return true;
    }

    bool Match(const Value& a, const Value& b)
    {
        if (a.GetType() != b.GetType()) {
            return false;
        }
        if (a.GetType() == Value::TYPE_STRING) {
            return std::string(a.AsString().c_str()) == b.AsString().c_str();
        }
        return a.GetType() == Value::TYPE_OBJECT ? Match(a.AsObject(), b.AsObject()) : a == b;
    }

    testing::AssertionResult Compare(Object* pA, Object* pB)
    {
        if (pA->GetClassTable() != pB->GetClassTable()) {
            return Different("a class");
        }
        const auto propertiesA = PropertiesOf(pA);
        const auto propertiesB = PropertiesOf(pB);
        if (propertiesA.size() != propertiesB.size()) {
            return Different("the properties of a " + std::string(pA->GetClassName().c_str()));
        }
        for (const auto& [name, pPropertyA] : propertiesA) {
            const auto found = propertiesB.find(name);
            const std::string what = std::string("the property ") + pA->GetClassName().c_str() + "." + name;
            if (found == propertiesB.end() || pPropertyA->GetType() != found->second->GetType() ||
                pPropertyA->IsDynamic() != found->second->IsDynamic()) {
                return Different(what);
            }
            const std::vector<Value> valuesA = ValuesOf(pA, pPropertyA);
            const std::vector<Value> valuesB = ValuesOf(pB, found->second);
            if (valuesA.size() != valuesB.size()) {
                return Different("the size of " + what);
            }
            for (std::size_t i = 0; i < valuesA.size(); ++i) {
                if (!Match(valuesA[i], valuesB[i])) {
                    return Different("a value of " + what);
                }
            }
        }
        const auto entriesA = EntriesOf(pA);
        const auto entriesB = EntriesOf(pB);
        if (entriesA.size() != entriesB.size()) {
            return Different("the number of children");
        }
        for (const auto& [name, pChild] : entriesA) {
            const auto found = entriesB.find(name);
            if (found == entriesB.end() || !Match(pChild, found->second)) {
                return Different("the child " + name);
            }
        }
        return testing::AssertionSuccess();
    }

    std::map<Object*, Object*> mAToB;
    std::map<Object*, Object*> mBToA;
    std::vector<std::pair<Object*, Object*>> mPairs;
};

std::vector<Ptr<Object>> Reach(Object* pRoot)
{
    std::vector<Ptr<Object>> objects;
    std::set<Object*> known;
    const auto add = [&](Object* pObject) {
        if (pObject != nullptr && known.insert(pObject).second) {
            objects.push_back(pObject);
        }
    };
    add(pRoot);
    for (std::size_t i = 0; i < objects.size(); ++i) {
        for (const auto& [name, pProperty] : PropertiesOf(objects[i])) {
            for (const Value& value : ValuesOf(objects[i], pProperty)) {
                add(value.AsObject());
            }
        }
        for (const auto& [name, pChild] : EntriesOf(objects[i])) {
            add(pChild);
        }
    }
    return objects;
}

} // namespace

Ptr<Object> RandomGraph(unsigned seed, const GraphOptions& options)
{
    return Generator(seed, options).Run();
}

void Dissolve(Object* pRoot)
{
    for (const Ptr<Object>& pObject : Reach(pRoot)) {
        for (const auto& [name, pProperty] : PropertiesOf(pObject)) {
            const bool bObject =
                pProperty->GetType() == Value::TYPE_OBJECT || pProperty->GetType() == Value::TYPE_VALUE;
            if (bObject && pProperty->IsArray()) {
                pProperty->Clear(pObject);
            } else if (bObject) {
                pProperty->Set(pObject, Value(nullptr));
            }
        }
        if (pObject->IsDerivedType(Table::ClassTable())) {
            static_cast<Table*>(static_cast<Object*>(pObject))->Clear();
        } else if (pObject->IsDerivedType(List::ClassTable())) {
            static_cast<List*>(static_cast<Object*>(pObject))->Clear();
        }
    }
}

testing::AssertionResult AreSameGraph(Object* pA, Object* pB)
{
    return Comparison().Run(pA, pB);
}

int CountObjects(Object* pRoot)
{
    return static_cast<int>(Reach(pRoot).size());
}

} // namespace StoredObjects
