// One pass over a graph of objects with eight properties each, to find out what changed since the last one.

#include "Model.h"
#include "PlainModel.h"
#include "Rows.h"

#include "QBase/ObjectDiff.h"
#include "QBase/ObjectDiffHandler.h"
#include "QBase/Reflection.h"

#if QBASE_HAS_RTTR
#    include "Peers/RttrModel.h"
#endif
#if QBASE_HAS_QT
#    include "Peers/QtModel.h"

#    include <QMetaProperty>
#    include <QVariant>
#endif

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

namespace Bench
{

// Counts the changes that it is told of.
class ChangeCounter : public QBase::ObjectDiffHandler
{
    QBASE_OBJECT(ChangeCounter, QBase::ObjectDiffHandler)

public:
    void OnModifyPropertyValue(Object*, const String&, const Value&, const Value&) override { ++mNumChanges; }

    void OnNewRoot(Object*) override {}
    void OnAddObject(Object*) override {}
    void OnRemoveObject(Object*) override {}
    void OnAddPropertyValue(Object*, const String&, const Value&) override {}
    void OnRemovePropertyValue(Object*, const String&, const Value&) override {}
    void OnAddPropertyArray(Object*, const String&, Value::Type) override {}
    void OnAddPropertyArrayElement(Object*, const String&, int, const Value&) override {}
    void OnModifyPropertyArrayElement(Object*, const String&, int, const Value&, const Value&) override {}
    void OnDownsizePropertyArray(Object*, const String&, int, Value::Type) override {}
    void OnRemovePropertyArray(Object*, const String&, Value::Type) override {}
    void OnAddTableChild(QBase::Table*, const String&, Object*) override {}
    void OnModifyTableChild(QBase::Table*, const String&, Object*, Object*) override {}
    void OnRemoveTableChild(QBase::Table*, const String&) override {}
    void OnAddListChild(List*, int, Object*) override {}
    void OnModifyListChild(List*, int, Object*, Object*) override {}
    void OnDownsizeList(List*, int) override {}

    std::int64_t mNumChanges = 0;

protected:
    using QBase::ObjectDiffHandler::ObjectDiffHandler;
};

QBASE_IMPLEMENT(Bench, ChangeCounter)

void ChangeCounter::Implement()
{}

namespace
{

constexpr std::size_t NUM_BODIES = 100000;
constexpr std::size_t NUM_PROPERTIES = 8;

// A participant changes every so many of its bodies, and finds the changes, whose number it answers.
template <typename Participant>
void Pass(benchmark::State& state, std::size_t step)
{
    Participant participant;
    participant.FindChanges();
    const std::int64_t expected = step == 0 ? 0 : static_cast<std::int64_t>((NUM_BODIES + step - 1) / step);
    for (auto _ : state) {
        if (step != 0) {
            participant.Change(step);
        }
        if (participant.FindChanges() != expected) {
            state.SkipWithError("wrong number of changes");
            return;
        }
    }
    CountItems(state, NUM_BODIES);
}

class QBaseDiff
{
public:
    QBaseDiff() : mBodies(NUM_BODIES) { mpDiff->SetRoot(mBodies.GetRoot()); }
    void Change(std::size_t step) { mBodies.Change(step); }
    std::int64_t FindChanges()
    {
        mpHandler->mNumChanges = 0;
        mpDiff->Execute(Value(mpHandler));
        return mpHandler->mNumChanges;
    }

private:
    Bodies mBodies;
    Ptr<QBase::ObjectDiff> mpDiff = QBase::ObjectDiff::Construct(Value::Null);
    Ptr<ChangeCounter> mpHandler = ChangeCounter::Construct(Value::Null);
};

// Bodies of a plain kind in a row.
template <typename T>
class BodiesOf
{
public:
    void Change(std::size_t step)
    {
        ++mPass;
        for (std::size_t i = 0; i < NUM_BODIES; i += step) {
            mBodies[i].mNumber = mPass;
        }
    }

protected:
    std::unique_ptr<T[]> mBodies{new T[NUM_BODIES]};

private:
    int mPass = 0;
};

#if QBASE_HAS_RTTR
// Properties that were found beforehand, beside one long snapshot whose elements know their types.
class RttrDiff : public BodiesOf<PlainBody>
{
public:
    RttrDiff() : mSnapshot(NUM_BODIES)
    {
        for (const rttr::property& property : rttr::type::get<PlainBody>().get_properties()) {
            mProperties.push_back(property);
        }
    }

    std::int64_t FindChanges()
    {
        std::int64_t numChanges = 0;
        for (std::size_t i = 0; i < NUM_BODIES; ++i) {
            PlainBody& rBody = mBodies[i];
            PlainBody& rKnown = mSnapshot[i];
            numChanges += Update(rKnown.mNumber, 0, rBody) + Update(rKnown.mLayer, 1, rBody) +
                          Update(rKnown.mMass, 2, rBody) + Update(rKnown.mbVisible, 3, rBody) +
                          Update(rKnown.mName, 4, rBody) + Update(rKnown.mPosition, 5, rBody) +
                          Update(rKnown.mVelocity, 6, rBody) + Update(rKnown.mColor, 7, rBody);
        }
        return numChanges;
    }

private:
    template <typename T>
    int Update(T& rKnown, std::size_t property, PlainBody& rBody)
    {
        const rttr::variant value = mProperties[property].get_value(rBody);
        const T& present = value.get_value<T>();
        if (present == rKnown) {
            return 0;
        }
        rKnown = present;
        return 1;
    }

    std::vector<rttr::property> mProperties;
    std::vector<PlainBody> mSnapshot;
};
#endif

#if QBASE_HAS_QT
class QtDiff : public BodiesOf<QtBody>
{
public:
    QtDiff() : mSnapshot(NUM_BODIES * NUM_PROPERTIES)
    {
        const QMetaObject& metaObject = QtBody::staticMetaObject;
        for (int i = metaObject.propertyOffset(); i < metaObject.propertyCount(); ++i) {
            mProperties.push_back(metaObject.property(i));
        }
        FindChanges();
    }

    std::int64_t FindChanges()
    {
        std::int64_t numChanges = 0;
        QVariant* pKnown = mSnapshot.data();
        for (std::size_t i = 0; i < NUM_BODIES; ++i) {
            for (const QMetaProperty& property : mProperties) {
                QVariant value = property.read(&mBodies[i]);
                if (value != *pKnown) {
                    *pKnown = std::move(value);
                    ++numChanges;
                }
                ++pKnown;
            }
        }
        return numChanges;
    }

private:
    std::vector<QMetaProperty> mProperties;
    std::vector<QVariant> mSnapshot;
};
#endif

// What is written soonest: a map of the known values of each object, by name.
class MapDiff : public BodiesOf<PlainBody>
{
public:
    std::int64_t FindChanges()
    {
        std::int64_t numChanges = 0;
        for (std::size_t i = 0; i < NUM_BODIES; ++i) {
            const PlainBody& body = mBodies[i];
            Known& rKnown = mSnapshot[&body];
            numChanges += Update(rKnown, "Number", body.mNumber) + Update(rKnown, "Layer", body.mLayer) +
                          Update(rKnown, "Mass", body.mMass) + Update(rKnown, "Visible", body.mbVisible) +
                          Update(rKnown, "Name", body.mName) + Update(rKnown, "Position", body.mPosition) +
                          Update(rKnown, "Velocity", body.mVelocity) + Update(rKnown, "Color", body.mColor);
        }
        return mbFirst ? (mbFirst = false, 0) : numChanges;
    }

private:
    using Variant = std::variant<std::monostate, int, float, bool, std::string, PlainVector3, PlainColor>;
    using Known = std::unordered_map<std::string, Variant>;

    static int Update(Known& rKnown, const std::string& name, Variant value)
    {
        Variant& rOld = rKnown[name];
        if (rOld == value) {
            return 0;
        }
        rOld = std::move(value);
        return 1;
    }

    std::unordered_map<const PlainBody*, Known> mSnapshot;
    bool mbFirst = true;
};

// One getter per property, written by hand, each followed by a comparison with a flat snapshot.
class Bound : public BodiesOf<PlainBody>
{
public:
    Bound() : mSnapshot(NUM_BODIES) {}

    std::int64_t FindChanges()
    {
        std::int64_t numChanges = 0;
        for (std::size_t i = 0; i < NUM_BODIES; ++i) {
            for (const auto& pUpdate : sUpdates) {
                numChanges += pUpdate(mBodies[i], mSnapshot[i]);
            }
        }
        return numChanges;
    }

private:
    template <auto Member>
    static int Update(const PlainBody& body, PlainBody& rKnown)
    {
        if (body.*Member == rKnown.*Member) {
            return 0;
        }
        rKnown.*Member = body.*Member;
        return 1;
    }

    static constexpr std::array<int (*)(const PlainBody&, PlainBody&), NUM_PROPERTIES> sUpdates = {
        Update<&PlainBody::mNumber>,   Update<&PlainBody::mLayer>, Update<&PlainBody::mMass>,
        Update<&PlainBody::mbVisible>, Update<&PlainBody::mName>,  Update<&PlainBody::mPosition>,
        Update<&PlainBody::mVelocity>, Update<&PlainBody::mColor>};

    std::vector<PlainBody> mSnapshot;
};

template <typename Participant>
void Enter(const char* pParticipant)
{
    const Area area("differences");
    area.Enter("100,000 objects, unchanged", pParticipant, Pass<Participant>, std::size_t(0));
    area.Enter("100,000 objects, 1 % changed", pParticipant, Pass<Participant>, std::size_t(100));
}

const bool sbEntered = [] {
    Enter<QBaseDiff>("QBase");
#if QBASE_HAS_RTTR
    Enter<RttrDiff>("RTTR, properties found");
#endif
#if QBASE_HAS_QT
    Enter<QtDiff>("Qt, properties found");
#endif
    Enter<MapDiff>("maps of maps");
    Enter<Bound>("bound: getters by hand");
    return true;
}();

} // namespace
} // namespace Bench
