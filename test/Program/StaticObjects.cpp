// Objects of static storage use the library before main begins and after it ended, as does a thread that
// main leaves behind.

#include "QBase/Error.h"
#include "QBase/Global.h"
#include "QBase/Object.h"
#include "QBase/Ptr.h"
#include "QBase/String.h"

#include <atomic>
#include <thread>

namespace
{

std::atomic<bool> g_bThreadWorks{false};

class User
{
public:
    explicit User(const char* pName) : mName(pName) { Use("before main"); }
    ~User() { Use("after main"); }

private:
    void Use(const char* pWhen)
    {
        QBase::Ptr<QBase::Object> pTable = QBase::Construct("QBase", "Table", QBase::Value::Null);
        QBase::Info("%s %s: %s.%s", mName.c_str(), pWhen, pTable->GetModuleName().c_str(),
                    pTable->GetClassName().c_str());
        if (mNull != QBase::String::Null || QBase::String() != mNull || mVoid != QBase::Value::Null) {
            QBase::Error("User", 1, "Failed to be null %s", pWhen);
        }
        const QBase::Ptr<QBase::Object> pCopy = QBase::Construct("QBase", "Table", QBase::Value::Null);
        pTable->CopyTo(pCopy);
        if (pTable->Call("GetTableSize").Get<int>() != pCopy->Call("GetTableSize").Get<int>()) {
            QBase::Error("User", 2, "Failed to call by name %s", pWhen);
        }
        const QBase::String repaired("\xFF");
    }

    QBase::String mName;
    QBase::String mNull;
    QBase::Value mVoid;
};

User g_First("first");
User g_Second("second");

} // namespace

int main()
{
    std::thread([] {
        for (int i = 0;; ++i) {
            const QBase::String text = QBase::String::Format("thread %d", i % 100);
            g_bThreadWorks = true;
        }
    }).detach();
    while (!g_bThreadWorks) {
        std::this_thread::yield();
    }
    QBase::Info("main");
    return 0;
}
