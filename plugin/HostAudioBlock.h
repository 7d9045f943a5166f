#pragma once

#include <algorithm>
#include <vector>

namespace qel
{

// The view of one host buffer: channel pointers of the main bus and of any
// further buses, reusing its storage while the sizes stay the same.
struct HostAudioBlock
{
    struct ChannelSet
    {
        std::vector<float*> pointers;
        std::vector<float> scratch;
        std::vector<float*> scratchPointers;
        bool usingScratch = false;

        void reserve(int channels, int frames)
        {
            pointers.reserve((size_t) channels);
            scratchPointers.reserve((size_t) channels);
            scratch.reserve((size_t) channels * (size_t) std::max(frames, 1));
        }

        void set(float* const* channelPointers, int channels, int frames)
        {
            pointers.assign(channelPointers, channelPointers + channels);
            const size_t needed = (size_t) channels * (size_t) std::max(frames, 1);
            if (scratch.size() < needed)
                scratch.resize(needed);
            usingScratch = false;
        }

        float* const* current() const noexcept
        {
            return usingScratch ? scratchPointers.data() : pointers.data();
        }

        int size() const noexcept
        {
            return static_cast<int>(usingScratch ? scratchPointers.size() : pointers.size());
        }
    };

    int frames = 0;
    bool silent = false;
    ChannelSet main;
    std::vector<ChannelSet> furtherInputs;
    std::vector<ChannelSet> furtherOutputs;
};

} // namespace qel
