// Values of any type: made of something, copied and read, for an int, a text and an object.

#include "Model.h"
#include "Rows.h"

#include "QBase/Value.h"

#if QBASE_HAS_RTTR
#    include <rttr/type>
#endif
#if QBASE_HAS_QT
#    include <QSharedPointer>
#    include <QString>
#    include <QVariant>
#endif

#include <any>
#include <atomic>
#include <memory>
#include <string>
#include <utility>
#include <variant>

namespace Bench
{
namespace
{

// What each participant is given: one payload of each kind. Long texts do not fit into std::string itself.
constexpr const char* SHORT_TEXT = "label 17";
constexpr const char* LONG_TEXT = "a label of more than a few letters";

template <typename Traits, typename Payload>
void Make(benchmark::State& state, Payload (*pMakePayload)())
{
    Payload payload = pMakePayload();
    for (auto _ : state) {
        benchmark::DoNotOptimize(payload);
        typename Traits::Type value(payload);
        benchmark::DoNotOptimize(value);
    }
}

template <typename Traits, typename Payload>
void Copy(benchmark::State& state, Payload (*pMakePayload)())
{
    typename Traits::Type value(pMakePayload());
    for (auto _ : state) {
        benchmark::DoNotOptimize(value);
        typename Traits::Type copy(value);
        benchmark::DoNotOptimize(copy);
    }
}

// Takes a copy of the payload out of a value.
template <typename Traits, typename Payload>
void Read(benchmark::State& state, Payload (*pMakePayload)())
{
    typename Traits::Type value(pMakePayload());
    for (auto _ : state) {
        benchmark::DoNotOptimize(value);
        Payload payload = Traits::template Read<Payload>(value);
        benchmark::DoNotOptimize(payload);
    }
}

template <typename Traits, typename Payload>
void EnterPayload(const char* pParticipant, const std::string& kind, Payload (*pMakePayload)())
{
    const Area area("values");
    area.Enter("make of " + kind, pParticipant, Make<Traits, Payload>, pMakePayload);
    area.Enter("copy with " + kind, pParticipant, Copy<Traits, Payload>, pMakePayload);
    area.Enter("read " + kind, pParticipant, Read<Traits, Payload>, pMakePayload);
}

template <typename Traits>
void Enter(const char* pParticipant)
{
    using Text = typename Traits::Text;
    using Reference = typename Traits::Reference;
    EnterPayload<Traits, int>(pParticipant, "an int", [] { return 7; });
    EnterPayload<Traits, Text>(pParticipant, "a short text", [] { return Text(SHORT_TEXT); });
    EnterPayload<Traits, Text>(pParticipant, "a long text", [] { return Text(LONG_TEXT); });
    EnterPayload<Traits, Reference>(pParticipant, "an object", [] { return Traits::MakeObject(); });
}

struct QBaseTraits
{
    using Type = Value;
    using Text = String;
    using Reference = Ptr<Object>;
    static Reference MakeObject() { return Reference(Object::Construct(Value::Null)); }
    template <typename Payload>
    static Payload Read(const Value& value)
    {
        return value.Get<Payload>();
    }
};

struct VariantTraits
{
    using Text = std::string;
    using Reference = std::shared_ptr<int>;
    using Type = std::variant<std::monostate, int, float, bool, Text, Reference>;
    static Reference MakeObject() { return std::make_shared<int>(1); }
    template <typename Payload>
    static Payload Read(const Type& value)
    {
        return std::get<Payload>(value);
    }
};

struct AnyTraits
{
    using Text = std::string;
    using Reference = std::shared_ptr<int>;
    using Type = std::any;
    static Reference MakeObject() { return std::make_shared<int>(1); }
    template <typename Payload>
    static Payload Read(const Type& value)
    {
        return std::any_cast<Payload>(value);
    }
};

#if QBASE_HAS_RTTR
struct RttrTraits
{
    using Text = std::string;
    using Reference = std::shared_ptr<int>;
    using Type = rttr::variant;
    static Reference MakeObject() { return std::make_shared<int>(1); }
    template <typename Payload>
    static Payload Read(const Type& value)
    {
        return value.get_value<Payload>();
    }
};
#endif

#if QBASE_HAS_QT
// QVariant takes other types than its own through fromValue.
class QtValue : public QVariant
{
public:
    template <typename Payload>
    explicit QtValue(const Payload& payload) : QVariant(QVariant::fromValue(payload))
    {}
};

struct QtTraits
{
    using Text = QString;
    using Reference = QSharedPointer<int>;
    using Type = QtValue;
    static Reference MakeObject() { return Reference::create(1); }
    template <typename Payload>
    static Payload Read(const Type& value)
    {
        return value.value<Payload>();
    }
};
#endif

// --- The bound: 16 bytes, and for what is shared one count that goes up and down ---

struct Plain
{
    long mType = 1;
    int mNumber = 7;
};

void PlainCopy(benchmark::State& state)
{
    Plain value;
    for (auto _ : state) {
        benchmark::DoNotOptimize(value);
        Plain copy = value;
        benchmark::DoNotOptimize(copy);
    }
}

void PlainCount(benchmark::State& state)
{
    std::atomic<int> count = 1;
    Plain value;
    for (auto _ : state) {
        benchmark::DoNotOptimize(value);
        count.fetch_add(1, std::memory_order_relaxed);
        Plain copy = value;
        benchmark::DoNotOptimize(copy);
        count.fetch_sub(1, std::memory_order_acq_rel);
    }
}

const bool sbEntered = [] {
    Enter<QBaseTraits>("QBase");
    Enter<VariantTraits>("std::variant");
    Enter<AnyTraits>("std::any");
#if QBASE_HAS_RTTR
    Enter<RttrTraits>("RTTR");
#endif
#if QBASE_HAS_QT
    Enter<QtTraits>("Qt");
#endif
    const Area area("values");
    for (const char* pWork : {"make of ", "copy with ", "read "}) {
        area.Enter(pWork + std::string("an int"), "bound: 16 bytes", PlainCopy);
        for (const char* pKind : {"a short text", "a long text", "an object"}) {
            area.Enter(std::string(pWork) + pKind, "bound: an atomic pair", PlainCount);
        }
    }
    return true;
}();

} // namespace
} // namespace Bench
