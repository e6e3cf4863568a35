// Checks in a process of their own: for what ends, never ends or changes the process that it runs in.
#pragma once

#include <functional>

namespace test_support {

// Runs the function in a child process, with its checks; true when none failed, nothing was thrown and it came to its
// end.
bool PassesInChild(const std::function<void()>& function);

}  // namespace test_support
