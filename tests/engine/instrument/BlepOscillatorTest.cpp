// The test instrument's oscillator against the saw's known spectrum: partials of 2/(pi k), and what folds back
// round the sample rate, found where aliasing must put it.
#include "engine/instrument/dsp/BlepOscillator.h"
#include "support/Spectrum.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace
{

using qel::test::amplitudeAt;
using qel::test::decibels;

constexpr double rate = 48000.0;
constexpr double pi = 3.14159265358979323846;

std::vector<float> sawAt(double hertz, size_t frames, bool bandLimited)
{
    qel::BlepOscillator oscillator;
    oscillator.prepare(qel::MinBlepTable::get());
    oscillator.setFrequency(hertz, rate);
    std::vector<float> out(frames);
    for (auto& s : out)
    {
        if (bandLimited)
            s = oscillator.next(qel::BlepOscillator::saw);
        else
        {
            oscillator.phase = std::fmod(oscillator.phase + oscillator.increment, 1.0);
            s = static_cast<float>(2.0 * oscillator.phase - 1.0);
        }
    }
    return out;
}

struct AliasReading
{
    double strongest = -400.0; // dB below the fundamental, all of the band
    double strongestAudible = -400.0; // the same up to 20 kHz
};

// Harmonics 1 to 60 of f0; each one above half the rate folds to |k f0 - m rate|. Those that land within 40 Hz of a
// true partial are not read: the window cannot part them.
AliasReading aliasesOf(const std::vector<float>& x, double f0)
{
    const double fundamental = amplitudeAt(x.data(), x.size(), f0, rate);
    AliasReading r;
    for (int k = 1; k <= 60; ++k)
    {
        const double f = k * f0;
        if (f < rate / 2)
            continue;
        const double folded = std::fabs(f - rate * std::round(f / rate));
        const double nearestPartial = f0 * std::round(folded / f0);
        if (std::fabs(folded - nearestPartial) < 40.0 || folded < 20.0)
            continue;
        const double level = decibels(amplitudeAt(x.data(), x.size(), folded, rate) / fundamental);
        r.strongest = std::max(r.strongest, level);
        if (folded <= 20000.0)
            r.strongestAudible = std::max(r.strongestAudible, level);
    }
    return r;
}

TEST(MinBlepOscillator, HighSawsKeepTheirPartialsAndTheirAliasesFarBelowThem)
{
    // E7 and C9: nine partials below half the rate, or two; their aliases fall between them.
    for (const int key : { 100, 120 })
    {
        const double f0 = 440.0 * std::exp2((key - 69) / 12.0);
        const size_t frames = 32768;
        const auto limited = sawAt(f0, frames, true);
        const auto naive = sawAt(f0, frames, false);

        // The partials of the ideal saw, 2/(pi k), up to 17 kHz, where the step's filter is flat.
        for (int k = 1; k * f0 < 17000.0; ++k)
            EXPECT_NEAR(decibels(amplitudeAt(limited.data(), frames, k * f0, rate) / (2.0 / (pi * k))), 0.0, 0.1)
                << "key " << key << ", partial " << k;

        const auto bandLimited = aliasesOf(limited, f0);
        const auto unlimited = aliasesOf(naive, f0);
        std::printf("key %d: strongest alias %.1f dB below the fundamental up to 20 kHz, %.1f dB in the whole band; "
                    "naive %.1f dB\n",
                    key, -bandLimited.strongestAudible, -bandLimited.strongest, -unlimited.strongest);
        EXPECT_GT(unlimited.strongest, -30.0) << "the reading finds aliases where there are some";
        EXPECT_LT(bandLimited.strongestAudible, -110.0) << key;
        EXPECT_LT(bandLimited.strongest, -80.0) << key;
    }
}

} // namespace
