#include "tape/RecordHead.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <random>
#include <vector>

namespace
{

constexpr double pi = 3.14159265358979323846;

// Amplitude and phase of a steady sine in y at frequency f, by projection on
// a whole number of periods.
std::complex<double> toneResponse(const std::vector<double>& y, size_t from, double f, double fs)
{
    std::complex<double> acc = 0.0;
    const size_t n = y.size() - from;
    for (size_t i = from; i < y.size(); ++i)
        acc += y[i] * std::polar(1.0, -2.0 * pi * f * static_cast<double>(i) / fs);
    return acc * (2.0 / static_cast<double>(n));
}

// Magnitude of the analogue high-pass s / (s + wc), seen through the
// bilinear map without prewarping.
double expectedHighPassGain(double f, double fs, double wc)
{
    const double omega = 2.0 * fs * std::tan(pi * f / fs);
    return omega / std::hypot(omega, wc);
}

struct HighPassCase
{
    double hardness;
    double resistance;
    double sampleRate;
};

class RecordHeadSmallSignal : public ::testing::TestWithParam<HighPassCase>
{
};

TEST_P(RecordHeadSmallSignal, IsAFirstOrderHighPassWithTheStatedCorner)
{
    const auto c = GetParam();
    qel::RecordHead head;
    head.prepare(c.sampleRate);
    head.setA(5.0 - 4.0 * c.hardness);
    head.setB(100.0 * std::pow(10.0, 3.0 * c.resistance));
    head.setNoiseAmount(0.0);
    const double wc = (head.getA() - 0.855722502) * head.getB();

    for (double f : { 2.0, 10.0, 50.0, 200.0, 1000.0, 5000.0, 15000.0 })
    {
        head.clear();
        // Small enough that the quartic term and the saturation stay negligible,
        // large enough that dM stays clear of the 1e-16 guard of the solver.
        const double amplitude = 3e-3;
        const size_t periods = static_cast<size_t>(std::max(4.0, f * 0.25));
        const size_t settle = static_cast<size_t>(c.sampleRate * std::max(2.0, 8.0 / std::max(wc, 1.0) * 2.0 * pi));
        const size_t measure = static_cast<size_t>(std::round(static_cast<double>(periods) * c.sampleRate / f));
        std::vector<double> y(settle + measure);
        for (size_t i = 0; i < y.size(); ++i)
            y[i] = head.process(amplitude * std::sin(2.0 * pi * f * static_cast<double>(i) / c.sampleRate));
        const double measured = std::abs(toneResponse(y, settle, f, c.sampleRate)) / amplitude;
        const double expected = expectedHighPassGain(f, c.sampleRate, wc);
        EXPECT_NEAR(20.0 * std::log10(measured), 20.0 * std::log10(expected), 0.05)
            << "f=" << f << " wc=" << wc;
    }
}

INSTANTIATE_TEST_SUITE_P(HardnessAndResistance, RecordHeadSmallSignal,
                         ::testing::Values(HighPassCase { 1.0, 0.0, 48000.0 }, HighPassCase { 0.5, 0.0, 48000.0 },
                                           HighPassCase { 0.0, 0.0, 44100.0 }, HighPassCase { 1.0, 0.5, 48000.0 },
                                           HighPassCase { 0.5, 0.3, 96000.0 }, HighPassCase { 0.8, 1.0, 48000.0 }));

TEST(RecordHead, PinkNoiseSumNeverLeavesEight)
{
    qel::RecordHead head;
    head.prepare(48000.0);
    // Start at the edge: every draw that would push the sum out must be refused.
    head.noiseSum = 7.95f;
    for (auto& r : head.noiseRows)
        r = -0.5f;
    for (int i = 0; i < 2000000; ++i)
    {
        head.pinkNoise();
        ASSERT_LE(std::fabs(head.noiseSum), 8.0f);
    }
}

TEST(RecordHead, SilenceWithGateSettlesFarBelowTheNoiseAmount)
{
    qel::RecordHead head;
    head.prepare(48000.0);
    head.setNoiseAmount(0.01);
    // A burst opens the gate, then silence closes it.
    for (int i = 0; i < 4800; ++i)
        head.process(std::sin(i * 0.05) * 50.0);
    for (int i = 0; i < 48000; ++i)
        head.process(0.0);
    double power = 0.0;
    for (int i = 0; i < 4800; ++i)
    {
        const double y = head.process(0.0);
        power += y * y;
    }
    EXPECT_LT(std::sqrt(power / 4800.0), 0.01 * 1e-3);
}

TEST(RecordHead, NewtonSearchIsCappedAndFiniteForAnyFiniteInput)
{
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    for (double hardness : { 0.0, 0.5, 1.0 })
        for (double resistance : { 0.0, 0.5, 1.0 })
        {
            qel::RecordHead head;
            head.prepare(44100.0);
            head.setA(5.0 - 4.0 * hardness);
            head.setB(100.0 * std::pow(10.0, 3.0 * resistance));
            for (int i = 0; i < 20000; ++i)
            {
                // Jumps between silence, full scale and far beyond it.
                const double scale = (i / 500) % 4 == 0 ? 1e-30 : std::pow(10.0, (i / 500) % 7);
                const double y = head.process(unit(rng) * scale);
                ASSERT_TRUE(std::isfinite(y));
                ASSERT_GE(head.lastNewtonSteps, 1);
                ASSERT_LE(head.lastNewtonSteps, qel::RecordHead::maxNewtonSteps);
            }
        }
}

TEST(RecordHead, NonFiniteInputRestartsFromRest)
{
    qel::RecordHead head;
    head.prepare(48000.0);
    head.process(10.0);
    EXPECT_EQ(head.process(std::nan("")), 0.0);
    EXPECT_EQ(head.M, 0.0);
    EXPECT_TRUE(std::isfinite(head.process(1.0)));
}

} // namespace

namespace
{

// The expanded quotient and slope against the plain difference quotient of
// the energy and the energy's derivative, where the plain form is accurate.
TEST(RecordHead, ExpandedGradientEqualsTheDifferenceQuotient)
{
    qel::RecordHead head;
    for (double a : { 1.0, 3.0, 5.0 })
        for (double M : { -20.0, -0.3, 0.0, 0.7, 8.0 })
            for (double d : { -0.5, -1e-3, 2e-4, 0.25 })
            {
                head.setA(a);
                const double s = M + d;
                const double quotient = (head.energy(s) - head.energy(M)) / d;
                const double derivative = (a - qel::RecordHead::twoC2 + qel::RecordHead::fourC1 * s * s) * s;
                const double scale = 1.0 + std::fabs(quotient);
                EXPECT_NEAR(qel::RecordHead::energyQuotient(M, d, head.alpha()), quotient, 1e-9 * scale);
                EXPECT_NEAR(qel::RecordHead::energyQuotientSlope(M, d, head.alpha()), (derivative - quotient) / d,
                            1e-6 * scale / std::fabs(d));
            }
}

} // namespace
