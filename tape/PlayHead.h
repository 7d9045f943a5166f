#pragma once

#include "tape/Bilinear.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace qel
{

// The reproduction losses of tape, each a filter fitted to its analytic loss,
// designed from a prototype scaled by tape speed.

// exp(-k d) by a fifth-order all-pole fit; W = v / d.
struct SpacingLoss
{
    double spacing = static_cast<double>(1e-5f);
    DirectFormI<5> filter;

    static std::array<double, 6> denominator(double W) noexcept
    {
        const double W2 = W * W, W3 = W2 * W, W4 = W3 * W, W5 = W4 * W;
        return { 31.9140096763945 * W5, 121.5511207267445 * W4, 120.43574323431775 * W3,
                 52.92163255906025 * W2, 11.328868660114313 * W, 1.0 };
    }

    static std::array<double, 6> numerator(double W) noexcept
    {
        const double W5 = W * W * W * W * W;
        return { 32.1662982638662 * W5, 0.0, 0.0, 0.0, 0.0, 0.0 };
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

    double process(double x) noexcept
    {
        const double y = b0 * x + b0 * x1 - a1 * y1;
        x1 = x;
        y1 = y;
        return y;
    }
};

// Fringing of a head wider than its track: low frequencies rise by up to 1 + r.
struct WidthResponse
{
    static constexpr double trackWidth = static_cast<double>(0.0005f);

    double ratio = 1.82;
    DirectFormI<5> filter;

    static std::array<double, 6> denominator(double W) noexcept
    {
        const double W2 = W * W, W3 = W2 * W, W4 = W3 * W, W5 = W4 * W;
        return { 88.2679631465173 * W5, 712.453595591835 * W4, 1104.5545808559225 * W3,
                 465.6727280770125 * W2, 50.13744942298344 * W, 1.0 };
    }

    static std::array<double, 6> fringing(double W) noexcept
    {
        const double W2 = W * W, W3 = W2 * W, W4 = W3 * W, W5 = W4 * W;
        return { 87.2832402693088 * W5, 586.690665242135 * W4, 577.310113826375 * W3,
                 101.95851984677438 * W2, 3.2472423428792876 * W, 0.0 };
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

    double process(double x) noexcept
    {
        // Ring indices (c - M) and (c - M - 1) modulo the ring, without a division.
        const int c = static_cast<int>(write);
        int a = c - whole;
        if (a < 0)
            a += ringSize;
        const int b = a == 0 ? ringSize - 1 : a - 1;
        const double A = ring[static_cast<size_t>(a)];
        const double B = ring[static_cast<size_t>(b)];
        ring[static_cast<size_t>(c)] = x;
        write = c + 1 == ringSize ? 0u : static_cast<uint32_t>(c + 1);
        const double y = g0 * x + g1 * A + g2 * B + leak * y1;
        y1 = y;
        return y;
    }
};

struct PlayHead
{
    SpacingLoss spacingLoss;
    ThicknessLoss thicknessLoss;
    WidthResponse widthResponse;
    AzimuthLoss azimuthLoss;
    uint8_t enabled = 1;
    double speed = 1.0;
    double sampleRate = 44100.0;

    void setSampleRate(double f) noexcept
    {
        sampleRate = f;
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
        enabled = on ? 1 : 0;
        clear();
    }
    bool isEnabled() const noexcept { return enabled != 0; }

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

} // namespace qel
