// The parameter table as the host and the editor see it: names in order,
// what each converting setter hands the decks, and the texts.
#include "support/ProcessorHarness.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{

using qel::TapeDeck;
using qel::test::ProcessorHarness;

// The controls with a curve of their own, worked out by hand from their meaning.
struct Reach
{
    const char* name;
    float value;
    double expected;
    double (*read)(const TapeDeck&);
};

const Reach reaches[] = {
    { "MagneticHardness", 0.25f, 4.0, [](const TapeDeck& d) { return d.getRecordHead().getA(); } },
    { "Hysteresis", 0.5f, 3162.2776601683795, [](const TapeDeck& d) { return d.getRecordHead().getB(); } },
    { "NoiseGain", -40.0f, 0.01, [](const TapeDeck& d) { return d.getSettings().noiseGain; } },
    { "Spacing", 0.5f, 3.1622776601683795e-5, [](const TapeDeck& d) { return d.getPlayHead().getSpacing(); } },
    { "Thickness", 1.0f, 5e-5, [](const TapeDeck& d) { return d.getPlayHead().getThickness(); } },
    { "Azimuth", 1.0f, 0.001, [](const TapeDeck& d) { return d.getPlayHead().getAzimuth(); } },
    { "TrackWidthRatio", 0.5f, 1.55, [](const TapeDeck& d) { return d.getPlayHead().getWidthRatio(); } },
    { "Speed", 0.5f, 0.31622776601683794, [](const TapeDeck& d) { return d.getSettings().tapeSpeed; } },
    { "WowMod", 0.5f, 0.15, [](const TapeDeck& d) { return d.getTransport().wowDepth; } },
    { "FlutterMod", 0.5f, 0.025, [](const TapeDeck& d) { return d.getTransport().flutterDepth; } },
    { "NoiseMod", 0.5f, 0.05, [](const TapeDeck& d) { return d.getTransport().randomDepth; } },
    { "InputGain", -20.0f, 0.1, [](const TapeDeck& d) { return d.getSettings().inputGain; } },
    { "Drive", 20.0f, 10.0, [](const TapeDeck& d) { return d.getSettings().drive; } },
};

// Every deck of every channel; the flange depth is deck B's alone. The pad's
// field starts at -1 dB, but the parameter's default of 0 dB reaches it.
TEST(ReelwarpParameters, ConversionsAndSwitchesReachWhatTheyNameAndReadBack)
{
    ProcessorHarness h(2, 48000.0, 64);
    EXPECT_FLOAT_EQ(h.state().outputPad, 1.0f);
    for (const auto& r : reaches)
    {
        h.set(r.name, r.value);
        for (auto& pair : h.state().decks)
            for (const TapeDeck* d : { &pair.deckA, &pair.deckB })
                ASSERT_NEAR(r.read(*d), r.expected, std::fabs(r.expected) * 2e-6) << r.name;
        EXPECT_NEAR(h.number(r.name), r.value, 1e-5 + std::fabs(r.value) * 1e-5) << r.name;
    }
    h.set("MaxRelativeDelay", 0.012f);
    for (const char* name : { "ApplyRecordHead", "ApplyNoiseGate", "ApplyPlayheadFilter", "ApplyTransport",
                              "ApplyFeedbackCompensation" })
        h.set(name, false);
    h.set("PhaseInvert", true);
    for (auto& pair : h.state().decks)
    {
        EXPECT_NEAR(pair.deckB.getSettings().maxRelativeDelay, 0.012, 1e-9);
        EXPECT_NEAR(pair.deckA.getSettings().maxRelativeDelay, 0.005, 1e-9);
        for (const TapeDeck* d : { &pair.deckA, &pair.deckB })
            EXPECT_TRUE(pair.phaseInvert && !d->getRecordHead().isOn() && !d->getRecordHead().isGateOn()
                        && !d->getPlayHead().isEnabled() && !d->getSettings().transportOn && !d->isFeedbackCompensationOn());
    }
    h.set("OutputGain", 6.0206f);
    h.set("OutputPad", -6.0206f);
    EXPECT_NEAR(h.state().outputGain, 2.0, 1e-4);
    EXPECT_NEAR(h.state().outputPad, 0.5, 1e-4);
}

TEST(ReelwarpParameters, AliasesFollowTheTableAndTextsReadAsAMusicianExpects)
{
    const char* const order[] = {
        "FlangeMode", "LFOFreq", "LFOPhase", "LFOShape", "LFOSymmetry", "LFOSwing", "RelativeDelay",
        "MaxRelativeDelay", "Delay", "Fade", "PhaseInvert", "ApplyRecordHead", "MagneticHardness", "Hysteresis",
        "NoiseGain", "ApplyNoiseGate", "DegradeDepth", "DegradeRate", "ApplyPlayheadFilter", "Spacing", "Thickness",
        "Azimuth", "TrackWidthRatio", "Speed", "ApplyTransport", "ApplyLowLatency", "WowMod", "WowRate", "FlutterMod",
        "FlutterRate", "NoiseSync", "NoiseMod", "NoiseRate", "ApplyFeedbackCompensation", "Feedback", "InputGain",
        "Drive", "OutputGain", "Mix", "ApplyCompander", "NRLink", "NoiseReductionEncoder", "NoiseReductionDecoder",
        "OutputPad",
    };
    ProcessorHarness h(2, 48000.0, 64);
    const auto& framework = qel::FrameworkParameters::get();
    for (int i = 0; i < 44; ++i)
    {
        ASSERT_NE(h.id(order[i]), 0u) << order[i];
        EXPECT_EQ(h.processor.resolveParameterId(framework.param(i)), h.id(order[i])) << order[i];
    }
    EXPECT_EQ(h.processor.resolveParameterId(framework.param(44)), framework.param(44));
    EXPECT_EQ(h.processor.getParameters().size(), 44u + 3u); // and SyncToHost, DisplayType, Bypass

    auto& registry = qel::ParameterRegistry::get();
    EXPECT_EQ(registry.displayName(h.id("MaxRelativeDelay")), "Flange Depth");
    EXPECT_EQ(registry.displayName(h.id("Hysteresis")), "Magnetic Resistance");
    EXPECT_EQ(h.text("MaxRelativeDelay"), "5.00 ms");
    EXPECT_EQ(h.text("LFOFreq"), "0.10 Hz");
    EXPECT_EQ(h.text("TrackWidthRatio"), "80.00%");
    EXPECT_EQ(h.text("NoiseGain"), "-80.00 dB");
    EXPECT_EQ(h.text("FlangeMode"), "LFO");
    h.set("NoiseReductionEncoder", 1);
    EXPECT_EQ(h.text("NoiseReductionEncoder"), "Basic PreEmphasis");
    int parsed = -1;
    ASSERT_TRUE(h.processor.findIntParameter(h.id("NoiseReductionDecoder"))->typedDescription().fromString(&h.processor, "Type B", parsed));
    EXPECT_EQ(parsed, 3);

    // Half depth at 1 Hz over the 60 ms tap: 0.15 x 2 pi x 1200 / ln 2 x 0.06 = 97.9 cents.
    h.set("WowMod", 0.5f);
    h.set("WowRate", 1.0f);
    const auto wow = h.text("WowMod");
    EXPECT_TRUE(wow.startsWith(juce::String::fromUTF8("50.00% (\xe2\x89\x88 97.89")) && wow.endsWith(" cents)")) << wow;
    h.set("ApplyLowLatency", true);
    EXPECT_TRUE(h.text("WowMod").contains(juce::String::fromUTF8("\xe2\x89\x88 16.31"))) << h.text("WowMod");
}

} // namespace
