// Graph is every object that can be reached from a root, numbered in the order in which they are first
// reached: an object before what it refers to, and that depth first, as files have them.
//
//     Graph graph(pRoot);
//     graph.GetObject(0);          // the root
//     graph.GetReferences(0);      // what it refers to: properties, then table entries or list items
//     graph.GetPath(5);            // "root.Sun.Satellites[2]"
//
// A Graph owns its objects: when it goes, it first takes all references among them apart, because objects
// that refer to each other in a circle would hold each other for ever. One that BORROWS only looks at them.
// Excluded properties, which no file has, are neither followed nor taken apart.
//
// Threads: a graph and its objects are used by one thread at a time.

#pragma once

#include "QBase/Object.h"
#include "QBase/Property.h"
#include "QBase/Ptr.h"
#include "QBase/String.h"

#include <cstddef>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

namespace Quirl
{

// One reference from an object to another, or to null.
struct Reference
{
    enum Kind
    {
        PROPERTY, // a single property
        ELEMENT,  // an element of an array property
        ENTRY,    // of a table
        ITEM      // of a list
    };

    static constexpr std::size_t NOTHING = static_cast<std::size_t>(-1);

    Kind mKind;
    int mIndex;          // of an element or item
    QBase::String mName; // of a property or entry
    QBase::Ptr<QBase::Object> mpObject;
    std::size_t mTarget; // the number of the object; NOTHING for null
    bool mbFirst;        // whether the target was first reached through this reference

    /// "Sun", "Moons[2]", "[entry]" or "[7]".
    std::string GetLabel() const;
};

class Graph
{
public:
    enum Ownership
    {
        OWNS,
        BORROWS
    };

    /// A null root gives a graph without objects.
    explicit Graph(QBase::Object* pRoot, Ownership ownership = OWNS);
    ~Graph();
    Graph(const Graph&) = delete;
    Graph& operator=(const Graph&) = delete;

    std::size_t GetSize() const { return mNodes.size(); }
    /// The object's number; NOTHING for one that is not in the graph.
    std::size_t Find(const QBase::Object* pObject) const;

    QBase::Object* GetObject(std::size_t number) const { return mNodes[number].mpObject; }
    const std::vector<Reference>& GetReferences(std::size_t number) const
    {
        return mNodes[number].mReferences;
    }

    /// How many references lead to the object, the root's own place not counted.
    std::size_t CountReferencesTo(std::size_t number) const { return mNodes[number].mNumReferencesTo; }

    /// How the object was first reached, written as in files. Of a very long path, "root ... " and its end.
    std::string GetPath(std::size_t number) const;

private:
    struct Node
    {
        QBase::Ptr<QBase::Object> mpObject;
        std::vector<Reference> mReferences;
        std::size_t mDepth;           // references between the root and the object
        std::size_t mParent;          // through which the object was first reached
        std::size_t mParentReference; // among the parent's references
        std::size_t mNumReferencesTo;
    };

    std::size_t Reach(QBase::Object* pObject, std::size_t parent, std::size_t parentReference);
    void TakeApart();

    Ownership mOwnership;
    std::vector<Node> mNodes;
    std::unordered_map<const QBase::Object*, std::size_t> mNumbers;
};

/// Takes all references out of an object that a graph would follow.
void DropReferences(QBase::Object* pObject);

/// Calls `take` for each property that files have and that no reference stands for: it holds no objects, or
/// is an empty array. In their order.
void ForEachPlainProperty(QBase::Object* pObject,
                          const std::function<void(const QBase::String&, QBase::Property*)>& take);

/// The value of a single property, or each element of an array.
std::vector<QBase::Value> GetValues(QBase::Object* pObject, QBase::Property* pProperty);

} // namespace Quirl
