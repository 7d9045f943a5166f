#pragma once

#include "tape/dsp/Bilinear.h"
#include "tape/dsp/CompressorCell.h"
#include "tape/dsp/Lanes.h"
#include "tape/dsp/LockstepSearch.h"

#include <array>

namespace qel
{

// Three-band compander: each band adds a compressed, band-limited copy of
// the signal, so quiet signals are lifted and loud ones pass. The decoder
// solves the encoder's equation by Newton steps with a numerical derivative.
//
// Written once for one deck (double) and for decks side by side (Double2,
// Double4): what depends only on past samples is taken once per sample, and
// the three bands' quotients share one division, so that a trial costs a
// single division and a Newton pass, point, probe and step, one too.
struct TypeACompander
{
    static constexpr int productPassLimit = 3;
    static constexpr double tiny = LockstepSearch::tiny;
    static constexpr int bands = 3;

    // Each band's biquad histories and cell charge, and the decoder's last solution.
    template <typename T>
    struct State
    {
        T x1[bands] {}, x2[bands] {}, y1[bands] {}, y2[bands] {};
        T q[bands] {};
        T lastSolution {};
    };

    // A band's constants. The cell's envelope, its voltage times sqrt 2, is
    // |filtered| voltageOfInput + q voltageOfCharge.
    struct Band
    {
        double inputGain;
        DigitalCoefficients<2> filter;
        CompressorCell cell;
        double voltageOfInput, voltageOfCharge;
    };

    std::array<Band, bands> band {};
    State<double> state;
    // Passes of the decoder's search; the cap is what keeps the decoder affordable.
    int passLimit = productPassLimit;

    void prepare(double sampleRate) noexcept
    {
        // Low-pass, band-pass and high-pass prototypes at 80 Hz, 848.5 Hz and 9 kHz.
        const double gain[bands] = { 2.52985696, 2.23676129, 1.78603319 };
        const double W[bands] = { 502.6548245743669, 5331.459525790039, 56548.66776461628 };
        const double zeta[bands] = { 11.79988354, 99.99999991, 0.53139937 };
        const double threshold[bands] = { -54.91727803, -48.69382961, -46.88093855 };
        const double knee[bands] = { 0.7, 0.31877737, 0.3 };
        for (int k = 0; k < bands; ++k)
        {
            const double w = W[k], z = zeta[k];
            const std::array<double, 3> den { w * w, 2.0 * z * w, 1.0 };
            std::array<double, 3> num {};
            if (k == 0)
                num = { w * w, 0.0, 0.0 };
            else if (k == 1)
                num = { 0.0, 4.0 * z * w, 0.0 };
            else
                num = { 0.0, 0.0, 1.0 };
            CompressorCell cell;
            cell.configure(threshold[k], knee[k]);
            cell.prepare(sampleRate);
            band[k] = { gain[k], bilinear<2>(num, den, sampleRate), cell,
                        cell.envelope.voltageOfInput() * 1.4142135623730951,
                        cell.envelope.voltageOfCharge() * 1.4142135623730951 };
        }
        clear();
    }

    // Histories and charges; the decoder's last solution stays.
    void clear() noexcept
    {
        const double last = state.lastSolution;
        state = {};
        state.lastSolution = last;
    }

    // What a sample's trials share: each band's filter terms and cell voltage of the past.
    template <typename T>
    struct Past
    {
        T filtered[bands], voltage[bands], charge[bands];
    };

    template <typename T>
    QEL_ALWAYS_INLINE Past<T> past(const State<T>& s) const noexcept
    {
        Past<T> p;
        for (int k = 0; k < bands; ++k)
        {
            const auto& f = band[k].filter;
            p.filtered[k] = (f.b[1] * s.x1[k] + f.b[2] * s.x2[k]) - (f.a[1] * s.y1[k] + f.a[2] * s.y2[k]);
            p.voltage[k] = s.q[k] * band[k].voltageOfCharge;
            p.charge[k] = s.q[k] * band[k].cell.envelope.h;
        }
        return p;
    }

    // The encoder's function at x as x + N / D, without commit.
    template <typename T>
    struct Quotient
    {
        T N, D;
    };

    template <typename T>
    QEL_ALWAYS_INLINE Quotient<T> evaluate(T x, const Past<T>& p) const noexcept
    {
        T cf[bands], E[bands];
        for (int k = 0; k < bands; ++k)
        {
            const Band& b = band[k];
            const T filtered = b.filter.b[0] * (b.inputGain * x) + p.filtered[k];
            const T e = absOf(filtered) * b.voltageOfInput + p.voltage[k];
            cf[k] = b.cell.curve(e) * filtered;
            E[k] = e + tiny;
        }
        // c0 f0 / E0 + c1 f1 / E1 + c2 f2 / E2 over the one denominator.
        return { cf[0] * (E[1] * E[2]) + E[0] * (cf[1] * E[2] + cf[2] * E[1]), E[0] * E[1] * E[2] };
    }

    // The histories and charges advance with input x.
    template <typename T>
    QEL_ALWAYS_INLINE void commit(State<T>& s, T x, const Past<T>& p) const noexcept
    {
        for (int k = 0; k < bands; ++k)
        {
            const Band& b = band[k];
            const T in = b.inputGain * x;
            const T filtered = b.filter.b[0] * in + p.filtered[k];
            s.x2[k] = s.x1[k];
            s.x1[k] = in;
            s.y2[k] = s.y1[k];
            s.y1[k] = filtered;
            s.q[k] = s.q[k] + (absOf(filtered) * b.cell.envelope.g + p.charge[k]);
        }
    }

    template <typename T>
    QEL_ALWAYS_INLINE T encode(State<T>& s, T x) const noexcept
    {
        const Past<T> p = past(s);
        const Quotient<T> a = evaluate(x, p);
        commit(s, x, p);
        return x + a.N / a.D;
    }

    // Solves encode(u) = m from the last solution; the state commits the last
    // probe each lane evaluated.
    template <typename T>
    QEL_ALWAYS_INLINE T decode(State<T>& s, T m, int limit) const noexcept
    {
        const Past<T> p = past(s);
        const auto found = LockstepSearch::run(s.lastSolution, limit, [&](T u) QEL_INLINE_LAMBDA {
            const Quotient<T> q = evaluate(u, p);
            return Residual<T> { (m - u) * q.D - q.N, q.D }; // m - u - N / D
        });
        s.lastSolution = found.solution;
        commit(s, found.lastProbe, p);
        return found.solution;
    }

    double encode(double x) noexcept { return encode(state, x); }
    double decode(double m) noexcept { return decode(state, m, passLimit); }
};

} // namespace qel
