#include "engine/Engine.h"
#include "engine/ScratchArena.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

namespace
{

using qel::EngineEvent;

TEST(ScratchArena, AlignsEveryAllocationTo16Bytes)
{
    qel::ScratchArena arena(1000);
    for (size_t size : { 1u, 3u, 16u, 17u, 100u, 7u })
    {
        auto* p = static_cast<unsigned char*>(arena.allocate(size));
        EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 16, 0u);
    }
}

TEST(ScratchArena, GrowsByChunksAndReusesThemAfterReset)
{
    qel::ScratchArena arena(256);
    void* first = arena.allocate(200);
    arena.allocate(200); // does not fit: a second chunk
    EXPECT_EQ(arena.chunkCount(), 2u);
    arena.allocate(1000); // larger than the first chunk: a chunk of its own size
    EXPECT_EQ(arena.chunkCount(), 3u);
    EXPECT_GE(arena.chunkSize(2), 1000u);

    arena.reset();
    EXPECT_EQ(arena.allocate(200), first);
    arena.allocate(200);
    arena.allocate(1000);
    EXPECT_EQ(arena.chunkCount(), 3u);
}

TEST(EngineEvent, SortIsStableByPosition)
{
    std::vector<EngineEvent> events;
    const int positions[] = { 5, 1, 5, 0, 1, 5 };
    for (int i = 0; i < 6; ++i)
        events.push_back(EngineEvent::midi(0xB0, 0, i, 1, positions[i]));
    qel::sortEventsByPosition(events.begin(), events.end());
    const int expectedOrder[] = { 3, 1, 4, 0, 2, 5 };
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(events[(size_t) i].data1, expectedOrder[i]);
}

// A child that records what the engine gives it.
struct RecordingChild : qel::ProcessingElement
{
    std::vector<EngineEvent> events;
    std::vector<int> renderedFrames;
    int resets = 0;

    RecordingChild() : ProcessingElement("Recorder", "Recorder") { events.reserve(64); }
    void invalidateTail() override {}
    void handleEvents(qel::RenderContext&, const EngineEvent* e, int count) override { events.assign(e, e + count); }
    void render(qel::RenderContext&, int frames) override { renderedFrames.push_back(frames); }
    void resetProcessState() override { ++resets; }
};

struct EngineFixture : ::testing::Test
{
    qel::Engine engine;
    RecordingChild* child = nullptr;
    std::unique_ptr<qel::RenderContext> context = std::make_unique<qel::RenderContext>();

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

    static EngineEvent cc(int controller, int value, int position = 0)
    {
        return EngineEvent::midi(0xB0, 0, controller, value, position);
    }
};

TEST_F(EngineFixture, Controller118WhileStoppedStartsAtTheStoredPosition)
{
    // Stop at a known place, then play from there.
    EngineEvent setPosition = EngineEvent::transport(EngineEvent::SetPosition, 0);
    setPosition.setPositionValue(8.0);
    block({ setPosition }, 32);
    EXPECT_DOUBLE_EQ(engine.getStartPosition(), 8.0);
    ASSERT_FALSE(engine.isPlaying());

    block({ cc(118, 127, 16) }, 32);
    EXPECT_TRUE(engine.isPlaying());
    ASSERT_EQ(child->events.size(), 2u);
    EXPECT_EQ(child->events[0].type, EngineEvent::StartPlaying);
    EXPECT_EQ(child->events[0].samplePosition, 16);
    // The position runs from the start position, counted from the event's offset.
    const double samplesPerBeat = 60.0 / 120.0 * 48000.0;
    EXPECT_NEAR(engine.getBeatPosition(), 8.0 + (32.0 - 16.0) / samplesPerBeat, 1e-12);

    // A release of the button does nothing; a second press stops.
    block({ cc(118, 0) }, 32);
    EXPECT_TRUE(engine.isPlaying());
    block({ cc(118, 127) }, 32);
    EXPECT_FALSE(engine.isPlaying());
}

TEST_F(EngineFixture, SetPositionRaisesTheChangeFlag)
{
    EngineEvent e = EngineEvent::transport(EngineEvent::SetPosition, 0);
    e.setPositionValue(3.0);
    context->changeFlags = 0;
    engine.processEvents(*context, &e, 1, 64);
    EXPECT_EQ(context->changeFlags & qel::RenderContext::changedPosition, 1u);
}

TEST_F(EngineFixture, RecordFromStopCountsInFourBeatsThenPlays)
{
    block({ cc(119, 127) }, 32);
    EXPECT_TRUE(engine.isRecording());
    EXPECT_TRUE(engine.isCountInActive());
    EXPECT_FALSE(engine.isPlaying());
    const int countIn = static_cast<int>(24000.0 * 3.95);
    int elapsed = 32;
    while (!engine.isPlaying() && elapsed < 200000)
    {
        block({}, 512);
        elapsed += 512;
    }
    EXPECT_TRUE(engine.isPlaying());
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

TEST_F(EngineFixture, SyncToHostOffKeepsTheEngineTempo)
{
    engine.setSyncToHost(false);
    engine.setTempo(90.0);
    context->tempo = 140.0f;
    engine.processEvents(*context, nullptr, 0, 64);
    EXPECT_FLOAT_EQ(context->tempo, 90.0f);

    engine.setSyncToHost(true);
    context->tempo = 140.0f;
    engine.processEvents(*context, nullptr, 0, 64);
    EXPECT_DOUBLE_EQ(engine.getTempo(), 140.0);
}

TEST_F(EngineFixture, HostStartDrivesAutoPlay)
{
    context->playing = 1;
    engine.processEvents(*context, nullptr, 0, 64);
    EXPECT_TRUE(engine.isPlaying());
    ASSERT_EQ(child->events.size(), 1u);
    EXPECT_EQ(child->events[0].type, EngineEvent::StartPlaying);
    context->playing = 0;
    engine.processEvents(*context, nullptr, 0, 64);
    EXPECT_FALSE(engine.isPlaying());
}

TEST_F(EngineFixture, BusyLockQueuesEventsAndLeavesTheBlockAlone)
{
    juce::WaitableEvent locked, release;
    std::thread holder([&] {
        const juce::ScopedLock sl(engine.getLock());
        locked.signal();
        release.wait();
    });
    locked.wait();
    const auto note = EngineEvent::midi(0x90, 0, 60, 100, 3);
    engine.processEvents(*context, &note, 1, 64);
    engine.render(*context, 64);
    EXPECT_TRUE(child->renderedFrames.empty());
    EXPECT_TRUE(child->events.empty());
    release.signal();
    holder.join();

    // The queued note arrives with the next block that gets the lock.
    engine.processEvents(*context, nullptr, 0, 64);
    ASSERT_EQ(child->events.size(), 1u);
    EXPECT_EQ(child->events[0].data1, 60);
}

TEST_F(EngineFixture, TransportChangesReachListenersOfItsParameters)
{
    int heard = 0;
    engine.clearModified();
    engine.getSignals().parameterChanged.connect([&](const qel::Element&, int id) {
        if (id == (int) qel::Engine::Ids::get().playing)
            ++heard;
    });
    block({ cc(118, 127) }, 32);
    EXPECT_EQ(heard, 1);
    EXPECT_TRUE(engine.getParameterBool(qel::Engine::Ids::get().playing));
    EXPECT_FALSE(engine.isModified()); // Playing is not saved
}

} // namespace
