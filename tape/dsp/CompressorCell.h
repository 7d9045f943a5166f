#pragma once

#include "tape/dsp/Decibels.h"
#include "tape/dsp/Lanes.h"

namespace qel
{

// A rectifier into an RC integrator, by the trapezoidal rule: a step with x
// from charge q adds dq = |x| g + q h, and the voltage is (dq / 2 + q) / C.
// The charges live in the companders' states; this is their design.
struct EnvelopeCell
{
    double R = 5000000.0;
    double C = 1e-9;
    double g = 0.0;
    double h = 0.0;
    double inverseC = 1e9;

    void prepare(double sampleRate) noexcept
    {
        const double k = sampleRate + 1.0 / (2.0 * R * C);
        g = 1.0 / (R * k);
        h = -1.0 / (R * C * k);
        inverseC = 1.0 / C;
    }

    // The voltage after a step, as |x| voltageOfInput() + q voltageOfCharge().
    double voltageOfInput() const noexcept { return 0.5 * g * inverseC; }
    double voltageOfCharge() const noexcept { return (0.5 * h + 1.0) * inverseC; }
};

// Limits a side-chain signal: small signals pass, the envelope is capped near
// the top of a cubic knee.
struct CompressorCell
{
    static constexpr double aboveKneeSlope = 0.001;

    EnvelopeCell envelope;
    double lowKnee = 0.0;
    double highKnee = 0.0;
    double top = 0.0;
    double cubic[4] {}; // P(e) = c0 + c1 t + c2 t^2 + c3 t^3, t = e - lowKnee

    void configure(double thresholdDb, double knee) noexcept
    {
        const double L = decibelsToGain(static_cast<float>(thresholdDb));
        lowKnee = 0.7 * knee * L;
        highKnee = 0.7 * L / knee;
        top = 0.96 * L;
        // Hermite cubic: value lowKnee and slope 1 at lowKnee, value top and slope 0.001 at highKnee.
        const double w = highKnee - lowKnee;
        const double rise = top - lowKnee;
        cubic[0] = lowKnee;
        cubic[1] = 1.0;
        cubic[2] = (3.0 * rise - w * (2.0 + aboveKneeSlope)) / (w * w);
        cubic[3] = (w * (1.0 + aboveKneeSlope) - 2.0 * rise) / (w * w * w);
    }

    void prepare(double sampleRate) noexcept { envelope.prepare(sampleRate); }

    // The limited envelope for envelope e (its voltage times sqrt 2); the
    // cell's output is curve(e) x / e.
    template <typename T>
    QEL_ALWAYS_INLINE T curve(T e) const noexcept
    {
        const T t = e - lowKnee;
        const T knee = cubic[0] + t * (cubic[1] + t * (cubic[2] + t * cubic[3]));
        const T above = (e - highKnee) * aboveKneeSlope + top;
        return select(e < lowKnee, e, select(e > highKnee, above, knee));
    }
};

} // namespace qel
