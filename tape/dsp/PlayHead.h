#pragma once

#include "tape/dsp/Bilinear.h"
#include "tape/dsp/Lanes.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace qel
{

// The reproduction losses of tape, each a filter fitted to its analytic loss,
// designed from a prototype scaled by tape speed.

// The coefficients times the powers of W, highest first: one row of a
// fifth-order transfer function in s, from its fit in W.
inline std::array<double, 6> timesPowersOf(double W, const std::array<double, 6>& c) noexcept
{
    const double W2 = W * W, W3 = W2 * W, W4 = W3 * W, W5 = W4 * W;
    return { c[0] * W5, c[1] * W4, c[2] * W3, c[3] * W2, c[4] * W, c[5] };
}

// Each loss holds its coefficients and memory in T: double for one head,
// Double2 for the two heads of a pair. Designs are made in double.

// exp(-k d) by a fifth-order all-pole fit; W = v / d.
template <typename T = double>
struct SpacingLoss
{
    DirectFormI<5, T> filter;

    // The fit of exp(-s) as 32.166 / D(s), D of degree five: its gain at DC is
    // 32.166 / 31.914, a loss the drive compensation does not know of.
    static std::array<double, 6> denominator(double W) noexcept
    {
        return timesPowersOf(W, { 31.9140096763945, 121.5511207267445, 120.43574323431775, 52.92163255906025,
                                  11.328868660114313, 1.0 });
    }

    static std::array<double, 6> numerator(double W) noexcept
    {
        return timesPowersOf(W, { 32.1662982638662, 0.0, 0.0, 0.0, 0.0, 0.0 });
    }

    // Spacing d in metres, speed in metres per second, sample rate in hertz.
    void design(double spacing, double speed, double sampleRate) noexcept
    {
        const double W = speed / spacing;
        filter.c = bilinear<5>(numerator(W), denominator(W), sampleRate);
    }

    void clear() noexcept { filter.clear(); }
    T process(T x) noexcept { return filter.process(x); }
};

// (1 - exp(-k t)) / (k t) by a first-order low-pass; W = v / t.
template <typename T = double>
struct ThicknessLoss
{
    // The fit's pole, in units of v / t; its gain at DC, 1 / pole, stays in the chain.
    static constexpr double pole = 1.13639266981092;

    T b0 {};
    T a1 {};
    T x1 {};
    T y1 {};

    // Thickness t in metres.
    void design(double thickness, double speed, double sampleRate) noexcept
    {
        const double W = speed / thickness;
        const double twoF = 2.0 * sampleRate;
        b0 = W / (twoF + pole * W);
        a1 = -(twoF - pole * W) / (twoF + pole * W);
    }

    void clear() noexcept { x1 = y1 = T {}; }

    T process(T x) noexcept
    {
        const T y = b0 * x + b0 * x1 - a1 * y1;
        x1 = x;
        y1 = y;
        return y;
    }
};

// Fringing of a head wider than its track: low frequencies rise by up to 1 + r.
template <typename T = double>
struct WidthResponse
{
    static constexpr double trackWidth = static_cast<double>(0.0005f);

    DirectFormI<5, T> filter;

    static std::array<double, 6> denominator(double W) noexcept
    {
        return timesPowersOf(W, { 88.2679631465173, 712.453595591835, 1104.5545808559225, 465.6727280770125,
                                  50.13744942298344, 1.0 });
    }

    static std::array<double, 6> fringing(double W) noexcept
    {
        return timesPowersOf(W, { 87.2832402693088, 586.690665242135, 577.310113826375, 101.95851984677438,
                                  3.2472423428792876, 0.0 });
    }

    static double cornerScale(double ratio) noexcept { return (ratio - 1.0) * trackWidth; }

    // Head width over track width, above 1.
    void design(double ratio, double speed, double sampleRate) noexcept
    {
        const double r = ratio - 1.0;
        const double W = speed / cornerScale(ratio);
        const auto D = denominator(W);
        const auto P = fringing(W);
        std::array<double, 6> N {};
        for (size_t i = 0; i < 6; ++i)
            N[i] = D[i] + r * P[i];
        filter.c = bilinear<5>(N, D, sampleRate);
    }

    void clear() noexcept { filter.clear(); }
    T process(T x) noexcept { return filter.process(x); }
};

// sinc-shaped azimuth loss: a moving average of fractional length N through
// a leaky integrator. The comb's weights and the integrator's memory:
template <typename T = double>
struct AzimuthComb
{
    static constexpr double leak = 0.9999;

    T g0 = T {} + 1.0;
    T g1 {};
    T g2 {};
    T y1 {};

    // x now, A and B from M and M + 1 samples ago.
    T process(T x, T A, T B) noexcept
    {
        const T y = g0 * x + g1 * A + g2 * B + leak * y1;
        y1 = y;
        return y;
    }
};

// ... and the delay of one head that feeds the comb.
struct AzimuthDelay
{
    static constexpr int ringSize = 612;

    double length = 1.0; // N, in samples
    int whole = 1;       // M
    std::array<double, ringSize> ring {};
    uint32_t write = 0;

    // Azimuth as a track offset; sets N and M here and the comb's weights.
    void design(double azimuth, double speed, double sampleRate, AzimuthComb<double>& comb) noexcept
    {
        length = std::max(azimuth / speed * sampleRate * 0.3183098861837907, 1.0);
        // The parameter ranges keep N below 611.2; never read past the ring.
        length = std::min(length, ringSize - 1e-6);
        whole = static_cast<int>(length);
        const double phi = length - whole;
        comb.g0 = 1.0 / length;
        comb.g1 = (phi - 1.0) / length;
        comb.g2 = -phi / length;
    }

    void clear() noexcept
    {
        ring.fill(0.0);
    }

    // Writes x to the ring and reads the two samples M and M + 1 behind it.
    void exchange(double x, double& A, double& B) noexcept
    {
        // Ring indices (c - M) and (c - M - 1) modulo the ring, without a division.
        const int c = static_cast<int>(write);
        int a = c - whole;
        if (a < 0)
            a += ringSize;
        const int b = a == 0 ? ringSize - 1 : a - 1;
        A = ring[static_cast<size_t>(a)];
        B = ring[static_cast<size_t>(b)];
        ring[static_cast<size_t>(c)] = x;
        write = c + 1 == ringSize ? 0u : static_cast<uint32_t>(c + 1);
    }
};

// The four losses in their order, for one head or for both of a pair.
template <typename T>
struct PlayHeadFilters
{
    SpacingLoss<T> spacing;
    ThicknessLoss<T> thickness;
    WidthResponse<T> width;
    AzimuthComb<T> azimuth;

    // One sample; `delay(x, A, B)` runs the azimuth delays.
    template <typename Delay>
    T process(T x, Delay&& delay) noexcept
    {
        const T y1 = spacing.process(x);
        const T y2 = thickness.process(y1);
        const T y3 = width.process(y2);
        T A, B;
        delay(y3, A, B);
        return azimuth.process(y3, A, B);
    }
};

struct PlayHead
{
    PlayHeadFilters<double> filters;
    AzimuthDelay azimuthDelay;

    void setSampleRate(double sampleRate) noexcept
    {
        this->sampleRate = sampleRate;
        redesign();
        clear();
    }

    // Metres per second; every loss is redesigned.
    void setTapeSpeed(double v) noexcept
    {
        speed = v;
        redesign();
    }

    // Metres, metres, track offset, ratio.
    void setSpacing(double d) noexcept { spacing = d; filters.spacing.design(spacing, speed, sampleRate); }
    void setThickness(double t) noexcept { thickness = t; filters.thickness.design(thickness, speed, sampleRate); }
    void setAzimuth(double z) noexcept { azimuth = z; azimuthDelay.design(azimuth, speed, sampleRate, filters.azimuth); }
    void setWidthRatio(double w) noexcept { widthRatio = w; filters.width.design(widthRatio, speed, sampleRate); }
    double getSpacing() const noexcept { return spacing; }
    double getThickness() const noexcept { return thickness; }
    double getAzimuth() const noexcept { return azimuth; }
    double getWidthRatio() const noexcept { return widthRatio; }
    double getTapeSpeed() const noexcept { return speed; }
    double getSampleRate() const noexcept { return sampleRate; }

    void setEnabled(bool on) noexcept
    {
        enabled = on;
        clear();
    }
    bool isEnabled() const noexcept { return enabled; }

    void clear() noexcept
    {
        filters.spacing.clear();
        filters.thickness.clear();
        filters.width.clear();
        filters.azimuth.y1 = 0.0;
        azimuthDelay.clear();
    }

    double process(double x) noexcept
    {
        if (!enabled)
            return x;
        return filters.process(x, [this](double y, double& A, double& B) { azimuthDelay.exchange(y, A, B); });
    }

private:
    double spacing = static_cast<double>(1e-5f);
    double thickness = static_cast<double>(5e-6f);
    double azimuth = static_cast<double>(0.0001f);
    double widthRatio = 1.82;
    double speed = 1.0;
    double sampleRate = 44100.0;
    bool enabled = true;

    void redesign() noexcept
    {
        filters.spacing.design(spacing, speed, sampleRate);
        filters.thickness.design(thickness, speed, sampleRate);
        filters.width.design(widthRatio, speed, sampleRate);
        azimuthDelay.design(azimuth, speed, sampleRate, filters.azimuth);
    }
};

// The play heads of several decks through one slice, as the lanes of one
// set of filters; the azimuth delays stay in the heads.
template <typename T>
struct PlayHeadLanes
{
    static constexpr size_t N = laneCount<T>;
    std::array<PlayHead*, N> heads;
    const bool together = allEnabled(heads);
    PlayHeadFilters<T> lanes = zipLanes<PlayHeadFilters, T>(filters(heads));

    explicit PlayHeadLanes(const std::array<PlayHead*, N>& each) noexcept : heads(each) {}

    T process(T x) noexcept
    {
        if (!together)
            return lanesFrom<T>([&](size_t k) QEL_INLINE_LAMBDA { return heads[k]->process(x[k]); });
        return lanes.process(x, [this](T y, T& A, T& B) QEL_INLINE_LAMBDA {
            double a[N], b[N];
            for (size_t k = 0; k < N; ++k)
                heads[k]->azimuthDelay.exchange(y[k], a[k], b[k]);
            A = lanesFrom<T>([&](size_t k) QEL_INLINE_LAMBDA { return a[k]; });
            B = lanesFrom<T>([&](size_t k) QEL_INLINE_LAMBDA { return b[k]; });
        });
    }

    // Hands the state back to the heads.
    void store() noexcept
    {
        if (!together)
            return;
        std::array<PlayHeadFilters<double>*, N> each;
        for (size_t k = 0; k < N; ++k)
            each[k] = &heads[k]->filters;
        unzipLanes<PlayHeadFilters>(lanes, each);
    }

private:
    static bool allEnabled(const std::array<PlayHead*, N>& each) noexcept
    {
        bool on = true;
        for (const auto* h : each)
            on = on && h->isEnabled();
        return on;
    }

    static std::array<const PlayHeadFilters<double>*, N> filters(const std::array<PlayHead*, N>& each) noexcept
    {
        std::array<const PlayHeadFilters<double>*, N> f;
        for (size_t k = 0; k < N; ++k)
            f[k] = &each[k]->filters;
        return f;
    }
};

} // namespace qel
