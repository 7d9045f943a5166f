#include "plugin/ReelwarpPlugin.h"
#include "tape/DeckPair.h"
#include "support/Signals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <thread>
#include <xmmintrin.h>

namespace
{

using Set = juce::AudioChannelSet;

juce::AudioProcessor::BusesLayout layout(const Set& in, const Set& out)
{
    juce::AudioProcessor::BusesLayout l;
    l.inputBuses.add(in);
    l.outputBuses.add(out);
    return l;
}

// Exposes what the block bridge hands on, and the render lock.
struct ProbePlugin : qel::ReelwarpPlugin
{
    std::vector<std::vector<float>> channelsSeen;
    unsigned mxcsrSeen = 0;

    void renderEngine(qel::HostAudioBlock& block) override
    {
        mxcsrSeen = _mm_getcsr();
        channelsSeen.clear();
        for (int c = 0; c < block.main.size(); ++c)
            channelsSeen.emplace_back(block.main.current()[c], block.main.current()[c] + block.frames);
        qel::ReelwarpPlugin::renderEngine(block);
    }

    juce::CriticalSection& lock() { return getRenderLock(); }
};

struct FakePlayHead : juce::AudioPlayHead
{
    juce::Optional<PositionInfo> info;
    juce::Optional<PositionInfo> getPosition() const override { return info; }
};

TEST(ReelwarpPlugin, IdentityOfTheProduct)
{
    qel::ReelwarpPlugin p;
    EXPECT_EQ(p.getName(), "Reel Warp");
    EXPECT_TRUE(std::isinf(p.getTailLengthSeconds()));
    EXPECT_TRUE(p.acceptsMidi());
    EXPECT_FALSE(p.producesMidi());
    EXPECT_EQ(p.getNumPrograms(), 1);
    EXPECT_EQ(p.getProgramName(0), "Default");
    EXPECT_EQ(p.getEngine().getNumChildren(), 1);
    EXPECT_EQ(p.getEngine().getProcessingChild(0)->getPath(), "Engine/Reelwarp");
    EXPECT_NE(p.getEngine().findChild("Reelwarp"), nullptr);
    p.prepareToPlay(44100.0, 512);
    EXPECT_EQ(p.getLatencySamples(), 2646); // 60 ms in whole samples
}

TEST(ReelwarpPlugin, LowLatencyModeReportsTenMilliseconds)
{
    qel::ReelwarpPlugin p;
    auto* effect = p.getEngine().findChild(qel::ReelwarpPlugin::effectName);
    effect->setParameterBool(effect->findParameterId("ApplyLowLatency"), true);
    p.prepareToPlay(48000.0, 512);
    EXPECT_EQ(p.getLatencySamples(), 480);
}

TEST(ReelwarpPlugin, AcceptsStereoMonoAndMonoToStereoOnly)
{
    qel::ReelwarpPlugin p;
    EXPECT_TRUE(p.checkBusesLayoutSupported(layout(Set::stereo(), Set::stereo())));
    EXPECT_TRUE(p.checkBusesLayoutSupported(layout(Set::mono(), Set::mono())));
    EXPECT_TRUE(p.checkBusesLayoutSupported(layout(Set::mono(), Set::stereo())));
    EXPECT_FALSE(p.checkBusesLayoutSupported(layout(Set::stereo(), Set::mono())));
    EXPECT_FALSE(p.checkBusesLayoutSupported(layout(Set::create5point1(), Set::create5point1())));
}

TEST(ReelwarpPlugin, PrepareReturnsEarlyUnlessTheLayoutChanged)
{
    qel::ReelwarpPlugin p;
    p.prepareToPlay(48000.0, 256);
    auto* bus = p.getMainBus();
    p.setLatencySamples(0);
    p.prepareToPlay(48000.0, 256);
    EXPECT_EQ(p.getMainBus(), bus);
    EXPECT_EQ(p.getLatencySamples(), 2880); // reported again all the same

    p.processorLayoutsChanged();
    p.prepareToPlay(48000.0, 256);
    EXPECT_NE(p.getMainBus(), bus);

    p.prepareToPlay(0.0, 256);
    p.prepareToPlay(48000.0, 0);
    EXPECT_FLOAT_EQ(p.getEngine().getEngineSampleRate(), 48000.0f);
}

TEST(ReelwarpPlugin, MonoInStereoOutFeedsTheEffectTwoEqualChannels)
{
    ProbePlugin p;
    ASSERT_TRUE(p.setBusesLayout(layout(Set::mono(), Set::stereo())));
    p.prepareToPlay(48000.0, 64);
    juce::AudioBuffer<float> buffer(2, 64);
    juce::MidiBuffer midi;
    for (int i = 0; i < 64; ++i)
    {
        buffer.setSample(0, i, std::sin(i * 0.1f) * 0.5f);
        buffer.setSample(1, i, 7.0f); // whatever the host leaves there
    }
    p.processBlock(buffer, midi);
    ASSERT_EQ(p.channelsSeen.size(), 2u);
    EXPECT_EQ(p.channelsSeen[0], p.channelsSeen[1]);
    EXPECT_FLOAT_EQ(p.channelsSeen[1][10], std::sin(1.0f) * 0.5f);
}

TEST(ReelwarpPlugin, BlockRunsWithFlushToZeroAndRestoresTheControlWord)
{
    ProbePlugin p;
    p.prepareToPlay(48000.0, 64);
    juce::AudioBuffer<float> buffer(2, 64);
    buffer.clear();
    juce::MidiBuffer midi;
    const unsigned before = _mm_getcsr();
    p.processBlock(buffer, midi);
    EXPECT_EQ(p.mxcsrSeen & 0x8040u, 0x8040u);
    EXPECT_EQ(_mm_getcsr(), before);
}

TEST(ReelwarpPlugin, ZeroFrameBlockDrainsMidiAndRunsNothing)
{
    ProbePlugin p;
    p.prepareToPlay(48000.0, 64);
    juce::AudioBuffer<float> empty(2, 0);
    juce::MidiBuffer midi;
    midi.addEvent(juce::MidiMessage::noteOn(1, 60, (juce::uint8) 100), 0);
    midi.addEvent(juce::MidiMessage::noteOn(2, 62, (juce::uint8) 0), 0);
    const juce::uint8 sysex[] = { 0xF0, 0x7E, 0xF7 };
    midi.addEvent(sysex, 3, 0);
    p.processBlock(empty, midi);
    EXPECT_TRUE(p.channelsSeen.empty());
    ASSERT_EQ(p.getPendingEvents().size(), 2u);
    EXPECT_EQ(p.getPendingEvents()[0].type, 0x90);
    EXPECT_EQ(p.getPendingEvents()[1].type, 0x80); // velocity 0 is a note off
    EXPECT_EQ(p.getPendingEvents()[1].channel, 1);
    EXPECT_TRUE(midi.isEmpty());

    juce::AudioBuffer<float> buffer(2, 64);
    buffer.clear();
    p.processBlock(buffer, midi);
    EXPECT_TRUE(p.getPendingEvents().empty());
    EXPECT_EQ(p.getEngine().getMidiState()->noteVelocities[60], 100);
}

TEST(ReelwarpPlugin, BusyRenderLockPassesTheBlockDryAndKeepsEvents)
{
    ProbePlugin p;
    p.prepareToPlay(48000.0, 32);
    juce::AudioBuffer<float> buffer(2, 32);
    qel::test::fillTestSignal(buffer, 0, 48000.0);
    const juce::AudioBuffer<float> input(buffer);
    juce::MidiBuffer midi;
    midi.addEvent(juce::MidiMessage::controllerEvent(1, 7, 100), 5);

    juce::WaitableEvent locked, release;
    std::thread holder([&] {
        const juce::ScopedLock sl(p.lock());
        locked.signal();
        release.wait();
    });
    locked.wait();
    p.processBlock(buffer, midi);
    release.signal();
    holder.join();

    for (int c = 0; c < 2; ++c)
        for (int i = 0; i < 32; ++i)
            ASSERT_EQ(buffer.getSample(c, i), input.getSample(c, i));
    EXPECT_EQ(p.getPendingEvents().size(), 1u);
}

// One channel's pair over a block, in slices, as the processor runs it.
void runPair(qel::DeckPair& pair, float* samples, int frames, float* deviation)
{
    for (int start = 0; start < frames; start += 32)
        qel::selectChannelProcessor(pair.flangeMode, pair.deckA.noiseReduction.encoderMode,
                                    pair.deckA.noiseReduction.decoderMode)(pair, samples + start,
                                                                           std::min(32, frames - start), deviation);
}

// The bridge and the frame around the decks add nothing of their own at the
// defaults (all wet, 0 dB): the plug-in equals the decks run directly, up to
// the tape's own hiss.
TEST(ReelwarpPlugin, OutputMatchesTheChainRunDirectlyForOddBlockSizes)
{
    for (int blockSize : { 33, 1, 512, 100 })
    {
        qel::ReelwarpPlugin p;
        p.prepareToPlay(44100.0, blockSize);
        std::vector<std::unique_ptr<qel::DeckPair>> reference;
        for (int c = 0; c < 2; ++c)
        {
            reference.push_back(std::make_unique<qel::DeckPair>());
            reference.back()->prepare(44100.0);
        }
        std::vector<float> deviation((size_t) blockSize);

        juce::MidiBuffer midi;
        int64_t frame = 0;
        double worst = 0.0;
        while (frame < 44100)
        {
            juce::AudioBuffer<float> buffer(2, blockSize);
            qel::test::fillTestSignal(buffer, frame, 44100.0);
            juce::AudioBuffer<float> expected(buffer);
            p.processBlock(buffer, midi);
            for (int c = 0; c < 2; ++c)
            {
                runPair(*reference[(size_t) c], expected.getWritePointer(c), blockSize, deviation.data());
                for (int i = 0; i < blockSize; ++i)
                    worst = std::max(worst, (double) std::fabs(buffer.getSample(c, i) - expected.getSample(c, i)));
            }
            frame += blockSize;
        }
        EXPECT_LT(worst, 2e-4) << "block size " << blockSize;
    }
}

TEST(ReelwarpPlugin, NonFiniteAndDenormalInputIsHeardAsSilence)
{
    // One instance hears NaN, infinities and denormals in bursts, the other
    // zeros in their place; with the same hiss seeds their outputs are the same.
    auto run = [](bool damaged) {
        qel::ReelwarpPlugin p;
        auto& effect = *p.getEngine().findChild(qel::ReelwarpPlugin::effectName);
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
            if (block >= 20 && block < 30)
                for (int i = block % 3; i < 480; i += 7)
                    buffer.setSample(i % 2, i, damaged ? bad[(i / 7) % 5] : 0.0f);
            p.processBlock(buffer, midi);
            out.insert(out.end(), buffer.getReadPointer(0), buffer.getReadPointer(0) + 480);
            out.insert(out.end(), buffer.getReadPointer(1), buffer.getReadPointer(1) + 480);
        }
        return out;
    };
    const auto damaged = run(true), clean = run(false);
    for (size_t i = 0; i < damaged.size(); ++i)
    {
        ASSERT_TRUE(std::isfinite(damaged[i])) << i;
        ASSERT_EQ(damaged[i], clean[i]) << "sample " << i;
    }
}

TEST(ReelwarpPlugin, TransportCaptureFollowsTheHost)
{
    qel::ReelwarpPlugin p;
    FakePlayHead head;
    p.setPlayHead(&head);
    p.prepareToPlay(48000.0, 480);
    juce::MidiBuffer midi;
    juce::AudioBuffer<float> buffer(2, 480);
    buffer.clear();

    // No position: the context keeps its values.
    p.processBlock(buffer, midi);
    EXPECT_FLOAT_EQ(p.getRenderContext().tempo, 120.0f);

    juce::AudioPlayHead::PositionInfo info;
    info.setBpm(100.0);
    info.setTimeSignature(juce::AudioPlayHead::TimeSignature { 3, 4 });
    info.setPpqPosition(10.5);
    info.setPpqPositionOfLastBarStart(9.0);
    info.setIsPlaying(true);
    head.info = info;
    p.processBlock(buffer, midi);
    auto& ctx = p.getRenderContext();
    EXPECT_FLOAT_EQ(ctx.tempo, 100.0f);
    EXPECT_EQ(ctx.numerator, 3);
    EXPECT_DOUBLE_EQ(ctx.position, 10.5);
    EXPECT_DOUBLE_EQ(ctx.positionInBar, 1.5);
    EXPECT_DOUBLE_EQ(ctx.samplesToNextBar, 1.5 * 28800.0);
    EXPECT_DOUBLE_EQ(ctx.samplesToNextBeat, 0.5 * 28800.0);
    EXPECT_EQ(ctx.changeFlags & 1u, 1u); // started playing

    // The host advances as expected: no jump.
    info.setPpqPosition(10.5 + 480.0 / 28800.0);
    head.info = info;
    p.processBlock(buffer, midi);
    EXPECT_EQ(ctx.changeFlags & 1u, 0u);

    // A jump of more than a beat is seen; without a bar start the bar position wraps.
    info.setPpqPosition(40.25);
    info.setPpqPositionOfLastBarStart(0.0);
    head.info = info;
    p.processBlock(buffer, midi);
    EXPECT_EQ(ctx.changeFlags & 1u, 1u);
    EXPECT_DOUBLE_EQ(ctx.positionInBar, std::fmod(40.25, 3.0));
    p.setPlayHead(nullptr);
}

} // namespace
