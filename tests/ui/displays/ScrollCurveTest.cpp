// The strip chart's ring and drawing, and its feed of 10 ms maxima from the
// deck's ring.
#include "ui/displays/ScrollCurve.h"
#include "ui/displays/SpeedCurveFeed.h"

#include <gtest/gtest.h>

#include <numeric>

namespace
{

TEST(ScrollCurve, HoldsAWidthOfValuesDropsTheOldestAndDrawsTheNewestAtTheRightEdge)
{
    qel::ScrollCurve chart;
    chart.setSize(275, 59);
    const int c = chart.addCurve();
    chart.setStep(c, 2.0f);
    chart.setRange(c, -1.0f, 1.0f);
    for (int i = 0; i < 150; ++i)
        chart.push(c, static_cast<float>(i) / 150.0f);
    const auto held = chart.getValues(c);
    ASSERT_EQ(held.size(), 139u); // 138 steps across, one cut at the left edge
    EXPECT_EQ(held.front(), 11.0f / 150.0f);
    EXPECT_EQ(held.back(), 149.0f / 150.0f);

    const auto path = chart.makePath(c);
    juce::Path::Iterator it(path);
    ASSERT_TRUE(it.next());
    EXPECT_FLOAT_EQ(it.x1, 275.0f);
    EXPECT_NEAR(it.y1, 59.0f * (1.0f - (149.0f / 150.0f + 1.0f) / 2.0f), 1e-4);
    ASSERT_TRUE(it.next());
    EXPECT_FLOAT_EQ(it.x1, 273.0f);
    EXPECT_NEAR(it.y1, 59.0f * (1.0f - (148.0f / 150.0f + 1.0f) / 2.0f), 1e-4);

    chart.setSize(100, 59); // narrower: the newest values stay
    EXPECT_EQ(chart.getValues(c).front(), 99.0f / 150.0f);
}

// 44.1 kHz: chunks of 441, which a single-precision 0.01 would make 440.
TEST(SpeedCurveFeed, PushesTheMaximumOfEachWholeTenMilliseconds)
{
    auto ring = std::make_shared<qel::DisplayRing>();
    ring->resize(44100);
    std::vector<float> deviation(441 * 3 + 200);
    for (size_t i = 0; i < deviation.size(); ++i)
        deviation[i] = -0.01f * static_cast<float>(i % 441); // each chunk's first sample is its largest
    deviation[441 * 2 - 1] = 0.3f;                           // the last sample of the second chunk
    ring->write(deviation.data(), static_cast<uint32_t>(deviation.size()));

    qel::ScrollCurve chart;
    chart.setSize(275, 59);
    const int c = chart.addCurve();
    qel::SpeedCurveFeed feed;
    feed.setRing(ring);
    EXPECT_EQ(feed.feed(chart, c, 44100.0), 3);
    EXPECT_EQ(chart.getValues(c), (std::vector<float> { 0.0f, 0.3f, 0.0f }));
    EXPECT_EQ(ring->available(), 200u);
}

} // namespace
