#pragma once

#include <cmath>

namespace qel
{

inline float decibelsToGain(float decibels) noexcept
{
    return std::exp(decibels * 0.115129255f);
}

inline float gainToDecibels(float gain) noexcept
{
    return gain >= 1e-20f ? std::log(gain) * 8.685889f : -400.0f;
}

} // namespace qel
