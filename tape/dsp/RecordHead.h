#pragma once

#include "tape/dsp/Lanes.h"
#include "tape/dsp/Tanh.h"
#include "tape/dsp/XorAddStep.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <utility>

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
    static constexpr double gateTime = static_cast<double>(0.001f); // seconds

    // What the per-sample solve reads and writes, for one head or both of a pair.
    template <typename T>
    struct State
    {
        T M {};
        T dM {};
        T H {};
        T noiseAmount = T {} + 0.0001;
        T alpha = T {} + (0.5 - c2); // a / 2 - c2
        T kOverB {};                 // K / b
        T sampleRate {};             // K
        T b = T {} + 100.0;

        // M's increment for the field H (input plus hiss), and the flux
        // derivative out. A lane whose model left the finite range (only a
        // non-finite input takes it there) restarts from rest and gives 0;
        // the mask tells which lanes went on.
        auto magnetise(T x, T hiss, int& steps) noexcept
        {
            using Mask = decltype(finite(x));
            H = hiss * noiseAmount + x;
            dM = solveIncrement(M, dM, H, alpha, kOverB, steps);
            M = M + dM;
            T y = fluxOutput(M, dM, sampleRate, b);
            const auto ok = static_cast<Mask>(finite(y) & finite(M));
            if (!allLanes(ok))
            {
                M = select(ok, M, T {});
                dM = select(ok, dM, T {});
                y = select(ok, y, T {});
            }
            return std::make_pair(y, ok);
        }
    };

    State<double> state;
    double a = 1.0;
    uint32_t noiseA = 0;
    uint32_t noiseB = 0;
    float noiseRows[5] {};
    float noiseSum = 0.0f;
    uint32_t noiseCounter = 1;
    bool on = true;
    bool gateOn = true;
    double gateCoefficient = 0.0;
    double gateEnvelope = 0.0;
    int lastNewtonSteps = 0;

    // Sample rate K in hertz; the hiss is seeded from the platform's generator.
    void prepare(double K) noexcept
    {
        const auto first = static_cast<uint32_t>(std::rand());
        prepare(K, first, static_cast<uint32_t>(std::rand()));
    }

    // The same with the hiss's seeds given, for a model that must repeat itself.
    void prepare(double K, uint32_t seedA, uint32_t seedB) noexcept
    {
        state.sampleRate = K;
        noiseA = seedA;
        noiseB = seedB;
        noiseCounter = 1;
        for (auto& r : noiseRows)
            r = 0.0f;
        noiseSum = 0.0f;
        state.H = 0.0;
        clear();
        state.kOverB = K / state.b;
        gateCoefficient = (2.0 * gateTime * K - 1.0) / (2.0 * gateTime * K + 1.0);
    }

    void clear() noexcept
    {
        state.M = 0.0;
        state.dM = 0.0;
        gateEnvelope = 0.0;
    }

    // Hardness a (1 .. 5) and resistance b (100 .. 100000).
    void setA(double v) noexcept
    {
        a = v;
        state.alpha = a * 0.5 - c2;
    }
    void setB(double v) noexcept
    {
        state.b = v;
        state.kOverB = state.sampleRate / state.b;
    }
    double getA() const noexcept { return a; }
    double getB() const noexcept { return state.b; }
    void setNoiseAmount(double v) noexcept { state.noiseAmount = v; }
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
        const auto [y, ok] = state.magnetise(x, static_cast<double>(gatedNoise(x)), lastNewtonSteps);
        if (!ok)
            gateEnvelope = 0.0;
        return y;
    }
};

// The record heads of several decks as the lanes of one state through a
// slice: two for a pair in a Double2, four for two pairs in a Double4.
template <typename T>
struct RecordHeadLanes
{
    static constexpr size_t N = laneCount<T>;
    std::array<RecordHead*, N> heads;
    const bool together = allOn(heads);
    RecordHead::State<T> lanes = zipLanes<RecordHead::State, T>(states(heads));
    int steps = heads[0]->lastNewtonSteps;

    explicit RecordHeadLanes(const std::array<RecordHead*, N>& each) noexcept : heads(each) {}

    T process(T x, T noiseAmount) noexcept
    {
        if (!together)
            return lanesFrom<T>([&](size_t k) QEL_INLINE_LAMBDA {
                heads[k]->setNoiseAmount(noiseAmount[k]);
                return heads[k]->process(x[k]);
            });
        const T hiss = lanesFrom<T>(
            [&](size_t k) QEL_INLINE_LAMBDA { return static_cast<double>(heads[k]->gatedNoise(x[k])); });
        lanes.noiseAmount = noiseAmount;
        const auto [out, ok] = lanes.magnetise(x, hiss, steps);
        for (size_t k = 0; k < N; ++k)
            if (!ok[k])
                heads[k]->gateEnvelope = 0.0;
        return out;
    }

    void store() noexcept
    {
        if (!together)
            return;
        std::array<RecordHead::State<double>*, N> each;
        for (size_t k = 0; k < N; ++k)
        {
            each[k] = &heads[k]->state;
            heads[k]->lastNewtonSteps = steps;
        }
        unzipLanes<RecordHead::State>(lanes, each);
    }

private:
    static bool allOn(const std::array<RecordHead*, N>& each) noexcept
    {
        bool on = true;
        for (const auto* h : each)
            on = on && h->isOn();
        return on;
    }

    static std::array<const RecordHead::State<double>*, N> states(const std::array<RecordHead*, N>& each) noexcept
    {
        std::array<const RecordHead::State<double>*, N> s;
        for (size_t k = 0; k < N; ++k)
            s[k] = &each[k]->state;
        return s;
    }
};

} // namespace qel
