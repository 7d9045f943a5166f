// The plug-in shell in-process: what instances share, the block bridge around the effect, and the host's transport.
#include "element/ElementRegistry.h"
#include "files/VFSHolder.h"
#include "plugin/ReelwarpPlugin.h"
#include "support/Signals.h"
#include "tape/dsp/DeckPair.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <thread>
#include <xmmintrin.h>

namespace
{

using qel::ReelwarpPlugin;

// Exposes what the block bridge hands on, and the render lock.
struct ProbePlugin : ReelwarpPlugin
{
    int rendered = 0;
    unsigned mxcsrSeen = 0;

    void renderEngine(qel::HostAudioBlock& block) override
    {
        mxcsrSeen = _mm_getcsr();
        ++rendered;
        ReelwarpPlugin::renderEngine(block);
    }
    juce::CriticalSection& lock() { return getRenderLock(); }
};

// First in its process under ctest, so the threads race for the registration.
TEST(InstanceAssembly, TheTypeRegistersOnceAndASecondInstanceSharesTheProcessButNotTheTree)
{
    std::atomic<int> winners { 0 };
    std::thread threads[4];
    for (auto& t : threads)
        t = std::thread([&] { winners += ReelwarpPlugin::registerElementType() ? 1 : 0; });
    for (auto& t : threads)
        t.join();
    EXPECT_LE(winners.load(), 1);
    EXPECT_FALSE(qel::ElementRegistry::instance().find("Reelwarp").isBlank());

    ReelwarpPlugin first;
    auto* a = first.getEngine().findChild("Reelwarp");
    EXPECT_FALSE(first.getEngine().isModified() || a->isModified()) << "a freshly built instance is clean";
    const auto volumes = qel::VFSHolder::getInstance()->getVolumes().size();
    const int instances = qel::Plugin::getInstanceCount();
    {
        ReelwarpPlugin second;
        EXPECT_FALSE(ReelwarpPlugin::registerElementType());
        EXPECT_EQ(qel::VFSHolder::getInstance()->getVolumes().size(), volumes) << "nothing mounted twice";
        EXPECT_EQ(qel::Plugin::getInstanceCount(), instances + 1);
        const auto mix = a->findParameterId("Mix");
        a->setParameterFloat(mix, 0.0f);
        EXPECT_NE(second.getEngine().findChild("Reelwarp")->getParameterFloat(mix), 0.0f);
    }
    EXPECT_EQ(qel::Plugin::getInstanceCount(), instances);
}

TEST(ReelwarpPlugin, APrepareReportsTheLatencyAgainAndIgnoresAnEmptyFormat)
{
    ReelwarpPlugin p;
    p.prepareToPlay(48000.0, 256);
    p.setLatencySamples(0);
    p.prepareToPlay(48000.0, 256);
    EXPECT_EQ(p.getLatencySamples(), 2880) << "reported again with nothing else to do";
    p.prepareToPlay(0.0, 256);
    p.prepareToPlay(48000.0, 0);
    EXPECT_FLOAT_EQ(p.getEngine().getEngineSampleRate(), 48000.0f);
}

// A block of no frames only takes the MIDI. A host must never wait on the audio thread: with the render lock held
// elsewhere the block passes dry and its events wait. A block flushes denormals and gives the host its control word back.
TEST(ReelwarpPlugin, EmptyAndBusyBlocksPassDryAndKeepTheirEventsAndBlocksRunWithFlushToZero)
{
    ProbePlugin p;
    p.prepareToPlay(48000.0, 32);
    juce::AudioBuffer<float> empty(2, 0), buffer(2, 32);
    juce::MidiBuffer midi;
    midi.addEvent(juce::MidiMessage::noteOn(1, 60, (juce::uint8) 100), 0);
    midi.addEvent(juce::MidiMessage::noteOn(2, 62, (juce::uint8) 0), 0);
    const juce::uint8 sysex[] = { 0xF0, 0x7E, 0xF7 };
    midi.addEvent(sysex, 3, 0);
    p.processBlock(empty, midi);
    ASSERT_EQ(p.getPendingEvents().size(), 2u);
    EXPECT_EQ(p.getPendingEvents()[0].type, 0x90);
    EXPECT_EQ(p.getPendingEvents()[1].type, 0x80); // velocity 0 is a note off
    EXPECT_EQ(p.getPendingEvents()[1].channel, 1);
    EXPECT_TRUE(midi.isEmpty());

    qel::test::fillTestSignal(buffer, 0, 48000.0);
    const juce::AudioBuffer<float> input(buffer);
    midi.addEvent(juce::MidiMessage::controllerEvent(1, 7, 100), 5);
    {
        const juce::ScopedLock held(p.lock());
        std::thread([&] { p.processBlock(buffer, midi); }).join();
    }
    for (int c = 0; c < 2; ++c)
        EXPECT_EQ(std::memcmp(buffer.getReadPointer(c), input.getReadPointer(c), 32 * sizeof(float)), 0) << c;
    EXPECT_EQ(p.getPendingEvents().size(), 3u);
    EXPECT_EQ(p.rendered, 1); // the busy block only

    const unsigned before = _mm_getcsr();
    p.processBlock(buffer, midi);
    EXPECT_EQ(p.mxcsrSeen & 0x8040u, 0x8040u);
    EXPECT_EQ(_mm_getcsr(), before);
    EXPECT_TRUE(p.getPendingEvents().empty());
    EXPECT_EQ(p.getEngine().getMidiState()->noteVelocities[60], 100);
}

// The bridge and the frame around the decks add nothing of their own at the defaults (all wet, 0 dB): the plug-in
// equals the decks run directly, up to the tape's own hiss.
TEST(ReelwarpPlugin, OutputMatchesTheChainRunDirectlyForOddBlockSizes)
{
    for (int blockSize : { 33, 1, 512, 100 })
    {
        ReelwarpPlugin p;
        p.prepareToPlay(44100.0, blockSize);
        const auto reference = std::make_unique<qel::DeckPair[]>(2);
        for (int c = 0; c < 2; ++c)
            reference[c].prepare(44100.0);
        std::vector<float> deviation((size_t) blockSize);
        juce::MidiBuffer midi;
        double worst = 0.0;
        for (int64_t frame = 0; frame < 44100; frame += blockSize)
        {
            juce::AudioBuffer<float> buffer(2, blockSize);
            qel::test::fillTestSignal(buffer, frame, 44100.0);
            juce::AudioBuffer<float> expected(buffer);
            p.processBlock(buffer, midi);
            for (int c = 0; c < 2; ++c)
            {
                // One channel's pair in slices, as the processor runs it.
                auto& pair = reference[c];
                float* samples = expected.getWritePointer(c);
                for (int start = 0; start < blockSize; start += 32)
                    qel::selectChannelProcessor(pair)(
                        pair, samples + start, std::min(32, blockSize - start), deviation.data());
                for (int i = 0; i < blockSize; ++i)
                    worst = std::max(worst, (double) std::fabs(buffer.getSample(c, i) - samples[i]));
            }
        }
        EXPECT_LT(worst, 2e-4) << "block size " << blockSize;
    }
}

// One instance hears NaN, infinities and denormals in bursts, the other zeros; with the same hiss seeds both sound alike.
TEST(ReelwarpPlugin, NonFiniteAndDenormalInputIsHeardAsSilence)
{
    auto run = [](bool damaged) {
        ReelwarpPlugin p;
        auto& effect = *p.getEngine().findChild(ReelwarpPlugin::effectName);
        effect.setParameterFloat(effect.findParameterId("Feedback"), 0.95f);
        effect.setParameterFloat(effect.findParameterId("Drive"), 20.0f);
        std::srand(7);
        p.prepareToPlay(48000.0, 480);
        juce::MidiBuffer midi;
        juce::AudioBuffer<float> buffer(2, 480);
        std::vector<float> out;
        const float bad[] = { std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                              -std::numeric_limits<float>::infinity(), 1e-41f, -3e-39f };
        for (int block = 0; block < 200; ++block)
        {
            qel::test::fillTestSignal(buffer, block * 480, 48000.0);
            for (int i = block % 3; block >= 20 && block < 30 && i < 480; i += 7)
                buffer.setSample(i % 2, i, damaged ? bad[(i / 7) % 5] : 0.0f);
            p.processBlock(buffer, midi);
            for (int c = 0; c < 2; ++c)
                out.insert(out.end(), buffer.getReadPointer(c), buffer.getReadPointer(c) + 480);
        }
        return out;
    };
    const auto damaged = run(true), clean = run(false);
    for (size_t i = 0; i < damaged.size(); ++i)
        ASSERT_EQ(damaged[i], clean[i]) << "sample " << i; // NaN equals nothing
}

// Tempo, metre and position reach the effect; a jump or a start is flagged, a steady advance not; no position keeps them.
TEST(ReelwarpPlugin, TransportCaptureFollowsTheHost)
{
    struct FakePlayHead : juce::AudioPlayHead
    {
        juce::Optional<PositionInfo> info;
        juce::Optional<PositionInfo> getPosition() const override { return info; }
    } head;
    ReelwarpPlugin p;
    p.setPlayHead(&head);
    p.prepareToPlay(48000.0, 480);
    juce::MidiBuffer midi;
    juce::AudioBuffer<float> buffer(2, 480);
    buffer.clear();
    const auto& ctx = p.getRenderContext();
    p.processBlock(buffer, midi);
    EXPECT_FLOAT_EQ(ctx.tempo, 120.0f);

    juce::AudioPlayHead::PositionInfo info;
    info.setBpm(100.0);
    info.setTimeSignature(juce::AudioPlayHead::TimeSignature { 3, 4 });
    info.setIsPlaying(true);
    auto play = [&](double position, double barStart) {
        info.setPpqPosition(position);
        info.setPpqPositionOfLastBarStart(barStart);
        head.info = info;
        p.processBlock(buffer, midi);
        return ctx.changeFlags & 1u;
    };
    EXPECT_EQ(play(10.5, 9.0), 1u); // started playing
    EXPECT_FLOAT_EQ(ctx.tempo, 100.0f);
    EXPECT_EQ(ctx.numerator, 3);
    EXPECT_DOUBLE_EQ(ctx.position, 10.5);
    EXPECT_DOUBLE_EQ(ctx.positionInBar, 1.5);
    EXPECT_DOUBLE_EQ(ctx.samplesToNextBar, 1.5 * 28800.0);
    EXPECT_DOUBLE_EQ(ctx.samplesToNextBeat, 0.5 * 28800.0);
    EXPECT_EQ(play(10.5 + 480.0 / 28800.0, 9.0), 0u);
    EXPECT_EQ(play(40.25, 0.0), 1u);
    EXPECT_DOUBLE_EQ(ctx.positionInBar, std::fmod(40.25, 3.0)); // without a bar start it wraps
    p.setPlayHead(nullptr);
}

} // namespace
