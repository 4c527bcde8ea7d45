// ObjectDiff finds out what changed in an object graph between two calls. It keeps a snapshot of everything
// that can be reached from its root and, with each Execute, walks the graph again, reports every difference
// to a handler and brings the snapshot up to date. Nothing is hooked into the objects: a pass visits them
// all.
//
//     Ptr<ObjectDiff> pDiff = ObjectDiff::Construct(Value::Null);
//     pDiff->SetRoot(pScene);
//     pDiff->Execute(Value::Null);        // a silent baseline
//     ...
//     pDiff->Execute(Value(pJournal));    // an ObjectDiffHandler: hears what changed since
//
// Events come depth first: an object's OnAddObject before its property events, what a property refers to
// before the property, all removed objects at the end in the order in which they were first reached. Each
// object is visited once a pass, so sharing and cycles end. A graph of any depth needs no stack.
//
// The snapshot holds references: an object that leaves the graph lives until the pass that reports it.
//
// A handler or a getter may change the graph; what was walked already is then seen by the next pass. It may
// not execute this same ObjectDiff, which is reported and refused.
//
// Threads: a pass and the graph it walks are driven by one thread at a time.

#pragma once

#include "QBase/Object.h"

#include <cstdint>

namespace QBase
{

class ObjectDiffHandler;
class ObjectDiffPass;
class ObjectDiffSnapshot;

class QBASE_API ObjectDiff : public Object
{
    QBASE_OBJECT(ObjectDiff, Object)

public:
    /// The graph to watch. A new root keeps the snapshot: what it does not reach any more is reported as
    /// removed by the next pass. Holds it.
    void SetRoot(Object* pRoot) { mpRoot = pRoot; }

    /// Borrowed.
    Object* GetRoot() const { return mpRoot; }

    /// One pass. An "Object" value that is an ObjectDiffHandler receives the events; with anything else only
    /// the snapshot is brought up to date.
    void Execute(const Value& value) override;

    ~ObjectDiff() override;

protected:
    explicit ObjectDiff(const Value& value);

    /// The same root with an empty snapshot.
    ObjectDiff(const ObjectDiff& other);
    ObjectDiff& operator=(const ObjectDiff& other);

private:
    friend class ObjectDiffPass;
    friend class ObjectDiffSerializer;

    // The pass itself, for a handler without any reference of its own.
    void RunPass(ObjectDiffHandler* pHandler);

    // What the last pass saw, as a first pass would report it; no object is asked. Not while one is under
    // way.
    void DescribeSnapshot(ObjectDiffHandler* pHandler);
    bool HasSnapshot() const;

    Ptr<Object> mpRoot;
    Ptr<Object> mpReportedRoot;     // that of the previous pass
    ObjectDiffSnapshot* mpSnapshot; // owned
    std::uint8_t mPassMark;         // wraps
    bool mbExecuting;
};

} // namespace QBase
