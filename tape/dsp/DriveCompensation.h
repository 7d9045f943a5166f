#pragma once

#include "tape/dsp/LinearRamp.h"

#include <cmath>
#include <cstdint>

namespace qel
{

// The level that the drive stage and the magnetics add, so that the deck can
// divide it back out: a drive change moves the tone, not the level.
inline double driveCompensationTarget(double a, double b, double drive) noexcept
{
    const double e = 1.0 - (1.0 - a * 0.2) * (b - 100.0) * 5.005005005005005e-6;
    return std::pow(std::tanh(drive * 0.01) * 100.0, e);
}

inline void updateDriveCompensation(LinearRamp& ramp, double& target, double a, double b, double drive,
                                    double sampleRate) noexcept
{
    target = driveCompensationTarget(a, b, drive);
    if (sampleRate > 0.0)
        ramp.rampTo(static_cast<float>(target), static_cast<int32_t>(sampleRate * 0.1));
    else
        ramp.jumpTo(static_cast<float>(target));
}

} // namespace qel
