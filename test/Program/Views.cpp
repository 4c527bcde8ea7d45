// One of each kind of value that a debugger shows in a form of its own, whole and damaged. A debugger stops
// in Stop and looks at the frame above.

#include "QBase/Array.h"
#include "QBase/HashTable.h"
#include "QBase/LinkedList.h"
#include "QBase/List.h"
#include "QBase/Property.h"
#include "QBase/Reflection.h"
#include "QBase/Table.h"
#include "QBase/Value.h"

#include <cstring>

using namespace QBase;

class Moon : public Object
{
    QBASE_OBJECT(Moon, Object)

public:
    String mName = "Io";
    float mRadius = 1821.5f;

protected:
    explicit Moon(const Value&) {}
};

QBASE_IMPLEMENT(Views, Moon)

void Moon::Implement()
{
    AddProperty<&Moon::mName>("Name");
    AddProperty<&Moon::mRadius>("Radius");
}

// Room for a value that is never made.
template <typename T>
struct Unmade
{
    explicit Unmade(int byte) { std::memset(mBytes, byte, sizeof(T)); }
    const T& Get() const { return *reinterpret_cast<const T*>(mBytes); }

    alignas(T) unsigned char mBytes[sizeof(T)];
};

const void* volatile g_pKept;

extern "C" QBASE_NOINLINE void Stop(const void* p)
{
    g_pKept = p;
}

int main()
{
    const String text("two \"words\"\n\xC3\xBC");
    const String noText;
    const Value nothing;
    const Value seven(7);
    const Value tenth(0.1f);
    const Value yes(true);
    const Value word("Io");
    const Value place(Vector3(1, 2.5f, -3));
    const Value cell(Vector2i(3, -4));
    const Value tint(Color(0x11, 0x22, 0x33, 0x44));

    Array<int> numbers;
    numbers.Insert(3);
    numbers.Insert(-4);
    HashTable<int> ages(7);
    ages.Insert("Io", 410);
    ages.Insert("Europa", 411);
    LinkedList<String> names;
    names.Insert("second");
    names.Insert("first");

    Ptr<Moon> pMoon = Moon::Construct(Value::Null);
    pMoon->AddPropertyValueFromValue("Discovered", 1610);
    pMoon->AddPropertyArrayFromValue("Visits", 1)->Insert(pMoon, 1979);
    pMoon->AddPropertyValueFromValue("Discoverer", String("Galileo"));
    const Ptr<Object> pObject = pMoon;
    const Ptr<Object> pNone;
    const Value moon(pObject);
    HashTable<Ptr<Object>> moons(7); // whose code is the library's, as that of the list of names
    moons.Insert("Io", pMoon);
    Ptr<Table> pTable = Table::Construct(Value(7));
    pTable->Insert("moon", pMoon);
    Ptr<List> pList = List::Construct(Value::Null);
    pList->Insert(pMoon);
    pList->Insert(nullptr);
    pList->Insert(pList); // a circle

    const Unmade<String> zeroString(0), wildString(0xA5);
    const Unmade<Value> wildValue(0xA5);
    const Unmade<Array<int>> wildArray(0xA5);
    const Unmade<HashTable<int>> zeroTable(0), wildTable(0xA5);
    const Unmade<LinkedList<int>> wildList(0xA5);
    const Unmade<Ptr<Object>> zeroPtr(0), wildPtr(0xA5);
    const Unmade<Object> zeroObject(0), wildObject(0xA5);
    const String& rZeroString = zeroString.Get();
    const String& rWildString = wildString.Get();
    const Value& rWildValue = wildValue.Get();
    const Array<int>& rWildArray = wildArray.Get();
    const HashTable<int>& rZeroTable = zeroTable.Get();
    const HashTable<int>& rWildTable = wildTable.Get();
    const LinkedList<int>& rWildList = wildList.Get();
    const Ptr<Object>& rZeroPtr = zeroPtr.Get();
    const Ptr<Object>& rWildPtr = wildPtr.Get();
    const Object& rZeroObject = zeroObject.Get();
    const Object& rWildObject = wildObject.Get();

    const void* const all[] = {&rZeroString, &rWildString, &rWildValue, &rWildArray,
                               &rZeroTable,  &rWildTable,  &rWildList,  &rZeroPtr,
                               &rWildPtr,    &rZeroObject, &rWildObject};
    Stop(all);
    pList->Clear();
    return 0;
}
