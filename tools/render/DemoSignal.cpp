#include "DemoSignal.h"

#include <cmath>

namespace qel::render
{

juce::AudioBuffer<float> makeDemoSignal(double sampleRate, double seconds)
{
    const int frames = static_cast<int>(sampleRate * seconds);
    juce::AudioBuffer<float> out(2, frames);
    out.clear();

    // Am - F - C - G, one chord a second, each note a decaying band-limited saw.
    const double chords[4][3] = { { 220.0, 261.63, 329.63 }, { 174.61, 220.0, 261.63 },
                                  { 196.0, 261.63, 329.63 }, { 196.0, 246.94, 293.66 } };
    for (int i = 0; i < frames; ++i)
    {
        const double t = i / sampleRate;
        const int chord = static_cast<int>(t) % 4;
        const double local = t - std::floor(t);
        const double envelope = std::exp(-local * 3.0);
        double left = 0.0, right = 0.0;
        for (int n = 0; n < 3; ++n)
        {
            const double f = chords[chord][n];
            double saw = 0.0;
            for (int h = 1; h * f < sampleRate * 0.45 && h <= 30; ++h)
                saw += std::sin(2.0 * M_PI * h * f * t) / h;
            const double pan = 0.3 + 0.2 * n;
            left += saw * (1.0 - pan);
            right += saw * pan;
        }
        out.setSample(0, i, static_cast<float>(0.18 * envelope * left));
        out.setSample(1, i, static_cast<float>(0.18 * envelope * right));
    }

    // Hi-hat ticks on the eighths: short bursts of noise.
    juce::Random random(1);
    const int eighth = static_cast<int>(sampleRate * 0.25);
    for (int start = eighth / 2; start < frames; start += eighth)
        for (int i = 0; i < static_cast<int>(sampleRate * 0.03) && start + i < frames; ++i)
        {
            const float tick = (random.nextFloat() * 2.0f - 1.0f) * 0.12f * std::exp(-i / (sampleRate * 0.006f));
            out.addSample(0, start + i, tick);
            out.addSample(1, start + i, tick);
        }
    return out;
}

} // namespace qel::render
