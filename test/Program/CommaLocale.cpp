// Writes and reads numbers in a locale in which the C library writes a decimal comma.

#include "QBase/StringConverter.h"

#include <clocale>
#include <cstdio>
#include <cstring>

using namespace QBase;

namespace
{

template <typename T>
void Write(const T& value)
{
    std::puts(StringConverter<T>::ToString(value).c_str());
}

template <typename T>
void WriteRead(const char* pText)
{
    T value{};
    StringConverter<T>::FromString(pText, value);
    Write(value);
}

} // namespace

int main()
{
    char proof[8] = "";
    for (const char* const pName : {"comma", "de_DE.UTF-8", "fr_FR.UTF-8", "de_DE", "German"}) {
        if (std::strcmp(proof, "1,5") != 0) {
            std::setlocale(LC_NUMERIC, pName);
            std::snprintf(proof, sizeof(proof), "%.1f", 1.5);
        }
    }
    std::puts(std::strcmp(proof, "1,5") == 0 ? proof : "no locale");
    Write(Vector2(1.5f, 0.25f));
    Write(Quaternion(1.5f, 0.25f, -0.5f, 0.1f));
    Write(1.5f);
    Write(1234567);
    WriteRead<Vector2>("3,4");
    WriteRead<Vector2>("1.5,2.5");
    WriteRead<float>("1.5");
    return 0;
}
