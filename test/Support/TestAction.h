// TestAction is an object whose Execute, and whose function "Act", run a piece of a test.
//
//     Ptr<TestAction> pAction = new TestAction([&](const Value& value) { numbers.push_back(value); });
//
// "Act" takes one value as well. A second function may run when the object goes.

#pragma once

#include "QBase/Object.h"

#include <functional>
#include <utility>

class TestAction : public QBase::Object
{
    QBASE_OBJECT(TestAction, QBase::Object)

public:
    using Work = std::function<void(const QBase::Value& value)>;

    explicit TestAction(Work work, std::function<void()> atEnd = {})
        : mWork(std::move(work)), mAtEnd(std::move(atEnd))
    {}
    ~TestAction() override;

    void Execute(const QBase::Value& value) override;
    void Act(const QBase::Value& value) { Execute(value); }

protected:
    explicit TestAction(const QBase::Value& value);
    TestAction(const TestAction& other) = default;

private:
    Work mWork;
    std::function<void()> mAtEnd;
};
