#include "support/AllocationCounter.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>

#include <dlfcn.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <time.h>
#include <unistd.h>

// AddressSanitizer brings its own malloc: the counter then stays out of its way.
#if defined(__SANITIZE_ADDRESS__)
#define REELWARP_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define REELWARP_SANITIZED 1
#endif
#endif

namespace
{
#ifdef REELWARP_SANITIZED
constexpr bool interposeMalloc = false;
#else
constexpr bool interposeMalloc = true;
#endif

enum Kind { allocated, freed, locked, waited, kindCount };

// Constant-initialised, so that reading them needs no allocation and no lock.
thread_local int armed = 0;
thread_local size_t tallies[kindCount] = {};
// Every thread's counted violations since forgetSites(), for the report.
std::atomic<size_t> seen[kindCount];

void note(Kind kind) noexcept
{
    if (armed == 0)
        return;
    ++tallies[kind];
    seen[kind].fetch_add(1, std::memory_order_relaxed);
}

void* allocate(size_t size, size_t alignment = 0)
{
    if (!interposeMalloc)
        note(allocated);
    // Rounded up to the alignment, as aligned_alloc requires.
    void* p = alignment == 0 ? std::malloc(size == 0 ? 1 : size)
                             : std::aligned_alloc(alignment, std::max((size + alignment - 1) / alignment * alignment, alignment));
    if (p == nullptr)
        throw std::bad_alloc();
    return p;
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
#define REELWARP_NEXT(name) next<decltype(&::name)>(name##Next, #name)
std::atomic<void*> pthread_mutex_lockNext { nullptr }, pthread_rwlock_rdlockNext { nullptr },
    pthread_rwlock_wrlockNext { nullptr }, sem_waitNext { nullptr }, nanosleepNext { nullptr },
    clock_nanosleepNext { nullptr }, usleepNext { nullptr }, sched_yieldNext { nullptr };
} // namespace

// Every form, so that none reaches a sanitizer's allocator with our blocks.
void* operator new(size_t size) { return allocate(size); }
void* operator new[](size_t size) { return allocate(size); }
void* operator new(size_t size, std::align_val_t a) { return allocate(size, static_cast<size_t>(a)); }
void* operator new[](size_t size, std::align_val_t a) { return allocate(size, static_cast<size_t>(a)); }
void* operator new(size_t size, const std::nothrow_t&) noexcept { try { return allocate(size); } catch (...) { return nullptr; } }
void* operator new[](size_t size, const std::nothrow_t&) noexcept { try { return allocate(size); } catch (...) { return nullptr; } }
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

void* malloc(size_t size) noexcept { return note(allocated), __libc_malloc(size); }
void* calloc(size_t count, size_t size) noexcept { return note(allocated), __libc_calloc(count, size); }
void* realloc(void* p, size_t size) noexcept { return note(allocated), __libc_realloc(p, size); }
void* memalign(size_t alignment, size_t size) noexcept { return note(allocated), __libc_memalign(alignment, size); }
void* aligned_alloc(size_t alignment, size_t size) noexcept { return memalign(alignment, size); }
int posix_memalign(void** out, size_t alignment, size_t size) noexcept
{
    if (alignment % sizeof(void*) != 0 || (alignment & (alignment - 1)) != 0)
        return EINVAL;
    void* p = memalign(alignment, size);
    return p == nullptr ? ENOMEM : (*out = p, 0);
}
void free(void* p) noexcept
{
    if (p != nullptr)
        note(freed);
    __libc_free(p);
}
}
#endif

extern "C" {
int pthread_mutex_lock(pthread_mutex_t* m) noexcept { return note(locked), REELWARP_NEXT(pthread_mutex_lock)(m); }
int pthread_rwlock_rdlock(pthread_rwlock_t* l) noexcept { return note(locked), REELWARP_NEXT(pthread_rwlock_rdlock)(l); }
int pthread_rwlock_wrlock(pthread_rwlock_t* l) noexcept { return note(locked), REELWARP_NEXT(pthread_rwlock_wrlock)(l); }
int sem_wait(sem_t* s) { return note(locked), REELWARP_NEXT(sem_wait)(s); }
int nanosleep(const timespec* duration, timespec* remaining) { return note(waited), REELWARP_NEXT(nanosleep)(duration, remaining); }
int clock_nanosleep(clockid_t clock, int flags, const timespec* duration, timespec* remaining)
{
    return note(waited), REELWARP_NEXT(clock_nanosleep)(clock, flags, duration, remaining);
}
int usleep(useconds_t microseconds) { return note(waited), REELWARP_NEXT(usleep)(microseconds); }
int sched_yield() noexcept { return note(waited), REELWARP_NEXT(sched_yield)(); }
}

namespace qel::test
{

AllocationCounter::AllocationCounter() : start { tallies[0], tallies[1], tallies[2], tallies[3] } { ++armed; }
AllocationCounter::~AllocationCounter() { --armed; }

size_t AllocationCounter::count() const { return tallies[allocated] - start[allocated]; }
size_t AllocationCounter::frees() const { return tallies[freed] - start[freed]; }
size_t AllocationCounter::locks() const { return tallies[locked] - start[locked]; }
size_t AllocationCounter::waits() const { return tallies[waited] - start[waited]; }
bool AllocationCounter::seesMalloc() noexcept { return interposeMalloc; }

std::string AllocationCounter::violationSites()
{
    constexpr const char* names[kindCount] = { " allocations", " frees", " waiting locks", " sleeps or yields" };
    std::string text;
    for (int k = 0; k < kindCount; ++k)
        if (const size_t n = seen[k].load())
            text += std::to_string(n) + names[k] + "\n";
    return text;
}

void AllocationCounter::forgetSites() { for (auto& n : seen) n.store(0); }

} // namespace qel::test
