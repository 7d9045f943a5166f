#pragma once

#include <juce_audio_basics/juce_audio_basics.h>

#include <cmath>
#include <cstdint>
#include <vector>

namespace qel::test
{

// The uniform noise every test draws from: one linear congruential step per
// value, so that a seed gives the same sequence in every test and on every machine.
struct Noise
{
    uint32_t seed;
    uint32_t nextBits() noexcept { return seed = seed * 1664525u + 1013904223u; }
    // In -0.5 .. 0.5, from the top 24 bits.
    double next() noexcept { return static_cast<double>(nextBits() >> 8) / 16777216.0 - 0.5; }
};

// A deterministic stereo test signal: two sines and a little noise, at a
// level that keeps the tape in its musical range.
inline void fillTestSignal(juce::AudioBuffer<float>& buffer, int64_t startFrame, double sampleRate)
{
    Noise random { static_cast<uint32_t>(startFrame) * 2654435761u + 12345u };
    for (int i = 0; i < buffer.getNumSamples(); ++i)
    {
        const double t = static_cast<double>(startFrame + i) / sampleRate;
        const double noise = random.next() * 0.02;
        for (int c = 0; c < buffer.getNumChannels(); ++c)
        {
            const double f = c == 0 ? 220.0 : 331.0;
            buffer.setSample(c, i, static_cast<float>(0.4 * std::sin(2.0 * M_PI * f * t) + noise));
        }
    }
}

// Three sines of a minor chord, each at `level`, for `frames` samples.
inline std::vector<float> sineChord(double sampleRate, int frames, float level)
{
    std::vector<float> out(static_cast<size_t>(frames));
    for (int i = 0; i < frames; ++i)
    {
        const double t = i / sampleRate;
        double sum = 0.0;
        for (const double f : { 220.0, 261.63, 329.63 })
            sum += std::sin(2.0 * M_PI * f * t);
        out[(size_t) i] = static_cast<float>(level * sum / 3.0);
    }
    return out;
}

} // namespace qel::test
