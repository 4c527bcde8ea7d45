// Specimen is a reflected class of the tests with a function or property of every kind, and hooks on what
// happens to its objects.
//
//     Ptr<Specimen> pSpecimen = Specimen::Make();
//     pSpecimen->mOnDestroy = [&](Specimen*) { ++destroyed; };
//     pSpecimen->Call("Join", "a", "b");

#pragma once

#include "QBase/Array.h"
#include "QBase/List.h"
#include "QBase/Object.h"
#include "QBase/Table.h"

#include <functional>
#include <string>
#include <vector>

class Specimen : public QBase::Object
{
    QBASE_OBJECT(Specimen, QBase::Object)

public:
    enum class Gear : std::int32_t
    {
        UP = 0,
        DOWN = 1
    };

    static constexpr int MAX_CREW = 5;

    static Specimen* Make() { return Construct(QBase::Value::Null); }

    /// One that appends `pName` and the text of the value to `pSpoken` when it is executed.
    static QBase::Ptr<Specimen> MakeSpeaker(const char* pName, std::vector<std::string>* pSpoken);

    ~Specimen() override;
    void Execute(const QBase::Value& value) override;

    int GetLevel() const { return mLevel; }
    void SetLevel(int level) { mLevel = level; }
    int GetDoubleLevel() const { return 2 * mLevel; }
    QBase::Table* GetRoot() const { return mpRoot; }
    void SetRoot(QBase::Table* pRoot) { mpRoot = pRoot; }

    void Nothing() { ++mCalls; }
    int One(int a) { return a; }
    float Two(float a, bool b) const { return b ? a : -a; }
    QBase::String Three(const QBase::String& a, const QBase::String& b, const QBase::String& c) const;
    QBase::Value Four(const QBase::Value& a, QBase::Value, int, int) { return a; }
    static int Five(int a, int b, int c, int d, int e) { return a + 10 * b + 100 * c + 1000 * d + 10000 * e; }
    QBase::List* TakeList(QBase::List* pList) { return pList; }
    QBase::Ptr<QBase::Table> TakeTable(const QBase::Ptr<QBase::Table>& pTable) { return pTable; }
    Gear TakeGear(Gear gear) { return gear; }
    QBase::Vector3 TakeVector(QBase::Vector3 vector) const noexcept { return vector; }
    QBase::Color TakeColor(const QBase::Color& color) { return color; }
    QBase::Value CallHook(const QBase::Value& value) { return mOnCall(value); }

    std::function<void(Specimen*)> mOnDestroy;
    std::function<void(const QBase::Value&)> mOnExecute;
    std::function<QBase::Value(const QBase::Value&)> mOnCall;
    int mCalls = 0;

    int mLevel = 0;
    int mInt = 0;
    float mFloat = 0.0f;
    bool mbBool = false;
    QBase::String mText;
    QBase::Ptr<QBase::Object> mpObject;
    QBase::Ptr<QBase::Table> mpRoot;
    QBase::Ptr<QBase::List> mpList;
    QBase::Value mAny;
    QBase::Vector2i mVector2i;
    QBase::Quaternion mQuaternion;
    Gear mGear = Gear::UP;
    int mCache = 0;
    QBase::Array<int> mInts;
    QBase::Array<QBase::String> mTexts;
    QBase::Array<QBase::Ptr<QBase::List>> mLists;
    QBase::Array<Gear> mGears;

protected:
    explicit Specimen(const QBase::Value& value);
};

// Whatever stands before Object in an object's memory.
struct Ballast
{
    virtual ~Ballast() = default;
    long long mWeight[3] = {1, 2, 3};
};

/// A reflected class whose first base is not Object.
class Burdened : public Ballast, public QBase::Object
{
    QBASE_OBJECT(Burdened, QBase::Object)

protected:
    explicit Burdened(const QBase::Value& value);
};
