#pragma once

#include <cstddef>
#include <string>

namespace qel::test
{

// Counts, on the calling thread while a scope is alive, what the audio
// thread must not do: allocate or free, wait on a lock, sleep or yield.
// Linked into a test binary, it replaces the global operator new and, where
// no sanitizer owns them, malloc and its relatives; it interposes the
// blocking pthread calls. Try-locks are not counted: they never wait.
class AllocationCounter
{
public:
    AllocationCounter();
    ~AllocationCounter();

    size_t count() const; // allocations: operator new, malloc, calloc, realloc, aligned forms
    size_t frees() const;
    size_t locks() const; // pthread_mutex_lock, pthread_rwlock_rdlock/wrlock, sem_wait
    size_t waits() const; // nanosleep, clock_nanosleep, usleep, sched_yield
    size_t violations() const { return count() + frees() + locks() + waits(); }

    // Up to sixteen distinct places of violations since the last forgetSites(),
    // each with its kind, count and call stack; empty when there was none.
    static std::string violationSites(int framesShown = 14);
    static void forgetSites();

    // False where a sanitizer owns malloc: then only operator new is counted.
    static bool seesMalloc() noexcept;
    // False under ThreadSanitizer, which needs the lock calls for itself.
    static bool seesLocks() noexcept;

private:
    size_t start[4];
    size_t now(int kind) const;
};

} // namespace qel::test
