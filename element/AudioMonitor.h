#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>

namespace qel
{

// The peaks of an element's stream as a block enters (input) and as it leaves
// (output). The audio thread raises them, a meter's timer takes them: plain
// atomics, no lock and no allocation on either side.
class AudioMonitor
{
public:
    static constexpr int maxChannels = 8;

    enum End
    {
        input = 0,
        output = 1,
    };

    // Audio thread: the largest magnitude of each channel's frames.
    void raise(End end, const float* const* channels, int channelCount, int frames) noexcept
    {
        const int count = std::min(channelCount, maxChannels);
        for (int c = 0; c < count; ++c)
        {
            float peak = 0.0f;
            for (int i = 0; i < frames; ++i)
                peak = std::max(peak, std::fabs(channels[c][i]));
            auto& slot = peaks[end][static_cast<size_t>(c)];
            // A take between the load and the store must not be undone.
            float held = slot.load(std::memory_order_relaxed);
            while (peak > held && !slot.compare_exchange_weak(held, peak, std::memory_order_relaxed))
            {
            }
        }
    }

    // Meter's timer: the peak since the last take, and a fresh start.
    float take(End end, int channel) noexcept
    {
        if (channel < 0 || channel >= maxChannels)
            return 0.0f;
        return peaks[end][static_cast<size_t>(channel)].exchange(0.0f, std::memory_order_relaxed);
    }

private:
    std::array<std::atomic<float>, maxChannels> peaks[2] {};
};

} // namespace qel
