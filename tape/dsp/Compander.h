#pragma once

#include "tape/dsp/Bilinear.h"
#include "tape/dsp/CompressorCell.h"
#include "tape/dsp/EmphasisShelf.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <type_traits>
#include <utility>

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

    void prepare(double sampleRate) noexcept
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
            bands[k].filter.c = bilinear<2>(num, den, sampleRate);
            bands[k].cell.configure(threshold[k], knee[k]);
            bands[k].cell.prepare(sampleRate);
        }
        fillLanes();
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

    static constexpr Double2 half { 0.5, 0.5 };
    static constexpr Double2 sqrtTwo { 1.4142135623730951, 1.4142135623730951 };
    static constexpr Double2 kneeSlope { CompressorCell::aboveKneeSlope, CompressorCell::aboveKneeSlope };
    static constexpr Double2 tiny { 1e-16, 1e-16 };
    static Double2 both(double v) noexcept { return Double2 { v, v }; }

    // A band's constants in both lanes, so that a trial pass loads each once.
    struct BandLanes
    {
        Double2 inputGain, b0, g, inverseC, lowKnee, cubic[4], highKnee, top;
    };

    // What a sample's trials share, in both lanes: each band's filter and
    // envelope terms of the past.
    struct Trial
    {
        Double2 feedForward1[3], feedForward2[3], feedBack1[3], feedBack2[3];
        Double2 charge[3], q[3];
    };

    std::array<BandLanes, 3> lanes {};

    void fillLanes() noexcept
    {
        for (int k = 0; k < 3; ++k)
        {
            const auto& f = bands[k].filter.c;
            const auto& cell = bands[k].cell;
            auto& l = lanes[static_cast<size_t>(k)];
            l = { both(bands[k].inputGain), both(f.b[0]), both(cell.envelope.g), both(cell.envelope.inverseC),
                  both(cell.lowKnee), { both(cell.cubic[0]), both(cell.cubic[1]), both(cell.cubic[2]),
                                        both(cell.cubic[3]) },
                  both(cell.highKnee), both(cell.top) };
        }
    }

    Trial beginTrial() const noexcept
    {
        Trial t;
        for (int k = 0; k < 3; ++k)
        {
            const TrialBiquad& f = bands[k].filter;
            const EnvelopeCell& e = bands[k].cell.envelope;
            t.feedForward1[k] = both(f.c.b[1] * f.x1);
            t.feedForward2[k] = both(f.c.b[2] * f.x2);
            t.feedBack1[k] = both(f.c.a[1] * f.y1);
            t.feedBack2[k] = both(f.c.a[2] * f.y2);
            t.charge[k] = both(e.q * e.h);
            t.q[k] = both(e.q);
        }
        return t;
    }

    // Band k's share of evaluate(x) for a point and its probe, term for term
    // and in the same order, with the sample's shared terms taken from t. T
    // is Double2, or double for the probe alone once the search is done.
    template <typename T>
    QEL_ALWAYS_INLINE T bandTrial(int k, T x, const Trial& t) noexcept
    {
        const auto lane = [](Double2 v) {
            if constexpr (std::is_same_v<T, double>)
                return v[1];
            else
                return v;
        };
        const BandLanes& l = lanes[static_cast<size_t>(k)];
        const T in = lane(l.inputGain) * x;
        const T filtered
            = (((lane(l.b0) * in + lane(t.feedForward1[k])) + lane(t.feedForward2[k])) - lane(t.feedBack1[k]))
            - lane(t.feedBack2[k]);
        const T charge = absOf(filtered) * lane(l.g) + lane(t.charge[k]);
        const T e = ((charge * lane(half) + lane(t.q[k])) * lane(l.inverseC)) * lane(sqrtTwo);
        const T s = e - lane(l.lowKnee);
        const T knee = lane(l.cubic[0]) + s * (lane(l.cubic[1]) + s * (lane(l.cubic[2]) + s * lane(l.cubic[3])));
        const T above = (e - lane(l.highKnee)) * lane(kneeSlope) + lane(l.top);
        const T curve = select(e < lane(l.lowKnee), e, select(e > lane(l.highKnee), above, knee));
        if constexpr (std::is_same_v<T, double>)
        {
            // What evaluate would have left for the commit.
            bands[k].filter.lastIn = in;
            bands[k].filter.lastOut = filtered;
            bands[k].cell.envelope.dq = charge;
        }
        return curve * filtered / (e + lane(tiny));
    }

    template <typename T>
    QEL_ALWAYS_INLINE T evaluateTrial(T x, const Trial& t) noexcept
    {
        T out = x;
        for (int k = 0; k < 3; ++k)
            out += bandTrial(k, x, t);
        return out;
    }

    // Solves evaluate(u) = m by Newton steps with a numerical derivative,
    // one pass at a time, so that two decks' searches can run side by side.
    struct DecodeSearch
    {
        TypeACompander& compander;
        double m;
        double u = compander.lastSolution;
        int passes = 0;
        double lastProbe = 0.0;
        Trial trial = compander.beginTrial();

        QEL_ALWAYS_INLINE bool pass() noexcept { return pass(true); }

        QEL_ALWAYS_INLINE bool pass(bool active) noexcept
        {
            const Double2 x = trialPoint();
            return conclude(compander.evaluateTrial(x, trial), x[1], active);
        }

        // The point and its probe side by side; the probe is evaluated last.
        Double2 trialPoint() const noexcept { return pack(u, u + probe); }

        // The step from the trial's evaluation. A search that has stopped
        // (active false) discards it without a branch on its outcome.
        QEL_ALWAYS_INLINE bool conclude(Double2 evaluated, double probed, bool active) noexcept
        {
            const uint64_t keep = 0 - static_cast<uint64_t>(active);
            const double step = secantStep(m - evaluated, probe);
            // u - 0 is u, whatever u is.
            u = u - bitCast<double>(bitCast<uint64_t>(step) & keep);
            lastProbe = bitCast<double>((bitCast<uint64_t>(probed) & keep) | (bitCast<uint64_t>(lastProbe) & ~keep));
            passes += static_cast<int>(active);
            return active & (std::fabs(step) > tolerance) & (passes < compander.passLimit);
        }

        double finish() noexcept
        {
            compander.lastPasses = passes;
            compander.lastSolution = u;
            // The state committed is that of the last evaluation, the probe's:
            // its lane again, alone, gives the same values.
            compander.evaluateTrial(lastProbe, trial);
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

    void prepare(double sampleRate) noexcept
    {
        cell.configure(-10.0, 0.3);
        cell.prepare(sampleRate);
        slidingShelf.prepare(sampleRate);
        sideShelf.prepare(sampleRate);
        sideEnvelope.prepare(sampleRate);
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

        QEL_ALWAYS_INLINE bool pass() noexcept
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

// Independent searches, one per deck, advanced pass by pass together so
// that the processor overlaps their dependency chains. Each stops on its own.
template <typename Search, size_t N, size_t... I>
void searchTogether(std::array<Search, N>& searches, std::index_sequence<I...>) noexcept
{
    bool going[N] { (static_cast<void>(I), true)... };
    for (bool any = true; any;)
    {
        any = false;
        ((going[I] = going[I] && searches[I].pass(), any = any || going[I]), ...);
    }
}

template <typename Search, size_t N>
void searchTogether(std::array<Search, N>& searches) noexcept
{
    searchTogether(searches, std::make_index_sequence<N>());
}

// Type A decoders' searches in lockstep: while any goes on, every search
// makes every pass, and one that has stopped discards it. A pass runs band
// by band across the decks, so that the decks' dependency chains lie close
// together for the processor to overlap.
template <size_t N>
void searchInLockstep(std::array<TypeACompander::DecodeSearch, N>& searches) noexcept
{
    std::array<bool, N> going;
    going.fill(true);
    for (;;)
    {
        std::array<Double2, N> x, out;
        for (size_t d = 0; d < N; ++d)
            out[d] = x[d] = searches[d].trialPoint();
        for (int k = 0; k < 3; ++k)
            for (size_t d = 0; d < N; ++d)
                out[d] += searches[d].compander.bandTrial(k, x[d], searches[d].trial);
        bool any = false;
        for (size_t d = 0; d < N; ++d)
        {
            going[d] = searches[d].conclude(out[d], x[d][1], going[d]);
            any = any | going[d];
        }
        if (!any)
            return;
    }
}

} // namespace qel
