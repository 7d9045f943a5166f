#include "tape/Demagnetizer.h"
#include "tape/DriveCompensation.h"
#include "tape/LinearRamp.h"
#include "tape/Tanh.h"
#include "tape/XorAddStep.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace
{

// The drive's tanh against the library's, over twenty decades and both signs;
// each lane of a pair must equal the single-deck value bit for bit.
TEST(DriveTanh, MatchesTheLibraryWithinAFewUlpInBothForms)
{
    std::mt19937_64 random(7);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    double worst = 0.0;
    for (int i = 0; i < 200000; ++i)
    {
        const double x = std::ldexp(unit(random), i % 34 - 28);
        const double y = qel::tanhOf(x);
        worst = std::max(worst, std::fabs(y - std::tanh(x)) / std::fabs(std::tanh(x)));
        const qel::Double2 pair = qel::tanhOf(qel::Double2 { x, -0.5 * x });
        ASSERT_EQ(pair[0], y);
        ASSERT_EQ(pair[1], qel::tanhOf(-0.5 * x));
    }
    EXPECT_LT(worst, 4.0 * std::numeric_limits<double>::epsilon());
    EXPECT_EQ(qel::tanhOf(40.0), 1.0);
    EXPECT_EQ(qel::tanhOf(-1e300), -1.0);
    EXPECT_TRUE(std::isnan(qel::tanhOf(std::nan(""))));
    for (float x = -12.0f; x < 12.0f; x += 0.001f)
        ASSERT_NEAR(qel::tanhOf(x), std::tanh(x), 2.0f * std::numeric_limits<float>::epsilon());
}

TEST(Demagnetizer, ZeroDepthGivesUnityExactly)
{
    qel::Demagnetizer d;
    d.prepare(48000.0, 0);
    for (uint64_t c = 0; c < 480000; ++c)
        ASSERT_EQ(d.gain(c), 1.0);
}

// Runs of full depth: every dropout lasts 2 to 10 segments and the gaps too.
TEST(Demagnetizer, FullDepthDropsOutInBurstsOfWholeSegments)
{
    qel::Demagnetizer d;
    const double fs = 48000.0;
    d.prepare(fs, 0);
    d.setDepth(1.0);
    const uint64_t L = d.segmentLength();
    ASSERT_EQ(L, 4800u);

    double lowest = 1.0;
    int dropouts = 0;
    uint64_t lastStart = d.start;
    for (uint64_t c = 0; c < static_cast<uint64_t>(fs * 60); ++c)
    {
        const double g = d.gain(c);
        ASSERT_GE(g, 0.0);
        ASSERT_LE(g, 1.0);
        lowest = std::min(lowest, g);
        if (d.start != lastStart)
        {
            ++dropouts;
            EXPECT_EQ(d.duration % L, 0u);
            EXPECT_GE(d.duration / L, 2u);
            EXPECT_LE(d.duration / L, 10u);
            const uint64_t gap = d.start - c;
            EXPECT_GE(gap / L, 2u);
            lastStart = d.start;
        }
        // Outside a dropout the recording is untouched.
        if (c < d.start || c >= d.start + d.duration)
            ASSERT_EQ(g, 1.0);
    }
    EXPECT_GT(dropouts, 10);
    EXPECT_LT(lowest, 0.2);
}

TEST(DriveCompensation, TargetIsFiniteAndPositiveAcrossTheRange)
{
    for (double hardness : { 0.0, 0.5, 1.0 })
        for (double resistance : { 0.0, 0.5, 1.0 })
            for (double driveDb : { 0.0, 20.0, 40.0 })
            {
                const double a = 5.0 - 4.0 * hardness;
                const double b = 100.0 * std::pow(10.0, 3.0 * resistance);
                const double drive = std::exp(driveDb * 0.115129255);
                const double t = qel::driveCompensationTarget(a, b, drive);
                ASSERT_TRUE(std::isfinite(t));
                ASSERT_GT(t, 0.0);
            }
    // At rest the stage is transparent: tanh(0.01) * 100 to the first power.
    EXPECT_NEAR(qel::driveCompensationTarget(1.0, 100.0, 1.0), std::tanh(0.01) * 100.0, 1e-12);
}

} // namespace
