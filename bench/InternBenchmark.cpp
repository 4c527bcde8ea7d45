// Interning: from the bytes of a name to the one copy of it that the process has. Existing names are looked
// up while others hold them; new ones are made and, where that is possible, dropped again.

#include "Model.h"
#include "Rows.h"

#include "QBase/String.h"

#if QBASE_HAS_GLIB
#    include <glib.h>
#endif
#if QBASE_HAS_FLYWEIGHT
#    include <boost/flyweight.hpp>
#endif

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

namespace Bench
{
namespace
{

const std::vector<std::string>& AllNames()
{
    static const std::vector<std::string> sNames = [] {
        std::vector<std::string> names;
        for (int i = 0; i < 100000; ++i) {
            names.push_back("name_" + std::to_string(i * 7919));
        }
        return names;
    }();
    return sNames;
}

// A pool makes a Name of a text; the Name keeps it.
struct QBasePool
{
    using Name = String;
    Name Intern(const std::string& text) { return String(text.c_str()); }
};

struct Hash : std::hash<std::string_view>
{
    using is_transparent = void;
};

template <typename Mutex, template <typename> typename ReadLock>
class StandardPool
{
public:
    using Name = const std::string*;

    Name Intern(const std::string& text)
    {
        {
            const ReadLock<Mutex> lock(mMutex);
            const auto found = mNames.find(text);
            if (found != mNames.end()) {
                return &*found;
            }
        }
        const std::unique_lock<Mutex> lock(mMutex);
        return &*mNames.insert(text).first;
    }

private:
    std::unordered_set<std::string, Hash, std::equal_to<>> mNames;
    Mutex mMutex;
};

using MutexPool = StandardPool<std::mutex, std::unique_lock>;
using SharedMutexPool = StandardPool<std::shared_mutex, std::shared_lock>;

#if QBASE_HAS_GLIB
struct QuarkPool
{
    using Name = const char*;
    Name Intern(const std::string& text) { return g_intern_string(text.c_str()); }
};

// The kind that is released with its last user.
class GRefString
{
public:
    explicit GRefString(const std::string& text) : mpText(g_ref_string_new_intern(text.c_str())) {}
    GRefString(GRefString&& other) noexcept : mpText(std::exchange(other.mpText, nullptr)) {}
    GRefString& operator=(GRefString&&) = delete;
    ~GRefString()
    {
        if (mpText != nullptr) {
            g_ref_string_release(mpText);
        }
    }

private:
    char* mpText;
};

struct RefStringPool
{
    using Name = GRefString;
    Name Intern(const std::string& text) { return GRefString(text); }
};
#endif

#if QBASE_HAS_FLYWEIGHT
struct FlyweightPool
{
    using Name = boost::flyweight<std::string>;
    Name Intern(const std::string& text) { return Name(text); }
};
#endif

// Open addressing in one thread, without any lock or count.
class BoundPool
{
public:
    using Name = const std::string*;

    BoundPool() : mPlaces(1 << 18) {}

    Name Intern(const std::string& text)
    {
        std::size_t place = std::hash<std::string_view>()(text);
        for (;; ++place) {
            Place& rPlace = mPlaces[place % mPlaces.size()];
            if (rPlace.mpName == nullptr) {
                rPlace.mpName = std::make_unique<std::string>(text);
                return rPlace.mpName.get();
            }
            if (*rPlace.mpName == text) {
                return rPlace.mpName.get();
            }
        }
    }

private:
    struct Place
    {
        std::unique_ptr<std::string> mpName;
    };
    std::vector<Place> mPlaces;
};

// All threads of a row share one pool, in which `count` names exist.
template <typename Pool>
struct Existing
{
    explicit Existing(std::size_t count)
    {
        for (std::size_t i = 0; i < count; ++i) {
            mKept.push_back(mPool.Intern(AllNames()[i]));
        }
    }

    Pool mPool;
    std::vector<typename Pool::Name> mKept;
};

template <typename Pool>
void InternExisting(benchmark::State& state, std::size_t count)
{
    static std::mutex sMutex;
    static std::shared_ptr<Existing<Pool>> spShared[2];
    std::shared_ptr<Existing<Pool>> pExisting;
    {
        const std::lock_guard<std::mutex> lock(sMutex);
        auto& rpShared = spShared[count > 1000 ? 1 : 0];
        if (rpShared == nullptr) {
            rpShared = std::make_shared<Existing<Pool>>(count);
        }
        pExisting = rpShared;
    }
    std::size_t next = static_cast<std::size_t>(state.thread_index()) * 977;
    for (auto _ : state) {
        next = (next + 7919) % count;
        auto name = pExisting->mPool.Intern(AllNames()[next]);
        benchmark::DoNotOptimize(name);
    }
}

// Names that nobody has held before, a thousand at a time. Some pools keep them all: the number of times is
// fixed.
template <typename Pool>
void InternNew(benchmark::State& state)
{
    constexpr std::size_t NUM_NAMES = 1000;
    static std::atomic<int> sGeneration = 0;
    Pool pool;
    std::vector<std::string> texts(NUM_NAMES);
    std::vector<typename Pool::Name> kept;
    kept.reserve(NUM_NAMES);
    for (auto _ : state) {
        state.PauseTiming();
        kept.clear();
        const std::string prefix = "new" + std::to_string(++sGeneration) + "_";
        for (std::size_t i = 0; i < NUM_NAMES; ++i) {
            texts[i] = prefix + std::to_string(i);
        }
        state.ResumeTiming();
        for (const std::string& text : texts) {
            kept.push_back(pool.Intern(text));
        }
        benchmark::ClobberMemory();
    }
    CountItems(state, NUM_NAMES);
}

template <typename Pool>
void Enter(const char* pParticipant, bool bShared = true)
{
    const Area area("interning");
    area.Enter("one of 1,000 names", pParticipant, InternExisting<Pool>, std::size_t(1000));
    area.Enter("one of 100,000 names", pParticipant, InternExisting<Pool>, std::size_t(100000));
    area.Enter("a new name", pParticipant, InternNew<Pool>)->Iterations(100);
    if (bShared) {
        area.Enter("one of 1,000 names, 2 threads", pParticipant, InternExisting<Pool>, std::size_t(1000))
            ->Threads(2)
            ->UseRealTime();
        area.Enter("one of 100,000 names, 2 threads", pParticipant, InternExisting<Pool>, std::size_t(100000))
            ->Threads(2)
            ->UseRealTime();
    }
}

const bool sbEntered = [] {
    Enter<QBasePool>("QBase");
    Enter<MutexPool>("unordered_set, mutex");
    Enter<SharedMutexPool>("unordered_set, shared_mutex");
#if QBASE_HAS_GLIB
    Enter<QuarkPool>("GLib quark");
    Enter<RefStringPool>("GLib ref string");
#endif
#if QBASE_HAS_FLYWEIGHT
    Enter<FlyweightPool>("Boost.Flyweight");
#endif
    Enter<BoundPool>("bound: no lock, no count");
    return true;
}();

} // namespace
} // namespace Bench
