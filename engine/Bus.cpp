#include "engine/Bus.h"

#include <algorithm>

namespace qel
{

Bus::Bus(int channels, int frames, juce::String busName)
    : numChannels(std::max(channels, 0)),
      numFrames(std::max(frames, 0)),
      pointers(static_cast<size_t>(numChannels), nullptr),
      storage(static_cast<size_t>(numChannels) * static_cast<size_t>(numFrames), 0.0f),
      name(std::move(busName))
{
    useOwnChannels();
}

void Bus::setChannels(float* const* external) noexcept
{
    for (int c = 0; c < numChannels; ++c)
        pointers[(size_t) c] = external[c];
    usingOwnStorage = false;
}

void Bus::useOwnChannels() noexcept
{
    for (int c = 0; c < numChannels; ++c)
        pointers[(size_t) c] = storage.data() + (size_t) c * (size_t) numFrames;
    usingOwnStorage = true;
}

void Bus::setSilent(int frames) noexcept
{
    juce::ignoreUnused(frames);
    flags |= silentFlag;
}

float* const* Bus::getChannels() noexcept
{
    if (isSilent() && usingOwnStorage)
    {
        std::fill(storage.begin(), storage.end(), 0.0f);
        flags &= ~silentFlag;
    }
    return pointers.data();
}

} // namespace qel
