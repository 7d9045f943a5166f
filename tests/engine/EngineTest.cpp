#include "engine/Engine.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace
{

using qel::EngineEvent;

// A child that records what the engine gives it.
struct RecordingChild : qel::ProcessingElement
{
    std::vector<EngineEvent> events;

    RecordingChild() : ProcessingElement("Recorder", "Recorder") { events.reserve(64); }
    void invalidateTail() override {}
    void handleEvents(qel::RenderContext&, const EngineEvent* e, int count) override { events.assign(e, e + count); }
    void render(qel::RenderContext&, int) override {}
    void resetProcessState() override {}
};

struct EngineFixture : ::testing::Test
{
    qel::Engine engine;
    RecordingChild* child = nullptr;
    std::unique_ptr<qel::RenderContext> context = std::make_unique<qel::RenderContext>();
    static constexpr double samplesPerBeat = 60.0 / 120.0 * 48000.0;

    void SetUp() override
    {
        auto owned = std::make_unique<RecordingChild>();
        child = owned.get();
        engine.addChild(std::move(owned));
        engine.setFormat(48000.0, 512);
        context->setSampleRate(48000.0);
    }

    void block(std::vector<EngineEvent> events, int frames)
    {
        engine.processEvents(*context, events.data(), (int) events.size(), frames);
        engine.render(*context, frames);
        context->endBlock(frames);
    }

    static EngineEvent cc(int controller, int value, int position = 0) { return EngineEvent::midi(0xB0, 0, controller, value, position); }
};

// 118 toggles play from the stored position, 117 stops and returns to the
// start; a button's release does nothing.
TEST_F(EngineFixture, TransportControllersPlayStopAndReturnToStart)
{
    int heard = 0;
    engine.clearModified();
    engine.getSignals().parameterChanged.connect([&](const qel::Element&, int id) { heard += id == (int) qel::Engine::Ids::get().playing; });
    EngineEvent setPosition = EngineEvent::transport(EngineEvent::SetPosition, 0);
    setPosition.setPositionValue(8.0);
    context->changeFlags = 0;
    block({ setPosition }, 32);
    EXPECT_EQ(context->changeFlags & qel::RenderContext::changedPosition, 1u);
    EXPECT_DOUBLE_EQ(engine.getStartPosition(), 8.0);

    block({ cc(118, 127, 16) }, 32);
    EXPECT_TRUE(engine.isPlaying());
    ASSERT_EQ(child->events.size(), 2u);
    EXPECT_EQ(child->events[0].type, EngineEvent::StartPlaying);
    EXPECT_EQ(child->events[0].samplePosition, 16);
    // The position runs from the start position, counted from the event's offset.
    EXPECT_NEAR(engine.getBeatPosition(), 8.0 + (32.0 - 16.0) / samplesPerBeat, 1e-12);
    EXPECT_EQ(heard, 1);
    EXPECT_TRUE(engine.getParameterBool(qel::Engine::Ids::get().playing));
    EXPECT_FALSE(engine.isModified()); // Playing is not saved

    block({ cc(118, 0) }, 32);
    EXPECT_TRUE(engine.isPlaying());
    block({ cc(118, 127) }, 32);
    EXPECT_FALSE(engine.isPlaying());

    block({ cc(118, 127) }, 32);
    context->changeFlags = 0;
    block({ cc(117, 127, 8) }, 32);
    EXPECT_FALSE(engine.isPlaying());
    EXPECT_EQ(child->events[0].type, EngineEvent::StopPlaying);
    EXPECT_EQ(child->events[0].samplePosition, 8);
    EXPECT_EQ(context->changeFlags & qel::RenderContext::changedPosition, 1u);
    EXPECT_DOUBLE_EQ(engine.getStartPosition(), 0.0);
    EXPECT_NEAR(engine.getBeatPosition(), (32.0 - 8.0) / samplesPerBeat, 1e-12);
}

// 119 from a stop records, and plays after a count-in of four beats less 5%.
TEST_F(EngineFixture, RecordFromStopCountsInThenPlays)
{
    block({ cc(119, 127) }, 32);
    EXPECT_TRUE(engine.isRecording());
    EXPECT_FALSE(engine.isPlaying());
    const int countIn = static_cast<int>(24000.0 * 3.95);
    int elapsed = 32;
    while (!engine.isPlaying() && elapsed < 200000)
    {
        block({}, 512);
        elapsed += 512;
    }
    EXPECT_GE(elapsed, countIn);
    EXPECT_LT(elapsed, countIn + 1024);
}

TEST_F(EngineFixture, WithoutHostTransportThePositionFollowsTheEngine)
{
    context->playing = -1;
    block({ cc(118, 127) }, 480);
    context->playing = -1;
    engine.processEvents(*context, nullptr, 0, 480);
    EXPECT_NEAR(context->position, 480.0 / 24000.0, 1e-12);
    EXPECT_EQ(context->playing, 1);
}

TEST_F(EngineFixture, FollowsTheHostsPlayStateAndTempoOnlyWhenSynced)
{
    context->playing = 1;
    engine.processEvents(*context, nullptr, 0, 64);
    EXPECT_TRUE(engine.isPlaying());
    ASSERT_EQ(child->events.size(), 1u);
    EXPECT_EQ(child->events[0].type, EngineEvent::StartPlaying);
    context->playing = 0;
    engine.processEvents(*context, nullptr, 0, 64);
    EXPECT_FALSE(engine.isPlaying());

    context->tempo = 140.0f;
    engine.processEvents(*context, nullptr, 0, 64);
    EXPECT_DOUBLE_EQ(engine.getTempo(), 140.0);
    engine.setSyncToHost(false);
    engine.setTempo(90.0);
    engine.processEvents(*context, nullptr, 0, 64);
    EXPECT_FLOAT_EQ(context->tempo, 90.0f);
}

} // namespace
