// The preset figures' measures against signals whose answers are known in closed form.
#include "AudioMeasures.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{

using qel::measure::Signal;
constexpr double pi = 3.14159265358979323846;

Signal tone(double hertz, double amplitude, double phase = 0.0, double seconds = 1.0)
{
    Signal x(static_cast<size_t>(seconds * qel::measure::sampleRate));
    for (size_t i = 0; i < x.size(); ++i)
        x[i] = static_cast<float>(amplitude * std::sin(2.0 * pi * hertz * static_cast<double>(i) / qel::measure::sampleRate + phase));
    return x;
}

TEST(AudioMeasures, LevelPeakAndStereoFiguresMatchTheirFormulas)
{
    // A full-scale 1 kHz sine in one channel reads -3.01 on the K-weighted scale (the weighting is 0 dB there, within 0.1).
    EXPECT_NEAR(qel::measure::kWeightedLoudness({ tone(1000.0, 1.0) }), -3.01, 0.1);
    // A quarter-rate sine sampled 45 degrees off its crests: every sample at 0.707, the wave itself at 1.
    EXPECT_NEAR(qel::measure::truePeakDb({ tone(12000.0, 1.0, pi / 4.0) }), 0.0, 0.2);
    const auto left = tone(440.0, 0.5);
    auto right = left;
    for (auto& s : right)
        s = -s;
    EXPECT_NEAR(qel::measure::correlation(left, right), -1.0, 1e-9);
    const auto quieter = tone(440.0, 0.25);
    // L = 2R: side over mid is (1/3)^2.
    EXPECT_NEAR(qel::measure::sideToMidDb(left, quieter), 20.0 * std::log10(1.0 / 3.0), 0.01);
    EXPECT_NEAR(qel::measure::crestDb(left), 20.0 * std::log10(std::sqrt(2.0)), 0.01);
}

TEST(AudioMeasures, PitchHarmonicsAndBandsOfKnownSignals)
{
    // 1 kHz swung by +-10 cents at 2 Hz.
    Signal fm(96000);
    double phase = 0.0;
    for (size_t i = 0; i < fm.size(); ++i)
    {
        const double cents = 10.0 * std::sin(2.0 * pi * 2.0 * static_cast<double>(i) / qel::measure::sampleRate);
        phase += 2.0 * pi * 1000.0 * std::pow(2.0, cents / 1200.0) / qel::measure::sampleRate;
        fm[i] = static_cast<float>(0.25 * std::sin(phase));
    }
    EXPECT_NEAR(qel::measure::wobbleCents(fm, 1000.0), 10.0, 1.0);
    EXPECT_LT(qel::measure::wobbleCents(tone(1000.0, 0.25), 1000.0), 0.1);

    // A second harmonic 40 dB down.
    auto distorted = tone(1000.0, 0.25);
    const auto second = tone(2000.0, 0.0025);
    for (size_t i = 0; i < distorted.size(); ++i)
        distorted[i] += second[i];
    EXPECT_NEAR(qel::measure::sineResidue(distorted, 1000.0).distortionDb, -40.0, 0.5);

    // Halving a band's amplitude is -6 dB in it, nothing in another.
    auto input = tone(8000.0, 0.1), output = tone(8000.0, 0.05);
    const auto low = tone(500.0, 0.1);
    for (size_t i = 0; i < input.size(); ++i)
    {
        input[i] += low[i];
        output[i] += low[i];
    }
    EXPECT_NEAR(qel::measure::thirdOctaveGainDb(input, output, 8000.0), -6.02, 0.1);
    EXPECT_NEAR(qel::measure::thirdOctaveGainDb(input, output, 500.0), 0.0, 0.1);
}

} // namespace
