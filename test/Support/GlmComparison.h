// GlmComparison.h lets the tests of the mathematics compare with GLM, an independent implementation with the
// same conventions: column vectors, column after column, right-handed, radians.
//
//     Random random(1); // the same numbers in every run
//     EXPECT_TRUE(IsNearGlm(a.Cross(b), glm::cross(ToGlm(a), ToGlm(b))));

#pragma once

#include "QBase/Matrix3.h"
#include "QBase/Matrix4.h"
#include "QBase/Quaternion.h"
#include "QBase/Vector2.h"
#include "QBase/Vector3.h"
#include "QBase/Vector4.h"

#include <glm/glm.hpp>
#include <glm/gtc/quaternion.hpp>
#include <gtest/gtest.h>

#include <cstdint>

namespace QBase
{

// How often a comparison with random input is made.
constexpr int numRandomCases = 2000;

// Seeded numbers that are the same on every system (those of <random>'s distributions are not). The generator
// is SplitMix64 of Steele, Lea and Flood, "Fast Splittable Pseudorandom Number Generators" (OOPSLA 2014).
class Random
{
public:
    explicit Random(std::uint64_t seed) : mState(seed) {}

    float Number(float low, float high)
    {
        mState += 0x9E3779B97F4A7C15u;
        std::uint64_t bits = mState;
        bits = (bits ^ (bits >> 30)) * 0xBF58476D1CE4E5B9u;
        bits = (bits ^ (bits >> 27)) * 0x94D049BB133111EBu;
        bits ^= bits >> 31;
        return low + (high - low) * (static_cast<float>(bits >> 40) / 16777216.0f);
    }

    int Integer(int low, int high)
    {
        return low + static_cast<int>(Number(0, 1) * static_cast<float>(high - low));
    }

    QBase::Vector2 Vector2()
    {
        const float x = Number(-10, 10);
        return QBase::Vector2(x, Number(-10, 10));
    }

    QBase::Vector3 Vector3() { return QBase::Vector3(Vector2(), Number(-10, 10)); }
    QBase::Vector4 Vector4() { return QBase::Vector4(Vector3(), Number(-10, 10)); }

    QBase::Quaternion Rotation()
    {
        const QBase::Vector4 v = Vector4();
        return QBase::Quaternion(v.x, v.y, v.z, v.w).Normalised();
    }

    QBase::Matrix3 Matrix3()
    {
        QBase::Matrix3 result;
        for (float& element : result.elements) {
            element = Number(-10, 10);
        }
        return result;
    }

    QBase::Matrix4 Matrix4()
    {
        QBase::Matrix4 result;
        for (float& element : result.elements) {
            element = Number(-10, 10);
        }
        return result;
    }

private:
    std::uint64_t mState;
};

inline glm::vec2 ToGlm(const Vector2& v)
{
    return glm::vec2(v.x, v.y);
}

inline glm::vec3 ToGlm(const Vector3& v)
{
    return glm::vec3(v.x, v.y, v.z);
}

inline glm::vec4 ToGlm(const Vector4& v)
{
    return glm::vec4(v.x, v.y, v.z, v.w);
}

inline glm::quat ToGlm(const Quaternion& q)
{
    return glm::quat(q.w, q.x, q.y, q.z);
}

inline glm::mat3 ToGlm(const Matrix3& m)
{
    glm::mat3 result;
    for (int column = 0; column < 3; ++column) {
        for (int row = 0; row < 3; ++row) {
            result[column][row] = m(row, column);
        }
    }
    return result;
}

inline glm::mat4 ToGlm(const Matrix4& m)
{
    glm::mat4 result;
    for (int column = 0; column < 4; ++column) {
        for (int row = 0; row < 4; ++row) {
            result[column][row] = m(row, column);
        }
    }
    return result;
}

// Whether two numbers agree to `tolerance`, absolutely up to 1 and relatively above.
inline testing::AssertionResult IsNearGlm(float ours, float theirs, float tolerance = 1e-5f)
{
    if (Math<float>::IsNear(ours, theirs, tolerance))
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << ours << " here is " << theirs << " in GLM";
}

// The same for every component, measured by the largest one.
inline testing::AssertionResult AreNearGlm(const float* pOurs, const float* pTheirs, int count,
                                           float tolerance)
{
    float size = 1;
    for (int i = 0; i < count; ++i) {
        size = Math<float>::Max(size, Math<float>::Abs(pTheirs[i]));
    }
    for (int i = 0; i < count; ++i) {
        if (!(Math<float>::Abs(pOurs[i] - pTheirs[i]) <= tolerance * size))
            return testing::AssertionFailure()
                   << "component " << i << " is " << pOurs[i] << " here and " << pTheirs[i] << " in GLM";
    }
    return testing::AssertionSuccess();
}

inline testing::AssertionResult IsNearGlm(const Vector2& ours, const glm::vec2& theirs,
                                          float tolerance = 1e-5f)
{
    const float a[] = {ours.x, ours.y}, b[] = {theirs.x, theirs.y};
    return AreNearGlm(a, b, 2, tolerance);
}

inline testing::AssertionResult IsNearGlm(const Vector3& ours, const glm::vec3& theirs,
                                          float tolerance = 1e-5f)
{
    const float a[] = {ours.x, ours.y, ours.z}, b[] = {theirs.x, theirs.y, theirs.z};
    return AreNearGlm(a, b, 3, tolerance);
}

inline testing::AssertionResult IsNearGlm(const Vector4& ours, const glm::vec4& theirs,
                                          float tolerance = 1e-5f)
{
    const float a[] = {ours.x, ours.y, ours.z, ours.w}, b[] = {theirs.x, theirs.y, theirs.z, theirs.w};
    return AreNearGlm(a, b, 4, tolerance);
}

inline testing::AssertionResult IsNearGlm(const Quaternion& ours, const glm::quat& theirs,
                                          float tolerance = 1e-5f)
{
    const float a[] = {ours.x, ours.y, ours.z, ours.w}, b[] = {theirs.x, theirs.y, theirs.z, theirs.w};
    return AreNearGlm(a, b, 4, tolerance);
}

inline testing::AssertionResult IsNearGlm(const Matrix3& ours, const glm::mat3& theirs,
                                          float tolerance = 1e-5f)
{
    return AreNearGlm(ours.elements, &theirs[0][0], 9, tolerance);
}

inline testing::AssertionResult IsNearGlm(const Matrix4& ours, const glm::mat4& theirs,
                                          float tolerance = 1e-5f)
{
    return AreNearGlm(ours.elements, &theirs[0][0], 16, tolerance);
}

} // namespace QBase
