#pragma once

#include "tape/dsp/CompressorCell.h"
#include "tape/dsp/Lanes.h"
#include "tape/dsp/LockstepSearch.h"

namespace qel
{

// Sliding-shelf compander: the side path's corner follows its own envelope,
// so both directions are implicit and solved per sample, by Newton steps
// with a numerical derivative for the side path's input v.
//
// Written once for one deck (double) and for decks side by side (Double2,
// Double4), as the Type A compander is: the shelves' and envelopes' terms of
// the past are taken once per sample, the fixed side shelf needs no division,
// and a Newton pass, point, probe and step, costs one division.
struct TypeBCompander
{
    static constexpr int productPassLimit = 2;
    static constexpr double tiny = LockstepSearch::tiny;
    static constexpr double maxCorner = 70000.0;
    static constexpr double slideGain = 5.92380188;
    static constexpr double sideGain = 21.989016;
    static constexpr double sideZero = 7511.78831; // rad/s

    // The last solution, the compressor cell's and the side envelope's
    // charges, and the side and sliding shelves' histories.
    template <typename T>
    struct State
    {
        T lastSolution {};
        T cellQ {}, sideQ {};
        T sideX1 {}, sideY1 {};
        T slideX1 {}, slideY1 {};
    };

    // The cell (T = -10 dB, knee 0.3) and the side envelope (about 2.06 ms):
    // their voltages are |x| voltageOfInput + q voltageOfCharge, the cell's
    // times sqrt 2. The side shelf c2 (s + d2) / (s + c2 d2) is fixed: its
    // output is v sideIn + x1 sideX + y1 sideY.
    struct Constants
    {
        CompressorCell cell;
        EnvelopeCell side { 2061296.98, 1e-9 };
        double cellG = 0.0, cellH = 0.0, cellVoltageOfInput = 0.0, cellVoltageOfCharge = 0.0;
        double sideG = 0.0, sideH = 0.0, sideVoltageOfInput = 0.0, sideVoltageOfCharge = 0.0;
        double sideIn = 0.0, sideX = 0.0, sideY = 0.0;
        double twoF = 0.0;
    };

    Constants k;
    State<double> state;
    // Passes of each search; the cap is what keeps the compander affordable.
    int passLimit = productPassLimit;

    void prepare(double sampleRate) noexcept
    {
        k.cell.configure(-10.0, 0.3);
        k.cell.prepare(sampleRate);
        k.side.prepare(sampleRate);
        const EnvelopeCell& e = k.cell.envelope;
        k.cellG = e.g;
        k.cellH = e.h;
        k.cellVoltageOfInput = e.voltageOfInput() * 1.4142135623730951;
        k.cellVoltageOfCharge = e.voltageOfCharge() * 1.4142135623730951;
        k.sideG = k.side.g;
        k.sideH = k.side.h;
        k.sideVoltageOfInput = k.side.voltageOfInput();
        k.sideVoltageOfCharge = k.side.voltageOfCharge();
        k.twoF = 2.0 * sampleRate;
        const double cd = sideGain * sideZero, denominator = cd + k.twoF;
        k.sideIn = (cd + sideGain * k.twoF) / denominator;
        k.sideX = (cd - sideGain * k.twoF) / denominator;
        k.sideY = -(cd - k.twoF) / denominator;
        clear();
    }

    // Shelf histories and charges; the last solution stays.
    void clear() noexcept
    {
        const double last = state.lastSolution;
        state = {};
        state.lastSolution = last;
    }

    template <typename T>
    static T cornerFromEnvelope(T e) noexcept
    {
        const T w = (((89683.3046 * e - 310543.2) * e + 309734.797) * e - 22716.5427) * e + 1956.73632;
        return minOf(w, T {} + maxCorner);
    }

    // What a sample's trials share. The sliding shelf c (s + w) / (s + c w)
    // of input x gives (w A + B) / (c w + 2f), A = c (x + x1 - y1) and
    // B = 2f (c (x - x1) + y1): for the decoder's x = m - cell(v), A and B
    // are those of m less c cell(v) and 2f c cell(v).
    template <typename T>
    struct Past
    {
        T cellVoltage, cellCharge, sideVoltage, sideCharge, side, A, B;
    };

    template <typename T>
    QEL_ALWAYS_INLINE Past<T> past(const State<T>& s, T input) const noexcept
    {
        return { s.cellQ * k.cellVoltageOfCharge,
                 s.cellQ * k.cellH,
                 s.sideQ * k.sideVoltageOfCharge,
                 s.sideQ * k.sideH,
                 s.sideX1 * k.sideX + s.sideY1 * k.sideY,
                 slideGain * ((input + s.slideX1) - s.slideY1),
                 k.twoF * (slideGain * (input - s.slideX1) + s.slideY1) };
    }

    // The cell's limited curve at v, as curve times v over E (E = e + tiny).
    template <typename T>
    struct Cell
    {
        T cv, E;
    };

    template <typename T>
    QEL_ALWAYS_INLINE Cell<T> cell(T v, const Past<T>& p) const noexcept
    {
        const T e = absOf(v) * k.cellVoltageOfInput + p.cellVoltage;
        return { k.cell.curve(e) * v, e + tiny };
    }

    // The side shelf of v sets the sliding corner through the envelope.
    template <typename T>
    QEL_ALWAYS_INLINE T corner(T v, const Past<T>& p) const noexcept
    {
        const T side = v * k.sideIn + p.side;
        return cornerFromEnvelope(absOf(side) * k.sideVoltageOfInput + p.sideVoltage);
    }

    // The residual v - E(v) over its denominator: E(v) is the sliding shelf's
    // output, of x when encoding and of m - cell(v) when decoding.

    template <bool Decoding, typename T>
    QEL_ALWAYS_INLINE Residual<T> residual(T v, const Past<T>& p) const noexcept
    {
        const T w = corner(v, p);
        const T Q = slideGain * w + k.twoF;
        const T P = w * p.A + p.B;
        if constexpr (Decoding)
        {
            const Cell<T> c = cell(v, p);
            // (v Q E - P E + cv c (w + 2f)) / (Q E)
            return { (v * Q - P) * c.E + c.cv * (slideGain * (w + k.twoF)), Q * c.E };
        }
        else
            return { v * Q - P, Q };
    }

    // Solves for v from the last solution; then the cell of v is added to x or taken from m. The
    // envelopes and shelves commit the last probe each lane evaluated, the
    // cell its solution.
    template <bool Decoding, typename T>
    QEL_ALWAYS_INLINE T run(State<T>& s, T input, int limit) const noexcept
    {
        const Past<T> p = past(s, input);
        const auto found = LockstepSearch::run(s.lastSolution, limit,
                                               [&](T x) QEL_INLINE_LAMBDA { return residual<Decoding>(x, p); });
        const T v = found.solution, lastProbe = found.lastProbe;
        s.lastSolution = v;
        const Cell<T> c = cell(v, p);
        const T compressed = c.cv / c.E;
        // The sliding shelf's input and output at the last probe.
        const T w = corner(lastProbe, p);
        T slideIn = input, A = p.A, B = p.B;
        if constexpr (Decoding)
        {
            const Cell<T> atProbe = cell(lastProbe, p);
            const T kv = atProbe.cv / atProbe.E;
            slideIn = input - kv;
            A = A - slideGain * kv;
            B = B - k.twoF * slideGain * kv;
        }
        const T side = lastProbe * k.sideIn + p.side;
        s.cellQ = s.cellQ + (absOf(v) * k.cellG + p.cellCharge);
        s.sideQ = s.sideQ + (absOf(side) * k.sideG + p.sideCharge);
        s.sideX1 = lastProbe;
        s.sideY1 = side;
        s.slideX1 = slideIn;
        s.slideY1 = (w * A + B) / (slideGain * w + k.twoF);
        if constexpr (Decoding)
            return input - compressed;
        else
            return input + compressed;
    }

    double encode(double x) noexcept { return run<false>(state, x, passLimit); }
    double decode(double m) noexcept { return run<true>(state, m, passLimit); }
};

} // namespace qel
