// The frame around the decks: dry path, latency, compander, host sync, channels.
#include "support/ProcessorHarness.h"
#include "tape/dsp/DryDelayLine.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace
{

using qel::test::ProcessorHarness;

// A ramp through the line in blocks of 16, read with delays from start to end.
std::vector<float> rampThroughDryLine(double start, double end)
{
    qel::DryDelayLine line;
    line.prepare(64, 16);
    std::vector<float> y(256);
    for (int at = 0; at < 256; at += 16)
    {
        float x[16];
        for (int i = 0; i < 16; ++i)
            x[i] = static_cast<float>(at + i);
        line.write(x, 16);
        line.read(y.data() + at, 16, start, end);
        line.advance(16);
    }
    return y;
}

// A ramp passes linear interpolation unchanged: out comes the time pointed at.
TEST(DryDelayLine, FractionalAndMovingDelaysInterpolateLinearly)
{
    auto y = rampThroughDryLine(10.25, 10.25);
    for (size_t i = 20; i < y.size(); ++i)
        ASSERT_NEAR(y[i], static_cast<double>(i) - 10.25, 1e-4);
    y = rampThroughDryLine(8.0, 12.0);
    for (size_t i = 32; i < y.size(); ++i)
        ASSERT_NEAR(y[i], static_cast<double>(i) - (8.0 + 4.0 * static_cast<double>(i % 16) / 16.0), 1e-4);
}

// Also an exact copy at the longest delay the line holds, across its wraps.
TEST(ReelwarpFrame, DryAloneIsTheInputDelayedByTheLatencyWithoutGainOrPad)
{
    const auto expectDelayedCopy = [](const std::vector<float>& x, const std::vector<float>& y, size_t delay) {
        for (size_t i = 0; i < x.size(); ++i)
            ASSERT_EQ(y[i], i >= delay ? x[i - delay] : 0.0f) << "delay " << delay << " at " << i;
    };
    std::vector<float> x(6000);
    for (size_t i = 0; i < x.size(); ++i)
        x[i] = static_cast<float>(0.4 * std::sin(0.013 * static_cast<double>(i)) + 0.1 * std::sin(0.31 * static_cast<double>(i)));
    ProcessorHarness normal(2, 48000.0, 512);
    normal.set("Mix", 0.0f);
    normal.set("OutputGain", 12.0f);
    normal.set("OutputPad", -9.0f);
    expectDelayedCopy(x, normal.renderSignal(x, 512), 2880); // 60 ms

    ProcessorHarness low(2, 48000.0, 100);
    low.set("Mix", 0.0f);
    low.set("ApplyLowLatency", true);
    expectDelayedCopy(x, low.renderSignal(x, 100), 480); // 10 ms
}

// Deck B's slowest delay must stay above zero at the short main tap.
TEST(ReelwarpFrame, LowLatencyShortensTheMainTapAndCapsTheFlangeDepth)
{
    ProcessorHarness h(2, 48000.0, 64);
    h.set("MaxRelativeDelay", 0.015f);
    h.set("ApplyLowLatency", true);
    for (auto& pair : h.state().decks)
    {
        EXPECT_NEAR(pair.deckB.getSettings().maxRelativeDelay, 0.009, 1e-9);
        EXPECT_NEAR(pair.deckA.getReadHead(qel::TapeDeck::mainTap).delay, 0.01, 1e-9);
        EXPECT_NEAR(pair.deckB.getReadHead(qel::TapeDeck::mainTap).delay, 0.01, 1e-9);
    }
    // Back to normal the cap stays until the depth is set again.
    h.set("ApplyLowLatency", false);
    EXPECT_NEAR(h.state().decks[1].deckB.getSettings().maxRelativeDelay, 0.009, 1e-9);
    EXPECT_NEAR(h.state().decks[1].deckB.getReadHead(qel::TapeDeck::mainTap).delay, 0.06, 1e-8);
    h.set("MaxRelativeDelay", 0.015f);
    EXPECT_NEAR(h.state().decks[1].deckB.getSettings().maxRelativeDelay, 0.015, 1e-9);
}

TEST(ReelwarpFrame, CompanderChoicesSurviveItsSwitchAndTheDecoderFollowsTheLink)
{
    ProcessorHarness h(2, 48000.0, 64);
    auto modes = [&](uint32_t encoder, uint32_t decoder) {
        bool all = true;
        h.state().forEachDeck([&](qel::TapeDeck& d) {
            all = all && d.getNoiseReduction().encoderMode == static_cast<qel::NoiseReductionMode>(encoder)
                       && d.getNoiseReduction().decoderMode == static_cast<qel::NoiseReductionMode>(decoder);
        });
        return all;
    };
    // Off by default, yet choosing an encoder starts it; the link takes the decoder along.
    ASSERT_FALSE(h.processor.getParameterBool(h.id("ApplyCompander")));
    h.set("NoiseReductionEncoder", 2);
    EXPECT_TRUE(modes(2, 2));
    h.set("ApplyCompander", true);
    h.set("ApplyCompander", false);
    EXPECT_TRUE(modes(0, 0));
    EXPECT_EQ(h.choice("NoiseReductionEncoder"), 0); // reads "None" while off
    h.set("ApplyCompander", true);
    EXPECT_TRUE(modes(2, 2));

    // Unlinked, each side is its own; linking again takes the encoder's choice.
    h.set("NRLink", false);
    h.set("NoiseReductionDecoder", 3);
    h.set("NoiseReductionEncoder", 1);
    EXPECT_TRUE(modes(1, 3));
    h.set("NRLink", true);
    EXPECT_TRUE(modes(1, 1));
    EXPECT_EQ(h.choice("NoiseReductionDecoder"), 1);
    h.set("ApplyCompander", false);
    h.set("ApplyCompander", true);
    EXPECT_TRUE(modes(1, 1));
}

TEST(ReelwarpFrame, SyncedLfoRunsAtTheHostTempoAndRestartsWithTheHostPosition)
{
    ProcessorHarness h(2, 48000.0, 512);
    std::vector<std::vector<float>> block(2, std::vector<float>(512, 0.0f));
    const auto sync = qel::FrameworkParameters::get().syncToHost;
    h.set("LFOFreq", 0.5f);
    h.processor.setParameterBool(sync, true);
    EXPECT_FLOAT_EQ(h.number("LFOFreq"), 4.0f); // at 120 bpm a 0.5 Hz cycle lasts 4 beats
    EXPECT_EQ(h.text("LFOFreq"), "1/1");

    h.context->tempo = 120.0f;
    h.render(block, 512);
    for (auto& pair : h.state().decks)
        EXPECT_NEAR(pair.deckB.getSettings().lfoRate, 0.5, 1e-6);

    // After a jump the cycle stands where the host's beats put it at every slice.
    h.context->changeFlags = qel::RenderContext::changedPosition;
    h.context->position = 10.0;
    h.render(block, 512);
    const double expected = std::fmod(10.0 / 4.0, 1.0) + 32.0 * 0.5 / 48000.0;
    for (auto& pair : h.state().decks)
        for (const auto* d : { &pair.deckA, &pair.deckB })
            EXPECT_NEAR(d->getLfoRunningPhase(), expected, 1e-5);
    h.context->changeFlags = 0;
    h.context->position = 30.0;
    h.render(block, 512);
    EXPECT_NEAR(h.state().decks[0].deckA.getLfoRunningPhase(), expected + 512.0 * 0.5 / 48000.0, 1e-5);

    h.processor.setParameterBool(sync, false);
    EXPECT_NEAR(h.number("LFOFreq"), 0.5f, 1e-6);
    h.context->tempo = 90.0f;
    h.render(block, 512);
    EXPECT_NEAR(h.state().decks[0].deckB.getSettings().lfoRate, 0.5, 1e-6); // free running ignores the tempo
}

TEST(ReelwarpFrame, SettingsMadeBeforeTheFormatReachEveryChannel)
{
    qel::ReelwarpProcessor p;
    p.setParameterFloat(p.findParameterId("Spacing"), 0.5f);
    p.setParameterBool(p.findParameterId("ApplyLowLatency"), true);
    qel::Bus stereo(2, 64, "Main Out");
    p.setFormat(48000.0, 64);
    p.setOutputStream(0, &stereo);
    auto& state = p.getReelwarpState();
    ASSERT_EQ(state.decks.size(), 2u);
    ASSERT_EQ(state.dryLines.size(), 2u);
    for (auto& pair : state.decks)
    {
        EXPECT_NEAR(pair.deckB.getPlayHead().getSpacing(), 3.1622776601683795e-5, 1e-10);
        EXPECT_NEAR(pair.deckA.getReadHead(qel::TapeDeck::mainTap).delay, 0.01, 1e-9);
    }
    qel::Bus mono(1, 64, "Main Out");
    p.setOutputStream(0, &mono);
    EXPECT_EQ(state.decks.size(), 1u);
}

// Choosing Manual, again too, puts deck B level with deck A; the display follows B.
TEST(ReelwarpFrame, ManualModeStartsAtAnEndAndTheDisplayFollowsDeckB)
{
    ProcessorHarness h(2, 48000.0, 512);
    auto ring = h.processor.getDisplayRing();
    ASSERT_EQ(ring->size(), 48000u);
    std::vector<std::vector<float>> block(2, std::vector<float>(512, 0.1f));
    h.render(block, 512);
    EXPECT_EQ(ring->available(), 512u);

    h.set("FlangeMode", 0);
    for (auto& pair : h.state().decks)
        EXPECT_EQ(pair.deckB.getRelativePosition(), 0.0);
    h.set("RelativeDelay", 0.5f);
    h.render(block, 100);
    EXPECT_FLOAT_EQ(h.processor.getLastRelativeDelay(), 0.5f);
    EXPECT_EQ(ring->available(), 612u);
    h.set("FlangeMode", 0);
    for (auto& pair : h.state().decks)
        EXPECT_EQ(pair.deckB.getRelativePosition(), 0.0);
}

} // namespace
