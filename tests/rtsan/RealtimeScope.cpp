#include "RealtimeScope.h"

#include <dlfcn.h>
#include <pthread.h>

// clang 19 ships the runtime but not yet -fsanitize=realtime: the test links
// the runtime by hand and enters the context through its entry points.
extern "C" void __rtsan_realtime_enter();
extern "C" void __rtsan_realtime_exit();
// The runtime's own unlock, which reports in a real-time context.
extern "C" int __interceptor_pthread_mutex_unlock(pthread_mutex_t*);

namespace
{
using LockCall = int (*)(pthread_mutex_t*);
const auto realTryLock = reinterpret_cast<LockCall>(dlsym(RTLD_NEXT, "pthread_mutex_trylock"));
const auto realUnlock = reinterpret_cast<LockCall>(dlsym(RTLD_NEXT, "pthread_mutex_unlock"));

// The mutexes this thread holds by a try-lock. A try-lock never waits, so
// the audio thread may use one; the runtime flags every unlock, also theirs.
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

namespace qel::test
{

void inRealtimeScope(const std::function<void()>& work)
{
    __rtsan_realtime_enter();
    work();
    __rtsan_realtime_exit();
}

} // namespace qel::test
