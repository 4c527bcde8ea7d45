// Whether this build watches its memory. Sanitizers keep books about every byte, for which they take more
// address space than any limit, and which gigabytes of untouched memory are too much for.

#pragma once

inline constexpr bool HAS_SANITIZER =
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    true;
#elif defined(__has_feature)
#    if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
    true;
#    else
    false;
#    endif
#else
    false;
#endif
