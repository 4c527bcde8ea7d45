// Any bytes as a text: interning, repair, counting, and the reading of every type of value. A value that was
// read gives a text that reads as the same value.

#include "Support/FuzzInput.h"
#include "Support/FuzzRun.h"

#include "QBase/StringConverter.h"
#include "QBase/UTF8.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <exception>
#include <string>

using namespace QBase;

namespace
{

template <typename T>
void ReadAndWrite(const char* pText)
{
    T value{};
    if (!StringConverter<T>::FromString(pText, value)) {
        return;
    }
    const String text = StringConverter<T>::ToString(value);
    T again{};
    FUZZ_EXPECT(StringConverter<T>::FromString(text, again));
    FUZZ_EXPECT(std::strcmp(StringConverter<T>::ToString(again).c_str(), text.c_str()) == 0);
}

void TryTexts(const std::string& bytes)
{
    const String text(bytes.c_str());
    FUZZ_EXPECT(text.size() == std::strlen(text.c_str()));
    FUZZ_EXPECT(text.length() <= text.size());
    FUZZ_EXPECT(UTF8::Length(text.buffer_utf8()) == text.length()); // repaired if need be
    const String same(text.c_str());
    FUZZ_EXPECT(std::strcmp(same.c_str(), text.c_str()) == 0);
    FUZZ_EXPECT(text.buffer_utf16().size() >= text.length());
    FUZZ_EXPECT(String::Format("%s", text.c_str()) == same);
}

// Each two bytes as a unit of a wide text, which is one with no repair or raises an exception.
void TryWideTexts(const std::string& bytes)
{
    std::wstring wide;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        wide += static_cast<wchar_t>(static_cast<unsigned char>(bytes[i]) +
                                     256 * static_cast<unsigned char>(bytes[i + 1]));
    }
    try {
        const String text(wide.c_str());
        FUZZ_EXPECT(String(text.c_str()) == text);
        FUZZ_EXPECT(UTF8::Length(text.buffer_utf8()) == text.length());
        const WideString back = text.buffer_utf16();
        FUZZ_EXPECT(std::equal(back.begin(), back.end(), wide.begin(),
                               wide.begin() + static_cast<std::ptrdiff_t>(back.size())));
        FUZZ_EXPECT(back.size() == std::wcslen(wide.c_str()));
    } catch (const std::exception&) {
        FUZZ_EXPECT(std::any_of(wide.begin(), wide.end(), [](wchar_t unit) { return unit >= 0xD800; }));
    }
}

void TryEditing(const std::string& bytes, int count, unsigned codePoint)
{
    NarrowString text(bytes.c_str());
    const NarrowString before = text;
    try {
        UTF8::Append(text, codePoint);
        UTF8::EraseFromEnd(text, 1);
        FUZZ_EXPECT(text == before);
        UTF8::EraseFromEnd(text, count);
        FUZZ_EXPECT(text.size() <= before.size());
    } catch (const std::exception&) {
        FUZZ_EXPECT(text == before || text.size() > before.size()); // appended, then refused
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    const FuzzRun run;
    FuzzInput input(pData, size);
    const int count = input.TakeByte() - 8;
    const unsigned codePoint = static_cast<unsigned>(input.TakeInt());
    const std::string bytes(input.TakeRest());
    const char* const pText = bytes.c_str();
    TryTexts(pText);
    TryWideTexts(bytes); // also behind a zero byte
    TryEditing(pText, count, codePoint);
    ReadAndWrite<int>(pText);
    ReadAndWrite<float>(pText);
    ReadAndWrite<bool>(pText);
    ReadAndWrite<String>(pText);
    ReadAndWrite<Vector2>(pText);
    ReadAndWrite<Vector3>(pText);
    ReadAndWrite<Vector4>(pText);
    ReadAndWrite<Vector2i>(pText);
    ReadAndWrite<Vector3i>(pText);
    ReadAndWrite<Vector4i>(pText);
    ReadAndWrite<Color>(pText);
    ReadAndWrite<Quaternion>(pText);
    FUZZ_EXPECT(StringConverter<Value::Type>::FromString(pText) < Value::NUM_TYPES);
    return 0;
}
