// Runs a piece of a test on a thread with little stack, where deep recursion and large stack buffers show.

#pragma once

#include <cstddef>
#include <functional>

/// Returns when `work` did. The size is in bytes.
void RunOnSmallStack(std::size_t stackSize, const std::function<void()>& work);
