#pragma once

#include <cstddef>
#include <string>

namespace qel::test
{

// Counts, on the calling thread while a scope is alive, what the audio thread must not do: allocate or free, wait on a
// lock, sleep or yield. Linked in, it replaces operator new and, where no sanitizer owns them, malloc and its relatives;
// it interposes the blocking pthread calls.
class AllocationCounter
{
public:
    AllocationCounter();
    ~AllocationCounter();

    size_t count() const; // operator new, malloc, calloc, realloc, aligned forms
    size_t frees() const;
    size_t locks() const; // pthread_mutex_lock, pthread_rwlock_rdlock/wrlock, sem_wait; try-locks never wait
    size_t waits() const; // nanosleep, clock_nanosleep, usleep, sched_yield
    size_t violations() const { return count() + frees() + locks() + waits(); }

    // Every thread's counts by kind since the last forgetSites(); empty when none.
    static std::string violationSites();
    static void forgetSites();
    // False where a sanitizer owns malloc: then only operator new is counted.
    static bool seesMalloc() noexcept;

private:
    size_t start[4];
};

} // namespace qel::test
