// What all fuzzing targets share. FuzzRun surrounds the handling of one input: it keeps the library's reports
// from the console, lets failed assertions resume, and stops the program when a block is left behind.
//
//     extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
//     {
//         FuzzRun run;
//         ...
//         return 0;
//     }
//
// FUZZ_EXPECT(condition) stops the program with the condition's text when it does not hold.
//
// Threads: one at a time.

#pragma once

#include "QBase/List.h"
#include "QBase/Object.h"
#include "QBase/Table.h"

#include <cstdint>
#include <ctime>

class FuzzRun
{
public:
    FuzzRun();

    /// Counts the blocks. While new inputs are searched for, none may take a second of the processor's time.
    ~FuzzRun();
    FuzzRun(const FuzzRun&) = delete;
    FuzzRun& operator=(const FuzzRun&) = delete;

    /// Assertions stop the program, as they do for everyone without a debugger.
    void StopAtAssertions();

    /// In the end all references are taken out of the tracked objects that are left, so that cycles go.
    void UndoCycles() { mbUndoesCycles = true; }

private:
    std::int64_t mNumBlocks;
    std::clock_t mStartTime = 0;
    bool mbUndoesCycles = false;
};

/// A clone held like any other new object: a clone begins with the count of its source.
template <typename T>
QBase::Ptr<T> MakeClone(T* pSource)
{
    QBase::Ptr<T> pClone = static_cast<T*>(pSource->Clone());
    for (int i = pSource->GetReferenceCount(); i > 0; --i) {
        pClone->Release();
    }
    return pClone;
}

/// Says what failed and stops the program.
[[noreturn]] void FuzzFailure(const char* pFile, int line, const char* pText);

#define FUZZ_EXPECT(...)                                                                                     \
    (static_cast<bool>(__VA_ARGS__) ? void() : FuzzFailure(__FILE__, __LINE__, #__VA_ARGS__))

// Classes of the module "Fuzz" whose live objects are known.
class FuzzList : public QBase::List
{
    QBASE_OBJECT(FuzzList, QBase::List)

public:
    ~FuzzList() override;

protected:
    explicit FuzzList(const QBase::Value& value);
};

class FuzzTable : public QBase::Table
{
    QBASE_OBJECT(FuzzTable, QBase::Table)

public:
    ~FuzzTable() override;

protected:
    explicit FuzzTable(const QBase::Value& value);
};

// A property of every kind.
class FuzzNode : public QBase::Object
{
    QBASE_OBJECT(FuzzNode, QBase::Object)

public:
    enum Mood : int
    {
        CALM,
        EAGER
    };

    ~FuzzNode() override;

    void Touch(int number, const QBase::String& text);

    int mNumber = 0;
    float mReal = 0.0f;
    bool mbFlag = false;
    QBase::String mText;
    QBase::Ptr<QBase::Object> mpNext;
    QBase::Vector2 mVector2;
    QBase::Vector3 mVector3;
    QBase::Vector4 mVector4;
    QBase::Vector2i mVector2i;
    QBase::Vector3i mVector3i;
    QBase::Vector4i mVector4i;
    QBase::Color mColor;
    QBase::Quaternion mQuaternion;
    Mood mMood = CALM;
    QBase::Value mAny = 0;
    QBase::Array<int> mNumbers;
    QBase::Array<QBase::String> mTexts;
    QBase::Array<QBase::Ptr<QBase::Object>> mObjects;
    QBase::Array<QBase::Value> mValues;

protected:
    explicit FuzzNode(const QBase::Value& value);
};
