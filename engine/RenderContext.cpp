#include "engine/RenderContext.h"

namespace qel
{

void RenderContext::endBlock(int frames) noexcept
{
    ++blockCounter;
    if (frames > 0)
    {
        sampleCounter += static_cast<uint64_t>(frames);
        if (sampleRate > 0.0f)
            beatCounter += static_cast<double>(tempo) / 60.0 / static_cast<double>(sampleRate) * frames;
    }
    arenas[0].reset();
    arenas[1].reset();
}

} // namespace qel
