// Classes and graphs for the tests of everything that stores objects: a class with a property of every type
// in both shapes, a few odd ones, random graphs and their comparison. Module "StoredObjects".

#pragma once

#include "QBase/Array.h"
#include "QBase/List.h"
#include "QBase/Object.h"
#include "QBase/Ptr.h"
#include "QBase/Table.h"

#include <gtest/gtest.h>

#include <string>

namespace StoredObjects
{

// One property of every type, named after it.
class Everything : public QBase::Object
{
    QBASE_OBJECT(Everything, QBase::Object)

public:
    enum Mood : int // any int may come from a file
    {
        CALM,
        EAGER,
        WILD = 7
    };
    static constexpr int LIMIT = 12;

    int mInt = 0;
    float mFloat = 0.0f;
    bool mBool = false;
    QBase::String mString;
    QBase::Ptr<QBase::Object> mObject;
    QBase::Vector2 mVector2;
    QBase::Vector3 mVector3;
    QBase::Vector4 mVector4;
    QBase::Vector2i mVector2i;
    QBase::Vector3i mVector3i;
    QBase::Vector4i mVector4i;
    QBase::Color mColor;
    Mood mMood = CALM;
    QBase::Quaternion mQuaternion;
    QBase::Value mAny = 0; // declared "Value"

    QBase::Array<int> mInts;
    QBase::Array<float> mFloats;
    QBase::Array<bool> mBools;
    QBase::Array<QBase::String> mStrings;
    QBase::Array<QBase::Ptr<QBase::Object>> mObjects;
    QBase::Array<QBase::Vector3> mVector3s;
    QBase::Array<QBase::Color> mColors;
    QBase::Array<Mood> mMoods;
    QBase::Array<QBase::Value> mAnys; // declared "Value"

    int mScratch = 0; // excluded
    int GetAnswer() const { return 42; }

protected:
    explicit Everything(const QBase::Value& value);
};

// An int, and references to two others.
class Pair : public QBase::Object
{
    QBASE_OBJECT(Pair, QBase::Object)

public:
    int mNumber = 0;
    QBase::Ptr<QBase::Object> mFirst;
    QBase::Ptr<QBase::Object> mSecond;

protected:
    explicit Pair(const QBase::Value& value);
};

// Declares "Number" once more, as a text.
class Renumbered : public Pair
{
    QBASE_OBJECT(Renumbered, Pair)

public:
    QBase::String mNumberText;

protected:
    explicit Renumbered(const QBase::Value& value);
};

// Comes with three numbers in an array, one dynamic property and an object in an excluded property.
class Prefilled : public QBase::Object
{
    QBASE_OBJECT(Prefilled, QBase::Object)

public:
    QBase::Array<int> mNumbers;
    QBase::Ptr<QBase::Object> mHidden; // excluded

protected:
    explicit Prefilled(const QBase::Value& value);
};

// A list that comes with two items, and a table that comes with one entry.
class PrefilledList : public QBase::List
{
    QBASE_OBJECT(PrefilledList, QBase::List)

protected:
    explicit PrefilledList(const QBase::Value& value);
};

class PrefilledTable : public QBase::Table
{
    QBASE_OBJECT(PrefilledTable, QBase::Table)

protected:
    explicit PrefilledTable(const QBase::Value& value);
};

// Its property answers with a new object each time.
class Fickle : public QBase::Object
{
    QBASE_OBJECT(Fickle, QBase::Object)

public:
    QBase::Ptr<QBase::Object> GetFresh();
    void SetFresh(const QBase::Ptr<QBase::Object>& pObject) { mFresh = pObject; }

    QBase::Ptr<QBase::Object> mFresh;
    int mReads = 0;

protected:
    explicit Fickle(const QBase::Value& value);
};

struct GraphOptions
{
    int mNumObjects = 60;
    bool mbRoundedVectors = false; // to what six decimals hold
    bool mbHardNames = true;       // dots, brackets, quotes, blanks, control characters
    bool mbEmptyNames = false;
};

/// A graph with every kind of object, property, reference and text, from a seed. Its root is a Table; held by
/// reference cycles, so hand it to Dissolve in the end.
QBase::Ptr<QBase::Object> RandomGraph(unsigned seed, const GraphOptions& options = {});

/// Undoes all references among the objects of a graph.
void Dissolve(QBase::Object* pRoot);

/// Whether both graphs have the same classes, values and references, shared ones and cycles included.
testing::AssertionResult AreSameGraph(QBase::Object* pA, QBase::Object* pB);

/// The number of objects that can be reached.
int CountObjects(QBase::Object* pRoot);

} // namespace StoredObjects
