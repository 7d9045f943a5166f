#include "engine/ScratchArena.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace qel
{

namespace
{
constexpr size_t alignment = 16;

size_t roundUp(size_t bytes) noexcept
{
    return (bytes + alignment - 1) & ~(alignment - 1);
}
} // namespace

ScratchArena::ScratchArena(size_t firstChunkBytes)
{
    chunks.reserve(16);
    addChunk(roundUp(std::max<size_t>(firstChunkBytes, alignment)));
}

ScratchArena::~ScratchArena()
{
    for (auto& c : chunks)
        std::free(c.data);
}

void ScratchArena::addChunk(size_t bytes)
{
    void* p = std::aligned_alloc(alignment, roundUp(bytes));
    if (p == nullptr)
        throw std::bad_alloc();
    chunks.push_back({ static_cast<unsigned char*>(p), roundUp(bytes) });
}

void* ScratchArena::allocate(size_t bytes)
{
    const size_t size = roundUp(std::max<size_t>(bytes, 1));
    for (;;)
    {
        Chunk& c = chunks[current.chunk];
        if (current.cursor + size <= c.size)
        {
            void* p = c.data + current.cursor;
            current.cursor += size;
            return p;
        }
        if (current.chunk + 1 == chunks.size())
            addChunk(std::max(size, chunks.front().size));
        ++current.chunk;
        current.cursor = 0;
    }
}

} // namespace qel
