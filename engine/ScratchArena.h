#pragma once

#include <cstddef>
#include <vector>

namespace qel
{

// Chunked bump allocator with 16-byte alignment. Chunks are kept for the life
// of the arena, so that after the first blocks nothing is allocated on the
// audio thread.
class ScratchArena
{
public:
    struct Mark
    {
        size_t chunk = 0;
        size_t cursor = 0;
    };

    explicit ScratchArena(size_t firstChunkBytes);
    ~ScratchArena();
    ScratchArena(const ScratchArena&) = delete;
    ScratchArena& operator=(const ScratchArena&) = delete;

    void* allocate(size_t bytes);

    template <typename T>
    T* allocateArray(size_t count)
    {
        return static_cast<T*>(allocate(count * sizeof(T)));
    }

    void reset() noexcept { current = {}; }
    Mark mark() const noexcept { return current; }
    void restore(Mark m) noexcept { current = m; }

    size_t chunkCount() const noexcept { return chunks.size(); }
    size_t chunkSize(size_t i) const noexcept { return chunks[i].size; }

private:
    struct Chunk
    {
        unsigned char* data;
        size_t size;
    };

    void addChunk(size_t bytes);

    std::vector<Chunk> chunks;
    Mark current;
};

} // namespace qel
