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

// exp(-k d) by a fifth-order all-pole fit; W = v / d.
struct SpacingLoss
{
    double spacing = static_cast<double>(1e-5f);
    DirectFormI<5> filter;

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

    void design(double speed, double sampleRate) noexcept
    {
        const double W = speed / spacing;
        filter.c = bilinear<5>(numerator(W), denominator(W), sampleRate);
    }
};

// (1 - exp(-k t)) / (k t) by a first-order low-pass; W = v / t.
struct ThicknessLoss
{
    // The fit's pole, in units of v / t; its gain at DC, 1 / pole, stays in the chain.
    static constexpr double pole = 1.13639266981092;

    double thickness = static_cast<double>(5e-6f);
    double b0 = 0.0;
    double a1 = 0.0;
    double x1 = 0.0;
    double y1 = 0.0;

    void design(double speed, double sampleRate) noexcept
    {
        const double W = speed / thickness;
        const double twoF = 2.0 * sampleRate;
        b0 = W / (twoF + pole * W);
        a1 = -(twoF - pole * W) / (twoF + pole * W);
    }

    void clear() noexcept { x1 = y1 = 0.0; }

    template <typename T>
    static T run(T x, T& x1, T& y1, T b0, T a1) noexcept
    {
        const T y = b0 * x + b0 * x1 - a1 * y1;
        x1 = x;
        y1 = y;
        return y;
    }

    double process(double x) noexcept { return run(x, x1, y1, b0, a1); }
};

// Fringing of a head wider than its track: low frequencies rise by up to 1 + r.
struct WidthResponse
{
    static constexpr double trackWidth = static_cast<double>(0.0005f);

    double ratio = 1.82;
    DirectFormI<5> filter;

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

    void design(double speed, double sampleRate) noexcept
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
};

// sinc-shaped azimuth loss: a moving average of fractional length N through
// a leaky integrator.
struct AzimuthLoss
{
    static constexpr int ringSize = 612;
    static constexpr double leak = 0.9999;

    double azimuth = static_cast<double>(0.0001f);
    double length = 1.0; // N, in samples
    int whole = 1;       // M
    double g0 = 1.0, g1 = 0.0, g2 = 0.0;
    double y1 = 0.0;
    std::array<double, ringSize> ring {};
    uint32_t write = 0;

    void design(double speed, double sampleRate) noexcept
    {
        length = std::max(azimuth / speed * sampleRate * 0.3183098861837907, 1.0);
        // The parameter ranges keep N below 611.2; never read past the ring.
        length = std::min(length, ringSize - 1e-6);
        whole = static_cast<int>(length);
        const double phi = length - whole;
        g0 = 1.0 / length;
        g1 = (phi - 1.0) / length;
        g2 = -phi / length;
    }

    void clear() noexcept
    {
        ring.fill(0.0);
        y1 = 0.0;
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

    template <typename T>
    static T combine(T x, T A, T B, T g0, T g1, T g2, T& y1) noexcept
    {
        const T y = g0 * x + g1 * A + g2 * B + leak * y1;
        y1 = y;
        return y;
    }

    double process(double x) noexcept
    {
        double A, B;
        exchange(x, A, B);
        return combine(x, A, B, g0, g1, g2, y1);
    }
};

struct PlayHead
{
    SpacingLoss spacingLoss;
    ThicknessLoss thicknessLoss;
    WidthResponse widthResponse;
    AzimuthLoss azimuthLoss;
    bool enabled = true;
    double speed = 1.0;
    double sampleRate = 44100.0;

    void setSampleRate(double sampleRate) noexcept
    {
        this->sampleRate = sampleRate;
        redesign();
        clear();
    }

    void setTapeSpeed(double v) noexcept
    {
        speed = v;
        redesign();
    }

    void setSpacing(double d) noexcept { spacingLoss.spacing = d; spacingLoss.design(speed, sampleRate); }
    void setThickness(double t) noexcept { thicknessLoss.thickness = t; thicknessLoss.design(speed, sampleRate); }
    void setAzimuth(double z) noexcept { azimuthLoss.azimuth = z; azimuthLoss.design(speed, sampleRate); }
    void setWidthRatio(double w) noexcept { widthResponse.ratio = w; widthResponse.design(speed, sampleRate); }
    double getSpacing() const noexcept { return spacingLoss.spacing; }
    double getThickness() const noexcept { return thicknessLoss.thickness; }
    double getAzimuth() const noexcept { return azimuthLoss.azimuth; }
    double getWidthRatio() const noexcept { return widthResponse.ratio; }
    double getTapeSpeed() const noexcept { return speed; }

    void setEnabled(bool on) noexcept
    {
        enabled = on;
        clear();
    }
    bool isEnabled() const noexcept { return enabled; }

    void clear() noexcept
    {
        spacingLoss.filter.clear();
        thicknessLoss.clear();
        widthResponse.filter.clear();
        azimuthLoss.clear();
    }

    double process(double x) noexcept
    {
        if (!enabled)
            return x;
        const double y1 = spacingLoss.filter.process(x);
        const double y2 = thicknessLoss.process(y1);
        const double y3 = widthResponse.filter.process(y2);
        return azimuthLoss.process(y3);
    }

private:
    void redesign() noexcept
    {
        spacingLoss.design(speed, sampleRate);
        thicknessLoss.design(speed, sampleRate);
        widthResponse.design(speed, sampleRate);
        azimuthLoss.design(speed, sampleRate);
    }
};

// Both play heads of a pair through one slice, as lanes of one register.
// Coefficients and histories are copied in at the start of the slice and
// back at its end; the azimuth rings stay in the heads.
struct PlayHeadPair
{
    PlayHead& a;
    PlayHead& b;
    const bool together = a.isEnabled() && b.isEnabled();
    std::array<Double2, 6> spacingB = pack(a.spacingLoss.filter.c.b, b.spacingLoss.filter.c.b);
    std::array<Double2, 6> spacingA = pack(a.spacingLoss.filter.c.a, b.spacingLoss.filter.c.a);
    std::array<Double2, 5> spacingX = pack(a.spacingLoss.filter.x, b.spacingLoss.filter.x);
    std::array<Double2, 5> spacingY = pack(a.spacingLoss.filter.y, b.spacingLoss.filter.y);
    Double2 thicknessB0 = pack(a.thicknessLoss.b0, b.thicknessLoss.b0);
    Double2 thicknessA1 = pack(a.thicknessLoss.a1, b.thicknessLoss.a1);
    Double2 thicknessX1 = pack(a.thicknessLoss.x1, b.thicknessLoss.x1);
    Double2 thicknessY1 = pack(a.thicknessLoss.y1, b.thicknessLoss.y1);
    std::array<Double2, 6> widthB = pack(a.widthResponse.filter.c.b, b.widthResponse.filter.c.b);
    std::array<Double2, 6> widthA = pack(a.widthResponse.filter.c.a, b.widthResponse.filter.c.a);
    std::array<Double2, 5> widthX = pack(a.widthResponse.filter.x, b.widthResponse.filter.x);
    std::array<Double2, 5> widthY = pack(a.widthResponse.filter.y, b.widthResponse.filter.y);
    Double2 g0 = pack(a.azimuthLoss.g0, b.azimuthLoss.g0);
    Double2 g1 = pack(a.azimuthLoss.g1, b.azimuthLoss.g1);
    Double2 g2 = pack(a.azimuthLoss.g2, b.azimuthLoss.g2);
    Double2 azimuthY1 = pack(a.azimuthLoss.y1, b.azimuthLoss.y1);

    Double2 process(Double2 x) noexcept
    {
        if (!together)
            return pack(a.process(x[0]), b.process(x[1]));
        const Double2 y1 = directFormI(spacingB, spacingA, spacingX, spacingY, x);
        const Double2 y2 = ThicknessLoss::run(y1, thicknessX1, thicknessY1, thicknessB0, thicknessA1);
        const Double2 y3 = directFormI(widthB, widthA, widthX, widthY, y2);
        double A0, B0, A1, B1;
        a.azimuthLoss.exchange(y3[0], A0, B0);
        b.azimuthLoss.exchange(y3[1], A1, B1);
        return AzimuthLoss::combine(y3, pack(A0, A1), pack(B0, B1), g0, g1, g2, azimuthY1);
    }

    // Hands the histories back to the heads.
    void store() noexcept
    {
        if (!together)
            return;
        unpack(spacingX, a.spacingLoss.filter.x, b.spacingLoss.filter.x);
        unpack(spacingY, a.spacingLoss.filter.y, b.spacingLoss.filter.y);
        unpack(widthX, a.widthResponse.filter.x, b.widthResponse.filter.x);
        unpack(widthY, a.widthResponse.filter.y, b.widthResponse.filter.y);
        a.thicknessLoss.x1 = thicknessX1[0];
        b.thicknessLoss.x1 = thicknessX1[1];
        a.thicknessLoss.y1 = thicknessY1[0];
        b.thicknessLoss.y1 = thicknessY1[1];
        a.azimuthLoss.y1 = azimuthY1[0];
        b.azimuthLoss.y1 = azimuthY1[1];
    }
};

} // namespace qel
