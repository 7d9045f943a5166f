#pragma once

#include "tape/dsp/Lanes.h"
#include "tape/dsp/Tanh.h"
#include "tape/dsp/XorAddStep.h"

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
    // The model's own coefficients of the energy's quartic (c1) and quadratic
    // (c2) terms; hardness a and resistance b are the musician's.
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
    bool on = true;
    bool gateOn = true;
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
    void setOn(bool v) noexcept { on = v; clear(); }
    void setGateOn(bool v) noexcept { gateOn = v; clear(); }
    bool isOn() const noexcept { return on; }
    bool isGateOn() const noexcept { return gateOn; }

    // Landau energy with a quartic term.
    double energy(double u) const noexcept
    {
        const double u2 = u * u;
        return (c1 * u2 + a * 0.5 - c2) * u2;
    }

    // The discrete gradient (F(M + d) - F(M)) / d, expanded: the plain
    // quotient cancels against F(M) near turning points of slow signals and
    // would stall the search at d = 0. alpha = a / 2 - c2.
    template <typename T>
    static T energyQuotient(T m, T d, T alpha) noexcept
    {
        const T m2 = m * m;
        return alpha * (2.0 * m + d) + c1 * (4.0 * m2 * m + d * (6.0 * m2 + d * (4.0 * m + d)));
    }

    // Its derivative in d, equal to (F'(M + d) - quotient) / d.
    template <typename T>
    static T energyQuotientSlope(T m, T d, T alpha) noexcept
    {
        return alpha + c1 * (6.0 * m * m + d * (8.0 * m + 3.0 * d));
    }

    // One Newton step for quotient(d) + (K / b) d = H.
    template <typename T>
    static T newtonStep(T m, T d, T field, T alpha, T kb) noexcept
    {
        const T q = energyQuotient(m, d, alpha);
        const T slope = energyQuotientSlope(m, d, alpha) + kb + 1e-16;
        return -(field - q - kb * d) / slope;
    }

    // The search for dM from its last value. A lane that has converged stops
    // moving while the other one finishes; steps counts the longer search.
    template <typename T>
    static T solveIncrement(T m, T d, T field, T alpha, T kb, int& steps) noexcept
    {
        auto active = T {} == T {};
        steps = 0;
        for (;;)
        {
            const T step = newtonStep(m, d, field, alpha, kb);
            d = select(active, d - step, d);
            ++steps;
            active = active & (absOf(step) > newtonTolerance);
            if (!anyLane(active) || steps == maxNewtonSteps)
                return d;
        }
    }

    // The flux derivative over the saturation of the magnetisation.
    template <typename T>
    static T fluxOutput(T m, T d, T K, T b) noexcept
    {
        const T m2 = m * m;
        const T g = (0.05 * m2 + 0.5) * m2 + 1.0;
        return d * K / (g * b * g);
    }

    double alpha() const noexcept { return a * 0.5 - c2; }

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

    // The hiss added to the field: pink noise, closed by the gate in silence.
    float gatedNoise(double x) noexcept
    {
        float n = pinkNoise();
        if (gateOn)
        {
            const double c = gateCoefficient;
            const auto e = static_cast<float>(static_cast<double>(std::fabs(static_cast<float>(x))) * (1.0 - c)
                                              + c * gateEnvelope);
            gateEnvelope = static_cast<double>(e);
            n *= tanhOf(e * 100.0f);
        }
        return n;
    }

    double process(double x) noexcept
    {
        if (!on)
            return x;

        H = static_cast<double>(gatedNoise(x)) * noiseAmount + x;
        dM = solveIncrement(M, dM, H, alpha(), kOverB, lastNewtonSteps);
        M = M + dM;
        const double y = fluxOutput(M, dM, sampleRate, b);
        if (!finite(y) || !finite(M))
        {
            // Only a non-finite input gets here; the model restarts from rest.
            clear();
            return 0.0;
        }
        return y;
    }
};

// Both record heads of a pair as lanes of one register through a slice: the
// magnetisation and its increment live in locals and go back at the end.
struct RecordHeadPair
{
    RecordHead& a;
    RecordHead& b;
    const bool together = a.isOn() && b.isOn();
    Double2 M = pack(a.M, b.M);
    Double2 dM = pack(a.dM, b.dM);
    const Double2 alpha = pack(a.alpha(), b.alpha());
    const Double2 kb = pack(a.kOverB, b.kOverB);
    const Double2 K = pack(a.sampleRate, b.sampleRate);
    const Double2 resistance = pack(a.b, b.b);
    Double2 H = pack(a.H, b.H);
    Double2 lastNoiseAmount = pack(a.noiseAmount, b.noiseAmount);
    int steps = a.lastNewtonSteps;

    Double2 process(Double2 x, Double2 noiseAmount) noexcept
    {
        if (!together)
        {
            a.setNoiseAmount(noiseAmount[0]);
            b.setNoiseAmount(noiseAmount[1]);
            return pack(a.process(x[0]), b.process(x[1]));
        }
        const Double2 n = pack(static_cast<double>(a.gatedNoise(x[0])), static_cast<double>(b.gatedNoise(x[1])));
        H = n * noiseAmount + x;
        lastNoiseAmount = noiseAmount;
        dM = RecordHead::solveIncrement(M, dM, H, alpha, kb, steps);
        M = M + dM;
        Double2 y = RecordHead::fluxOutput(M, dM, K, resistance);
        if (!allLanes(finite(y) & finite(M)))
            restartNonFinite(y);
        return y;
    }

    void store() noexcept
    {
        if (!together)
            return;
        a.M = M[0];
        b.M = M[1];
        a.dM = dM[0];
        b.dM = dM[1];
        a.H = H[0];
        b.H = H[1];
        a.noiseAmount = lastNoiseAmount[0];
        b.noiseAmount = lastNoiseAmount[1];
        a.lastNewtonSteps = b.lastNewtonSteps = steps;
    }

private:
    // Only a non-finite input gets here; that lane's model restarts from rest.
    void restartNonFinite(Double2& y) noexcept
    {
        RecordHead* heads[2] { &a, &b };
        const Mask2 ok = finite(y) & finite(M);
        for (int i = 0; i < 2; ++i)
            if (!ok[i])
            {
                heads[i]->clear();
                M[i] = dM[i] = y[i] = 0.0;
            }
    }
};

} // namespace qel
