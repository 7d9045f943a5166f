#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

namespace qel
{

// Multi-producer, multi-consumer queue of pointers (Michael and Scott) over
// a fixed pool of nodes, linked by 16-bit indices with a 16-bit tag against
// reuse. Never allocates after construction, never blocks.
class LockFreeQueue
{
public:
    static constexpr uint32_t capacity = 32768;
    static constexpr uint32_t nodeCount = capacity + 1; // one more for the queue's dummy
    static constexpr uint32_t none = nodeCount;

    LockFreeQueue();
    LockFreeQueue(const LockFreeQueue&) = delete;
    LockFreeQueue& operator=(const LockFreeQueue&) = delete;

    // False when every node is in use.
    bool push(void* value) noexcept;
    // False when empty.
    bool pop(void*& value) noexcept;

private:
    struct alignas(64) Node
    {
        std::atomic<uint32_t> next;
        std::atomic<void*> value;
    };

    static constexpr uint32_t pack(uint32_t index, uint32_t tag) noexcept { return (tag << 16) | (index & 0xFFFFu); }
    static constexpr uint32_t indexOf(uint32_t packed) noexcept { return packed & 0xFFFFu; }
    static constexpr uint32_t tagOf(uint32_t packed) noexcept { return packed >> 16; }

    uint32_t allocateNode() noexcept;
    void releaseNode(uint32_t index) noexcept;

    std::unique_ptr<Node[]> nodes;
    alignas(64) std::atomic<uint32_t> head;
    alignas(64) std::atomic<uint32_t> tail;
    alignas(64) std::atomic<uint32_t> freeTop;
};

} // namespace qel
