// LeakReport explains which objects live: how many of each class were made since a mark, by which chain of
// holders one of them is kept alive, and which keep each other alive in a circle.
//
//     LeakReport::Mark();
//     OpenAndCloseScene();
//     const LeakReport report;              // of this moment
//     report.Print(stdout);
//     report.Explain(pBody);                // "QBase.List #1 (held otherwise) [0] -> Solar.Body #2"
//     LeakReport::EndTrace();
//
// A program that runs with QBASE_REPORT_LEAKS=1 in its environment prints one to standard error when it ends,
// of everything that lives then, after the destructors of its static objects, unless it has ended the trace.
//
// It stands on the block trace of Memory, which Mark begins; without one nothing is counted and nothing
// costs. Objects of a class's description, and the table and properties that one object has of its own, are
// not counted.
//
// What would surprise:
// - Holders are known by what they show: properties, entries of tables, items of lists. What holds an object
//   otherwise (a Ptr in a local variable, a member that is no property) shows only in the number of
//   references that nobody shows: "held otherwise".
// - A property may show an object without holding it. Nobody can tell the two apart; where that makes more
//   holders than references, the report says so.
// - Properties are asked for their values, so getters run.
//
// Threads: as the trace, a report is made while no other thread allocates or changes objects.

#pragma once

#include "QBase/Object.h"

#include <cstdio>

namespace QBase
{

class QBASE_API LeakReport
{
public:
    /// Begins the trace if none runs. Reports count the objects made from now on.
    static void Mark();

    /// Ends the trace. Without one it does nothing.
    static void EndTrace();

    /// Takes stock. Keeps every object that is there alive while the report lives.
    LeakReport();
    ~LeakReport();
    LeakReport(const LeakReport&) = delete;
    LeakReport& operator=(const LeakReport&) = delete;

    /// The objects that live, of all classes or of one ("module.class").
    int GetNumObjects() const;
    int GetNumObjects(const String& className) const;

    /// How many circles keep themselves alive: objects that only hold each other, with all they lead to.
    int GetNumCycles() const;

    /// The shortest chain that keeps an object alive. It begins with an object that something holds which the
    /// report cannot see, or with one of a circle. Of more than 40 links the first and last 20 are named.
    /// String::Null for an object that the trace does not know; those from before the mark it may know.
    String Explain(const Object* pObject) const;

    /// A circle that keeps itself alive, each object with the place that holds the next. String::Null for an
    /// index outside.
    String DescribeCycle(int index) const;

    /// Everything as text: the classes with their numbers, one chain for each, the circles.
    void Print(std::FILE* pOut) const;

private:
    struct Stock;

    Stock* mpStock; // owned
};

} // namespace QBase
