#pragma once

#include "tape/dsp/XorAddStep.h"

#include <algorithm>
#include <cstdint>

namespace qel
{

// Random dropouts that bite holes in the recording: bursts of 2 to 9
// smoothstep segments, at random distance, scaled by depth.
struct Demagnetizer
{
    static constexpr uint32_t seedA = 16807;
    static constexpr uint32_t seedB = 282475249;

    uint32_t a = seedA;
    uint32_t b = seedB;
    double previous = 0.0;
    double next = 0.0;
    double cubic[4] {};      // v(tau) = c0 + c1 tau + c2 tau^2 + c3 tau^3, tau in seconds
    double depth = 0.0;
    double rate = 10.0;
    uint64_t start = 0;      // sample count of the dropout's start
    uint64_t duration = 0;   // samples
    double sampleRate = 0.0;
    uint64_t segmentStart = 0;
    uint64_t length = 1; // L, kept from the last restart

    uint64_t segmentLength() const noexcept
    {
        const auto L = static_cast<uint64_t>(sampleRate / rate);
        return L > 0 ? L : 1;
    }

    void prepare(double sampleRate, uint64_t now) noexcept
    {
        this->sampleRate = sampleRate;
        seed(now);
    }

    void seed(uint64_t now) noexcept
    {
        a = seedA;
        b = seedB;
        restart(now);
    }

    void restart(uint64_t now) noexcept
    {
        start = now;
        length = segmentLength();
        duration = length;
        segmentStart = now;
    }

    void setDepth(double d) noexcept { depth = d; }

    void setRate(double r, uint64_t now) noexcept
    {
        rate = r;
        restart(now);
    }

    double gain(uint64_t c) noexcept
    {
        const uint64_t L = length;
        if (c == start + duration)
        {
            float r = xorAddStep(a, b);
            start = start + static_cast<uint64_t>(std::max(static_cast<int>(r * 10.0f + 5.0f), 2)) * L + duration;
            r = xorAddStep(a, b);
            duration = static_cast<uint64_t>(std::max(static_cast<int>(r * 10.0f + 5.0f), 2)) * L;
        }

        double v = 0.0;
        if (c >= start && c < start + duration)
        {
            // Segments tile the dropout: a new one starts at its start and every L samples.
            if (c == start || c - segmentStart == L)
            {
                previous = next;
                next = static_cast<double>(xorAddStep(a, b)) + 0.5;
                if (c + L == start + duration)
                    next = 0.0;
                segmentStart = c;
                const double r3 = rate * rate * rate;
                const double Ts = static_cast<double>(L) / sampleRate;
                const double delta = next - previous;
                cubic[0] = previous;
                cubic[1] = 0.0;
                cubic[2] = delta * r3 * 3.0 * Ts;
                cubic[3] = -delta * r3 * 2.0;
            }
            // Without depth a dropout leaves the recording as it is: 1 - v * 0.
            if (depth == 0.0)
                return 1.0;
            const double tau = static_cast<double>(c - segmentStart) / sampleRate;
            v = cubic[0] + tau * (cubic[1] + tau * (cubic[2] + tau * cubic[3]));
        }
        return std::clamp(1.0 - v * depth, 0.0, 1.0);
    }
};

} // namespace qel
