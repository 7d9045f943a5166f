#pragma once

#include "tape/Bilinear.h"
#include "tape/CompressorCell.h"
#include "tape/EmphasisShelf.h"

#include <cmath>

namespace qel
{

// The Newton step from a residual r[0] and the residual r[1] a probe further.
inline double secantStep(Double2 r, double probe) noexcept
{
    return r[0] / ((r[1] - r[0]) * (1.0 / probe) + 1e-16);
}

// A second-order section that can be evaluated several times per sample and
// shifted once, with the last evaluation's input and output.
struct TrialBiquad
{
    DigitalCoefficients<2> c;
    double x1 = 0.0, x2 = 0.0, y1 = 0.0, y2 = 0.0;
    double lastIn = 0.0, lastOut = 0.0;

    void clear() noexcept { x1 = x2 = y1 = y2 = 0.0; }

    template <typename T>
    T evaluate(T x) noexcept
    {
        const T out = c.b[0] * x + c.b[1] * x1 + c.b[2] * x2 - c.a[1] * y1 - c.a[2] * y2;
        lastIn = lastLane(x);
        lastOut = lastLane(out);
        return out;
    }

    void commit() noexcept
    {
        x2 = x1;
        x1 = lastIn;
        y2 = y1;
        y1 = lastOut;
    }
};

// Three-band compander: each band adds a compressed, band-limited copy of
// the signal, so quiet signals are lifted and loud ones pass.
struct TypeACompander
{
    static constexpr int productPassLimit = 3;
    static constexpr double tolerance = 1e-6;
    static constexpr double probe = 1e-6;

    struct Band
    {
        double inputGain;
        TrialBiquad filter;
        CompressorCell cell;
    };

    Band bands[3] { { 2.52985696, {}, {} }, { 2.23676129, {}, {} }, { 1.78603319, {}, {} } };
    double lastSolution = 0.0;
    int lastPasses = 0;
    // Passes of the decoder's search; the cap is what keeps the decoder affordable.
    int passLimit = productPassLimit;

    void prepare(double f) noexcept
    {
        // Low-pass, band-pass and high-pass prototypes at 80 Hz, 848.5 Hz and 9 kHz.
        const double W[3] = { 502.6548245743669, 5331.459525790039, 56548.66776461628 };
        const double zeta[3] = { 11.79988354, 99.99999991, 0.53139937 };
        const double threshold[3] = { -54.91727803, -48.69382961, -46.88093855 };
        const double knee[3] = { 0.7, 0.31877737, 0.3 };
        for (int k = 0; k < 3; ++k)
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
            bands[k].filter.c = bilinear<2>(num, den, f);
            bands[k].cell.configure(threshold[k], knee[k]);
            bands[k].cell.prepare(f);
        }
        clear();
    }

    // Histories and charges; the decoder's last solution stays.
    void clear() noexcept
    {
        for (auto& b : bands)
        {
            b.filter.clear();
            b.cell.clear();
        }
    }

    // The encoder's function, without commit.
    template <typename T>
    T evaluate(T x) noexcept
    {
        T out = x;
        for (auto& b : bands)
            out += b.cell.evaluate(b.filter.evaluate(b.inputGain * x));
        return out;
    }

    void commit() noexcept
    {
        for (auto& b : bands)
        {
            b.filter.commit();
            b.cell.commit();
        }
    }

    double encode(double x) noexcept
    {
        const double y = evaluate(x);
        commit();
        return y;
    }

    // Solves evaluate(u) = m by Newton steps with a numerical derivative,
    // one pass at a time, so that two decks' searches can run side by side.
    struct DecodeSearch
    {
        TypeACompander& compander;
        double m;
        double u = compander.lastSolution;
        int passes = 0;

        bool pass() noexcept
        {
            // The point and its probe side by side; the probe is evaluated last.
            const Double2 r = m - compander.evaluate(pack(u, u + probe));
            const double step = secantStep(r, probe);
            u = u - step;
            ++passes;
            return std::fabs(step) > tolerance && passes < compander.passLimit;
        }

        double finish() noexcept
        {
            compander.lastPasses = passes;
            compander.lastSolution = u;
            // The state committed is that of the last evaluation.
            compander.commit();
            return u;
        }
    };

    double decode(double m) noexcept
    {
        DecodeSearch search { *this, m };
        while (search.pass())
        {
        }
        return search.finish();
    }
};

// Sliding-shelf compander: the side path's corner follows its own envelope,
// so both directions are implicit and solved per sample.
struct TypeBCompander
{
    static constexpr int productPassLimit = 2;
    static constexpr double tolerance = 1e-6;
    static constexpr double probe = 1e-6;
    static constexpr double maxCorner = 70000.0;

    double lastSolution = 0.0;
    CompressorCell cell;
    EmphasisShelf slidingShelf { 0.0, 5.92380188 };
    EmphasisShelf sideShelf { 7511.78831, 21.989016 };
    EnvelopeCell sideEnvelope { 2061296.98, 1e-9 };
    double corner = 0.0;
    int lastPasses = 0;
    // Passes of each search; the cap is what keeps the compander affordable.
    int passLimit = productPassLimit;

    void prepare(double f) noexcept
    {
        cell.configure(-10.0, 0.3);
        cell.prepare(f);
        slidingShelf.prepare(f);
        sideShelf.prepare(f);
        sideEnvelope.prepare(f);
        clear();
    }

    // Shelf histories and charges; the last solution stays.
    void clear() noexcept
    {
        slidingShelf.clear();
        sideShelf.clear();
        cell.clear();
        sideEnvelope.clear();
    }

    template <typename T>
    static T cornerFromEnvelope(T e) noexcept
    {
        const T w = (((89683.3046 * e - 310543.2) * e + 309734.797) * e - 22716.5427) * e + 1956.73632;
        return minOf(w, T {} + maxCorner);
    }

    // The search of either direction for the side path's input v, one pass
    // at a time, so that two decks' searches can run side by side.
    struct Search
    {
        TypeBCompander& compander;
        double input; // x when encoding, m when decoding
        bool decoding;
        double v = compander.lastSolution;
        int passes = 0;

        bool pass() noexcept
        {
            // The point and its probe side by side; the probe is evaluated last.
            const Double2 trial = pack(v, v + probe);
            const Double2 r = trial - compander.direction(trial, input, decoding);
            const double step = secantStep(r, probe);
            v = v - step;
            ++passes;
            return std::fabs(step) > tolerance && passes < compander.passLimit;
        }

        // The output of the direction for the solution.
        double finish() noexcept
        {
            compander.lastPasses = passes;
            compander.lastSolution = v;
            const double c = compander.cell.evaluate(v);
            compander.commit();
            return decoding ? input - c : input + c;
        }
    };

    double encode(double x) noexcept { return run({ *this, x, false }); }
    double decode(double m) noexcept { return run({ *this, m, true }); }

private:
    // What the sliding shelf gives for a trial v: the encoder feeds it x, the
    // decoder m less the cell's part.
    Double2 direction(Double2 v, double input, bool decoding) noexcept
    {
        return slide(v, decoding ? input - cell.evaluate(v) : Double2 {} + input);
    }

    static double run(Search search) noexcept
    {
        while (search.pass())
        {
        }
        return search.finish();
    }

    // The side shelf of v sets the corner through the envelope; the sliding
    // shelf then filters what the direction feeds it.
    template <typename T>
    T slide(T v, T input) noexcept
    {
        const T sideOut = sideShelf.evaluateEncoder(v, sideShelf.d);
        const T slideCorner = cornerFromEnvelope(sideEnvelope.step(sideOut));
        const T slideOut = slidingShelf.evaluateEncoder(input, slideCorner);
        sideLastIn = lastLane(v);
        sideLastOut = lastLane(sideOut);
        corner = lastLane(slideCorner);
        slideLastIn = lastLane(input);
        slideLastOut = lastLane(slideOut);
        return slideOut;
    }

    void commit() noexcept
    {
        cell.commit();
        sideEnvelope.commit();
        slidingShelf.advance(slideLastIn, slideLastOut);
        sideShelf.advance(sideLastIn, sideLastOut);
    }

    double sideLastIn = 0.0, sideLastOut = 0.0;
    double slideLastIn = 0.0, slideLastOut = 0.0;
};

// Two independent searches, one per deck, advanced pass by pass together so
// that the processor overlaps their dependency chains. Each stops on its own.
template <typename Search>
void searchTogether(Search& a, Search& b) noexcept
{
    bool goA = true, goB = true;
    while (goA || goB)
    {
        if (goA)
            goA = a.pass();
        if (goB)
            goB = b.pass();
    }
}

} // namespace qel
