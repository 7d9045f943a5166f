#pragma once

#include "engine/instrument/dsp/MinBlepTable.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace qel
{

// One voice's oscillator: a naive waveform whose jumps are smoothed by the
// minimum-phase band-limited step, so that what lies above half the sample
// rate does not fold back into the audible band.
struct BlepOscillator
{
    enum Shape : int
    {
        sine = 0,
        saw = 1,
        square = 2,
    };

    static constexpr int ringSize = 64; // a power of two, at least the table's taps
    static_assert(ringSize >= MinBlepTable::taps, "the ring holds one correction");

    void prepare(const MinBlepTable& blep) noexcept
    {
        table = &blep;
        reset();
    }

    void reset() noexcept
    {
        phase = 0.0;
        std::fill(std::begin(ring), std::end(ring), 0.0f);
        head = 0;
    }

    // Below a fifth of the sample rate a period holds at most one jump of each kind.
    void setFrequency(double hertz, double sampleRate) noexcept
    {
        increment = std::clamp(hertz / sampleRate, 0.0, 0.45);
    }

    float next(Shape shape) noexcept
    {
        const double previous = phase;
        phase += increment;
        if (phase >= 1.0)
        {
            phase -= 1.0;
            if (shape != sine)
                addJump(shape == saw ? -2.0f : 2.0f, phase / increment);
        }
        if (shape == square && previous < 0.5 && (phase >= 0.5 || phase < previous))
        {
            const double past = phase < previous ? phase + 0.5 : phase - 0.5;
            addJump(-2.0f, past / increment);
        }
        float naive;
        switch (shape)
        {
            case saw: naive = static_cast<float>(2.0 * phase - 1.0); break;
            case square: naive = phase < 0.5 ? 1.0f : -1.0f; break;
            default: naive = static_cast<float>(std::sin(2.0 * 3.14159265358979323846 * phase)); break;
        }
        const float out = naive + ring[head];
        ring[head] = 0.0f;
        head = (head + 1) & (ringSize - 1);
        return out;
    }

    double phase = 0.0;
    double increment = 0.0;

private:
    // A jump of the naive waveform that happened `since` samples before the
    // current one (0 to 1): its correction from this sample on.
    void addJump(float height, double since) noexcept
    {
        for (int k = 0; k < MinBlepTable::taps; ++k)
            ring[(head + k) & (ringSize - 1)] += height * table->residual(since + k);
    }

    const MinBlepTable* table = nullptr;
    float ring[ringSize] {};
    int head = 0;
};

} // namespace qel
