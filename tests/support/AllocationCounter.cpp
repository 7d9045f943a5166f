#include "support/AllocationCounter.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <new>

#include <dlfcn.h>
#include <execinfo.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <time.h>
#include <unistd.h>

// A sanitizer brings its own malloc and, under ThreadSanitizer, its own
// lock interceptors: the counter then stays out of their way.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define REELWARP_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define REELWARP_SANITIZED 1
#endif
#endif
#if defined(__SANITIZE_THREAD__)
#define REELWARP_THREAD_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define REELWARP_THREAD_SANITIZED 1
#endif
#endif

namespace
{
#ifdef REELWARP_SANITIZED
constexpr bool interposeMalloc = false;
#else
constexpr bool interposeMalloc = true;
#endif
#ifdef REELWARP_THREAD_SANITIZED
constexpr bool interposeLocks = false;
#else
constexpr bool interposeLocks = true;
#endif

enum Kind { allocated, freed, locked, waited, kindCount };
constexpr const char* kindNames[kindCount] = { "allocation", "free", "waiting lock", "sleep or yield" };

// Constant-initialised, so that reading them needs no allocation and no lock.
thread_local int armed = 0;
thread_local bool inHook = false;
thread_local size_t tallies[kindCount] = {};

// The distinct places of violations, kept for the report: a place is told
// apart by the two nearest callers of the hook (frames 0 to 2 are the counter's
// own), so that one culprit reached along many paths stays one place.
constexpr int maxSites = 16;
constexpr int maxDepth = 40;
constexpr int firstCaller = 3;
constexpr int callersCompared = 2;
struct Site
{
    void* stack[maxDepth];
    int depth;
    Kind kind;
    size_t hits;
};
Site sites[maxSites];
int siteCount = 0;
std::atomic_flag sitesBusy = ATOMIC_FLAG_INIT;

__attribute__((noinline)) void remember(Kind kind) noexcept
{
    void* stack[maxDepth];
    const int depth = backtrace(stack, maxDepth);
    while (sitesBusy.test_and_set(std::memory_order_acquire))
    {
    }
    const int end = std::min(depth, firstCaller + callersCompared);
    bool known = false;
    for (int i = 0; i < siteCount && !known; ++i)
        if (sites[i].kind == kind && sites[i].depth >= end && std::equal(stack + firstCaller, stack + end, sites[i].stack + firstCaller))
        {
            known = true;
            ++sites[i].hits;
        }
    if (!known && siteCount < maxSites)
    {
        auto& site = sites[siteCount++];
        std::copy(stack, stack + depth, site.stack);
        site.depth = depth;
        site.kind = kind;
        site.hits = 1;
    }
    sitesBusy.clear(std::memory_order_release);
}

__attribute__((noinline)) void note(Kind kind) noexcept
{
    if (armed == 0 || inHook)
        return;
    ++tallies[kind];
    inHook = true;
    remember(kind);
    inHook = false;
}

void* allocate(size_t size)
{
    if (!interposeMalloc)
        note(allocated);
    if (void* p = std::malloc(size == 0 ? 1 : size))
        return p;
    throw std::bad_alloc();
}

void* allocateAligned(size_t size, std::align_val_t alignment)
{
    if (!interposeMalloc)
        note(allocated);
    const auto a = static_cast<size_t>(alignment);
    const size_t rounded = (size + a - 1) / a * a;
    if (void* p = std::aligned_alloc(a, rounded == 0 ? a : rounded))
        return p;
    throw std::bad_alloc();
}

void release(void* p) noexcept
{
    if (!interposeMalloc && p != nullptr)
        note(freed);
    std::free(p);
}

// The next definition of a C function, looked up once without a guard
// variable: a static local's guard may itself take a pthread mutex.
template <typename F>
F next(std::atomic<void*>& slot, const char* name) noexcept
{
    void* f = slot.load(std::memory_order_acquire);
    if (f == nullptr)
    {
        f = dlsym(RTLD_NEXT, name);
        slot.store(f, std::memory_order_release);
    }
    return reinterpret_cast<F>(f);
}

#ifndef REELWARP_THREAD_SANITIZED
#define REELWARP_NEXT(name) next<decltype(&::name)>(name##Next, #name)
std::atomic<void*> pthread_mutex_lockNext { nullptr }, pthread_rwlock_rdlockNext { nullptr },
    pthread_rwlock_wrlockNext { nullptr }, sem_waitNext { nullptr }, nanosleepNext { nullptr },
    clock_nanosleepNext { nullptr }, usleepNext { nullptr }, sched_yieldNext { nullptr };
#endif
} // namespace

void* operator new(size_t size) { return allocate(size); }
void* operator new[](size_t size) { return allocate(size); }
void* operator new(size_t size, const std::nothrow_t&) noexcept
{
    try { return allocate(size); } catch (...) { return nullptr; }
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept
{
    try { return allocate(size); } catch (...) { return nullptr; }
}
void* operator new(size_t size, std::align_val_t a) { return allocateAligned(size, a); }
void* operator new[](size_t size, std::align_val_t a) { return allocateAligned(size, a); }
void operator delete(void* p) noexcept { release(p); }
void operator delete[](void* p) noexcept { release(p); }
void operator delete(void* p, size_t) noexcept { release(p); }
void operator delete[](void* p, size_t) noexcept { release(p); }
void operator delete(void* p, std::align_val_t) noexcept { release(p); }
void operator delete[](void* p, std::align_val_t) noexcept { release(p); }
void operator delete(void* p, size_t, std::align_val_t) noexcept { release(p); }
void operator delete[](void* p, size_t, std::align_val_t) noexcept { release(p); }

#ifndef REELWARP_SANITIZED
// glibc's own entry points: no lookup, so no allocation while resolving one.
extern "C" {
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void __libc_free(void*);
void* __libc_memalign(size_t, size_t);
void* __libc_valloc(size_t);
void* __libc_pvalloc(size_t);

void* malloc(size_t size) noexcept
{
    note(allocated);
    return __libc_malloc(size);
}
void* calloc(size_t count, size_t size) noexcept
{
    note(allocated);
    return __libc_calloc(count, size);
}
void* realloc(void* p, size_t size) noexcept
{
    note(allocated);
    return __libc_realloc(p, size);
}
void* reallocarray(void* p, size_t count, size_t size) noexcept
{
    size_t bytes = 0;
    if (__builtin_mul_overflow(count, size, &bytes))
    {
        errno = ENOMEM;
        return nullptr;
    }
    return realloc(p, bytes);
}
void free(void* p) noexcept
{
    if (p != nullptr)
        note(freed);
    __libc_free(p);
}
void* memalign(size_t alignment, size_t size) noexcept
{
    note(allocated);
    return __libc_memalign(alignment, size);
}
void* aligned_alloc(size_t alignment, size_t size) noexcept { return memalign(alignment, size); }
int posix_memalign(void** out, size_t alignment, size_t size) noexcept
{
    if (alignment % sizeof(void*) != 0 || (alignment & (alignment - 1)) != 0)
        return EINVAL;
    void* p = memalign(alignment, size);
    if (p == nullptr)
        return ENOMEM;
    *out = p;
    return 0;
}
void* valloc(size_t size) noexcept
{
    note(allocated);
    return __libc_valloc(size);
}
void* pvalloc(size_t size) noexcept
{
    note(allocated);
    return __libc_pvalloc(size);
}
}
#endif

#ifndef REELWARP_THREAD_SANITIZED
extern "C" {
int pthread_mutex_lock(pthread_mutex_t* m) noexcept
{
    note(locked);
    return REELWARP_NEXT(pthread_mutex_lock)(m);
}
int pthread_rwlock_rdlock(pthread_rwlock_t* l) noexcept
{
    note(locked);
    return REELWARP_NEXT(pthread_rwlock_rdlock)(l);
}
int pthread_rwlock_wrlock(pthread_rwlock_t* l) noexcept
{
    note(locked);
    return REELWARP_NEXT(pthread_rwlock_wrlock)(l);
}
int sem_wait(sem_t* s)
{
    note(locked);
    return REELWARP_NEXT(sem_wait)(s);
}
int nanosleep(const timespec* duration, timespec* remaining)
{
    note(waited);
    return REELWARP_NEXT(nanosleep)(duration, remaining);
}
int clock_nanosleep(clockid_t clock, int flags, const timespec* duration, timespec* remaining)
{
    note(waited);
    return REELWARP_NEXT(clock_nanosleep)(clock, flags, duration, remaining);
}
int usleep(useconds_t microseconds)
{
    note(waited);
    return REELWARP_NEXT(usleep)(microseconds);
}
int sched_yield() noexcept
{
    note(waited);
    return REELWARP_NEXT(sched_yield)();
}
}
#endif

namespace qel::test
{

AllocationCounter::AllocationCounter()
{
    // backtrace() loads its unwinder on first use: not inside a counted scope.
    static std::atomic<bool> warm { false };
    if (!warm.exchange(true))
    {
        void* frames[2];
        backtrace(frames, 2);
    }
    for (int k = 0; k < kindCount; ++k)
        start[k] = tallies[k];
    ++armed;
}

AllocationCounter::~AllocationCounter()
{
    --armed;
}

size_t AllocationCounter::now(int kind) const
{
    return tallies[kind] - start[kind];
}

size_t AllocationCounter::count() const { return now(allocated); }
size_t AllocationCounter::frees() const { return now(freed); }
size_t AllocationCounter::locks() const { return now(locked); }
size_t AllocationCounter::waits() const { return now(waited); }

bool AllocationCounter::seesMalloc() noexcept { return interposeMalloc; }
bool AllocationCounter::seesLocks() noexcept { return interposeLocks; }

namespace
{
// A return address named by addr2line from the object's symbol table, so
// that no -rdynamic is needed.
std::string nameOf(void* address)
{
    Dl_info info {};
    if (dladdr(address, &info) == 0 || info.dli_fname == nullptr)
        return "?\n";
    // The call is the byte before the return address.
    const auto offset = reinterpret_cast<uintptr_t>(address) - reinterpret_cast<uintptr_t>(info.dli_fbase) - 1;
    char command[1200];
    std::snprintf(command, sizeof command, "addr2line -Cfpe '%s' %#lx 2>/dev/null", info.dli_fname,
                  static_cast<unsigned long>(offset));
    std::string line;
    if (FILE* pipe = popen(command, "r"))
    {
        char buffer[1024];
        while (std::fgets(buffer, sizeof buffer, pipe) != nullptr)
            line += buffer;
        pclose(pipe);
    }
    if (line.empty() || line.rfind("??", 0) == 0)
        line = std::string(info.dli_sname != nullptr ? info.dli_sname : info.dli_fname) + "\n";
    return line;
}
} // namespace

std::string AllocationCounter::violationSites(int framesShown)
{
    std::string text;
    for (int s = 0; s < siteCount; ++s)
    {
        const auto& site = sites[s];
        text += std::string(kindNames[site.kind]) + ", " + std::to_string(site.hits) + " times, from:\n";
        for (int i = firstCaller; i < site.depth && i < firstCaller + framesShown; ++i)
            text += "  " + nameOf(site.stack[i]);
    }
    return text;
}

void AllocationCounter::forgetSites()
{
    siteCount = 0;
}

} // namespace qel::test
