// Events prints what changes in a graph, pass by pass: one line for each event, for people, or as JSON, for
// programs. Objects appear as the path that leads to them, written as in files.
//
//     Events events(output, Events::TEXT);
//     events.Print(pRoot, 1); // everything is new:     + root.Time = 0
//     events.Print(pRoot, 2); // only what changed:     ~ root.Time = 0.25 (was 0)
//
// Threads: everything belongs to the thread of the graph.

#pragma once

#include "Output.h"

#include "QBase/Object.h"
#include "QBase/ObjectDiff.h"
#include "QBase/Ptr.h"

#include <string>
#include <unordered_map>

namespace Quirl
{

class Events
{
public:
    enum Form
    {
        TEXT,
        JSON
    };

    Events(Output& rOutput, Form form);
    ~Events();
    Events(const Events&) = delete;
    Events& operator=(const Events&) = delete;

    /// Prints how the graph differs from the last call's. `pass` goes to the lines for programs.
    void Print(QBase::Object* pRoot, int pass);

private:
    class Recorder;
    struct Event;

    void FindPaths(QBase::Object* pRoot);
    std::string GetPath(QBase::Object* pObject) const;
    std::string GetPlace(const Event& event) const;
    std::string GetText(const QBase::Value& value, const Event& event) const;
    std::string MakeLine(const Event& event) const;
    Json MakeValueJson(const QBase::Value& value) const;
    Json MakeEventJson(const Event& event) const;

    Output& mrOutput;
    Form mForm;
    QBase::Ptr<QBase::ObjectDiff> mpDiff;
    QBase::Ptr<QBase::Object> mpRecorder;
    std::unordered_map<const QBase::Object*, std::string> mPaths;
};

} // namespace Quirl
