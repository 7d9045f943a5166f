#include "support/AllocationCounter.h"

#include <cstdlib>
#include <new>

namespace
{
thread_local bool counting = false;
thread_local size_t allocations = 0;

void* allocate(size_t size)
{
    if (counting)
        ++allocations;
    if (void* p = std::malloc(size == 0 ? 1 : size))
        return p;
    throw std::bad_alloc();
}

void* allocateAligned(size_t size, std::align_val_t alignment)
{
    if (counting)
        ++allocations;
    const auto a = static_cast<size_t>(alignment);
    const size_t rounded = (size + a - 1) / a * a;
    if (void* p = std::aligned_alloc(a, rounded == 0 ? a : rounded))
        return p;
    throw std::bad_alloc();
}
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
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
void operator delete[](void* p, size_t) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, size_t, std::align_val_t) noexcept { std::free(p); }

namespace qel::test
{

AllocationCounter::AllocationCounter() : startCount(allocations)
{
    counting = true;
}

AllocationCounter::~AllocationCounter()
{
    counting = false;
}

size_t AllocationCounter::count() const
{
    return allocations - startCount;
}

} // namespace qel::test
