#pragma once

#include <functional>

namespace qel::test
{

// Runs `work` as RealtimeSanitizer's real-time context: an allocation, a
// waiting lock or a system call inside ends the process with its stack.
void inRealtimeScope(const std::function<void()>& work);

} // namespace qel::test
