#pragma once

#include <cmath>

namespace qel
{

// The flange LFO: a triangle over one unit of phase, with swing between
// pairs of cycles, a movable peak (symmetry) and a shape from pulse to square.
inline float lfoValue(float phase, float lfoPhase, float shape, float symmetry, float swing) noexcept
{
    const float q = swing * 0.33333334f;
    float v = std::fmod(2.0f * phase, 4.0f) * 0.5f - 1.0f;
    if (q != 0.0f)
        v = v > q ? (v - q) / (1.0f - q) : (v - q) / (q + 1.0f);
    float u = (symmetry + 1.0f) * 0.5f - 2.0f * lfoPhase + 2.0f * v + 4.0f;
    u = std::fmod(u, 2.0f) - 1.0f;
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
    const float k = std::pow((shape + 1.0f) / (1.0f - shape), 1.41f);
    const float z = w * 0.99f;
    if (z > 0.495f)
        return std::pow(2.0f * (0.995f - z), k) - 1.0f;
    return 1.0f - std::pow(w * 1.98f + 0.01f, k);
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
