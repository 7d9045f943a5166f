#include "element/Bindings.h"
#include "element/ProcessingElement.h"
#include "element/SignalConnection.h"
#include "engine/Engine.h"

#include <gtest/gtest.h>
#include <tinyxml2.h>

#include <cmath>
#include <memory>
#include <vector>

namespace
{

using qel::ParameterDescription;

struct EffectState : qel::ProcessingElementState
{
    using ProcessingElementState::ProcessingElementState;
    float level = 0.0f;
    int steps = 0;
    bool on = false;
    int onWrites = 0;
};

struct Ids
{
    uint32_t level, steps, on;
    static const Ids& get()
    {
        auto& r = qel::ParameterRegistry::get();
        static const Ids ids { r.registerFloat(ParameterDescription<float>("PeLevel", 1.0f, { 0.0f, 2.0f })),
                               r.registerInt(ParameterDescription<int>("PeSteps", 0, { 0, 10 })),
                               r.registerBool(ParameterDescription<bool>("PeOn", false)) };
        return ids;
    }
};

// Multiplies its input by Level and records how it was called.
struct TestEffect : qel::BasicProcessingElement
{
    std::vector<int> slices;
    int idleFrames = 0;
    uint32_t tail = 0xFFFFFFFF; // never sleeps

    TestEffect() : BasicProcessingElement("TestEffect", "Effect")
    {
        setStates(std::make_unique<EffectState>(this), std::make_unique<EffectState>(this));
        const auto& ids = Ids::get();
        declareParameter(qel::bindField<&EffectState::level>(ids.level));
        declareParameter(qel::bindField<&EffectState::steps>(ids.steps));
        // Counted: a switch's setter may clear state, so it runs once per change.
        declareParameter(std::make_unique<qel::ParameterInfo<bool>>(
            &qel::ParameterRegistry::get().description<bool>(ids.on),
            [](const void* target, const uint16_t*) { return static_cast<const EffectState*>(target)->on; },
            [](void* target, const uint16_t*, bool value) {
                auto& s = *static_cast<EffectState*>(target);
                s.on = value;
                ++s.onWrites;
            }));
    }

    EffectState& state() { return static_cast<EffectState&>(getProcessingState()); }
    uint32_t getTailFrames(qel::RenderContext&, int, qel::ProcessingElementState&) override { return tail; }
    void processIdle(qel::RenderContext&, qel::ProcessingElementState&, int frames) override { idleFrames += frames; }

    void processAudio(qel::RenderContext&, qel::ProcessingElementState& s, int frames, float* const* channels, void*) override
    {
        slices.push_back(frames);
        const float level = static_cast<EffectState&>(s).level;
        for (uint32_t c = 0; c < getChannelCount(); ++c)
            for (int i = 0; i < frames; ++i)
                channels[c][i] *= level;
    }
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

// A float moves by 1 - 0.33^(3200 / 48000) of the way at each slice of 32 frames.
TEST_F(Fixture, FloatsGlideAtSliceRateIntsAndSwitchesArriveInTheirBlockAndOnce)
{
    block(33);
    EXPECT_EQ(effect.slices, (std::vector<int> { 32, 1 }));

    const double c = 0.0712455;
    effect.setParameterFloatDeferred(ids.level, 2.0f, true);
    EXPECT_EQ(effect.getParameterFloat(ids.level), 2.0f); // before any block
    block(32);
    EXPECT_NEAR(effect.state().level, 1.0 + c, 1e-6);
    block(64); // two more slices
    EXPECT_NEAR(effect.state().level, 2.0 - std::pow(1.0 - c, 3.0), 1e-5);
    for (int i = 0; i < 400; ++i)
        block(32);
    EXPECT_EQ(effect.state().level, 2.0f); // it arrives and stops

    // Ints and switches arrive in their block, and a switch once.
    effect.setParameterIntDeferred(ids.steps, 3, true);
    effect.setParameterInt(ids.steps, 7); // an immediate set drops the pending value
    effect.setParameterBoolDeferred(ids.on, true, true);
    const int writesBefore = effect.state().onWrites;
    block(128);
    EXPECT_EQ(effect.state().steps, 7);
    EXPECT_TRUE(effect.state().on);
    EXPECT_EQ(effect.state().onWrites - writesBefore, 1) << "a switch written at every slice of its block";
}

TEST_F(Fixture, BypassPassesTheInputAndStillFlushes)
{
    effect.setParameterFloat(ids.level, 0.5f);
    effect.setParameterBoolDeferred(qel::FrameworkParameters::get().bypass, true, true);
    block(32, 1.0f);
    EXPECT_EQ(bus.peekChannels()[0][0], 1.0f); // untouched
    effect.setParameterIntDeferred(ids.steps, 3, true);
    block(32);
    EXPECT_EQ(effect.state().steps, 3);
    effect.setParameterBool(qel::FrameworkParameters::get().bypass, false);
    block(32, 1.0f);
    EXPECT_EQ(bus.peekChannels()[0][0], 0.5f);
}

// With a tail of 0, silence past it puts the effect to sleep; sound wakes it
// in the same block. A longer tail runs on through the silence first.
TEST_F(Fixture, SleepsAfterItsTailAndWakesWithoutDelay)
{
    effect.tail = 0;
    block(64, 1.0f);
    block(64, 0.0f, true);
    EXPECT_TRUE(effect.isAsleep());
    EXPECT_EQ(effect.idleFrames, 64);
    EXPECT_EQ(effect.slices.size(), 2u);
    block(32, 1.0f);
    EXPECT_FALSE(effect.isAsleep());
    EXPECT_EQ(effect.slices.size(), 3u);

    effect.tail = 100;
    block(64, 0.0f, true);
    block(64, 0.0f, true);
    EXPECT_FALSE(effect.isAsleep());
    block(64, 0.0f, true);
    EXPECT_TRUE(effect.isAsleep());
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
    auto run = [&](std::vector<qel::EngineEvent> events) {
        engine.processEvents(*context, events.data(), (int) events.size(), 64);
        engine.render(*context, 64);
        context->endBlock(64);
    };

    effect->setParameterFloat(Ids::get().level, 0.0f);
    tinyxml2::XMLDocument link;
    link.Parse(R"(<SignalConnection Source="@MIDI CC 74" Destination="PeLevel" Ratio="1"/>)");
    ASSERT_TRUE(effect->addModulationSource(*link.RootElement(), true));
    run({ qel::EngineEvent::midi(0xB0, 0, 74, 127, 0) });
    EXPECT_GT(effect->state().level, 0.0f);
    for (int i = 0; i < 500; ++i)
        run({});
    EXPECT_NEAR(effect->state().level, 2.0f, 1e-4f); // full controller: the top of the range
    EXPECT_EQ(effect->getParameterFloat(Ids::get().level), 0.0f); // the base stays

    EXPECT_TRUE(effect->removeModulationSource(Ids::get().level, "@MIDI CC 74", true));
    EXPECT_TRUE(effect->getActiveConnections().empty());
    link.Parse(R"(<SignalConnection Source="@MIDI CC 1" Destination="DisplayType"/>)"); // a text: not modulable
    EXPECT_FALSE(effect->addModulationSource(*link.RootElement(), true));
}

} // namespace
