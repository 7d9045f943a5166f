#include "tape/Demagnetizer.h"
#include "tape/DriveCompensation.h"
#include "tape/LinearRamp.h"
#include "tape/XorAddStep.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

namespace
{

TEST(XorAddStep, StaysInHalfUnitRangeAndFollowsItsRecurrence)
{
    uint32_t a = 16807, b = 282475249;
    // First step by hand: r = b, a ^= b, b = a + r.
    const float first = qel::xorAddStep(a, b);
    EXPECT_FLOAT_EQ(first, static_cast<float>(282475249.0 / 4294967296.0));
    EXPECT_EQ(a, 16807u ^ 282475249u);
    EXPECT_EQ(b, (16807u ^ 282475249u) + 282475249u);
    for (int i = 0; i < 1000000; ++i)
    {
        const float r = qel::xorAddStep(a, b);
        ASSERT_GE(r, -0.5f);
        ASSERT_LE(r, 0.5f);
    }
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

TEST(Demagnetizer, SegmentsAreSmoothAndTheLastReturnsToZero)
{
    qel::Demagnetizer d;
    d.prepare(44100.0, 0);
    d.setDepth(1.0);
    double previous = d.gain(0);
    for (uint64_t c = 1; c < 44100 * 20; ++c)
    {
        const double g = d.gain(c);
        // A smoothstep over a tenth of a second never jumps.
        ASSERT_LT(std::fabs(g - previous), 0.001) << c;
        if (c + 1 == d.start + d.duration)
            EXPECT_NEAR(g, 1.0, 1e-3);
        previous = g;
    }
}

TEST(Demagnetizer, RateChangeRestartsTheScheduleAtTheCurrentSample)
{
    qel::Demagnetizer d;
    d.prepare(48000.0, 0);
    d.setDepth(1.0);
    for (uint64_t c = 0; c < 200000; ++c)
        d.gain(c);
    d.setRate(20.0, 200000);
    EXPECT_EQ(d.start, 200000u);
    EXPECT_EQ(d.duration, 2400u);
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

TEST(DriveCompensation, RampsOverATenthOfASecond)
{
    qel::LinearRamp ramp;
    double target = 0.0;
    ramp.jumpTo(1.0f);
    qel::updateDriveCompensation(ramp, target, 1.0, 100.0, 10.0, 48000.0);
    EXPECT_EQ(ramp.steps, 4800);
    ramp.advance(4799);
    EXPECT_NE(ramp.value(), static_cast<float>(target));
    ramp.advance(5);
    EXPECT_EQ(ramp.value(), static_cast<float>(target));
    qel::updateDriveCompensation(ramp, target, 1.0, 100.0, 1.0, 0.0);
    EXPECT_EQ(ramp.value(), static_cast<float>(target));
}

TEST(LinearRamp, MovesLinearlyAndStopsAtItsTarget)
{
    qel::LinearRamp r;
    r.jumpTo(2.0f);
    r.rampTo(4.0f, 4);
    EXPECT_FLOAT_EQ(r.value(), 2.0f);
    r.advance(1);
    EXPECT_FLOAT_EQ(r.value(), 2.5f);
    r.advance(100);
    EXPECT_FLOAT_EQ(r.value(), 4.0f);
    EXPECT_EQ(r.position, 4);
    // A ramp to the current value is a jump.
    r.rampTo(4.0f, 10);
    EXPECT_EQ(r.steps, 0);
    // Retargeting mid-way starts from where it stands.
    r.rampTo(0.0f, 2);
    r.advance(1);
    r.rampTo(10.0f, 2);
    EXPECT_FLOAT_EQ(r.from, 2.0f);
}

} // namespace
