#pragma once

#include "tape/dsp/Decibels.h"
#include "tape/dsp/PlayHead.h"

#include <cmath>
#include <cstdint>

namespace qel
{

// The analytic reproduction loss of the head, in dB, as the display draws it
// and as the feedback compensation reads it at 20 Hz.
inline float headResponseDecibels(float frequency, float speed, float spacing, float thickness, float azimuth,
                                  float ratio) noexcept
{
    const auto k = static_cast<float>(static_cast<double>(frequency) * 6.283185307179586 / speed);
    const double x = static_cast<double>(k) * static_cast<double>(azimuth) * 0.15915494309189535;
    const auto A = static_cast<float>(std::sin(x) / x);
    const float B = (1.0f - std::exp(-k * thickness)) / (k * thickness);
    const float C = std::exp(-k * spacing);
    const float E = std::exp((ratio - 1.0f) * k * -0.0005f);
    const float R = ((1.0f - E) * (1999.9999f / k) + 1.0f) * A * (B * C);
    return gainToDecibels(std::fabs(R));
}

inline float headResponseDecibels(float frequency, const PlayHead& head) noexcept
{
    return headResponseDecibels(frequency, static_cast<float>(head.getTapeSpeed()), static_cast<float>(head.getSpacing()),
                                static_cast<float>(head.getThickness()), static_cast<float>(head.getAzimuth()),
                                static_cast<float>(head.getWidthRatio()));
}

// Restores the loop gain of low frequencies that the head losses take out of
// the feedback path, so that feedback sounds the same at every head setting.
struct FeedbackCompensation
{
    static float initialGain() noexcept
    {
        return 1.0f / decibelsToGain(headResponseDecibels(20.0f, 1.0f, 1e-5f, 5e-6f, 0.0001f, 1.82f));
    }

    bool on = true;
    float gain = initialGain();

    void update(const PlayHead& head) noexcept
    {
        const float g = decibelsToGain(headResponseDecibels(20.0f, head));
        gain = static_cast<float>(1.0 / (static_cast<double>(g) + 1e-16));
    }

    // After a change of speed, spacing, thickness, azimuth or width.
    void headChanged(const PlayHead& head) noexcept
    {
        if (on)
            update(head);
    }

    void setFilterEnabled(PlayHead& head, bool enabled) noexcept
    {
        head.setEnabled(enabled);
        if (on && enabled)
            update(head);
        else
            gain = 1.0f;
    }

    void setOn(const PlayHead& head, bool enable) noexcept
    {
        on = enable;
        if (enable && head.isEnabled())
            update(head);
        else
            gain = 1.0f;
    }
};

} // namespace qel
