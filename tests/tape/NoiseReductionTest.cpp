#include "tape/dsp/NoiseReduction.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace
{

constexpr double fs = 48000.0;
enum Material { sine, noise, bursts };
const char* const materialNames[] = { "sine", "noise", "bursts" };

// Half a second at the chain's scale (0 dBFS is 100) of each kind of material.
std::vector<double> material(int kind, double dbfs)
{
    const double amplitude = 100.0 * std::pow(10.0, dbfs / 20.0);
    std::mt19937 rng(static_cast<unsigned>(kind * 131 + 7));
    std::normal_distribution<double> gauss(0.0, 0.5);
    std::vector<double> x(24000);
    for (size_t i = 0; i < x.size(); ++i)
    {
        const double t = static_cast<double>(i) / fs;
        x[i] = kind == sine    ? amplitude * std::sin(2.0 * M_PI * 440.0 * t)
             : kind == noise   ? amplitude * gauss(rng)
             : std::fmod(t, 0.2) < 0.05 ? amplitude * std::sin(2.0 * M_PI * 2000.0 * t) : 0.0;
    }
    return x;
}

struct RoundTrip { double worst = 0.0, errorToSignalDb = 0.0; }; // worst: after the attack

// A mode's decoder after its encoder, with the searches capped at passLimit.
template <qel::NoiseReductionMode Mode>
RoundTrip roundTrip(int kind, double level, int passLimit)
{
    qel::NoiseReduction nr;
    nr.prepare(fs);
    nr.typeAEncoder.passLimit = nr.typeADecoder.passLimit = passLimit;
    nr.typeBEncoder.passLimit = nr.typeBDecoder.passLimit = passLimit;
    nr.setEncoderMode(Mode);
    nr.setDecoderMode(Mode);
    const auto x = material(kind, level);
    RoundTrip r;
    double errorPower = 0.0, signalPower = 1e-300;
    for (size_t i = 0; i < x.size(); ++i)
    {
        const double d = nr.decode<Mode>(nr.encode<Mode>(x[i])) - x[i];
        EXPECT_TRUE(std::isfinite(d));
        if (i >= 2400)
            r.worst = std::max(r.worst, std::fabs(d));
        errorPower += d * d;
        signalPower += x[i] * x[i];
    }
    r.errorToSignalDb = 10.0 * std::log10(errorPower / signalPower + 1e-300);
    return r;
}

// Converged, a decoder is its encoder's exact inverse (a burst's onset puts a
// rectifier's kink in the search, which slows it). At the product's cap a
// search far from its answer stops early; the error stays far below the signal.
template <qel::NoiseReductionMode Mode>
void expectInverse(int productCap, double steadySineTolerance, double boundDb)
{
    for (int kind : { sine, noise, bursts })
        for (double level : { -80.0, -60.0, -40.0, -20.0, -6.0, 0.0 })
        {
            const auto converged = roundTrip<Mode>(kind, level, 40);
            EXPECT_TRUE(converged.worst < 1e-5 || (kind == bursts && converged.errorToSignalDb < -80.0))
                << materialNames[kind] << " at " << level << " dBFS";
            const auto capped = roundTrip<Mode>(kind, level, productCap);
            EXPECT_LT(capped.errorToSignalDb, boundDb) << materialNames[kind] << " at " << level << " dBFS";
            if (kind == sine)
                EXPECT_LT(capped.worst, steadySineTolerance) << "steady sine at " << level << " dBFS";
        }
}

TEST(NoiseReduction, EachDecoderInvertsItsEncoder)
{
    expectInverse<qel::NoiseReductionMode::preEmphasis>(1, 1e-9, -150.0);
    expectInverse<qel::NoiseReductionMode::typeA>(3, 1e-5, -60.0);
    // Two passes leave white noise about -34 dB of error (three would give -67 dB).
    expectInverse<qel::NoiseReductionMode::typeB>(2, 1e-4, -30.0);
}

} // namespace
