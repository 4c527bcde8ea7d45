#include "QBase/LeakReport.h"

#include "QBase/BlockTrace.h"
#include "QBase/ClassInfoTable.h"
#include "QBase/Enum.h"
#include "QBase/Function.h"
#include "QBase/Global.h"
#include "QBase/List.h"
#include "QBase/Memory.h"
#include "QBase/Property.h"
#include "QBase/PropertyList.h"
#include "QBase/Table.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace QBase
{

namespace
{

constexpr int NOBODY = -1;
constexpr int MOST_CYCLES = 10;        // that Print describes
constexpr std::size_t MOST_LINKS = 40; // of a chain or circle that are named; an even number

std::uint64_t sMark = 0; // where the counted objects begin

// A reference from one object to another, as far as it is shown.
struct Edge
{
    int mHolder;
    int mHeld;
    std::string mPlace; // ".name", "[name]", "[index]"
};

// An object with what is known of it.
struct Entry
{
    Object* mpObject;
    std::string mClass;
    bool mbCounted;             // made since the mark
    int mReferenceCount;        // without the report's own reference
    int mNumShown = 0;          // references that others show
    std::vector<int> mEdges;    // to what it holds
    int mParent = NOBODY;       // the edge by which the shortest chain comes here
    bool mbHeldOutside = false; // by something that nothing shows
    bool mbReached = false;     // from an object that is held outside
    int mComponent = NOBODY;
};

// What belongs to classes and to the properties that an object has of its own is no object of the program's.
bool IsBookkeeping(const Object* pObject)
{
    return pObject->IsDerivedType(ClassInfoTable::ClassTable()) ||
           pObject->IsDerivedType(Property::ClassTable()) || pObject->IsDerivedType(Function::ClassTable()) ||
           pObject->IsDerivedType(EnumInfoObject::ClassTable());
}

// The registry and its modules hold the classes for good.
std::unordered_set<const Object*> GetRegistry()
{
    std::unordered_set<const Object*> registry;
    if (GetModuleTable() != nullptr) {
        registry.insert(GetModuleTable());
        for (const auto& module : GetModuleTable()->GetEntries()) {
            registry.insert(module.GetValue());
        }
    }
    return registry;
}

} // namespace

struct LeakReport::Stock
{
    Stock()
    {
        TakeObjects();
        for (std::size_t i = 0; i < mEntries.size(); ++i) {
            TakeEdges(static_cast<int>(i));
        }
        CountReferences();
        ReachFromOutside();
        FindCycles();
    }

    // --- Taking stock ---

    void TakeObjects()
    {
        const std::unordered_set<const Object*> registry = GetRegistry();
        for (const auto& [sequence, pObject] : BlockTrace::GetObjects()) {
            if (IsBookkeeping(pObject) || registry.count(pObject) != 0) {
                continue;
            }
            mIndex.emplace(pObject, static_cast<int>(mEntries.size()));
            mKept.emplace_back(pObject);
            mEntries.push_back(
                {pObject,
                 std::string(pObject->GetModuleName().c_str()) + "." + pObject->GetClassName().c_str(),
                 sequence >= sMark,
                 0,
                 0,
                 {},
                 NOBODY,
                 false,
                 false,
                 NOBODY});
        }
    }

    void TakeEdges(int holder)
    {
        Object* const pHolder = mEntries[static_cast<std::size_t>(holder)].mpObject;
        for (const PropertyList::Entry& entry : PropertyList(pHolder)) {
            if (entry.mType == Value::TYPE_OBJECT || entry.mType == Value::TYPE_VALUE) {
                TakeProperty(holder, pHolder, entry);
            }
        }
        if (pHolder->IsDerivedType(Table::ClassTable())) {
            for (const auto& node : static_cast<Table*>(pHolder)->GetEntries()) {
                AddEdge(holder, node.GetValue(), std::string("[") + node.GetKey().c_str() + "]");
            }
        } else if (pHolder->IsDerivedType(List::ClassTable())) {
            int index = 0;
            for (const Ptr<Object>& pItem : static_cast<List*>(pHolder)->GetObjects()) {
                AddEdge(holder, pItem, std::string("[").append(std::to_string(index++)).append("]"));
            }
        }
    }

    void TakeProperty(int holder, Object* pHolder, const PropertyList::Entry& entry)
    {
        const std::string place = std::string(".") + entry.mName.c_str();
        if (!entry.mbArray) {
            AddEdge(holder, GetObject(entry.mpProperty->Get(pHolder)), place);
            return;
        }
        const int size = entry.mpProperty->GetSize(pHolder);
        for (int i = 0; i < size; ++i) {
            AddEdge(holder, GetObject(entry.mpProperty->GetAt(pHolder, i)),
                    place + "[" + std::to_string(i) + "]");
        }
    }

    // Borrowed: an object that is counted is kept by the report, and no other is looked at.
    static const Object* GetObject(const Value& value)
    {
        return value.GetType() == Value::TYPE_OBJECT ? value.AsObject() : nullptr;
    }

    void AddEdge(int holder, const Object* pHeld, const std::string& place)
    {
        const auto found = mIndex.find(pHeld);
        if (found != mIndex.end()) {
            mEntries[static_cast<std::size_t>(holder)].mEdges.push_back(static_cast<int>(mEdges.size()));
            mEdges.push_back({holder, found->second, place});
        }
    }

    void CountReferences()
    {
        for (const Edge& edge : mEdges) {
            ++mEntries[static_cast<std::size_t>(edge.mHeld)].mNumShown;
        }
        for (Entry& rEntry : mEntries) {
            rEntry.mReferenceCount = rEntry.mpObject->GetReferenceCount() - 1;
            // An object that nobody ever held belongs to whoever made it.
            rEntry.mbHeldOutside = rEntry.mReferenceCount > rEntry.mNumShown || rEntry.mReferenceCount <= 0;
        }
    }

    // --- Chains and circles ---

    // Breadth first, so that the first way to an object is a shortest one.
    void Reach(std::vector<int> line)
    {
        for (const int start : line) {
            mEntries[static_cast<std::size_t>(start)].mbReached = true;
        }
        for (std::size_t next = 0; next < line.size(); ++next) {
            for (const int edge : mEntries[static_cast<std::size_t>(line[next])].mEdges) {
                const int held = mEdges[static_cast<std::size_t>(edge)].mHeld;
                Entry& rHeld = mEntries[static_cast<std::size_t>(held)];
                if (!rHeld.mbReached) {
                    rHeld.mbReached = true;
                    rHeld.mParent = edge;
                    line.push_back(held);
                }
            }
        }
    }

    void ReachFromOutside()
    {
        std::vector<int> line;
        for (std::size_t i = 0; i < mEntries.size(); ++i) {
            if (mEntries[i].mbHeldOutside) {
                line.push_back(static_cast<int>(i));
            }
        }
        Reach(std::move(line));
    }

    // Where nothing from outside leads, every object is in a circle or held by one. What a circle leads to is
    // explained by it; so the circles that nothing else leads to are the ones to name.
    void FindCycles()
    {
        FindComponents();
        std::vector<bool> isLedTo(static_cast<std::size_t>(mNumComponents), false);
        for (const Edge& edge : mEdges) {
            const int from = mEntries[static_cast<std::size_t>(edge.mHolder)].mComponent;
            const int to = mEntries[static_cast<std::size_t>(edge.mHeld)].mComponent;
            if (from != to && to != NOBODY) {
                isLedTo[static_cast<std::size_t>(to)] = true;
            }
        }
        std::vector<int> firstOf(static_cast<std::size_t>(mNumComponents), NOBODY);
        for (std::size_t i = 0; i < mEntries.size(); ++i) {
            const int component = mEntries[i].mComponent;
            if (component != NOBODY && !isLedTo[static_cast<std::size_t>(component)] &&
                firstOf[static_cast<std::size_t>(component)] == NOBODY) {
                firstOf[static_cast<std::size_t>(component)] = static_cast<int>(i);
                mCycles.push_back(static_cast<int>(i));
            }
        }
        Reach(mCycles);
    }

    // The strongly connected components of what is not reached, by Tarjan's walk, without recursion.
    void FindComponents()
    {
        std::vector<int> order(mEntries.size(), NOBODY);
        std::vector<int> low(mEntries.size(), 0);
        std::vector<int> open;
        int number = 0;
        struct Frame
        {
            int mEntry;
            std::size_t mNextEdge;
        };
        std::vector<Frame> frames;
        for (std::size_t start = 0; start < mEntries.size(); ++start) {
            if (mEntries[start].mbReached || order[start] != NOBODY) {
                continue;
            }
            frames.push_back({static_cast<int>(start), 0});
            while (!frames.empty()) {
                const std::size_t at = static_cast<std::size_t>(frames.back().mEntry);
                if (frames.back().mNextEdge == 0 && order[at] == NOBODY) {
                    order[at] = low[at] = number++;
                    open.push_back(static_cast<int>(at));
                }
                if (frames.back().mNextEdge < mEntries[at].mEdges.size()) {
                    const std::size_t edge =
                        static_cast<std::size_t>(mEntries[at].mEdges[frames.back().mNextEdge++]);
                    const std::size_t held = static_cast<std::size_t>(mEdges[edge].mHeld);
                    if (order[held] == NOBODY) {
                        frames.push_back({static_cast<int>(held), 0});
                    } else if (mEntries[held].mComponent == NOBODY) {
                        low[at] = std::min(low[at], order[held]);
                    }
                    continue;
                }
                if (low[at] == order[at]) {
                    CloseComponent(open, static_cast<int>(at));
                }
                frames.pop_back();
                if (!frames.empty()) {
                    const std::size_t holder = static_cast<std::size_t>(frames.back().mEntry);
                    low[holder] = std::min(low[holder], low[at]);
                }
            }
        }
    }

    void CloseComponent(std::vector<int>& rOpen, int last)
    {
        int member = NOBODY;
        do {
            member = rOpen.back();
            rOpen.pop_back();
            mEntries[static_cast<std::size_t>(member)].mComponent = mNumComponents;
        } while (member != last);
        ++mNumComponents;
    }

    // --- Words ---

    std::string Name(int index) const
    {
        return mEntries[static_cast<std::size_t>(index)].mClass + " #" + std::to_string(index + 1);
    }

    std::string Explain(int index) const
    {
        std::vector<int> links; // from the object back
        int at = index;
        for (int edge; (edge = mEntries[static_cast<std::size_t>(at)].mParent) != NOBODY;) {
            links.push_back(edge);
            at = mEdges[static_cast<std::size_t>(edge)].mHolder;
        }
        return Name(at) + " (" + DescribeHold(at) + ")" + DescribeLinks(links);
    }

    // The links stand in their order from the last to the first.
    std::string DescribeLinks(const std::vector<int>& links) const
    {
        std::string text;
        const std::size_t size = links.size();
        const std::size_t numLeftOut = size > MOST_LINKS ? size - MOST_LINKS : 0;
        for (std::size_t i = 0; i < size; ++i) {
            if (numLeftOut > 0 && i == MOST_LINKS / 2) {
                text += " -> (" + std::to_string(numLeftOut) + " more)";
                i += numLeftOut;
            }
            const Edge& link = mEdges[static_cast<std::size_t>(links[size - 1 - i])];
            text += " " + link.mPlace + " -> " + Name(link.mHeld);
        }
        return text;
    }

    // How the object at the beginning of a chain lives.
    std::string DescribeHold(int index) const
    {
        const Entry& entry = mEntries[static_cast<std::size_t>(index)];
        if (!entry.mbHeldOutside) {
            return entry.mNumShown > entry.mReferenceCount ? "in a circle, or shown by more than hold it"
                                                           : "in a circle";
        }
        if (entry.mReferenceCount <= 0) {
            return "held by nobody";
        }
        return entry.mNumShown == 0
                   ? "held otherwise"
                   : "held otherwise " + std::to_string(entry.mReferenceCount - entry.mNumShown) +
                         " times of " + std::to_string(entry.mReferenceCount);
    }

    // The shortest way from an object of a circle back to it.
    std::string DescribeCycle(int start) const
    {
        const int component = mEntries[static_cast<std::size_t>(start)].mComponent;
        std::unordered_map<int, int> parents; // the edge to each object of the component
        std::vector<int> line{start};
        for (std::size_t next = 0; next < line.size(); ++next) {
            for (const int edge : mEntries[static_cast<std::size_t>(line[next])].mEdges) {
                const int held = mEdges[static_cast<std::size_t>(edge)].mHeld;
                if (mEntries[static_cast<std::size_t>(held)].mComponent == component &&
                    parents.emplace(held, edge).second) {
                    if (held == start) {
                        return DescribeWay(parents, start);
                    }
                    line.push_back(held);
                }
            }
        }
        return Name(start); // shown by less than hold it and reached by nothing: cannot be
    }

    std::string DescribeWay(const std::unordered_map<int, int>& parents, int start) const
    {
        std::vector<int> links;
        int at = start;
        do {
            links.push_back(parents.at(at));
            at = mEdges[static_cast<std::size_t>(links.back())].mHolder;
        } while (at != start);
        return Name(start) + DescribeLinks(links);
    }

    // The counted objects by class, each with the first of them.
    std::map<std::string, std::pair<int, int>> CountClasses() const
    {
        std::map<std::string, std::pair<int, int>> classes;
        for (std::size_t i = 0; i < mEntries.size(); ++i) {
            if (mEntries[i].mbCounted) {
                ++classes.try_emplace(mEntries[i].mClass, 0, static_cast<int>(i)).first->second.first;
            }
        }
        return classes;
    }

    std::deque<KeepAlive> mKept;
    std::vector<Entry> mEntries; // in the order of their making
    std::vector<Edge> mEdges;
    std::unordered_map<const Object*, int> mIndex;
    std::vector<int> mCycles; // an object of each
    int mNumComponents = 0;
};

void LeakReport::Mark()
{
    if (!BlockTrace::IsRunning()) {
        Memory::StartBlockTrace();
    }
    sMark = BlockTrace::GetMark();
}

void LeakReport::EndTrace()
{
    if (BlockTrace::IsRunning()) {
        Memory::EndBlockTrace(nullptr);
    }
}

LeakReport::LeakReport() : mpStock(new Stock)
{}

LeakReport::~LeakReport()
{
    delete mpStock;
}

int LeakReport::GetNumObjects() const
{
    return static_cast<int>(std::count_if(mpStock->mEntries.begin(), mpStock->mEntries.end(),
                                          [](const Entry& entry) { return entry.mbCounted; }));
}

int LeakReport::GetNumObjects(const String& className) const
{
    return static_cast<int>(
        std::count_if(mpStock->mEntries.begin(), mpStock->mEntries.end(), [&](const Entry& entry) {
            return entry.mbCounted && entry.mClass == className.c_str();
        }));
}

int LeakReport::GetNumCycles() const
{
    return static_cast<int>(mpStock->mCycles.size());
}

String LeakReport::Explain(const Object* pObject) const
{
    const auto found = mpStock->mIndex.find(pObject);
    return found == mpStock->mIndex.end() ? String::Null : String(mpStock->Explain(found->second).c_str());
}

String LeakReport::DescribeCycle(int index) const
{
    return index < 0 || index >= GetNumCycles()
               ? String::Null
               : String(mpStock->DescribeCycle(mpStock->mCycles[static_cast<std::size_t>(index)]).c_str());
}

void LeakReport::Print(std::FILE* pOut) const
{
    const std::map<std::string, std::pair<int, int>> classes = mpStock->CountClasses();
    std::vector<std::pair<std::string, std::pair<int, int>>> sorted(classes.begin(), classes.end());
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const auto& a, const auto& b) { return a.second.first > b.second.first; });
    std::fprintf(pOut, "Live objects: %d\n", GetNumObjects());
    for (const auto& [name, numbers] : sorted) {
        std::fprintf(pOut, "  %d %s, for example %s\n", numbers.first, name.c_str(),
                     mpStock->Explain(numbers.second).c_str());
    }
    if (GetNumCycles() > 0) {
        std::fprintf(pOut, "Circles that keep themselves alive: %d\n", GetNumCycles());
        for (int i = 0; i < std::min(GetNumCycles(), MOST_CYCLES); ++i) {
            std::fprintf(pOut, "  %s\n", DescribeCycle(i).c_str());
        }
    }
}

namespace
{

// Reports at the end of a program that asks for it. The order of the end is the reverse of that of the
// beginning: the handler stands before the static objects of the program, so it runs after their destructors.
class ReportAtExit
{
public:
    ReportAtExit()
    {
        const char* const pWish = std::getenv("QBASE_REPORT_LEAKS");
        if (pWish != nullptr && std::strcmp(pWish, "1") == 0) {
            LeakReport::Mark();
            std::atexit(&Report);
        }
    }

private:
    static void Report()
    {
        if (!BlockTrace::IsRunning()) {
            std::fputs("No report of live objects: the program has ended the block trace\n", stderr);
            return;
        }
        sMark = 0; // marks of the program's own are for its own reports
        LeakReport().Print(stderr);
        LeakReport::EndTrace();
    }
};

ReportAtExit sReportAtExit;

} // namespace

} // namespace QBase
