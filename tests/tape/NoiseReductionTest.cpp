#include "tape/NoiseReduction.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace
{

constexpr double fs = 48000.0;

// Test material at the chain's +-100 scale: 0 dBFS is an amplitude of 100.
std::vector<double> material(int kind, double dbfs, size_t length)
{
    const double amplitude = 100.0 * std::pow(10.0, dbfs / 20.0);
    std::mt19937 rng(static_cast<unsigned>(kind * 131 + 7));
    std::normal_distribution<double> noise(0.0, 0.5);
    std::vector<double> x(length);
    for (size_t i = 0; i < length; ++i)
    {
        const double t = static_cast<double>(i) / fs;
        switch (kind)
        {
            case 0: x[i] = amplitude * std::sin(2.0 * M_PI * 440.0 * t); break;
            case 1: x[i] = amplitude * noise(rng); break;
            default:
                // Bursts: 50 ms of 2 kHz every 200 ms, silence in between.
                x[i] = std::fmod(t, 0.2) < 0.05 ? amplitude * std::sin(2.0 * M_PI * 2000.0 * t) : 0.0;
        }
    }
    return x;
}

double rms(const std::vector<double>& x, size_t from = 0)
{
    double s = 0.0;
    for (size_t i = from; i < x.size(); ++i)
        s += x[i] * x[i];
    return std::sqrt(s / static_cast<double>(x.size() - from));
}

template <uint32_t Encoder, uint32_t Decoder>
std::vector<double> roundTrip(qel::NoiseReduction& nr, const std::vector<double>& x)
{
    std::vector<double> y(x.size());
    for (size_t i = 0; i < x.size(); ++i)
        y[i] = nr.decode<Decoder>(nr.encode<Encoder>(x[i]));
    return y;
}

struct RoundTripError
{
    double worst = 0.0;       // largest error after the attack
    double errorToSignalDb = -400.0;
};

template <uint32_t Mode>
RoundTripError measureRoundTrip(int kind, double level, int passLimit)
{
    qel::NoiseReduction nr;
    nr.prepare(fs);
    for (auto* c : { &nr.typeAEncoder, &nr.typeADecoder })
        c->passLimit = passLimit;
    for (auto* c : { &nr.typeBEncoder, &nr.typeBDecoder })
        c->passLimit = passLimit;
    nr.setEncoderMode(Mode);
    nr.setDecoderMode(Mode);
    const auto x = material(kind, level, 24000);
    const auto y = roundTrip<Mode, Mode>(nr, x);
    RoundTripError e;
    double errorPower = 0.0, signalPower = 1e-300;
    for (size_t i = 0; i < x.size(); ++i)
    {
        EXPECT_TRUE(std::isfinite(y[i]));
        const double d = y[i] - x[i];
        if (i >= 2400)
            e.worst = std::max(e.worst, std::fabs(d));
        errorPower += d * d;
        signalPower += x[i] * x[i];
    }
    e.errorToSignalDb = 10.0 * std::log10(errorPower / signalPower + 1e-300);
    return e;
}

const int kinds[] = { 0, 1, 2 };
const char* kindNames[] = { "sine", "noise", "bursts" };
const double levels[] = { -80.0, -60.0, -40.0, -20.0, -6.0, 0.0 };

// With the searches run to convergence, each decoder is the exact inverse of
// its encoder: what is left is the Newton tolerance.
template <uint32_t Mode>
void expectExactInverseWhenConverged()
{
    for (int kind : kinds)
        for (double level : levels)
        {
            const auto e = measureRoundTrip<Mode>(kind, level, 40);
            // A burst's onset puts a kink of the rectifiers inside the search,
            // where the numerical derivative slows it down.
            if (kind == 2)
                EXPECT_TRUE(e.errorToSignalDb < -80.0 || e.worst < 1e-5) << "bursts at " << level << " dBFS";
            else
                EXPECT_LT(e.worst, 1e-5) << kindNames[kind] << " at " << level << " dBFS";
        }
}

// With the product's caps of 3 and 2 passes, a search that starts far from
// its answer (an attack after silence, every sample of loud noise) stops
// early; the error stays far below the signal.
template <uint32_t Mode>
void expectBoundedErrorWithProductCaps(double steadySineTolerance, double boundDb)
{
    for (int kind : kinds)
        for (double level : levels)
        {
            const auto e = measureRoundTrip<Mode>(kind, level, Mode == qel::typeA ? 3 : 2);
            EXPECT_LT(e.errorToSignalDb, boundDb) << kindNames[kind] << " at " << level << " dBFS";
            if (kind == 0)
                EXPECT_LT(e.worst, steadySineTolerance) << "steady sine at " << level << " dBFS";
        }
}

TEST(NoiseReduction, BasicPreEmphasisDecoderInvertsItsEncoder)
{
    for (int kind : kinds)
        for (double level : levels)
            EXPECT_LT(measureRoundTrip<qel::basicPreEmphasis>(kind, level, 1).worst, 1e-9);
}

TEST(NoiseReduction, TypeADecoderIsTheExactInverseOfItsEncoder)
{
    expectExactInverseWhenConverged<qel::typeA>();
    expectBoundedErrorWithProductCaps<qel::typeA>(1e-5, -60.0);
}

TEST(NoiseReduction, TypeBDecoderIsTheExactInverseOfItsEncoder)
{
    expectExactInverseWhenConverged<qel::typeB>();
    // Two passes leave white noise about -34 dB of error (three would give -67 dB).
    expectBoundedErrorWithProductCaps<qel::typeB>(1e-4, -30.0);
}

double encoderLiftDb(uint32_t mode, double dbfs)
{
    qel::NoiseReduction nr;
    nr.prepare(fs);
    const double amplitude = 100.0 * std::pow(10.0, dbfs / 20.0);
    double in = 0.0, out = 0.0;
    for (int i = 0; i < 48000; ++i)
    {
        const double x = amplitude * std::sin(2.0 * M_PI * 1000.0 * i / fs);
        const double y = mode == qel::typeA ? nr.encode<qel::typeA>(x) : nr.encode<qel::typeB>(x);
        if (i >= 24000)
        {
            in += x * x;
            out += y * y;
        }
    }
    return 10.0 * std::log10(out / in);
}

// An encoder played back without its decoder keeps its lift of quiet
// signals, and leaves loud ones almost as they are.
TEST(NoiseReduction, MismatchedPairKeepsTheEncodersLift)
{
    EXPECT_GT(encoderLiftDb(qel::typeA, -90.0), 5.0);
    EXPECT_GT(encoderLiftDb(qel::typeA, -80.0), 2.0);
    EXPECT_LT(encoderLiftDb(qel::typeA, -20.0), 0.1);
    EXPECT_GT(encoderLiftDb(qel::typeB, -60.0), 6.0);
    EXPECT_LT(encoderLiftDb(qel::typeB, 0.0), 0.1);

    // Through the pair with a "None" decoder the lift reaches the output.
    qel::NoiseReduction nr;
    nr.prepare(fs);
    nr.setEncoderMode(qel::typeA);
    double in = 0.0, out = 0.0;
    for (int i = 0; i < 48000; ++i)
    {
        const double x = 0.003 * std::sin(2.0 * M_PI * 1000.0 * i / fs);
        const double y = nr.decode<qel::noNoiseReduction>(nr.encode<qel::typeA>(x));
        in += x * x;
        out += y * y;
    }
    EXPECT_GT(10.0 * std::log10(out / in), 2.0);
}

TEST(NoiseReduction, NoStageReturnsNonFiniteForFiniteInput)
{
    qel::NoiseReduction nr;
    nr.prepare(fs);
    std::mt19937 rng(3);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    for (int i = 0; i < 200000; ++i)
    {
        const double scale = std::pow(10.0, (i / 1000) % 9 - 4); // 1e-4 .. 1e4
        const double x = unit(rng) * scale;
        const double a = nr.decode<qel::typeA>(nr.encode<qel::typeA>(x));
        const double b = nr.decode<qel::typeB>(nr.encode<qel::typeB>(x));
        const double c = nr.decode<qel::basicPreEmphasis>(nr.encode<qel::basicPreEmphasis>(x));
        // A wrong-way pair too: decoders on raw input.
        const double d = nr.decode<qel::typeB>(x) + nr.decode<qel::typeA>(x);
        ASSERT_TRUE(std::isfinite(a) && std::isfinite(b) && std::isfinite(c) && std::isfinite(d)) << i;
    }
}

// The decoder's trial evaluation with its terms of the past taken once per
// sample equals the plain evaluation, lane for lane and bit for bit, and
// leaves the same state to commit.
TEST(NoiseReduction, TypeATrialEqualsThePlainEvaluation)
{
    qel::TypeACompander plain, trial;
    plain.prepare(fs);
    trial.prepare(fs);
    const auto x = material(1, -20.0, 4000);
    for (size_t i = 0; i < x.size(); ++i)
    {
        const double u = x[i];
        const qel::Double2 point { u, u + 1e-6 };
        const auto shared = trial.beginTrial();
        const qel::Double2 a = plain.evaluate(point);
        const qel::Double2 b = trial.evaluateTrial(point, shared);
        ASSERT_EQ(a[0], b[0]) << i;
        ASSERT_EQ(a[1], b[1]) << i;
        ASSERT_EQ(trial.evaluateTrial(point[1], shared), b[1]) << i;
        plain.commit();
        trial.commit();
        for (int k = 0; k < 3; ++k)
        {
            ASSERT_EQ(plain.bands[k].filter.y1, trial.bands[k].filter.y1) << i;
            ASSERT_EQ(plain.bands[k].cell.envelope.q, trial.bands[k].cell.envelope.q) << i;
        }
    }
}

TEST(EnvelopeCell, SettlesToTheRectifiedMeanOverItsTimeConstant)
{
    qel::EnvelopeCell cell { 5000000.0, 1e-9 };
    cell.prepare(fs);
    double v = 0.0;
    for (int i = 0; i < 48000; ++i)
    {
        v = cell.step(std::sin(2.0 * M_PI * 1000.0 * i / fs));
        cell.commit();
    }
    // dq/dt = |x| / R - q / (R C): the voltage tends to the mean of |x|, 2 / pi.
    EXPECT_NEAR(v, 2.0 / M_PI, 0.01);
}

} // namespace
