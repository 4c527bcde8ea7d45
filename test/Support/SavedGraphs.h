// Saving to bytes and loading from them, for the tests of both formats.
//
//     const std::string bytes = SavedAs<BinarySerializer>(pGraph);
//     const Value loaded = LoadedAs<BinarySerializer>(bytes);
//     EXPECT_THAT(ErrorsOfLoadingAs<BinarySerializer>("garbage"), ElementsAre(...));

#pragma once

#include "QBase/Serializer.h"
#include "Support/Bytes.h"
#include "Support/CapturedMessages.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

// A handler of reports that notes where in its file the load stands.
class PlaceKeeper : public QBase::Object
{
public:
    void Execute(const QBase::Value&) override { mPlaces.push_back(QBase::Serializer::GetPlace().c_str()); }

    std::vector<std::string> mPlaces;
};

/// What the serializer makes of a graph.
inline std::string Saved(QBase::Serializer* pSerializer, QBase::Object* pObject)
{
    const QBase::Ptr<QBase::MemoryFile> pFile = EmptyFile();
    EXPECT_TRUE(pSerializer->Serialize(pObject, pFile));
    return ContentsOf(pFile);
}

inline QBase::Value Loaded(QBase::Serializer* pSerializer, const std::string& bytes)
{
    const QBase::Ptr<QBase::MemoryFile> pFile = FileOf(bytes);
    return pSerializer->Deserialize(pFile);
}

template <typename Format>
std::string SavedAs(QBase::Object* pObject)
{
    const QBase::Ptr<Format> pSerializer = Format::Construct(QBase::Value::Null);
    return Saved(pSerializer, pObject);
}

template <typename Format>
QBase::Value LoadedAs(const std::string& bytes)
{
    const QBase::Ptr<Format> pSerializer = Format::Construct(QBase::Value::Null);
    return Loaded(pSerializer, bytes);
}

/// Loads what is wrong: void, and at least one message. All messages.
template <typename Format>
std::vector<std::string> ErrorsOfLoadingAs(const std::string& bytes)
{
    CapturedMessages messages;
    EXPECT_TRUE(LoadedAs<Format>(bytes).IsVoid()) << bytes;
    std::vector<std::string> all = messages.TakeAll();
    EXPECT_FALSE(all.empty());
    return all;
}
