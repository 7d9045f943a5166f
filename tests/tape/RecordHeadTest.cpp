// The record head: its magnetics, its solver and its gated hiss.
#include "tape/dsp/RecordHead.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <random>

namespace
{

constexpr double pi = 3.14159265358979323846;

// Small signals see s / (s + wc) through the bilinear map without prewarping;
// each tone is measured by projection on whole periods.
TEST(RecordHead, SmallSignalIsAFirstOrderHighPassWithTheStatedCorner)
{
    struct Case { double hardness, resistance, sampleRate; };
    for (const auto c : { Case { 1.0, 0.0, 48000.0 }, Case { 0.5, 0.0, 48000.0 }, Case { 0.0, 0.0, 44100.0 },
                          Case { 1.0, 0.5, 48000.0 }, Case { 0.5, 0.3, 96000.0 }, Case { 0.8, 1.0, 48000.0 } })
    {
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
            std::complex<double> tone = 0.0;
            for (size_t i = 0; i < settle + measure; ++i)
            {
                const double t = static_cast<double>(i) / c.sampleRate;
                const double y = head.process(amplitude * std::sin(2.0 * pi * f * t));
                if (i >= settle)
                    tone += y * std::polar(1.0, -2.0 * pi * f * t);
            }
            const double measured = std::abs(tone) * 2.0 / static_cast<double>(measure) / amplitude;
            const double omega = 2.0 * c.sampleRate * std::tan(pi * f / c.sampleRate);
            EXPECT_NEAR(20.0 * std::log10(measured), 20.0 * std::log10(omega / std::hypot(omega, wc)), 0.05)
                << "f=" << f << " wc=" << wc;
        }
    }
}

// A burst opens the gate; a second of silence closes it on the hiss.
TEST(RecordHead, SilenceWithGateSettlesFarBelowTheNoiseAmount)
{
    qel::RecordHead head;
    head.prepare(48000.0);
    head.setNoiseAmount(0.01);
    for (int i = 0; i < 4800; ++i)
        head.process(std::sin(i * 0.05) * 50.0);
    for (int i = 0; i < 48000; ++i)
        head.process(0.0);
    double power = 0.0;
    for (int i = 0; i < 4800; ++i)
        power += std::pow(head.process(0.0), 2.0);
    EXPECT_LT(std::sqrt(power / 4800.0), 0.01 * 1e-3);
}

// From silence to far beyond full scale the search stays within its cap and
// the output finite; a non-finite input restarts the model from rest.
TEST(RecordHead, OutputIsFiniteForAnyFiniteInputAndANonFiniteOneRestartsIt)
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
                const double scale = (i / 500) % 4 == 0 ? 1e-30 : std::pow(10.0, (i / 500) % 7);
                ASSERT_TRUE(std::isfinite(head.process(unit(rng) * scale)));
                ASSERT_LE(head.lastNewtonSteps, qel::RecordHead::maxNewtonSteps);
            }
            EXPECT_EQ(head.process(std::nan("")), 0.0);
            EXPECT_EQ(head.state.M, 0.0);
            EXPECT_TRUE(std::isfinite(head.process(1.0)));
        }
}

// The expanded quotient and its slope against the plain difference quotient
// of the energy and the energy's derivative, where the plain form is accurate.
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
                EXPECT_NEAR(qel::RecordHead::energyQuotient(M, d, head.state.alpha), quotient, 1e-9 * scale);
                EXPECT_NEAR(qel::RecordHead::energyQuotientSlope(M, d, head.state.alpha), (derivative - quotient) / d,
                            1e-6 * scale / std::fabs(d));
            }
}

} // namespace
