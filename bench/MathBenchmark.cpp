// What the mathematics costs, each operation beside the same one of GLM. The inputs pass through an array, so
// that nothing is computed while compiling.

#include "Rows.h"

#include "QBase/Matrix4.h"
#include "QBase/Quaternion.h"
#include "QBase/Vector3.h"

#include <glm/glm.hpp>
#include <glm/gtc/quaternion.hpp>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Bench
{
namespace
{

constexpr std::size_t NUM_INPUTS = 1024;

template <typename Make>
auto Inputs(Make make)
{
    std::vector<decltype(make(0.0f))> inputs;
    for (std::size_t i = 0; i < NUM_INPUTS; ++i) {
        inputs.push_back(make(static_cast<float>(i % 97) * 0.37f + 1));
    }
    return inputs;
}

// Applies `operation` to each pair of neighbours.
template <typename Input, typename Operation>
void Run(benchmark::State& state, const std::vector<Input>& inputs, Operation operation)
{
    for (auto _ : state) {
        for (std::size_t i = 1; i < inputs.size(); ++i) {
            auto result = operation(inputs[i - 1], inputs[i]);
            benchmark::DoNotOptimize(result);
        }
    }
    CountItems(state, static_cast<std::int64_t>(inputs.size() - 1));
}

QBase::Vector3 MakeVector(float seed)
{
    return QBase::Vector3(seed, 2 - seed, seed * 0.5f);
}

glm::vec3 MakeGlmVector(float seed)
{
    return glm::vec3(seed, 2 - seed, seed * 0.5f);
}

QBase::Quaternion MakeRotation(float seed)
{
    return QBase::Quaternion::FromAxisAngle(MakeVector(seed), seed);
}

glm::quat MakeGlmRotation(float seed)
{
    return glm::angleAxis(seed, glm::normalize(MakeGlmVector(seed)));
}

QBase::Matrix4 MakeMatrix(float seed)
{
    return QBase::Matrix4::Compose(MakeVector(seed), MakeRotation(seed), QBase::Vector3(seed));
}

glm::mat4 MakeGlmMatrix(float seed)
{
    glm::mat4 matrix = glm::mat4_cast(MakeGlmRotation(seed)) * seed;
    matrix[3] = glm::vec4(MakeGlmVector(seed), 1);
    return matrix;
}

void CrossAndNormalise(benchmark::State& state)
{
    Run(state, Inputs(MakeVector), [](const auto& a, const auto& b) { return a.Cross(b).Normalised(); });
}

void CrossAndNormaliseGlm(benchmark::State& state)
{
    Run(state, Inputs(MakeGlmVector),
        [](const auto& a, const auto& b) { return glm::normalize(glm::cross(a, b)); });
}

void MultiplyMatrices(benchmark::State& state)
{
    Run(state, Inputs(MakeMatrix), [](const auto& a, const auto& b) { return a * b; });
}

void MultiplyMatricesGlm(benchmark::State& state)
{
    Run(state, Inputs(MakeGlmMatrix), [](const auto& a, const auto& b) { return a * b; });
}

void InvertMatrix(benchmark::State& state)
{
    Run(state, Inputs(MakeMatrix), [](const auto& a, const auto&) { return a.Inverse(); });
}

void InvertMatrixGlm(benchmark::State& state)
{
    Run(state, Inputs(MakeGlmMatrix), [](const auto& a, const auto&) { return glm::inverse(a); });
}

void MultiplyQuaternions(benchmark::State& state)
{
    Run(state, Inputs(MakeRotation), [](const auto& a, const auto& b) { return a * b; });
}

void MultiplyQuaternionsGlm(benchmark::State& state)
{
    Run(state, Inputs(MakeGlmRotation), [](const auto& a, const auto& b) { return a * b; });
}

void Slerp(benchmark::State& state)
{
    Run(state, Inputs(MakeRotation),
        [](const auto& a, const auto& b) { return QBase::Quaternion::Slerp(a, b, 0.3f); });
}

void SlerpGlm(benchmark::State& state)
{
    Run(state, Inputs(MakeGlmRotation), [](const auto& a, const auto& b) { return glm::slerp(a, b, 0.3f); });
}

const bool sbEntered = [] {
    const Area area("mathematics");
    area.Enter("cross product, normalised", "QBase", CrossAndNormalise);
    area.Enter("cross product, normalised", "GLM", CrossAndNormaliseGlm);
    area.Enter("product of matrices", "QBase", MultiplyMatrices);
    area.Enter("product of matrices", "GLM", MultiplyMatricesGlm);
    area.Enter("inverse of a matrix", "QBase", InvertMatrix);
    area.Enter("inverse of a matrix", "GLM", InvertMatrixGlm);
    area.Enter("product of quaternions", "QBase", MultiplyQuaternions);
    area.Enter("product of quaternions", "GLM", MultiplyQuaternionsGlm);
    area.Enter("slerp of quaternions", "QBase", Slerp);
    area.Enter("slerp of quaternions", "GLM", SlerpGlm);
    return true;
}();

} // namespace
} // namespace Bench
