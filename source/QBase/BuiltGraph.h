// BuiltGraph holds the objects that a load has made so far. When the load fails, the links that it made among
// them are undone, so that half-built cycles do not keep themselves alive. When it succeeds, the same happens
// to objects that the root does not lead to, because what led to them no longer fits its class.
//
//     BuiltGraph graph;
//     graph.Add(Construct(module, className));
//     ...                                        // an early return undoes everything
//     return graph.HandOver();                   // the first object

#pragma once

#include "QBase/Memory.h"
#include "QBase/Object.h"
#include "QBase/PositionIndex.h"
#include "QBase/Ptr.h"
#include "QBase/Value.h"

#include <new>
#include <utility>
#include <vector>

namespace QBase
{

class BuiltGraph
{
public:
    BuiltGraph() : mNumFailures(Memory::GetNumFailures()) {}
    BuiltGraph(const BuiltGraph&) = delete;
    BuiltGraph& operator=(const BuiltGraph&) = delete;
    ~BuiltGraph();

    /// Throws std::bad_alloc when memory ran out since the load began: an object may lack what was set or
    /// inserted. Readers ask before each object, so that one shortage is not reported over and over.
    void StopWithoutMemory() const
    {
        if (QBASE_UNLIKELY(Memory::GetNumFailures() != mNumFailures)) {
            throw std::bad_alloc();
        }
    }

    /// Makes room for that many objects.
    void Reserve(std::size_t size)
    {
        mObjects.reserve(size);
        mMarks.reserve(size);
    }

    /// Holds an object, which is not null.
    void Add(Ptr<Object> pObject)
    {
        StopWithoutMemory();
        const int ours = pObject->GetReferenceCount() == 1 ? OURS : 0;
        mMarks.push_back(static_cast<unsigned char>(ours | (mObjects.empty() ? REACHED : 0)));
        mObjects.push_back(std::move(pObject));
    }

    int GetSize() const { return static_cast<int>(mObjects.size()); }
    Object* GetAt(int index) const { return mObjects[static_cast<std::size_t>(index)]; }

    /// The object at `from` now refers to the one at `to`.
    void NoteReference(int from, int to)
    {
        if (from < to) {
            mMarks[static_cast<std::size_t>(to)] |= REACHED;
        }
    }

    /// A reference that was noted may be gone again, or was never taken.
    void NoteLoss() { mbLoss = true; }

    /// The position of an object that is nested deeper than `depth` references; PositionIndex::NONE if there
    /// is none. Before HandOver, once everything stands.
    int FindDeeperThan(std::int64_t depth);

    /// The first object. From now on nothing is undone. Throws like StopWithoutMemory.
    Value HandOver();

private:
    // What is known of an object.
    static constexpr unsigned char OURS = 1; // no object that a class's Construct gave out before
    static constexpr unsigned char REACHED =
        2; // an object before it refers to it; hence the root leads to it

    bool IsOurs(std::size_t position) const { return (mMarks[position] & OURS) != 0; }
    bool IsReached(std::size_t position) const { return (mMarks[position] & REACHED) != 0; }
    void ReleaseUnreachable();
    void Spread(std::vector<int>& rReached);
    void IndexPositions();
    template <typename Visit>
    void VisitPositions(int position, Visit visit) const;
    static void Unlink(Object* pObject);
    static void Unlink(Object* pObject, Property* pProperty);

    std::vector<Ptr<Object>> mObjects;
    std::vector<unsigned char> mMarks; // by position; at least as many as there are objects
    PositionIndex mPositions;          // of the objects, once somebody asks for them
    int mNumIndexed = 0;
    bool mbLoss = false; // marks may say REACHED too often
    bool mbHandedOver = false;
    unsigned mNumFailures; // when the load began
};

} // namespace QBase
