#include "QNet/CallFrame.h"

#include "QNet/ClassDescription.h"

#include "QBase/Function.h"
#include "QBase/Value.h"

#include <string_view>

using namespace QBase;

namespace QNet
{

namespace
{

constexpr char FUNCTION_CALL = 17; // the packet's kind
constexpr std::size_t CALL_SIZE = 6;
constexpr std::size_t INT_SIZE = 4;

bool Skip(std::string_view& rBytes, std::size_t size)
{
    if (size > rBytes.size()) {
        return false;
    }
    rBytes.remove_prefix(size);
    return true;
}

// Passes over a type and a value of it.
bool SkipArgument(std::string_view& rBytes)
{
    if (rBytes.empty()) {
        return false;
    }
    const int type = static_cast<unsigned char>(rBytes[0]);
    rBytes.remove_prefix(1);
    switch (type) {
    case Value::TYPE_VOID:
        return true;
    case Value::TYPE_BOOL:
        return Skip(rBytes, 1);
    case Value::TYPE_INT:
    case Value::TYPE_FLOAT:
    case Value::TYPE_OBJECT:
    case Value::TYPE_COLOR:
    case Value::TYPE_ENUM:
        return Skip(rBytes, INT_SIZE);
    case Value::TYPE_VECTOR2:
    case Value::TYPE_VECTOR2I:
        return Skip(rBytes, 2 * INT_SIZE);
    case Value::TYPE_VECTOR3:
    case Value::TYPE_VECTOR3I:
        return Skip(rBytes, 3 * INT_SIZE);
    case Value::TYPE_VECTOR4:
    case Value::TYPE_VECTOR4I:
    case Value::TYPE_QUATERNION:
        return Skip(rBytes, 4 * INT_SIZE);
    case Value::TYPE_STRING:
        return rBytes.size() >= INT_SIZE && Skip(rBytes, INT_SIZE + LoadInt(rBytes.data()));
    default:
        return false;
    }
}

bool SkipCall(std::string_view& rBytes)
{
    if (rBytes.size() < CALL_SIZE || rBytes[0] != FUNCTION_CALL) {
        return false;
    }
    const int numArguments = static_cast<unsigned char>(rBytes[CALL_SIZE - 1]);
    rBytes.remove_prefix(CALL_SIZE);
    for (int i = 0; i < numArguments; ++i) {
        if (!SkipArgument(rBytes)) {
            return false;
        }
    }
    return numArguments <= Function::MAX_ARGS;
}

} // namespace

bool HoldsCallsOnly(const std::string& packets)
{
    std::string_view bytes = packets;
    while (!bytes.empty()) {
        if (!SkipCall(bytes)) {
            return false;
        }
    }
    return true;
}

} // namespace QNet
