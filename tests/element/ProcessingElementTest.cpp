#include "element/Bindings.h"
#include "element/ProcessingElement.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

namespace
{

using qel::ParameterDescription;
using qel::ParameterInfo;

struct EffectState : qel::ProcessingElementState
{
    using ProcessingElementState::ProcessingElementState;
    float level = 0.0f;
    int steps = 0;
    bool on = false;
    int onWrites = 0;
    float plain = 0.0f;
};

struct Ids
{
    uint32_t level, steps, on, plain;
    static const Ids& get()
    {
        static const Ids ids = [] {
            auto& r = qel::ParameterRegistry::get();
            Ids i {};
            i.level = r.registerFloat(ParameterDescription<float>("PeLevel", 1.0f, { 0.0f, 2.0f }));
            i.steps = r.registerInt(ParameterDescription<int>("PeSteps", 0, { 0, 10 }));
            i.on = r.registerBool(ParameterDescription<bool>("PeOn", false));
            ParameterDescription<float> plain("PePlain", 0.0f, { 0.0f, 1.0f });
            plain.smoothed = false;
            i.plain = r.registerFloat(plain);
            return i;
        }();
        return ids;
    }
};

// Multiplies its input by Level and records how it was called.
struct TestEffect : qel::BasicProcessingElement
{
    std::vector<int> slices;
    int idleFrames = 0;
    uint32_t tail = 0xFFFFFFFF;

    TestEffect() : BasicProcessingElement("TestEffect", "Effect")
    {
        setStates(std::make_unique<EffectState>(this), std::make_unique<EffectState>(this));
        slices.reserve(4096);
        const auto& ids = Ids::get();
        declareParameter(qel::bindField<&EffectState::level>(ids.level));
        declareParameter(qel::bindField<&EffectState::steps>(ids.steps));
        // Counted: a switch's setter may clear state, so it runs once per change.
        declareParameter(std::make_unique<ParameterInfo<bool>>(
            &qel::ParameterRegistry::get().description<bool>(ids.on),
            [](const void* target, const uint16_t*) { return static_cast<const EffectState*>(target)->on; },
            [](void* target, const uint16_t*, bool value) {
                auto& s = *static_cast<EffectState*>(target);
                s.on = value;
                ++s.onWrites;
            }));
        declareParameter(qel::bindField<&EffectState::plain>(ids.plain));
    }

    EffectState& state() { return static_cast<EffectState&>(getProcessingState()); }

    uint32_t getTailFrames(qel::RenderContext&, int, qel::ProcessingElementState&) override { return tail; }

    void processAudio(qel::RenderContext&, qel::ProcessingElementState& s, int frames, float* const* channels, void*) override
    {
        slices.push_back(frames);
        const float level = static_cast<EffectState&>(s).level;
        for (uint32_t c = 0; c < getChannelCount(); ++c)
            for (int i = 0; i < frames; ++i)
                channels[c][i] *= level;
    }

    void processIdle(qel::RenderContext&, qel::ProcessingElementState&, int frames) override { idleFrames += frames; }
};

struct Fixture : ::testing::Test
{
    std::unique_ptr<qel::RenderContext> context = std::make_unique<qel::RenderContext>();
    qel::Bus bus { 2, 4096, "Main Out" };
    TestEffect effect;
    const Ids& ids = Ids::get();

    void SetUp() override
    {
        effect.setFormat(48000.0, 4096);
        effect.setOutputStream(0, &bus);
    }

    void block(int frames, float input = 1.0f, bool silent = false)
    {
        for (int c = 0; c < 2; ++c)
            std::fill(bus.peekChannels()[c], bus.peekChannels()[c] + frames, input);
        if (silent)
            bus.setSilent(frames);
        else
            bus.clearSilent();
        effect.render(*context, frames);
    }
};

TEST_F(Fixture, ABlockOf33FramesRunsSlicesOf32And1)
{
    block(33);
    EXPECT_EQ(effect.slices, (std::vector<int> { 32, 1 }));
    effect.slices.clear();
    block(0);
    EXPECT_TRUE(effect.slices.empty());
}

TEST_F(Fixture, FloatChangesGlideAtSliceRate)
{
    const double c = qel::ElementParamEnvelope::sliceCoefficient(48000.0);
    EXPECT_NEAR(c, 0.0712, 1e-4);
    effect.setParameterFloatDeferred(ids.level, 2.0f, true);
    EXPECT_EQ(effect.getParameterFloat(ids.level), 2.0f); // before any block
    block(32);
    EXPECT_NEAR(effect.state().level, 1.0 + c, 1e-6);
    block(64); // two more slices
    EXPECT_NEAR(effect.state().level, 2.0 - std::pow(1.0 - c, 3.0), 1e-5);
    for (int i = 0; i < 400; ++i)
        block(32);
    EXPECT_EQ(effect.state().level, 2.0f); // it arrives and stops
}

TEST_F(Fixture, IntsBoolsAndUnsmoothedFloatsArriveInTheirBlock)
{
    effect.setParameterIntDeferred(ids.steps, 7, true);
    effect.setParameterBoolDeferred(ids.on, true, true);
    effect.setParameterFloatDeferred(ids.plain, 0.8f, true);
    const int writesBefore = effect.state().onWrites;
    block(128);
    EXPECT_EQ(effect.state().steps, 7);
    EXPECT_TRUE(effect.state().on);
    EXPECT_EQ(effect.state().plain, 0.8f);
    EXPECT_EQ(effect.state().onWrites - writesBefore, 1) << "a switch written at every slice of its block";
}

TEST_F(Fixture, AnImmediateSetDropsAPendingValue)
{
    effect.setParameterFloatDeferred(ids.plain, 0.3f, true);
    effect.setParameterFloat(ids.plain, 0.6f);
    block(32);
    EXPECT_EQ(effect.state().plain, 0.6f);
    EXPECT_EQ(effect.getParameterFloat(ids.plain), 0.6f);
}

TEST_F(Fixture, BypassPassesTheInputAndStillFlushes)
{
    effect.setParameterFloat(ids.level, 0.5f);
    effect.setParameterBoolDeferred(qel::FrameworkParameters::get().bypass, true, true);
    EXPECT_FALSE(effect.state().bypass);
    block(32, 1.0f);
    EXPECT_TRUE(effect.state().bypass);
    EXPECT_EQ(bus.peekChannels()[0][0], 1.0f); // untouched
    const auto version = effect.getStateVersion();
    effect.setParameterIntDeferred(ids.steps, 3, true);
    block(32);
    EXPECT_EQ(effect.getStateVersion(), version + 1);
    EXPECT_EQ(effect.state().steps, 3);
    effect.setParameterBool(qel::FrameworkParameters::get().bypass, false);
    block(32, 1.0f);
    EXPECT_EQ(bus.peekChannels()[0][0], 0.5f);
}

// With a tail of 0, silence past it puts the effect to sleep; sound wakes it
// in the same block.
TEST_F(Fixture, SleepsAfterItsTailAndWakesWithoutDelay)
{
    effect.tail = 0;
    block(64, 1.0f);
    EXPECT_FALSE(effect.isAsleep());
    EXPECT_EQ(effect.slices.size(), 2u);
    block(64, 0.0f, true);
    EXPECT_TRUE(effect.isAsleep());
    EXPECT_EQ(effect.idleFrames, 64);
    EXPECT_EQ(effect.slices.size(), 2u);
    EXPECT_EQ(effect.getSilentFrames(), 64u);
    block(32, 1.0f);
    EXPECT_FALSE(effect.isAsleep());
    EXPECT_EQ(effect.getSilentFrames(), 0u);
    EXPECT_EQ(effect.slices.size(), 3u);

    // A longer tail runs on through the silence first.
    effect.tail = 100;
    block(64, 0.0f, true);
    block(64, 0.0f, true);
    EXPECT_FALSE(effect.isAsleep());
    block(64, 0.0f, true);
    EXPECT_TRUE(effect.isAsleep());
}

TEST_F(Fixture, ParameterEventsSetTheirParameter)
{
    qel::EngineEvent e = qel::EngineEvent::transport(qel::EngineEvent::ParameterImmediate, 5);
    e.tail.parameter.target = 0;
    e.tail.parameter.parameterId = ids.plain;
    e.tail.parameter.value = 0.25;
    qel::EngineEvent i = qel::EngineEvent::transport(qel::EngineEvent::ParameterDeferred, 6);
    i.tail.parameter.parameterId = ids.steps;
    i.tail.parameter.value = 4.0;
    qel::EngineEvent other = e;
    other.tail.parameter.target = 9999; // another element's
    other.tail.parameter.value = 0.9;
    const qel::EngineEvent events[] = { e, i, other };
    effect.processEvents(*context, events, 3, 32);
    block(32);
    EXPECT_EQ(effect.state().plain, 0.25f);
    EXPECT_EQ(effect.state().steps, 4);
}

} // namespace

#include "element/SignalConnection.h"
#include "engine/Engine.h"

#include <tinyxml2.h>

namespace
{

// The first element of a parsed text; the document lives as long as the holder.
struct ParsedXml
{
    explicit ParsedXml(const char* text) { document.Parse(text); }
    const tinyxml2::XMLElement& operator*() const { return *document.RootElement(); }
    tinyxml2::XMLDocument document;
};

TEST(SignalConnection, FileFormRoundTripsAndReadsLegacyNames)
{
    qel::SignalConnection link("SignalConnection 0");
    link.source = qel::SignalConnection::midiControllerSource(74);
    link.destination = "Reelwarp:Mix";
    link.ratio = -0.5f;
    link.inverted = true;
    link.offset = 0.25f;
    tinyxml2::XMLDocument document;
    auto* parent = document.NewElement("Connections");
    document.InsertEndChild(parent);
    ASSERT_TRUE(link.save(*parent, {}));
    qel::SignalConnection back("x");
    ASSERT_TRUE(back.load(*parent->FirstChildElement("SignalConnection"), {}, qel::currentLayoutVersion));
    EXPECT_EQ(back.getName(), "SignalConnection 0");
    EXPECT_EQ(back.midiController(), 74);
    EXPECT_EQ(back.destination, "Reelwarp:Mix");
    EXPECT_FLOAT_EQ(back.ratio, -0.5f);
    EXPECT_TRUE(back.inverted);
    EXPECT_FLOAT_EQ(back.contribution(1.0f), 0.25f);

    ParsedXml legacy(R"(<SignalConnection Name="L" ModulationSource="@VoiceParam Velocity"
        ModulationDestination=">Level" ModulationRatio="0.75" Mode="Modulation"/>)");
    qel::SignalConnection old("y");
    ASSERT_TRUE(old.load(*legacy, {}, qel::legacyFlatLayoutVersion));
    EXPECT_EQ(old.source, "@VoiceParam OriginalVelocity");
    EXPECT_EQ(old.destination, "Level");
    EXPECT_FLOAT_EQ(old.ratio, 0.75f);
    EXPECT_EQ(old.connectionMode, 1);
    EXPECT_EQ(old.midiController(), -1);
}

// A MIDI-learned controller moves its parameter through the envelope, at
// every block, with no change of the element's own values.
TEST(SignalConnection, AMidiControllerLinkMovesItsParameter)
{
    qel::Engine engine;
    auto owned = std::make_unique<TestEffect>();
    auto* effect = owned.get();
    engine.addChild(std::move(owned));
    qel::Bus bus(2, 64, "Main Out");
    engine.setFormat(48000.0, 64);
    engine.setOutputStream(0, &bus);
    auto context = std::make_unique<qel::RenderContext>();
    context->setSampleRate(48000.0);

    effect->setParameterFloat(Ids::get().level, 0.0f);
    ParsedXml description(R"(<SignalConnection Source="@MIDI CC 74" Destination="PeLevel" Ratio="1"/>)");
    ASSERT_TRUE(effect->addModulationSource(*description, true));
    EXPECT_EQ(effect->getActiveConnections().size(), 1u);
    juce::StringArray sources;
    effect->listModulationSources(Ids::get().level, sources);
    EXPECT_EQ(sources, juce::StringArray { "@MIDI CC 74" });

    auto run = [&](std::vector<qel::EngineEvent> events) {
        engine.processEvents(*context, events.data(), (int) events.size(), 64);
        engine.render(*context, 64);
        context->endBlock(64);
    };
    run({ qel::EngineEvent::midi(0xB0, 0, 74, 127, 0) });
    const float first = effect->state().level;
    EXPECT_GT(first, 0.0f);
    for (int i = 0; i < 500; ++i)
        run({});
    EXPECT_NEAR(effect->state().level, 2.0f, 1e-4f); // full controller: the top of the range
    EXPECT_EQ(effect->getParameterFloat(Ids::get().level), 0.0f); // the base stays

    EXPECT_TRUE(effect->removeModulationSource(Ids::get().level, "@MIDI CC 74", true));
    EXPECT_TRUE(effect->getActiveConnections().empty());
    EXPECT_FALSE(effect->addModulationSource(*ParsedXml(R"(<SignalConnection Source="@MIDI CC 1" Destination="DisplayType"/>)"), true));
}

} // namespace
