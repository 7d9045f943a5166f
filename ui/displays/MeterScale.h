#pragma once

#include <algorithm>
#include <cmath>

namespace qel
{

// A peak in dB as the meters read it: -70 for silence or below, at most +6.
inline float meterDecibels(float peak) noexcept
{
    if (!(peak > 0.0f))
        return -70.0f;
    return std::clamp(20.0f * std::log10(peak), -70.0f, 6.0f);
}

// The bar's height for a level, in six straight segments: nothing at -70 dB,
// the whole bar at 0 dB, a quarter of it for the 50 dB below -20.
inline float meterBarHeight(float dB, float barHeight) noexcept
{
    float share = 0.0f;
    if (dB >= -20.0f)
        share = dB * 0.025f + 1.0f;
    else if (dB >= -30.0f)
        share = dB * 0.02f + 0.9f;
    else if (dB >= -40.0f)
        share = dB * 0.015f + 0.75f;
    else if (dB >= -50.0f)
        share = dB * 0.0075f + 0.45f;
    else if (dB >= -60.0f)
        share = dB * 0.005f + 0.325f;
    else if (dB > -70.0f) // at -70 the segment is 0; rounded, it could leave a sliver
        share = dB * 0.0025f + 0.175f;
    return std::max(share, 0.0f) * barHeight;
}

// A bar's fall and its peak mark, one meter tick at a time. The fall factor
// squares on every tick that the level stays below, so the bar leaves slowly
// and then ever faster.
struct MeterBallistics
{
    static constexpr float firstFall = 0.97f;
    static constexpr int peakHoldTicks = 50; // two seconds at the meter's 40 ms
    static constexpr float peakSink = 0.999997f;

    float held = 0.0f;
    float fall = firstFall;
    float shown = 0.0f;
    float peak = 0.0f;
    int peakAge = 0;

    void tick(float height) noexcept
    {
        if (height > held)
        {
            held = height;
            fall = firstFall;
            shown = height;
        }
        else
        {
            held *= fall;
            if (held > height)
            {
                fall *= fall;
                shown = held;
            }
            else
                shown = height;
        }
        if (shown >= peak)
        {
            peak = shown;
            peakAge = 0;
        }
        else if (++peakAge > peakHoldTicks)
            peak *= peakSink;
    }
};

} // namespace qel
