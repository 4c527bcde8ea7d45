#include "Compare.h"

#include "Report.h"
#include "Text.h"

#include "QBase/List.h"
#include "QBase/Property.h"
#include "QBase/PropertyList.h"
#include "QBase/Table.h"

#include <unordered_map>
#include <utility>
#include <vector>

using namespace QBase;

namespace Quirl
{

namespace
{

constexpr char ABSENT[] = "(absent)";

std::string CountText(int count, const char* pWhat)
{
    return std::to_string(count) + " " + pWhat + (count == 1 ? "" : "s");
}

std::string DescribeShape(Property* pProperty)
{
    return std::string(pProperty->IsDynamic() ? "dynamic " : "") + GetTypeName(pProperty->GetType()) +
           (pProperty->IsArray() ? "[]" : "");
}

// The property that a file of the object would have under that name, or null.
Property* FindSaved(Object* pObject, const String& name)
{
    Property* const pProperty = pObject->FindProperty(name);
    return pProperty != nullptr && !pProperty->IsExcluded() ? pProperty : nullptr;
}

std::string GetPropertyText(Object* pObject, Property* pProperty)
{
    return pProperty->IsArray() ? CountText(pProperty->GetSize(pObject), "element")
                                : ToText(pProperty->Get(pObject), pProperty->GetEnumInfo());
}

class Comparison
{
public:
    Comparison(const Graph& first, const Graph& second, const std::function<bool(const Difference&)>& take)
        : mFirst(first), mSecond(second), mTake(take), mSecondOf(first.GetSize(), Reference::NOTHING),
          mFirstOf(second.GetSize(), Reference::NOTHING)
    {}

    bool Run()
    {
        Progress progress("Comparing objects", mFirst.GetSize());
        Pair(0, 0);
        for (std::size_t done = 0; done < mPairs.size() && !mbStopped; ++done) {
            CompareObjects(mPairs[done].first, mPairs[done].second);
            progress.SetDone(done + 1);
        }
        return !mbDifferent;
    }

private:
    void Report(std::size_t number, const std::string& label, std::string first, std::string second)
    {
        mbDifferent = true;
        mbStopped =
            mbStopped || !mTake({mFirst.GetPath(number) + label, std::move(first), std::move(second)});
    }

    void Pair(std::size_t first, std::size_t second)
    {
        mSecondOf[first] = second;
        mFirstOf[second] = first;
        mPairs.emplace_back(first, second);
    }

    void CompareObjects(std::size_t first, std::size_t second)
    {
        Object* const pFirst = mFirst.GetObject(first);
        Object* const pSecond = mSecond.GetObject(second);
        if (pFirst->GetClassName() != pSecond->GetClassName() ||
            pFirst->GetModuleName() != pSecond->GetModuleName()) {
            Report(first, "", GetFullClassName(pFirst), GetFullClassName(pSecond));
            return;
        }
        CompareProperties(first, pFirst, pSecond);
        CompareSizes(first, pFirst, pSecond);
        CompareReferences(first, second);
    }

    void CompareProperties(std::size_t number, Object* pFirst, Object* pSecond)
    {
        for (const PropertyList::Entry& entry : PropertyList(pFirst)) {
            if (!entry.mpProperty->IsExcluded()) {
                CompareProperty(number, pFirst, pSecond, entry.mName, entry.mpProperty);
            }
        }
        for (const PropertyList::Entry& entry : PropertyList(pSecond)) {
            Property* const pProperty = entry.mpProperty;
            if (!pProperty->IsExcluded() && FindSaved(pFirst, entry.mName) == nullptr) {
                Report(number, Label(entry.mName), ABSENT, GetPropertyText(pSecond, pProperty));
            }
        }
    }

    void CompareProperty(std::size_t number, Object* pFirst, Object* pSecond, const String& name,
                         Property* pFirstProperty)
    {
        Property* const pSecondProperty = FindSaved(pSecond, name);
        if (pSecondProperty == nullptr) {
            Report(number, Label(name), GetPropertyText(pFirst, pFirstProperty), ABSENT);
            return;
        }
        const std::string firstShape = DescribeShape(pFirstProperty);
        const std::string secondShape = DescribeShape(pSecondProperty);
        if (firstShape != secondShape) {
            Report(number, Label(name), firstShape, secondShape);
            return;
        }
        const std::vector<Value> firstValues = GetValues(pFirst, pFirstProperty);
        const std::vector<Value> secondValues = GetValues(pSecond, pSecondProperty);
        if (firstValues.size() != secondValues.size()) {
            Report(number, Label(name), GetPropertyText(pFirst, pFirstProperty),
                   GetPropertyText(pSecond, pSecondProperty));
            return;
        }
        for (std::size_t index = 0; index < firstValues.size(); ++index) {
            const Value& firstValue = firstValues[index];
            const Value& secondValue = secondValues[index];
            const bool bObjects =
                firstValue.GetType() == Value::TYPE_OBJECT && secondValue.GetType() == Value::TYPE_OBJECT;
            if (!bObjects && !(firstValue == secondValue)) { // objects are compared as references
                const std::string place = pFirstProperty->IsArray() ? "[" + std::to_string(index) + "]" : "";
                Report(number, Label(name) + place, ToText(firstValue, pFirstProperty->GetEnumInfo()),
                       ToText(secondValue, pSecondProperty->GetEnumInfo()));
            }
        }
    }

    void CompareSizes(std::size_t number, Object* pFirst, Object* pSecond)
    {
        if (pFirst->IsDerivedType(List::ClassTable())) {
            const int firstSize = static_cast<List*>(pFirst)->GetSize();
            const int secondSize = static_cast<List*>(pSecond)->GetSize();
            if (firstSize != secondSize) {
                Report(number, "", CountText(firstSize, "item"), CountText(secondSize, "item"));
            }
        }
    }

    using Key = std::pair<String, long long>;

    struct KeyHash
    {
        std::size_t operator()(const Key& key) const
        {
            return std::hash<String>()(key.first) ^ (std::hash<long long>()(key.second) * 0x9E3779B9u);
        }
    };

    // What a reference has to have in common with its counterpart.
    static Key KeyOf(const Reference& reference)
    {
        return {reference.mName, static_cast<long long>(reference.mKind) << 32 | reference.mIndex};
    }

    // Mostly both objects list their references in the same order; only when not, they are looked up.
    void CompareReferences(std::size_t firstOwner, std::size_t secondOwner)
    {
        const std::vector<Reference>& firsts = mFirst.GetReferences(firstOwner);
        const std::vector<Reference>& seconds = mSecond.GetReferences(secondOwner);
        std::size_t numSame = 0;
        while (numSame < firsts.size() && numSame < seconds.size() &&
               KeyOf(firsts[numSame]) == KeyOf(seconds[numSame])) {
            CompareTargets(firstOwner, firsts[numSame], seconds[numSame]);
            ++numSame;
        }
        std::unordered_map<Key, const Reference*, KeyHash> rest;
        for (std::size_t index = numSame; index < seconds.size(); ++index) {
            rest.emplace(KeyOf(seconds[index]), &seconds[index]);
        }
        for (std::size_t index = numSame; index < firsts.size(); ++index) {
            const auto found = rest.find(KeyOf(firsts[index]));
            if (found != rest.end()) {
                CompareTargets(firstOwner, firsts[index], *found->second);
                rest.erase(found);
            } else {
                ReportMissing(firstOwner, firsts[index], true);
            }
        }
        for (std::size_t index = numSame; index < seconds.size(); ++index) {
            if (rest.count(KeyOf(seconds[index])) != 0) {
                ReportMissing(firstOwner, seconds[index], false);
            }
        }
    }

    // Properties and array sizes were reported with the properties, list sizes with the lists.
    void ReportMissing(std::size_t owner, const Reference& reference, bool bFirstHasIt)
    {
        if (reference.mKind == Reference::ENTRY) {
            const std::string text =
                reference.mpObject != nullptr ? GetFullClassName(reference.mpObject) : "null";
            Report(owner, Label(reference), bFirstHasIt ? text : ABSENT, bFirstHasIt ? ABSENT : text);
        }
    }

    void CompareTargets(std::size_t owner, const Reference& first, const Reference& second)
    {
        const bool bFirstNull = first.mTarget == Reference::NOTHING;
        const bool bSecondNull = second.mTarget == Reference::NOTHING;
        if (bFirstNull || bSecondNull) {
            if (bFirstNull != bSecondNull) {
                Report(owner, Label(first), Describe(mFirst, first), Describe(mSecond, second));
            }
            return;
        }
        const std::size_t knownSecond = mSecondOf[first.mTarget];
        const std::size_t knownFirst = mFirstOf[second.mTarget];
        if (knownSecond == Reference::NOTHING && knownFirst == Reference::NOTHING) {
            Pair(first.mTarget, second.mTarget);
        } else if (knownSecond != second.mTarget) {
            Report(owner, Label(first), DescribeSharing(mFirst, first.mTarget, knownSecond),
                   DescribeSharing(mSecond, second.mTarget, knownFirst));
        }
    }

    static std::string Describe(const Graph& graph, const Reference& reference)
    {
        return reference.mTarget == Reference::NOTHING ? "null"
                                                       : GetFullClassName(graph.GetObject(reference.mTarget));
    }

    // One side refers to an object that has another counterpart, or the other side to one of its own.
    static std::string DescribeSharing(const Graph& graph, std::size_t number, std::size_t counterpart)
    {
        return counterpart == Reference::NOTHING ? "an object of its own"
                                                 : "the same object as " + graph.GetPath(number);
    }

    static std::string Label(const String& name) { return std::string(".") + name.c_str(); }

    static std::string Label(const Reference& reference)
    {
        const bool bProperty =
            reference.mKind == Reference::PROPERTY || reference.mKind == Reference::ELEMENT;
        return (bProperty ? "." : "") + reference.GetLabel();
    }

    const Graph& mFirst;
    const Graph& mSecond;
    const std::function<bool(const Difference&)>& mTake;
    std::vector<std::size_t> mSecondOf; // the counterpart of each object of the first graph
    std::vector<std::size_t> mFirstOf;  // and of the second
    std::vector<std::pair<std::size_t, std::size_t>> mPairs; // in the order in which they are compared
    bool mbDifferent = false;
    bool mbStopped = false;
};

} // namespace

bool Compare(const Graph& first, const Graph& second, const std::function<bool(const Difference&)>& take)
{
    return Comparison(first, second, take).Run();
}

} // namespace Quirl
