#include "element/LockFreeQueue.h"

namespace qel
{

LockFreeQueue::LockFreeQueue() : nodes(new Node[nodeCount])
{
    for (uint32_t i = 0; i < nodeCount; ++i)
    {
        nodes[i].next.store(pack(none, 0), std::memory_order_relaxed);
        nodes[i].value.store(nullptr, std::memory_order_relaxed);
    }
    // Node 0 is the first dummy; the rest form the stack of free nodes.
    head.store(pack(0, 0));
    tail.store(pack(0, 0));
    for (uint32_t i = 1; i < nodeCount; ++i)
        nodes[i].next.store(pack(i + 1 < nodeCount ? i + 1 : none, 0), std::memory_order_relaxed);
    freeTop.store(pack(1, 0));
}

uint32_t LockFreeQueue::allocateNode() noexcept
{
    uint32_t top = freeTop.load(std::memory_order_acquire);
    for (;;)
    {
        const uint32_t index = indexOf(top);
        if (index == none)
            return none;
        const uint32_t next = nodes[index].next.load(std::memory_order_acquire);
        if (freeTop.compare_exchange_weak(top, pack(indexOf(next), tagOf(top) + 1), std::memory_order_acq_rel,
                                          std::memory_order_acquire))
            return index;
    }
}

void LockFreeQueue::releaseNode(uint32_t index) noexcept
{
    uint32_t top = freeTop.load(std::memory_order_acquire);
    for (;;)
    {
        nodes[index].next.store(pack(indexOf(top), tagOf(nodes[index].next.load(std::memory_order_relaxed))),
                                std::memory_order_release);
        if (freeTop.compare_exchange_weak(top, pack(index, tagOf(top) + 1), std::memory_order_acq_rel,
                                          std::memory_order_acquire))
            return;
    }
}

bool LockFreeQueue::push(void* value) noexcept
{
    const uint32_t node = allocateNode();
    if (node == none)
        return false;
    nodes[node].value.store(value, std::memory_order_relaxed);
    const uint32_t oldNext = nodes[node].next.load(std::memory_order_relaxed);
    nodes[node].next.store(pack(none, tagOf(oldNext) + 1), std::memory_order_release);

    uint32_t last;
    for (;;)
    {
        last = tail.load(std::memory_order_acquire);
        uint32_t next = nodes[indexOf(last)].next.load(std::memory_order_acquire);
        if (last != tail.load(std::memory_order_acquire))
            continue;
        if (indexOf(next) == none)
        {
            if (nodes[indexOf(last)].next.compare_exchange_weak(next, pack(node, tagOf(next) + 1),
                                                                std::memory_order_acq_rel, std::memory_order_acquire))
                break;
        }
        else
        {
            tail.compare_exchange_weak(last, pack(indexOf(next), tagOf(last) + 1), std::memory_order_acq_rel,
                                       std::memory_order_acquire);
        }
    }
    tail.compare_exchange_strong(last, pack(node, tagOf(last) + 1), std::memory_order_acq_rel,
                                 std::memory_order_acquire);
    return true;
}

bool LockFreeQueue::pop(void*& value) noexcept
{
    uint32_t first;
    for (;;)
    {
        first = head.load(std::memory_order_acquire);
        uint32_t last = tail.load(std::memory_order_acquire);
        const uint32_t next = nodes[indexOf(first)].next.load(std::memory_order_acquire);
        if (first != head.load(std::memory_order_acquire))
            continue;
        if (indexOf(first) == indexOf(last))
        {
            if (indexOf(next) == none)
                return false;
            tail.compare_exchange_weak(last, pack(indexOf(next), tagOf(last) + 1), std::memory_order_acq_rel,
                                       std::memory_order_acquire);
        }
        else
        {
            void* v = nodes[indexOf(next)].value.load(std::memory_order_acquire);
            if (head.compare_exchange_weak(first, pack(indexOf(next), tagOf(first) + 1), std::memory_order_acq_rel,
                                           std::memory_order_acquire))
            {
                value = v;
                break;
            }
        }
    }
    releaseNode(indexOf(first));
    return true;
}

} // namespace qel
