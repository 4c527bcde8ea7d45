// ErrorHandler shows each error to the user and lets the user end the program: in a message box where there
// is a desktop, as a question on the terminal otherwise. Where nobody can be asked it prints and goes on.
//
//     Ptr<ErrorHandler> pHandler = ErrorHandler::Construct(Value::Null);
//     pHandler->SetHwnd(mainWindow);
//     SetErrorHandler(pHandler);
//
// Threads: messages may come from any thread. Two at the same time may be counted as one.

#pragma once

#include "QBase/Object.h"

namespace QBase
{

class QBASE_API ErrorHandler : public Object
{
    QBASE_OBJECT(ErrorHandler, Object)

public:
    /// The window (an HWND) that owns the box and whose title is its caption; null for none.
    void SetHwnd(void* pWindow) { mHwnd = pWindow; }

    /// How many messages came so far, of whatever type.
    int GetNumErrors() const { return mNumErrors; }

    /// Counts, and shows a "String". Ends the program with exit code 1 when the user wants no more.
    void Execute(const Value& value) override;

protected:
    explicit ErrorHandler(const Value& value);

private:
    void* mHwnd = nullptr;
    int mNumErrors = 0;
};

} // namespace QBase
