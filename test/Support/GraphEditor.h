// What the tests of change detection and replication share: an object with a property of every kind, an
// editor that changes a graph at random, and a text that is the same for graphs that are the same.
//
//     GraphEditor editor(7);               // the seed
//     editor.Edit(20);                     // twenty random changes
//     pDiff->SetRoot(editor.GetRoot());
//     EXPECT_EQ(DescribeGraph(pReplica), DescribeGraph(editor.GetRoot()));

#pragma once

#include "QBase/Array.h"
#include "QBase/Color.h"
#include "QBase/Object.h"

#include <cstdint>
#include <string>
#include <vector>

// Probe has class properties of the kinds that matter to those who watch objects.
class Probe : public QBase::Object
{
    QBASE_OBJECT(Probe, Object)

public:
    enum Mood : int
    {
        CALM,
        CURIOUS
    };

    int mNumber = 0;
    float mReal = 0.0f;
    QBase::String mText;
    QBase::Ptr<QBase::Object> mpFriend;
    QBase::Value mAny;
    Mood mMood = CALM;
    QBase::Array<int> mNumbers;
    QBase::Array<QBase::String> mTexts;
    QBase::Array<QBase::Ptr<QBase::Object>> mFriends;
    QBase::Array<QBase::Value> mAnything;
    int mSecret = 0; // reflected, but excluded
    int mCalls = 0;  // not reflected

    void Touch(int number, const QBase::String& text);
    int Ask() const { return mNumber; }

    /// Keeps what it is given, one of each.
    void Keep(float real, QBase::Object* pFriend, const QBase::Value& any, Mood mood,
              const QBase::Color& color);
    float mKeptReal = 0.0f;
    QBase::Ptr<QBase::Object> mpKeptObject;
    QBase::Value mKeptAny;
    Mood mKeptMood = CALM;
    QBase::Color mKeptColor;

protected:
    explicit Probe(const QBase::Value& value);
};

class GraphEditor
{
public:
    explicit GraphEditor(std::uint32_t seed);
    ~GraphEditor();
    GraphEditor(const GraphEditor&) = delete;
    GraphEditor& operator=(const GraphEditor&) = delete;

    void Edit(int numChanges);
    QBase::Object* GetRoot() const { return mpRoot; }

    /// Also changes the root now and then.
    void AllowRootChanges() { mbRootChanges = true; }

    int Random(int limit);

private:
    QBase::Ptr<QBase::Object> NewObject();
    QBase::Object* AnyObject();
    QBase::Object* AnyObjectOrNull();
    QBase::Value AnyValue();
    QBase::Value ValueOf(QBase::Value::Type type);
    QBase::String AnyName();
    void Change();
    void ChangeProbe(Probe* pProbe);
    void ChangeDynamic(QBase::Object* pObject);
    void ChangeArray(QBase::Object* pObject, const QBase::String& name);
    void ChangeTable(QBase::Object* pObject);
    void ChangeList(QBase::Object* pObject);

    std::uint32_t mState;
    bool mbRootChanges = false;
    QBase::Ptr<QBase::Object> mpRoot;
    std::vector<QBase::Ptr<QBase::Object>> mObjects; // all that were ever made, so that they can come back
};

/// Every object in the order in which a walk by name reaches it, with its class, properties and children.
std::string DescribeGraph(QBase::Object* pRoot);

/// One line of text: type, payload and, for an object, `objectName`.
std::string DescribeValue(const QBase::Value& value, const std::string& objectName);

/// The objects that can be reached from `pRoot`, itself first.
std::vector<QBase::Ptr<QBase::Object>> CollectGraph(QBase::Object* pRoot);

/// Takes all references out of a graph, so that cycles go when their last holder does.
void Dissolve(QBase::Object* pRoot);
