#pragma once

#include "tape/Bilinear.h"
#include "tape/CompressorCell.h"
#include "tape/EmphasisShelf.h"

#include <cmath>

namespace qel
{

// A second-order section that can be evaluated several times per sample and
// shifted once, with the last evaluation's input and output.
struct TrialBiquad
{
    DigitalCoefficients<2> c;
    double x1 = 0.0, x2 = 0.0, y1 = 0.0, y2 = 0.0;
    double lastIn = 0.0, lastOut = 0.0;

    void clear() noexcept { x1 = x2 = y1 = y2 = 0.0; }

    double evaluate(double x) noexcept
    {
        lastIn = x;
        lastOut = c.b[0] * x + c.b[1] * x1 + c.b[2] * x2 - c.a[1] * y1 - c.a[2] * y2;
        return lastOut;
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
    double evaluate(double x) noexcept
    {
        double out = x;
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

    // Solves evaluate(u) = m by Newton steps with a numerical derivative.
    double decode(double m) noexcept
    {
        double u = lastSolution;
        double step;
        int passes = 0;
        do
        {
            const double r = m - evaluate(u);
            const double rProbe = m - evaluate(u + probe);
            step = r / ((rProbe - r) * (1.0 / probe) + 1e-16);
            u = u - step;
            ++passes;
        } while (std::fabs(step) > tolerance && passes < passLimit);
        lastPasses = passes;
        lastSolution = u;
        // The state committed is that of the last evaluation.
        commit();
        return u;
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

    static double cornerFromEnvelope(double e) noexcept
    {
        const double w = (((89683.3046 * e - 310543.2) * e + 309734.797) * e - 22716.5427) * e + 1956.73632;
        return std::min(w, maxCorner);
    }

    double encode(double x) noexcept
    {
        const double v = solve([this, x](double candidate) { return slide(candidate, x); });
        const double c = cell.evaluate(v);
        commit();
        return x + c;
    }

    double decode(double m) noexcept
    {
        const double v = solve([this, m](double candidate) { return slide(candidate, m - cell.evaluate(candidate)); });
        const double c = cell.evaluate(v);
        commit();
        return m - c;
    }

private:
    // The side shelf of v sets the corner through the envelope; the sliding
    // shelf then filters what the direction feeds it.
    double slide(double v, double input) noexcept
    {
        sideLastIn = v;
        sideLastOut = sideShelf.evaluateEncoder(v, sideShelf.d);
        corner = cornerFromEnvelope(sideEnvelope.step(sideLastOut));
        slideLastIn = input;
        slideLastOut = slidingShelf.evaluateEncoder(input, corner);
        return slideLastOut;
    }

    template <typename Function>
    double solve(Function E) noexcept
    {
        double v = lastSolution;
        double step;
        int passes = 0;
        do
        {
            const double r = v - E(v);
            const double rProbe = (v + probe) - E(v + probe);
            step = r / ((rProbe - r) * (1.0 / probe) + 1e-16);
            v = v - step;
            ++passes;
        } while (std::fabs(step) > tolerance && passes < passLimit);
        lastPasses = passes;
        lastSolution = v;
        return v;
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

} // namespace qel
