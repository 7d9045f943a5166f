#pragma once

#include "tape/dsp/Lanes.h"

namespace qel
{

// tanh inline, within a few ulp of the library's: the library call costs more
// than the rest of a deck's drive stage. One branch-free formula for a deck
// (double) and for a pair of decks (Double2).
namespace tanhDetail
{

// e^t - 1 for |t| <= ln 2 / 2 by its Taylor series to t^13; no cancellation.
// Estrin's scheme: the terms are summed in a shallow tree, not one long chain.
template <typename T>
QEL_ALWAYS_INLINE T expm1Reduced(T t) noexcept
{
    const T t2 = t * t;
    const T t4 = t2 * t2;
    const T t8 = t4 * t4;
    const T q0 = t * (1.0 / 6.0) + 1.0 / 2.0;
    const T q1 = t * (1.0 / 120.0) + 1.0 / 24.0;
    const T q2 = t * (1.0 / 5040.0) + 1.0 / 720.0;
    const T q3 = t * (1.0 / 362880.0) + 1.0 / 40320.0;
    const T q4 = t * (1.0 / 39916800.0) + 1.0 / 3628800.0;
    const T q5 = t * (1.0 / 6227020800.0) + 1.0 / 479001600.0;
    const T low = (q0 + q1 * t2) + (q2 + q3 * t2) * t4;
    const T high = q4 + q5 * t2;
    return t + t2 * (low + high * t8);
}

// e^t - 1 for 0 <= t <= 40: t = k ln 2 + r with k the nearest integer, so
// that |r| <= ln 2 / 2; k = 0 leaves r = t exactly.
template <typename T>
QEL_ALWAYS_INLINE T expm1NonNegative(T t) noexcept
{
    constexpr double roundingShift = 6755399441055744.0; // 1.5 * 2^52
    constexpr double exponentShift = 4503599627370496.0 + 1023.0;
    constexpr double log2e = 1.4426950408889634;
    constexpr double ln2High = 6.93147180369123816490e-01; // k * ln2High is exact for k < 2^11
    constexpr double ln2Low = 1.90821492927058770002e-10;
    const T k = (t * log2e + roundingShift) - roundingShift;
    const T r = (t - k * ln2High) - k * ln2Low;
    const T scale = bitCast<T>(bitCast<BitsOf<T>>(k + exponentShift) << 52);
    return scale * expm1Reduced(r) + (scale - 1.0);
}

} // namespace tanhDetail

template <typename T>
QEL_ALWAYS_INLINE T tanhOf(T x) noexcept
{
    constexpr double saturation = 19.1; // tanh rounds to 1 from here on
    const T ax = absOf(x);
    const T e = tanhDetail::expm1NonNegative(2.0 * minOf(ax, T {} + saturation));
    const T magnitude = select(ax < saturation, e / (e + 2.0), select(ax == ax, T {} + 1.0, x));
    return select(x < 0.0, -magnitude, magnitude);
}

inline float tanhOf(float x) noexcept
{
    const float ax = x < 0.0f ? -x : x;
    if (!(ax < 9.1f)) // rounds to 1 in float from here on
        return ax == ax ? (x < 0.0f ? -1.0f : 1.0f) : x;
    return static_cast<float>(tanhOf(static_cast<double>(x)));
}

} // namespace qel
