#pragma once

#include <algorithm>
#include <cassert>
#include <cmath>
#include <vector>

namespace qel
{

// Holds the dry signal back by the latency of the tape, so that dry and wet
// meet in time. The ring is mirrored past its end: a block is read in one
// piece, without a wrap test per sample.
class DryDelayLine
{
public:
    // Room for delays up to maxDelay samples and blocks up to maxBlock frames.
    void prepare(int maxDelay, int maxBlock)
    {
        maximumDelay = std::max(maxDelay, 0);
        maximumBlock = std::max(maxBlock, 1);
        length = maximumDelay + maximumBlock + 1;
        data.assign(static_cast<size_t>(length + maximumBlock + 1), 0.0f);
        writePosition = 0;
    }

    void clear() noexcept
    {
        std::fill(data.begin(), data.end(), 0.0f);
        writePosition = 0;
    }

    // A block at the write position; the position moves only with advance.
    void write(const float* input, int frames) noexcept
    {
        assert(frames <= maximumBlock);
        for (int i = 0; i < frames; ++i)
        {
            const int at = wrap(writePosition + i);
            data[static_cast<size_t>(at)] = input[i];
            if (at <= maximumBlock)
                data[static_cast<size_t>(at + length)] = input[i];
        }
    }

    // The block just written, delayed by a number of samples that runs from
    // startDelay to endDelay over the block. Equal whole delays copy.
    void read(float* output, int frames, double startDelay, double endDelay) const noexcept
    {
        assert(frames <= maximumBlock);
        const double limit = static_cast<double>(maximumDelay);
        startDelay = std::clamp(startDelay, 0.0, limit);
        endDelay = std::clamp(endDelay, 0.0, limit);
        if (startDelay == endDelay && startDelay == std::floor(startDelay))
        {
            const int start = wrap(writePosition + length - static_cast<int>(startDelay));
            std::copy_n(data.begin() + start, frames, output);
            return;
        }
        const double slope = frames > 0 ? (endDelay - startDelay) / frames : 0.0;
        for (int i = 0; i < frames; ++i)
        {
            const double position = static_cast<double>(writePosition + length + i) - (startDelay + slope * i);
            const double whole = std::floor(position);
            const auto f = static_cast<float>(position - whole);
            const int at = wrap(static_cast<int>(whole));
            output[i] = data[static_cast<size_t>(at)] * (1.0f - f) + data[static_cast<size_t>(at + 1)] * f;
        }
    }

    void advance(int frames) noexcept { writePosition = wrap(writePosition + frames); }

private:
    int wrap(int index) const noexcept { return index % length; }

    std::vector<float> data;
    int length = 1;
    int maximumDelay = 0;
    int maximumBlock = 1;
    int writePosition = 0;
};

} // namespace qel
