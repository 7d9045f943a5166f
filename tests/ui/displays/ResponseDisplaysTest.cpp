// The response curves against their closed forms, computed here in double
// precision from the formulas, and the path's mapping of a level to pixels.
#include "ui/displays/RecordResponseDisplay.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{

constexpr double twoPi = 6.283185307179586;

double frequencyAt(double x, double width) { return 20.0 * std::pow(1000.0, x / width); }

// The magnetics' high-pass: |j w a| / |j w a + c| squared, in dB.
double recordDecibels(double hardness, double resistance, double f)
{
    const double a = 1.0 / (4.0 - 4.0 * hardness + 0.001);
    const double c = 100.0 * std::pow(10.0, 3.0 * resistance);
    const double wa = twoPi * f * a;
    return 10.0 * std::log10(wa * wa / (c * c + wa * wa));
}

double playDecibels(const qel::PlayHeadResponse& p, double f)
{
    const double k = twoPi * f / (0.1 * std::pow(10.0, p.speed)); // wave number at the tape speed
    const double spacing = 1e-5 * std::pow(10.0, p.spacing), thickness = 5e-6 * std::pow(10.0, p.thickness);
    const double s = std::exp(-k * spacing), t = (1.0 - std::exp(-k * thickness)) / (k * thickness);
    const double arg = k * (p.azimuth * 0.0009 + 0.0001) / twoPi, u = std::sin(arg) / arg;
    const double q = std::exp(-k * spacing - (p.widthRatio * 0.00045 + 0.00005) * k);
    return 20.0 * std::log10(std::fabs(((s - q) * (2000.0 / k) + s) * t * u));
}

double clamped(double dB, double low, double high) { return std::min(std::max(dB, low), high); }

// The path steps a quarter pixel up to the width, -70..20 dB between margins of
// 2.5 pixels; the other line displays share the mapping.
TEST(RecordResponseDisplay, DrawsTheMagneticHighPassAndIsFlatWhenOff)
{
    const float w = 201.0f, h = 59.0f;
    for (const auto& [hardness, resistance] : { std::pair { 0.0f, 0.0f }, { 0.5f, 0.2f }, { 0.3f, 0.7f } })
    {
        const auto path = qel::RecordResponseDisplay::makePath({ hardness, resistance, true }, w, h);
        juce::Path::Iterator it(path);
        int i = 0;
        for (; it.next(); ++i)
        {
            const double x = i * 0.25;
            const double n = (clamped(recordDecibels(hardness, resistance, frequencyAt(x, w)), -70.0, 20.0) + 70.0) / 90.0;
            ASSERT_NEAR(it.x1, x, 1e-4);
            ASSERT_NEAR(it.y1, (1.0 - n) * (h - 5.0) + 2.5, 2e-3) << hardness << " " << resistance << " at x " << x;
        }
        EXPECT_EQ(i, 4 * 201 + 1);
    }
    const qel::RecordResponse off { 0.0f, 0.9f, false };
    for (float x = 0.0f; x <= w; x += 7.25f)
        ASSERT_FLOAT_EQ(off.level(x, w), 0.7777778f);
}

// First order: -3 dB where 2 pi f a = c, -20 dB a decade lower.
TEST(RecordResponseDisplay, CornerLiesWhereTheHardnessAndResistancePutIt)
{
    const float w = 300.0f;
    const qel::RecordResponse r { 0.5f, 0.2f, true };
    const double corner = 100.0 * std::pow(10.0, 0.6) * (4.0 - 2.0 + 0.001) / twoPi;
    const auto xAt = [&](double f) { return static_cast<float>(w * std::log10(f / 20.0) / 3.0); };
    EXPECT_NEAR(r.level(xAt(corner), w) * 90.0 - 70.0, -3.0103, 0.01);
    EXPECT_NEAR(r.level(xAt(corner / 10.0), w) * 90.0 - 70.0, -20.043, 0.02);
}

TEST(PlayHeadResponseDisplay, FollowsTheHeadLossesAndIsFlatWhenOff)
{
    const float w = 225.0f;
    const qel::PlayHeadResponse settings[] = {
        { 1.0f, 0.0f, 0.0f, 0.0f, 0.8f, true },
        { 0.3f, 0.6f, 0.4f, 0.2f, 0.1f, true },
        { 1.3f, 1.0f, 1.0f, 1.0f, 1.0f, true },
    };
    for (const auto& p : settings)
        for (float x : { 0.0f, 31.75f, 90.0f, 150.25f, 200.0f })
        {
            const double dB = playDecibels(p, frequencyAt(x, w));
            EXPECT_NEAR(p.level(x, w), (clamped(dB, -60.0, 20.0) + 60.0) * 0.0125, 2e-4)
                << p.speed << " " << p.spacing << " at x " << x << ", " << dB << " dB";
        }
    qel::PlayHeadResponse off = settings[1];
    off.on = false;
    for (float x = 0.0f; x <= w; x += 5.5f)
        ASSERT_FLOAT_EQ(off.level(x, w), 0.75f);
}

} // namespace
