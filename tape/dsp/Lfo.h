#pragma once

#include "tape/dsp/Lanes.h"

#include <cmath>
#include <cstdint>

namespace qel
{

// fmod by a power of two, exact for non-negative x: x / m, its floor and the
// product are exact, and so is the difference. Negative x takes the library's.
QEL_ALWAYS_INLINE float fmodPowerOfTwo(float x, float m) noexcept
{
    if (x < 0.0f)
        return std::fmod(x, m);
    // floor by truncation: exact for non-negative q, and q is whole from 2^23.
    const float q = x / m;
    const float whole = q < 8388608.0f ? static_cast<float>(static_cast<int32_t>(q)) : q;
    return x - m * whole;
}

// The exponent that bends the triangle: it depends on the shape alone.
inline float lfoShapeExponent(float shape) noexcept
{
    return std::pow((shape + 1.0f) / (1.0f - shape), 1.41f);
}

QEL_ALWAYS_INLINE float powOrSame(float base, float k) noexcept
{
    return k == 1.0f ? base : std::pow(base, k);
}

// The flange LFO: a triangle over one unit of phase, with swing between
// pairs of cycles, a movable peak (symmetry) and a shape from pulse to square.
// k is lfoShapeExponent(shape), computed once per slice by the deck.
QEL_ALWAYS_INLINE float lfoValueWithExponent(float phase, float lfoPhase, float k, float symmetry, float swing) noexcept
{
    const float q = swing * 0.33333334f;
    float v = fmodPowerOfTwo(2.0f * phase, 4.0f) * 0.5f - 1.0f;
    if (q != 0.0f)
        v = v > q ? (v - q) / (1.0f - q) : (v - q) / (q + 1.0f);
    float u = (symmetry + 1.0f) * 0.5f - 2.0f * lfoPhase + 2.0f * v + 4.0f;
    u = fmodPowerOfTwo(u, 2.0f) - 1.0f;
    if (symmetry != 0.0f)
    {
        if (symmetry < -0.999999f)
            u = (u + 1.0f) * 0.5f;
        else if (symmetry > 0.999999f)
            u = (u - 1.0f) * 0.5f;
        else if (u >= symmetry)
            u = (u - symmetry) / (1.0f - symmetry);
        else
            u = (u - symmetry) / (symmetry + 1.0f);
    }
    const float w = std::fabs(u);
    const float z = w * 0.99f;
    if (z > 0.495f)
        return powOrSame(2.0f * (0.995f - z), k) - 1.0f;
    return 1.0f - powOrSame(w * 1.98f + 0.01f, k);
}

inline float lfoValue(float phase, float lfoPhase, float shape, float symmetry, float swing) noexcept
{
    return lfoValueWithExponent(phase, lfoPhase, lfoShapeExponent(shape), symmetry, swing);
}

// The smooth rise of a manual flange leaving an end of its travel.
inline double fadeSegment(double u, double fade) noexcept
{
    if (u > fade)
        return 0.5;
    return (-u / (fade * fade * fade) + 1.5 / (fade * fade)) * u * u;
}

// Deck B's weight in Manual mode; deck A takes the rest.
inline double fadeCurveB(double relativePosition, double fade) noexcept
{
    return fadeSegment(1.0 - relativePosition, fade) + fadeSegment(relativePosition, fade) - 0.5;
}

inline double fadeCurveA(double relativePosition, double fade) noexcept
{
    return 1.0 - fadeCurveB(relativePosition, fade);
}

} // namespace qel
