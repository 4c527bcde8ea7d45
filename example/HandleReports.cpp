// Every message of the library goes through Info and Error. A host that installs handlers decides what
// becomes of them; here they are counted and marked.

#include "QBase/Error.h"
#include "QBase/Global.h"
#include "QBase/Reflection.h"

#include <cstdio>

using namespace QBase;

class Log : public Object
{
    QBASE_OBJECT(Log, Object)

public:
    int GetNumReports() const { return mNumReports; }

    void Execute(const Value& text) override
    {
        ++mNumReports;
        std::printf("[%s] %s\n", mPrefix.c_str(), text.AsString().c_str());
    }

protected:
    explicit Log(const Value& prefix) : mPrefix(prefix.Get<String>()) {}

private:
    String mPrefix;
    int mNumReports = 0;
};

QBASE_IMPLEMENT(HandleReports, Log)

void Log::Implement()
{}

int main()
{
    Ptr<Log> pErrors = Log::Construct("error");
    Ptr<Log> pInfos = Log::Construct("info");
    SetErrorHandler(pErrors);
    SetInfoHandler(pInfos);

    Construct("Fleet", "Ship"); // there is none
    Error("Game", 12, "Failed to find '%s'", "treasure");
    Info("WARNING: Skipping light %d", 3); // survivable trouble is an info that says so

    SetErrorHandler(nullptr);
    SetInfoHandler(nullptr);
    return pErrors->GetNumReports() == 2 && pInfos->GetNumReports() == 1 ? 0 : 1;
}
