// Export.h fences everything that differs between compilers: symbol visibility, attributes and the
// warnings that one deliberate construct of the library would raise. No other header or source unit
// asks which compiler it is built by.
//
//     class QBASE_API Table : public Object { ... };           // visible to users of the library
//     void Report(const char* pFormat, ...) QBASE_PRINTF(1, 2); // arguments checked against the format
//
// Threads: nothing here runs.

#pragma once

// QBASE_API marks what the library offers. QBase_EXPORTS is defined by the build while the library
// itself is compiled; QBASE_STATIC by users and build of a static library. A module that others link to
// makes a mark of its own out of QBASE_MODULE_EXPORT and QBASE_MODULE_IMPORT.
#if defined(QBASE_STATIC)
#    define QBASE_API
#    define QBASE_MODULE_EXPORT
#    define QBASE_MODULE_IMPORT
#elif defined(_WIN32)
#    define QBASE_MODULE_EXPORT __declspec(dllexport)
#    define QBASE_MODULE_IMPORT __declspec(dllimport)
#    if defined(QBase_EXPORTS)
#        define QBASE_API __declspec(dllexport)
#    else
#        define QBASE_API __declspec(dllimport)
#    endif
#else
#    define QBASE_MODULE_EXPORT __attribute__((visibility("default")))
#    define QBASE_MODULE_IMPORT __attribute__((visibility("default")))
#    define QBASE_API __attribute__((visibility("default")))
#endif

// QBASE_EXPORTED_TEMPLATE(Ptr<Object>); declares an instantiation that the library holds for its users.
// MinGW's compiler leaves the inline members of an exported instantiation out of the library and still
// expects a user who is compiled without optimisation to import them, so there each user instantiates what it
// needs.
#if defined(__MINGW32__) && !defined(QBase_EXPORTS)
#    define QBASE_EXPORTED_TEMPLATE(...) static_assert(true)
#else
#    define QBASE_EXPORTED_TEMPLATE(...) extern template class QBASE_API __VA_ARGS__
#endif

// QBASE_ENTRY marks the entry functions that Thread and Fiber start: they have the system's own calling
// convention, which differs from the compiler's on 32-bit Windows.
#if defined(_WIN32) && !defined(_WIN64)
#    define QBASE_ENTRY __stdcall
#else
#    define QBASE_ENTRY
#endif

// QBASE_PRINTF(f, a): parameter f (counted from 1, `this` included) is a printf format whose arguments
// start at parameter a.
#if defined(__MINGW32__) && !defined(__clang__)
#    define QBASE_PRINTF(formatIndex, firstArgument)                                                         \
        __attribute__((format(gnu_printf, formatIndex, firstArgument)))
#elif defined(__GNUC__)
#    define QBASE_PRINTF(formatIndex, firstArgument)                                                         \
        __attribute__((format(printf, formatIndex, firstArgument)))
#else
#    define QBASE_PRINTF(formatIndex, firstArgument)
#endif

// QBASE_NOINLINE keeps a function out of line.
// QBASE_INITIALISE_FIRST lets a namespace-scope object be constructed before all ordinary ones, of every
// unit of the same binary; QBASE_INITIALISE_EARLY right after those.
// QBASE_FAST_THREAD_LOCAL, on a thread-local variable, reads it without a call. Such variables share a
// small store with all libraries that are loaded later, so it is for a few pointers only.
// QBASE_LIKELY and QBASE_UNLIKELY tell the compiler which way a test mostly goes.
#if defined(__GNUC__)
#    define QBASE_NOINLINE __attribute__((noinline))
#    define QBASE_INITIALISE_FIRST __attribute__((init_priority(101)))
#    define QBASE_INITIALISE_EARLY __attribute__((init_priority(102)))
#    define QBASE_LIKELY(condition) __builtin_expect(!!(condition), 1)
#    define QBASE_UNLIKELY(condition) __builtin_expect(!!(condition), 0)
#else
#    define QBASE_NOINLINE __declspec(noinline)
#    define QBASE_INITIALISE_FIRST
#    define QBASE_INITIALISE_EARLY
#    define QBASE_LIKELY(condition) (condition)
#    define QBASE_UNLIKELY(condition) (condition)
#endif

#if defined(__ELF__)
#    define QBASE_FAST_THREAD_LOCAL __attribute__((tls_model("initial-exec")))
#else
#    define QBASE_FAST_THREAD_LOCAL
#endif

// Between QBASE_NULL_THIS_BEGIN and QBASE_NULL_THIS_END a member function may test `this` for null, as
// Object::Access and Object::Release promise to. The build passes -fno-delete-null-pointer-checks so that the
// test survives.
#if defined(__clang__)
#    define QBASE_NULL_THIS_BEGIN                                                                            \
        _Pragma("clang diagnostic push") _Pragma("clang diagnostic ignored \"-Wundefined-bool-conversion\"") \
            _Pragma("clang diagnostic ignored \"-Wtautological-undefined-compare\"")
#    define QBASE_NULL_THIS_END _Pragma("clang diagnostic pop")
#elif defined(__GNUC__)
#    define QBASE_NULL_THIS_BEGIN                                                                            \
        _Pragma("GCC diagnostic push") _Pragma("GCC diagnostic ignored \"-Wnonnull-compare\"")               \
            _Pragma("GCC diagnostic ignored \"-Waddress\"")
#    define QBASE_NULL_THIS_END _Pragma("GCC diagnostic pop")
#else
#    define QBASE_NULL_THIS_BEGIN
#    define QBASE_NULL_THIS_END
#endif

// What is declared between QBASE_VISIBLE_BEGIN and QBASE_VISIBLE_END is visible to users of the library,
// whatever the build hides.
#if defined(__GNUC__) && !defined(_WIN32)
#    define QBASE_VISIBLE_BEGIN _Pragma("GCC visibility push(default)")
#    define QBASE_VISIBLE_END _Pragma("GCC visibility pop")
#else
#    define QBASE_VISIBLE_BEGIN
#    define QBASE_VISIBLE_END
#endif
