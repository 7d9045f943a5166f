// The 45 host-visible slots: order, names, normalisation, both directions of
// change, gestures, and the connection bank with its skip rules.
#include "plugin/ExportTable.h"
#include "plugin/ReelwarpPlugin.h"
#include "tape/ReelwarpParameters.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{

using qel::ReelwarpParameter;
using qel::ReelwarpPlugin;

void pump()
{
    qel::ParameterChangeChannel::get().deliver();
    juce::MessageManager::getInstance()->runDispatchLoopUntil(20);
}

juce::AudioProcessorParameter& slot(ReelwarpPlugin& p, int index)
{
    return *p.getParameters()[index];
}

qel::Element& effectOf(ReelwarpPlugin& p)
{
    return *p.getEngine().findChild("Reelwarp");
}

struct HostListener : juce::AudioProcessorListener
{
    std::vector<std::pair<int, float>> values;
    std::vector<std::pair<int, bool>> gestures;
    void audioProcessorParameterChanged(juce::AudioProcessor*, int index, float v) override { values.emplace_back(index, v); }
    void audioProcessorChanged(juce::AudioProcessor*, const ChangeDetails&) override {}
    void audioProcessorParameterChangeGestureBegin(juce::AudioProcessor*, int index) override { gestures.emplace_back(index, true); }
    void audioProcessorParameterChangeGestureEnd(juce::AudioProcessor*, int index) override { gestures.emplace_back(index, false); }
};

TEST(ExportedParameters, FortyFiveResolvedSlotsInTheTablesOrderWithDisplayNames)
{
    ReelwarpPlugin p;
    ASSERT_EQ(p.getParameters().size(), 45);
    auto& registry = qel::ParameterRegistry::get();
    const auto& ids = qel::exportedParameterIds();
    for (int i = 0; i < 45; ++i)
    {
        auto* s = p.getSlot(i);
        EXPECT_TRUE(s->isResolved()) << i;
        EXPECT_EQ(s->getParameterId(), ids[(size_t) i]);
        EXPECT_EQ(slot(p, i).getName(100), registry.displayName(ids[(size_t) i]));
        EXPECT_EQ(slot(p, i).getLabel(), "");
        EXPECT_TRUE(slot(p, i).isAutomatable());
    }
    EXPECT_EQ(slot(p, 2).getName(100), "Magnetic Hardness");
    EXPECT_EQ(slot(p, 15).getName(100), "Low Latency Mode");
    EXPECT_EQ(slot(p, 15).getName(3), "Low");
    EXPECT_TRUE(slot(p, 15).isBoolean());
    EXPECT_EQ(slot(p, 15).getNumSteps(), 2);
    EXPECT_TRUE(slot(p, 41).isDiscrete());
    EXPECT_FALSE(slot(p, 41).isBoolean());
    EXPECT_EQ(slot(p, 41).getNumSteps(), 4);
    EXPECT_FALSE(slot(p, 29).isDiscrete());
}

TEST(ExportedParameters, NormalisationFollowsEachKindAndItsMapper)
{
    ReelwarpPlugin p;
    // Integers: 1.0 is the maximum, and a position rounds to the nearest value.
    auto& encoder = slot(p, 41);
    EXPECT_EQ(encoder.getText(1.0f, 100), "Type B");
    EXPECT_EQ(encoder.getText(0.0f, 100), "None");
    EXPECT_EQ(encoder.getText(0.5f, 100), "Type A") << "1.5 + 0.5 rounds down to 2";
    EXPECT_FLOAT_EQ(encoder.getValueForText("Basic PreEmphasis"), 1.0f / 3.0f);

    // A logarithmic float: the middle of the range is the geometric mean.
    auto& delay = slot(p, 23);
    auto* s = p.getSlot(23);
    EXPECT_NEAR(s->denormalise(0.5f), std::sqrt(0.002f * 1.0f), 1e-6);
    EXPECT_NEAR(s->normalise(0.016f), std::log(0.016 / 0.002) / std::log(1.0 / 0.002), 1e-6);
    EXPECT_NEAR(delay.getDefaultValue(), s->normalise(0.016f), 1e-7);

    // Linear floats and switches.
    EXPECT_FLOAT_EQ(p.getSlot(25)->denormalise(0.5f), 0.5f * (p.getSlot(25)->denormalise(1.0f) + p.getSlot(25)->denormalise(0.0f)));
    EXPECT_EQ(slot(p, 15).getDefaultValue(), 0.0f);
    EXPECT_EQ(slot(p, 1).getDefaultValue(), 1.0f);
    EXPECT_EQ(slot(p, 15).getText(1.0f, 100), "true");
    EXPECT_EQ(slot(p, 15).getValueForText("true"), 1.0f);

    // Every float reads its own text back at both ends and at its default.
    for (int i = 0; i < 45; ++i)
    {
        auto& parameter = slot(p, i);
        if (p.getSlot(i)->getKind() != qel::ExportedPluginParameter::floatKind || i == 16)
            continue; // the wow depth prints its pitch beside the value
        for (const float v : { 0.0f, parameter.getDefaultValue(), 1.0f })
            EXPECT_NEAR(parameter.getValueForText(parameter.getText(v, 100)), v, 2e-2) << parameter.getName(100) << " at " << v;
    }
}

TEST(ExportedParameters, AHostWriteReachesTheEffectOnceAndReadsBack)
{
    ReelwarpPlugin p;
    auto& effect = effectOf(p);
    const auto mixId = qel::reelwarpParameterId(ReelwarpParameter::Mix);
    int heard = 0;
    effect.getSignals().parameterChanged.connect([&](const qel::Element&, int id) { heard += id == (int) mixId; });

    auto& mix = slot(p, 29);
    mix.setValue(0.25f);
    EXPECT_EQ(heard, 1);
    EXPECT_FLOAT_EQ(mix.getValue(), 0.25f);
    EXPECT_FLOAT_EQ(effect.getParameterFloat(mixId), p.getSlot(29)->denormalise(0.25f));

    mix.setValue(mix.getValue());
    EXPECT_EQ(heard, 1) << "the current value writes nothing";

    auto& mode = slot(p, 34);
    mode.setValue(0.0f);
    EXPECT_EQ(effect.getParameterInt(qel::reelwarpParameterId(ReelwarpParameter::FlangeMode)), 0);
}

TEST(ExportedParameters, ChangesInTheEffectAndGesturesReachTheHost)
{
    ReelwarpPlugin p;
    HostListener host;
    p.addListener(&host);
    auto& effect = effectOf(p);
    const auto feedbackId = qel::reelwarpParameterId(ReelwarpParameter::Feedback);
    effect.setParameterFloat(feedbackId, 0.5f);
    ASSERT_FALSE(host.values.empty());
    EXPECT_EQ(host.values.back().first, 25);
    EXPECT_FLOAT_EQ(host.values.back().second, p.getSlot(25)->normalise(0.5f));

    // The host's own write is not echoed back.
    host.values.clear();
    slot(p, 25).setValueNotifyingHost(0.75f);
    EXPECT_EQ(host.values.size(), 1u);

    p.getProxy()->parameterGestureBegan(&effect, feedbackId);
    p.getProxy()->parameterGestureEnded(&effect, feedbackId);
    p.getProxy()->parameterGestureBegan(&effect, qel::reelwarpParameterId(ReelwarpParameter::Mix) + 1000);
    EXPECT_EQ(host.gestures, (std::vector<std::pair<int, bool>> { { 25, true }, { 25, false } }));
    p.removeListener(&host);
}

TEST(ExportedParameters, TheBankIsFullAndItsConnectionsFollowTheSkipRules)
{
    ReelwarpPlugin p;
    EXPECT_FALSE(p.connect({ "/Reelwarp", "Mix" }, "Again")) << "every slot is taken at construction";
    EXPECT_FALSE(p.connect({ "/Nowhere", "Mix" }, {}));

    juce::XmlElement saved("Automation");
    ASSERT_TRUE(p.save(saved));
    EXPECT_EQ(saved.getNumChildElements(), 45);
    EXPECT_EQ(saved.getChildElement(3)->getStringAttribute("parameterName"), "Hysteresis");
    EXPECT_EQ(saved.getChildElement(3)->getIntAttribute("sourceIndex"), 3);

    // A freed slot is found again by its previous key, and a new key takes it.
    p.disconnectSlot(5);
    EXPECT_FALSE(p.getSlot(5)->isConnected());
    EXPECT_EQ(slot(p, 5).getName(100), "");
    EXPECT_TRUE(p.connect({ "/Reelwarp", "ApplyNoiseGate" }, "Gate"));
    EXPECT_EQ(slot(p, 5).getName(100), "Gate");
    EXPECT_EQ(p.findSlot("/Reelwarp", qel::reelwarpParameterId(ReelwarpParameter::ApplyNoiseGate)), 5);
    p.disconnect({ "/Reelwarp", "ApplyNoiseGate" });
    EXPECT_FALSE(p.getSlot(5)->isConnected());

    // Loading: an entry past the bank, without a path or on a missing element is skipped.
    juce::XmlElement state("Automation");
    auto add = [&](int index, const char* path, const char* name) {
        auto* e = state.createNewChildElement("AutomationConnection");
        e->setAttribute("sourceIndex", index);
        e->setAttribute("targetPath", path);
        e->setAttribute("parameterName", name);
        e->setAttribute("parameterDisplayName", "");
    };
    add(0, "/Reelwarp", "Drive");
    add(45, "/Reelwarp", "Mix");
    add(1, "", "Mix");
    add(2, "/Nowhere", "Mix");
    p.load(state);
    EXPECT_EQ(p.getSlot(0)->getTarget().name, "Drive");
    EXPECT_TRUE(p.getSlot(0)->isResolved());
    EXPECT_FALSE(p.getSlot(1)->isConnected());
    EXPECT_FALSE(p.getSlot(44)->isConnected());
}

// A rebuilt tree, as a restore of host state makes one.
struct Rebuilder : ReelwarpPlugin
{
    void rebuild()
    {
        auto engine = std::make_shared<qel::Engine>();
        engine->addChild(std::make_unique<qel::ReelwarpProcessor>());
        setEngine(std::move(engine));
    }
};

TEST(ExportedParameters, ANewEngineLeavesEverySlotResolvedOnTheNewEffect)
{
    Rebuilder p;
    p.rebuild();
    pump();
    auto* effect = p.getEngine().findChild("Reelwarp");
    for (int i = 0; i < 45; ++i)
    {
        ASSERT_TRUE(p.getSlot(i)->isResolved()) << i;
        EXPECT_EQ(p.getSlot(i)->getElement(), effect);
    }
    slot(p, 29).setValue(0.0f);
    EXPECT_EQ(effect->getParameterFloat(qel::reelwarpParameterId(ReelwarpParameter::Mix)), 0.0f);
}

} // namespace

namespace
{

TEST(ExportedParameters, ASyncedRateNormalisesThroughTheBeatDivisionsWhileSynced)
{
    ReelwarpPlugin p;
    auto* rate = p.getSlot(35);
    const float freeMiddle = rate->denormalise(0.5f);
    EXPECT_NEAR(freeMiddle, std::sqrt(0.01f * 10.0f), 1e-5) << "free: logarithmic";

    slot(p, 0).setValue(1.0f); // SyncToHost
    const float syncedMiddle = rate->denormalise(0.5f);
    EXPECT_NE(syncedMiddle, freeMiddle);
    // Each synced position is a division that reads back to itself.
    for (const float position : { 0.0f, 0.25f, 0.5f, 1.0f })
    {
        const float ratio = rate->denormalise(position);
        EXPECT_NEAR(rate->denormalise(rate->normalise(ratio)), ratio, 1e-6) << position;
        EXPECT_NEAR(slot(p, 35).getValueForText(slot(p, 35).getText(position, 100)), rate->normalise(ratio), 1e-4) << position;
    }
}

} // namespace
