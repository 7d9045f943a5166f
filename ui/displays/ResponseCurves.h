#pragma once

#include "tape/dsp/HeadResponse.h"

#include <algorithm>
#include <cmath>

namespace qel
{

// Frequency at x of a width on the displays' axis: 20 Hz to 20 kHz, logarithmic.
inline float displayFrequency(float x, float width) noexcept
{
    return 20.0f * std::pow(10.0f, 3.0f * x / width);
}

// The record side's high-pass as the magnetics give it, in parameter units.
struct RecordResponse
{
    float hardness = 0.0f;   // MagneticHardness
    float resistance = 0.0f; // Hysteresis
    bool on = false;         // ApplyRecordHead

    float decibels(float frequency) const noexcept
    {
        if (!on)
            return 0.0f;
        const float a = 1.0f / (4.0f - hardness * 4.0f + 0.001f);
        const float c = 100.0f * std::pow(10.0f, 3.0f * resistance);
        const float g = a * a * 39.47842f * frequency * frequency;
        return 10.0f * std::log10(g / (c * c + g));
    }

    // -70..20 dB onto 0..1.
    float level(float x, float width) const noexcept
    {
        const float dB = std::clamp(decibels(displayFrequency(x, width)), -70.0f, 20.0f);
        return (dB + 70.0f) * 0.011111111f;
    }
};

// The playback losses of spacing, thickness, azimuth and head width, in parameter units.
struct PlayHeadResponse
{
    float speed = 0.0f;      // Speed
    float spacing = 0.0f;    // Spacing
    float thickness = 0.0f;  // Thickness
    float azimuth = 0.0f;    // Azimuth
    float widthRatio = 0.0f; // TrackWidthRatio
    bool on = false;         // ApplyPlayheadFilter

    // The same closed form as the deck's feedback compensation reads.
    float decibels(float frequency) const noexcept
    {
        if (!on)
            return 0.0f;
        return headResponseDecibels(frequency, 0.1f * std::pow(10.0f, speed), 1e-5f * std::pow(10.0f, spacing),
                                    5e-6f * std::pow(10.0f, thickness), azimuth * 0.00090000004f + 0.0001f,
                                    widthRatio * 0.9f + 1.1f);
    }

    // -60..20 dB onto 0..1.
    float level(float x, float width) const noexcept
    {
        const float dB = std::clamp(decibels(displayFrequency(x, width)), -60.0f, 20.0f);
        return (dB + 60.0f) * 0.0125f;
    }
};

} // namespace qel
