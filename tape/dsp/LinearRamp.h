#pragma once

#include <algorithm>
#include <cstdint>

namespace qel
{

// A value that moves linearly to a target over a number of samples.
struct LinearRamp
{
    float from = 0.0f;
    float to = 0.0f;
    int32_t steps = 0;
    int32_t position = 0;

    float value() const noexcept
    {
        if (steps < 1)
            return to;
        return from + (static_cast<float>(position) / static_cast<float>(steps)) * (to - from);
    }

    void advance(int32_t n) noexcept
    {
        const int32_t d = std::min(n, steps - position);
        if (d > 0)
            position += d;
    }

    void rampTo(float target, int32_t newSteps) noexcept
    {
        const float v = value();
        if (newSteps != 0 && target != v)
            from = v;
        else
        {
            from = target;
            newSteps = 0;
        }
        to = target;
        steps = newSteps;
        position = 0;
    }

    void jumpTo(float target) noexcept
    {
        from = to = target;
        steps = position = 0;
    }
};

} // namespace qel
