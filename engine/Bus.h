#pragma once

#include <juce_core/juce_core.h>

#include <cstdint>
#include <vector>

namespace qel
{

// The stream an element reads and overwrites. It owns storage of its own for
// when no host buffer is given; the host's channel pointers replace it per block.
class Bus
{
public:
    static constexpr uint32_t silentFlag = 1u << 2;

    Bus(int channels, int frames, juce::String name);

    int getNumChannels() const noexcept { return numChannels; }
    int getNumFrames() const noexcept { return numFrames; }
    const juce::String& getName() const noexcept { return name; }

    // Points the bus at external channels (the host's, in place).
    void setChannels(float* const* pointers) noexcept;
    void useOwnChannels() noexcept;

    void setSilent(int frames) noexcept;
    void clearSilent() noexcept { flags &= ~silentFlag; }
    bool isSilent() const noexcept { return (flags & silentFlag) != 0; }
    bool ownsChannels() const noexcept { return usingOwnStorage; }

    // A silent bus that owns its memory is zeroed on first access.
    float* const* getChannels() noexcept;
    float* const* peekChannels() const noexcept { return pointers.data(); }

private:
    int numChannels;
    int numFrames;
    std::vector<float*> pointers;
    std::vector<float> storage;
    juce::String name;
    uint32_t flags = 0;
    bool usingOwnStorage = true;
};

} // namespace qel
