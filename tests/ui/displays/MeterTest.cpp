// The meters' scale, the fall and the peak mark against their closed forms,
// and what a bar leaves on the image.
#include "ui/displays/AudioMeter.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{

constexpr float H = 264.0f;

TEST(AudioMeterScale, NothingAtSeventyBelowAWholeBarAtZeroAndSegmentsThatJoin)
{
    EXPECT_EQ(qel::meterBarHeight(-70.0f, H), 0.0f);
    EXPECT_EQ(qel::meterBarHeight(qel::meterDecibels(0.0f), H), 0.0f);
    EXPECT_EQ(qel::meterDecibels(1e-5f), -70.0f);
    EXPECT_FLOAT_EQ(qel::meterBarHeight(qel::meterDecibels(1.0f), H), H);
    EXPECT_FLOAT_EQ(qel::meterBarHeight(qel::meterDecibels(100.0f), H), 1.15f * H) << "at most +6 dB";

    // The share of the bar at each joint, worked out by hand: a quarter for the 50 dB below -20.
    const std::pair<float, float> joints[] = { { -60.0f, 0.025f }, { -50.0f, 0.075f }, { -40.0f, 0.15f },
                                               { -30.0f, 0.3f },   { -20.0f, 0.5f } };
    for (const auto& [dB, share] : joints)
    {
        EXPECT_NEAR(qel::meterBarHeight(dB, H), share * H, 1e-3) << dB;
        EXPECT_NEAR(qel::meterBarHeight(dB - 1e-3f, H), share * H, 0.01) << "below " << dB;
    }
}

// After a full bar and then silence the k-th tick shows H 0.97^(2^k - 1);
// the peak mark holds its height, then sinks by 0.999997 a tick.
TEST(AudioMeterScale, BarFallsSlowlyThenEverFasterAndThePeakMarkHolds)
{
    qel::MeterBallistics b;
    b.tick(H);
    EXPECT_EQ(b.shown, H);
    for (int k = 1; k <= 5; ++k)
    {
        b.tick(0.0f);
        EXPECT_NEAR(b.shown, H * std::pow(0.97, std::pow(2.0, k) - 1.0), 1e-3 * H) << "tick " << k;
    }
    // A level that comes back takes the bar at once and starts the fall afresh.
    b.tick(0.4f * H);
    EXPECT_EQ(b.shown, 0.4f * H);
    b.tick(0.1f * H);
    EXPECT_NEAR(b.shown, 0.4f * H * 0.97f, 1e-3);

    for (int t = b.peakAge; t < 50; ++t) // two seconds of 40 ms ticks
        b.tick(0.0f);
    EXPECT_EQ(b.peak, H);
    for (int t = 0; t < 1000; ++t)
        b.tick(0.0f);
    EXPECT_NEAR(b.peak, H * std::pow(0.999997, 1000.0), 0.05);
}

// Rows of the bar painted wholly in one colour.
int paintedRows(qel::AudioMeterVU& bar, juce::Colour colour)
{
    juce::Image image(juce::Image::ARGB, 5, 264, true);
    juce::Graphics g(image);
    bar.paint(g);
    int rows = 0;
    for (int y = 0; y < 264; ++y)
        rows += image.getPixelAt(0, y) == colour && image.getPixelAt(4, y) == colour;
    return rows;
}

TEST(AudioMeterVU, DrawsNothingForSilenceAndTheWholeHeightAtFullScale)
{
    qel::AudioMeterVU bar;
    bar.setBounds(0, 0, 5, 264);
    bar.takePeak(std::pow(10.0f, -71.0f / 20.0f));
    EXPECT_EQ(paintedRows(bar, juce::Colours::transparentBlack), 264);
    bar.takePeak(1.0f); // the bar top to bottom, its top two rows under the peak mark
    EXPECT_EQ(paintedRows(bar, juce::Colour(0xffa3a3a3)), 262);
    EXPECT_EQ(paintedRows(bar, juce::Colour(0xff785991)), 2);
}

} // namespace
