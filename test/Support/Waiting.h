// Waiting for what another thread or program does, without trusting any clock: a test goes on as soon as it
// is done and fails only when it is not done in a very long time.
//
//     ASSERT_TRUE(WaitUntil([&] { return pStream->BytesAvailable() == 5; }));

#pragma once

#include <chrono>
#include <thread>

inline void Sleep(int milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

/// Asks again and again until the answer is true. False when it never was.
template <typename Condition>
bool WaitUntil(Condition isDone)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(4);
    while (!isDone()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        Sleep(1);
    }
    return true;
}
