// CallbackHandler is an object whose Execute runs a function of the test.
//
//     Ptr<Object> pHandler = new CallbackHandler([&](const Value& message) { ... });
//     SetErrorHandler(pHandler);

#pragma once

#include "QBase/Object.h"

#include <functional>
#include <utility>

class CallbackHandler : public QBase::Object
{
public:
    using Callback = std::function<void(const QBase::Value&)>;

    explicit CallbackHandler(Callback callback, int* pDestroyed = nullptr)
        : mCallback(std::move(callback)), mpDestroyed(pDestroyed)
    {}

    ~CallbackHandler() override
    {
        if (mpDestroyed) {
            ++*mpDestroyed;
        }
    }

    void Execute(const QBase::Value& value) override { mCallback(value); }

private:
    Callback mCallback;
    int* mpDestroyed; // counts destructions; borrowed, may be null
};
