#pragma once

#include "tape/XorAddStep.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>

namespace qel
{

// Energy-based magnetisation of the tape, solved per sample, with the tape's
// own pink hiss and its gate. Works at the chain's +-100 scale; the output is
// the flux derivative, as a read head sees it.
struct RecordHead
{
    static constexpr double c1 = 0.0224778046;
    static constexpr double c2 = 0.427861251;
    static constexpr double fourC1 = 0.0899112184;
    static constexpr double twoC2 = 0.855722502;
    static constexpr int maxNewtonSteps = 10;
    static constexpr double newtonTolerance = 1e-6;
    static constexpr int maxNoiseDraws = 64;

    double sampleRate = 0.0;
    double H = 0.0;
    double M = 0.0;
    double dM = 0.0;
    double a = 1.0;
    double b = 100.0;
    uint32_t noiseA = 0;
    uint32_t noiseB = 0;
    float noiseRows[5] {};
    float noiseSum = 0.0f;
    uint32_t noiseCounter = 1;
    double noiseAmount = 0.0001;
    uint8_t on = 1;
    uint8_t gateOn = 1;
    double gateTime = static_cast<double>(0.001f);
    double gateRate = 0.0;
    double gateCoefficient = 0.0;
    double gateEnvelope = 0.0;
    int lastNewtonSteps = 0;
    double kOverB = 0.0; // K / b, kept with its factors

    void prepare(double K) noexcept
    {
        sampleRate = K;
        noiseA = static_cast<uint32_t>(std::rand());
        noiseB = static_cast<uint32_t>(std::rand());
        noiseCounter = 1;
        for (auto& r : noiseRows)
            r = 0.0f;
        noiseSum = 0.0f;
        H = 0.0;
        clear();
        kOverB = K / b;
        gateRate = K;
        gateCoefficient = (2.0 * gateTime * K - 1.0) / (2.0 * gateTime * K + 1.0);
    }

    void clear() noexcept
    {
        M = 0.0;
        dM = 0.0;
        gateEnvelope = 0.0;
    }

    void setA(double v) noexcept { a = v; }
    void setB(double v) noexcept
    {
        b = v;
        kOverB = sampleRate / b;
    }
    double getA() const noexcept { return a; }
    double getB() const noexcept { return b; }
    void setNoiseAmount(double v) noexcept { noiseAmount = v; }
    void setOn(bool v) noexcept { on = v ? 1 : 0; clear(); }
    void setGateOn(bool v) noexcept { gateOn = v ? 1 : 0; clear(); }
    bool isOn() const noexcept { return on != 0; }
    bool isGateOn() const noexcept { return gateOn != 0; }

    // Landau energy with a quartic term.
    double energy(double u) const noexcept
    {
        const double u2 = u * u;
        return (c1 * u2 + a * 0.5 - c2) * u2;
    }

    // The discrete gradient (F(M + d) - F(M)) / d, expanded: the plain
    // quotient cancels against F(M) near turning points of slow signals and
    // would stall the search at d = 0.
    double energyQuotient(double d) const noexcept
    {
        const double alpha = a * 0.5 - c2;
        const double m2 = M * M;
        return alpha * (2.0 * M + d) + c1 * (4.0 * m2 * M + d * (6.0 * m2 + d * (4.0 * M + d)));
    }

    // Its derivative in d, equal to (F'(M + d) - quotient) / d.
    double energyQuotientSlope(double d) const noexcept
    {
        return a * 0.5 - c2 + c1 * (6.0 * M * M + d * (8.0 * M + 3.0 * d));
    }

    // One Newton step for quotient(d) + (K / b) d = H.
    double newtonStep(double d, double field, double kb) const noexcept
    {
        const double q = energyQuotient(d);
        const double slope = energyQuotientSlope(d) + kb + 1e-16;
        return -(field - q - kb * d) / slope;
    }

    // Voss-McCartney pink noise over five rows, in about -1..1.
    float pinkNoise() noexcept
    {
        const uint32_t counter = noiseCounter;
        unsigned idx = counter == 0 ? 4u : static_cast<unsigned>(__builtin_ctz(counter));
        if (idx > 4)
            idx = 4;
        const float old = noiseRows[idx];
        int draws = 0;
        for (;;)
        {
            const float r = xorAddStep(noiseA, noiseB);
            noiseRows[idx] = r;
            const float s = noiseSum + r - old;
            if (s >= -8.0f && s <= 8.0f)
            {
                noiseSum = s;
                break;
            }
            if (++draws == maxNoiseDraws)
            {
                noiseRows[idx] = old;
                break;
            }
        }
        const float w = xorAddStep(noiseA, noiseB);
        noiseCounter += 1;
        return (w + noiseSum) * 0.25f;
    }

    double process(double x) noexcept
    {
        if (!on)
            return x;

        H = x;
        float n = pinkNoise();
        if (gateOn)
        {
            const double c = gateCoefficient;
            const auto e = static_cast<float>(static_cast<double>(std::fabs(static_cast<float>(x))) * (1.0 - c)
                                              + c * gateEnvelope);
            gateEnvelope = static_cast<double>(e);
            n *= std::tanh(e * 100.0f);
        }
        H = static_cast<double>(n) * noiseAmount + x;

        const double K = sampleRate;
        const double kb = kOverB;
        int steps = 0;
        double step;
        do
        {
            step = newtonStep(dM, H, kb);
            dM = dM - step;
            ++steps;
        } while (std::fabs(step) > newtonTolerance && steps < maxNewtonSteps);
        lastNewtonSteps = steps;

        M = M + dM;
        const double M2 = M * M;
        const double g = (0.05 * M2 + 0.5) * M2 + 1.0;
        const double y = dM * K / (g * b * g);
        if (!std::isfinite(y) || !std::isfinite(M))
        {
            // Only a non-finite input gets here; the model restarts from rest.
            clear();
            return 0.0;
        }
        return y;
    }
};

} // namespace qel
