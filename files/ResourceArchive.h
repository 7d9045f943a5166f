#pragma once

#include <cstddef>

namespace qel
{

// The ZIP of resources/ that the build embeds in every binary.
struct EmbeddedArchive
{
    const void* data;
    size_t size;
};

EmbeddedArchive embeddedResourceArchive() noexcept;

} // namespace qel
