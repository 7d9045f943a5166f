#pragma once

#include <cstddef>

namespace qel::test
{

// Counts heap allocations made on the calling thread while a scope is alive.
// Linked into a test binary, it replaces the global operator new.
class AllocationCounter
{
public:
    AllocationCounter();
    ~AllocationCounter();
    size_t count() const;

private:
    size_t startCount;
};

} // namespace qel::test
