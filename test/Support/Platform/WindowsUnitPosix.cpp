// Stands in for <windows.h> where there is none.

// The standard library's own headers come first, as they do in a host that has to live with these macros.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <concepts>
#include <functional>
#include <iterator>
#include <limits>
#include <memory>
#include <mutex>
#include <numbers>
#include <sstream>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

// What <windows.h> defines.
#define GetClassName GetClassNameA
#define GetObject GetObjectA
#define RegisterClass RegisterClassA
#define GetMessage GetMessageA
#define CreateFile CreateFileA
#define DeleteFile DeleteFileA
#define Yield()
#define ERROR 0
#define IN
#define OUT
#define near
#define far
#define small char
#define interface struct
#define min(a, b) (((a) < (b)) ? (a) : (b))
#define max(a, b) (((a) > (b)) ? (a) : (b))

#include "Support/WindowsUnitBody.h"
