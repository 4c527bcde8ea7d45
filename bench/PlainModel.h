// The same data as in Model.h in plain structures: what bounds and peers without a model of their own work
// on.

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Bench
{

struct PlainVector3
{
    float mX = 0.0f;
    float mY = 0.0f;
    float mZ = 0.0f;

    bool operator==(const PlainVector3&) const = default;
};

struct PlainColor
{
    std::uint8_t mRed = 0;
    std::uint8_t mGreen = 0;
    std::uint8_t mBlue = 0;
    std::uint8_t mAlpha = 0;

    bool operator==(const PlainColor&) const = default;
};

// --- Twelve properties over three levels of classes, and a function ---

struct PlainVehicle
{
    virtual ~PlainVehicle() = default;

    int mWheels = 4;
    int mSeats = 5;
    float mWeight = 1.5f;
    std::string mName;
};

struct PlainCar : PlainVehicle
{
    int mDoors = 3;
    int mGears = 6;
    float mPower = 90.0f;
    std::string mMaker;
};

struct PlainTaxi : PlainCar
{
    int Drive(int distance, float speed) { return mFare += distance + static_cast<int>(speed); }

    int mFare = 0;
    int mLicence = 17;
    float mRate = 2.5f;
    std::string mDriver;
};

// --- Trees that are saved and loaded ---

struct PlainShared
{
    int mIndex = 0; // of use to hand-written code alone
};

// Pointer<T> is T* or std::shared_ptr<T>.
template <template <typename> typename Pointer, typename Text>
struct BasicNode
{
    using Shared = PlainShared;

    int mId = 0;
    float mMass = 0.0f;
    bool mbVisible = false;
    Text mLabel;
    PlainVector3 mPlace;
    PlainColor mTint;
    Pointer<PlainShared> mpShared{};
    std::vector<Pointer<BasicNode>> mChildren;
};

template <typename T>
using RawPointer = T*;
template <typename T>
using SharedPointer = std::shared_ptr<T>;

using PlainNode = BasicNode<RawPointer, std::string>;
using SharedNode = BasicNode<SharedPointer, std::string>;

/// A tree of that many nodes; `make(T*)` answers a pointer to a new T.
template <typename Node, typename Make>
auto MakePlainTree(std::int64_t size, Make make)
{
    std::vector<decltype(make(static_cast<Node*>(nullptr)))> nodes;
    std::vector<decltype(make(static_cast<typename Node::Shared*>(nullptr)))> shared;
    for (int i = 0; i < 64; ++i) {
        shared.push_back(make(static_cast<typename Node::Shared*>(nullptr)));
        shared.back()->mIndex = i;
    }
    for (std::int64_t i = 0; i < size; ++i) {
        auto pNode = make(static_cast<Node*>(nullptr));
        pNode->mId = static_cast<int>(i);
        pNode->mMass = static_cast<float>(i) * 0.37f;
        pNode->mbVisible = i % 3 == 0;
        pNode->mLabel = ("label " + std::to_string(i % 1000)).c_str();
        pNode->mPlace = {static_cast<float>(i), 0.5f, -1.25f};
        pNode->mTint = {1, 2, 3, static_cast<std::uint8_t>(i)};
        pNode->mpShared = shared[static_cast<std::size_t>(i % 64)];
        if (i > 0) {
            nodes[static_cast<std::size_t>((i - 1) / 10)]->mChildren.push_back(pNode);
        }
        nodes.push_back(pNode);
    }
    return nodes[0];
}

struct MakeRaw
{
    template <typename T>
    T* operator()(T*) const
    {
        return new T();
    }
};

struct MakeShared
{
    template <typename T>
    std::shared_ptr<T> operator()(T*) const
    {
        return std::make_shared<T>();
    }
};

/// Made once per size and kept.
template <typename Node>
Node* GetPlainTree(std::int64_t size)
{
    static std::map<std::int64_t, Node*> sTrees;
    Node*& rpTree = sTrees[size];
    if (rpTree == nullptr) {
        rpTree = MakePlainTree<Node>(size, MakeRaw());
    }
    return rpTree;
}

inline const std::shared_ptr<SharedNode>& GetSharedTree(std::int64_t size)
{
    static std::map<std::int64_t, std::shared_ptr<SharedNode>> sTrees;
    std::shared_ptr<SharedNode>& rpTree = sTrees[size];
    if (rpTree == nullptr) {
        rpTree = MakePlainTree<SharedNode>(size, MakeShared());
    }
    return rpTree;
}

/// Deletes a tree of raw pointers that a load made, its shared objects included.
template <typename Node>
void DeletePlainTree(Node* pRoot)
{
    std::vector<Node*> waiting{pRoot};
    std::map<PlainShared*, bool> shared;
    while (!waiting.empty()) {
        Node* const pNode = waiting.back();
        waiting.pop_back();
        waiting.insert(waiting.end(), pNode->mChildren.begin(), pNode->mChildren.end());
        shared[pNode->mpShared] = true;
        delete pNode;
    }
    for (const auto& [pShared, bSeen] : shared) {
        delete pShared;
    }
}

// --- What is watched for changes ---

struct PlainBody
{
    int mNumber = 0;
    int mLayer = 0;
    float mMass = 1.0f;
    bool mbVisible = true;
    std::string mName;
    PlainVector3 mPosition;
    PlainVector3 mVelocity;
    PlainColor mColor;

    bool operator==(const PlainBody&) const = default;
};

} // namespace Bench
