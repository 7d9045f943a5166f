// The plug-in's blocks after the first in RealtimeSanitizer's real-time context, in every mode the switches select.
#include "support/ModeWalk.h"

#include <gtest/gtest.h>

#include <chrono>
#include <dlfcn.h>
#include <functional>
#include <mutex>
#include <pthread.h>
#include <thread>
#include <tuple>

// clang 19 ships the runtime but not yet -fsanitize=realtime: the test links it and enters the context by its entry points.
extern "C" void __rtsan_realtime_enter();
extern "C" void __rtsan_realtime_exit();
// The runtime's own unlock, which reports in a real-time context.
extern "C" int __interceptor_pthread_mutex_unlock(pthread_mutex_t*);

namespace
{
using LockCall = int (*)(pthread_mutex_t*);
const auto realTryLock = reinterpret_cast<LockCall>(dlsym(RTLD_NEXT, "pthread_mutex_trylock"));
const auto realUnlock = reinterpret_cast<LockCall>(dlsym(RTLD_NEXT, "pthread_mutex_unlock"));

// The mutexes this thread holds by a try-lock, which never waits, so the audio thread may take one; the runtime flags every unlock.
constexpr int maxTried = 16;
thread_local pthread_mutex_t* tried[maxTried];
thread_local int triedCount = 0;
} // namespace

// Ours override the runtime's weak interceptors.
extern "C" int pthread_mutex_trylock(pthread_mutex_t* m) noexcept
{
    const int result = realTryLock(m);
    if (result == 0 && triedCount < maxTried)
        tried[triedCount++] = m;
    return result;
}

extern "C" int pthread_mutex_unlock(pthread_mutex_t* m) noexcept
{
    for (int i = triedCount - 1; i >= 0; --i)
        if (tried[i] == m)
        {
            tried[i] = tried[--triedCount];
            return realUnlock(m);
        }
    return __interceptor_pthread_mutex_unlock(m);
}

namespace
{

using qel::test::Writer;
using Set = juce::AudioChannelSet;

// Runs `work` as the real-time context: an allocation, a waiting lock or a system call inside ends the process.
void inRealtimeScope(const std::function<void()>& work)
{
    __rtsan_realtime_enter();
    work();
    __rtsan_realtime_exit();
}

// A violation ends the process: a walk that returns saw none.
TEST(RealtimeSanitizer, EveryModeOnOneAndTwoChannelsFromTheElementAndTheHost)
{
    for (const auto& [in, out, writer] : { std::tuple { Set::stereo(), Set::stereo(), Writer::element },
                                           std::tuple { Set::mono(), Set::mono(), Writer::element },
                                           std::tuple { Set::mono(), Set::stereo(), Writer::host } })
    {
        qel::test::HostedEffect host(in, out, writer);
        qel::test::playEveryMode(host, [](auto& play) { return inRealtimeScope(play), size_t { 0 }; });
    }
}

// The context bites (the walks show that a try-lock does not: every block takes one).
TEST(RealtimeSanitizerDeathTest, ReportsAnAllocationALockAndASystemCall)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    std::mutex m;
    EXPECT_DEATH(inRealtimeScope([] {
                     int* volatile p = new int(3);
                     delete p;
                 }),
                 "Real-time violation.*`malloc`");
    EXPECT_DEATH(inRealtimeScope([&] { const std::lock_guard<std::mutex> held(m); }), "`pthread_mutex_lock`");
    EXPECT_DEATH(inRealtimeScope([] { std::this_thread::sleep_for(std::chrono::milliseconds(1)); }), "`nanosleep`");
}

} // namespace
