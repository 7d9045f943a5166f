// The 45 host-visible slots: kinds, normalisation, both directions of change and gestures.
#include "plugin/ReelwarpPlugin.h"
#include "tape/ReelwarpParameters.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace
{

using qel::ReelwarpParameter;
using qel::ReelwarpPlugin;

juce::AudioProcessorParameter& slot(ReelwarpPlugin& p, int index)
{
    return *p.getParameters()[index];
}

struct HostListener : juce::AudioProcessorListener
{
    std::vector<std::pair<int, float>> values;
    std::vector<std::pair<int, bool>> gestures;
    std::string heard; // in order: "(" a gesture begins, "v" a value, ")" it ends
    void audioProcessorParameterChanged(juce::AudioProcessor*, int index, float v) override
    {
        values.emplace_back(index, v);
        heard += "v";
    }
    void audioProcessorChanged(juce::AudioProcessor*, const ChangeDetails&) override {}
    void audioProcessorParameterChangeGestureBegin(juce::AudioProcessor*, int index) override
    {
        gestures.emplace_back(index, true);
        heard += "(";
    }
    void audioProcessorParameterChangeGestureEnd(juce::AudioProcessor*, int index) override
    {
        gestures.emplace_back(index, false);
        heard += ")";
    }
};

// Later notices and a block: what the host hears after a write has settled.
void settle(ReelwarpPlugin& p)
{
    qel::ParameterChangeChannel::get().deliver();
    juce::MessageManager::getInstance()->runDispatchLoopUntil(1);
    juce::AudioBuffer<float> buffer(2, 64);
    juce::MidiBuffer midi;
    buffer.clear();
    p.processBlock(buffer, midi);
    qel::ParameterChangeChannel::get().deliver();
    juce::MessageManager::getInstance()->runDispatchLoopUntil(1);
}

TEST(ExportedParameters, KindsAndNormalisationFollowEachParameter)
{
    ReelwarpPlugin p;
    ASSERT_EQ(p.getParameters().size(), 45);
    // A switch has two steps, a choice one per entry; a number is continuous.
    EXPECT_TRUE(slot(p, 15).isBoolean() && slot(p, 15).getNumSteps() == 2);
    EXPECT_TRUE(slot(p, 41).isDiscrete() && !slot(p, 41).isBoolean() && slot(p, 41).getNumSteps() == 4);
    EXPECT_FALSE(slot(p, 29).isDiscrete());
    // Integers: 1.0 is the maximum, and a position rounds to the nearest value.
    auto& encoder = slot(p, 41);
    EXPECT_EQ(encoder.getText(1.0f, 100), "Type B");
    EXPECT_EQ(encoder.getText(0.5f, 100), "Type A") << "1.5 + 0.5 rounds down to 2";
    EXPECT_FLOAT_EQ(encoder.getValueForText("Basic PreEmphasis"), 1.0f / 3.0f);
    // A logarithmic float: the middle of the range is the geometric mean; a linear one's, the arithmetic.
    auto* delay = p.getSlot(23);
    EXPECT_NEAR(delay->denormalise(0.5f), std::sqrt(0.002f * 1.0f), 1e-6);
    EXPECT_NEAR(slot(p, 23).getDefaultValue(), std::log(0.016 / 0.002) / std::log(1.0 / 0.002), 1e-6);
    auto* feedback = p.getSlot(25);
    EXPECT_FLOAT_EQ(feedback->denormalise(0.5f), 0.5f * (feedback->denormalise(1.0f) + feedback->denormalise(0.0f)));

    // Every slot is resolved; every float reads its own text back at both ends and at its default.
    for (int i = 0; i < 45; ++i)
    {
        auto& parameter = slot(p, i);
        EXPECT_TRUE(p.getSlot(i)->isResolved()) << i;
        if (p.getSlot(i)->getKind() != qel::ExportedPluginParameter::floatKind || i == 16)
            continue; // the wow depth prints its pitch beside the value
        for (const float v : { 0.0f, parameter.getDefaultValue(), 1.0f })
            EXPECT_NEAR(parameter.getValueForText(parameter.getText(v, 100)), v, 2e-2) << parameter.getName(100) << " at " << v;
    }

    // The LFO rate: logarithmic while free; while synced, each position is a
    // beat division that reads back to itself.
    auto* rate = p.getSlot(35);
    const float freeMiddle = rate->denormalise(0.5f);
    EXPECT_NEAR(freeMiddle, std::sqrt(0.01f * 10.0f), 1e-5);
    slot(p, 0).setValue(1.0f); // SyncToHost
    EXPECT_NE(rate->denormalise(0.5f), freeMiddle);
    for (const float position : { 0.0f, 0.25f, 0.5f, 1.0f })
    {
        const float ratio = rate->denormalise(position);
        EXPECT_NEAR(rate->denormalise(rate->normalise(ratio)), ratio, 1e-6) << position;
        EXPECT_NEAR(slot(p, 35).getValueForText(slot(p, 35).getText(position, 100)), rate->normalise(ratio), 1e-4) << position;
    }
}

TEST(ExportedParameters, ChangesInTheEffectAndGesturesReachTheHost)
{
    ReelwarpPlugin p;
    HostListener host;
    p.addListener(&host);
    auto& effect = *p.getEngine().findChild("Reelwarp");
    const auto feedbackId = qel::reelwarpParameterId(ReelwarpParameter::Feedback);

    // A slot learns the value when it resolves: a setter retelling it is no
    // edit, which a host would record as automation.
    effect.setParameterFloat(feedbackId, effect.getParameterFloat(feedbackId));
    EXPECT_TRUE(host.values.empty()) << "an unchanged value reached the host";

    effect.setParameterFloat(feedbackId, 0.5f);
    ASSERT_FALSE(host.values.empty());
    EXPECT_EQ(host.values.back().first, 25);
    EXPECT_FLOAT_EQ(host.values.back().second, p.getSlot(25)->normalise(0.5f));
    // A host write reaches the effect once and is not echoed back; writing
    // the current value again writes nothing.
    int heard = 0;
    effect.getSignals().parameterChanged.connect([&](const qel::Element&, int id) { heard += id == (int) feedbackId; });
    host.values.clear();
    slot(p, 25).setValueNotifyingHost(0.75f);
    slot(p, 25).setValue(slot(p, 25).getValue());
    EXPECT_EQ(heard, 1);
    EXPECT_EQ(host.values.size(), 1u);
    EXPECT_FLOAT_EQ(effect.getParameterFloat(feedbackId), p.getSlot(25)->denormalise(0.75f));

    p.getProxy()->parameterGestureBegan(&effect, feedbackId);
    p.getProxy()->parameterGestureEnded(&effect, feedbackId);
    p.getProxy()->parameterGestureBegan(&effect, qel::reelwarpParameterId(ReelwarpParameter::Mix) + 1000);
    EXPECT_EQ(host.gestures, (std::vector<std::pair<int, bool>> { { 25, true }, { 25, false } }));
    p.removeListener(&host);
}

// A knob turned in the editor writes through the pending slot on the message
// thread: the host hears it at once, inside its gesture, before any block
// runs, and never again as the write lands.
TEST(ExportedParameters, AnEditorWriteReachesTheHostOnceWithoutAudio)
{
    ReelwarpPlugin p;
    p.prepareToPlay(48000.0, 64);
    HostListener host;
    p.addListener(&host);
    auto& effect = *p.getEngine().findChild("Reelwarp");
    const auto feedbackId = qel::reelwarpParameterId(ReelwarpParameter::Feedback);

    p.getProxy()->parameterGestureBegan(&effect, feedbackId);
    effect.setParameterFloatDeferred(feedbackId, 0.3f, true);
    p.getProxy()->parameterGestureEnded(&effect, feedbackId);
    EXPECT_EQ(host.heard, "(v)");
    ASSERT_EQ(host.values.size(), 1u);
    EXPECT_EQ(host.values[0].first, 25);
    EXPECT_FLOAT_EQ(host.values[0].second, p.getSlot(25)->normalise(0.3f));
    EXPECT_FLOAT_EQ(slot(p, 25).getValue(), host.values[0].second);
    settle(p);
    EXPECT_EQ(host.heard, "(v)");

    p.removeListener(&host);
}

} // namespace
