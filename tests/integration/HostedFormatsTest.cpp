// The built plug-in binaries, loaded the way a host loads them, against the
// same product run in-process.
#include "plugin/ReelwarpPlugin.h"
#include "support/Signals.h"

#include <juce_audio_processors/juce_audio_processors.h>
#include <pluginterfaces/vst2.x/aeffectx.h>

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

// The wrapper and JUCE's host both size a speaker arrangement with eight
// entries; the interface headers must agree with them.
static_assert(sizeof(VstSpeakerArrangement) == 2 * sizeof(int) + 8 * sizeof(VstSpeakerProperties),
              "VstSpeakerArrangement must hold eight speakers");
// The wrapper writes shortLabel's terminator into the reserved bytes after it.
static_assert(sizeof(VstPinProperties) == 64 + 2 * sizeof(int) + 8 + 48, "VstPinProperties keeps its reserved tail");

namespace
{

using Set = juce::AudioChannelSet;

struct FormatCase
{
    const char* name;
    const char* path; // empty when the format is not built in this configuration
};

std::unique_ptr<juce::AudioPluginFormat> makeFormat(const juce::String& name)
{
    if (name == "VST")
        return std::make_unique<juce::VSTPluginFormat>();
    if (name == "VST3")
        return std::make_unique<juce::VST3PluginFormat>();
    return std::make_unique<juce::LV2PluginFormat>();
}

// Finds the plug-in's description: LV2 bundles are scanned from the build folder.
std::unique_ptr<juce::PluginDescription> describe(juce::AudioPluginFormat& format, const juce::String& path)
{
    juce::OwnedArray<juce::PluginDescription> found;
    if (format.getName() == "LV2")
    {
        const auto folder = juce::File(path).getParentDirectory().getParentDirectory();
        for (const auto& uri : format.searchPathsForPlugins(juce::FileSearchPath(folder.getFullPathName()), false, false))
            if (uri.contains("qel.net"))
                format.findAllTypesForFile(found, uri);
    }
    else
    {
        format.findAllTypesForFile(found, path);
    }
    return found.isEmpty() ? nullptr : std::make_unique<juce::PluginDescription>(*found[0]);
}

class HostedFormat : public ::testing::TestWithParam<FormatCase>
{
protected:
    void SetUp() override
    {
        if (juce::String(GetParam().path).isEmpty())
            GTEST_SKIP() << GetParam().name << " is not built in this configuration";
        format = makeFormat(GetParam().name);
        description = describe(*format, GetParam().path);
        ASSERT_NE(description, nullptr) << "no plug-in found at " << GetParam().path;
    }

    std::unique_ptr<juce::AudioPluginInstance> load(double sampleRate, int blockSize)
    {
        juce::String error;
        auto instance = format->createInstanceFromDescription(*description, sampleRate, blockSize, error);
        EXPECT_NE(instance, nullptr) << error;
        return instance;
    }

    std::unique_ptr<juce::AudioPluginFormat> format;
    std::unique_ptr<juce::PluginDescription> description;
};

bool isVst2(const FormatCase& c)
{
    return juce::String(c.name) == "VST";
}

// Hosts the formats' asynchronous notices, latency among them.
void pumpMessages()
{
    juce::MessageManager::getInstance()->runDispatchLoopUntil(50);
}

TEST_P(HostedFormat, DescribesTheProduct)
{
    EXPECT_EQ(description->manufacturerName, "QEL");
    EXPECT_FALSE(description->isInstrument);
    if (isVst2(GetParam()))
    {
        // JUCE's VST2 host names the plug-in by its file and shows the effect name beside it.
        EXPECT_EQ(description->descriptiveName, "Reel Warp");
        EXPECT_EQ(description->uniqueId, 0x51527770);
        EXPECT_EQ(description->version, "1.0.0.0"); // vendor version 0x10000
    }
    else
    {
        EXPECT_EQ(description->name, "Reel Warp");
        // An LV2 bundle carries no version that JUCE reads.
        if (juce::String(GetParam().name) == "VST3")
            EXPECT_EQ(description->version, "1.0.0");
    }
}

TEST_P(HostedFormat, MatchesTheInProcessChainAcrossRatesAndBlockSizes)
{
    struct Setting
    {
        double sampleRate;
        int blockSize;
    };
    for (const auto s : { Setting { 44100.0, 512 }, Setting { 48000.0, 128 }, Setting { 96000.0, 1000 },
                          Setting { 22050.0, 33 } })
    {
        auto hosted = load(s.sampleRate, s.blockSize);
        ASSERT_NE(hosted, nullptr);
        hosted->enableAllBuses();
        hosted->prepareToPlay(s.sampleRate, s.blockSize);
        pumpMessages();
        qel::ReelwarpPlugin local;
        local.prepareToPlay(s.sampleRate, s.blockSize);

        juce::MidiBuffer midi;
        double worst = 0.0;
        for (int64_t frame = 0; frame < static_cast<int64_t>(s.sampleRate / 2); frame += s.blockSize)
        {
            juce::AudioBuffer<float> a(2, s.blockSize);
            qel::test::fillTestSignal(a, frame, s.sampleRate);
            juce::AudioBuffer<float> b(a);
            hosted->processBlock(a, midi);
            local.processBlock(b, midi);
            for (int c = 0; c < 2; ++c)
                for (int i = 0; i < s.blockSize; ++i)
                {
                    ASSERT_TRUE(std::isfinite(a.getSample(c, i)));
                    worst = std::max(worst, (double) std::fabs(a.getSample(c, i) - b.getSample(c, i)));
                }
        }
        // The two differ only by the tape hiss of differently seeded decks.
        EXPECT_LT(worst, 2e-4) << s.sampleRate << " Hz, " << s.blockSize << " frames";
        pumpMessages();
        EXPECT_EQ(hosted->getLatencySamples(), qel::ReelwarpPlugin::latencyForSampleRate(s.sampleRate, false));
        hosted->releaseResources();
    }
}

TEST_P(HostedFormat, OffersTheProductsLayouts)
{
    auto hosted = load(48000.0, 256);
    ASSERT_NE(hosted, nullptr);
    auto layout = [](const Set& in, const Set& out) {
        juce::AudioProcessor::BusesLayout l;
        l.inputBuses.add(in);
        l.outputBuses.add(out);
        return l;
    };
    EXPECT_TRUE(hosted->checkBusesLayoutSupported(layout(Set::stereo(), Set::stereo())));
    if (isVst2(GetParam()))
    {
        // JUCE's VST2 host only compares channel counts, so ask the plug-in itself.
        auto* effect = static_cast<AEffect*>(hosted->getPlatformSpecificData());
        ASSERT_NE(effect, nullptr);
        auto offer = [effect](int inType, int inChannels, int outType, int outChannels) {
            VstSpeakerArrangement in {}, out {};
            in.type = inType;
            in.numChannels = inChannels;
            out.type = outType;
            out.numChannels = outChannels;
            return effect->dispatcher(effect, effSetSpeakerArrangement, 0, (intptr_t) &in, &out, 0.0f);
        };
        EXPECT_NE(offer(kSpeakerArrMono, 1, kSpeakerArrMono, 1), 0);
        EXPECT_NE(offer(kSpeakerArrMono, 1, kSpeakerArrStereo, 2), 0);
        EXPECT_EQ(offer(kSpeakerArrStereo, 2, kSpeakerArrMono, 1), 0);
        EXPECT_NE(offer(kSpeakerArrStereo, 2, kSpeakerArrStereo, 2), 0);
    }
    // An LV2 plug-in has fixed ports; the other formats negotiate.
    if (juce::String(GetParam().name) != "LV2")
    {
        EXPECT_TRUE(hosted->checkBusesLayoutSupported(layout(Set::mono(), Set::mono())));
        EXPECT_TRUE(hosted->checkBusesLayoutSupported(layout(Set::mono(), Set::stereo())));
        if (!isVst2(GetParam()))
            EXPECT_FALSE(hosted->checkBusesLayoutSupported(layout(Set::stereo(), Set::mono())));

        ASSERT_TRUE(hosted->setBusesLayout(layout(Set::mono(), Set::stereo())));
        hosted->prepareToPlay(48000.0, 256);
        juce::AudioBuffer<float> buffer(2, 256);
        juce::MidiBuffer midi;
        for (int block = 0; block < 20; ++block)
        {
            qel::test::fillTestSignal(buffer, block * 256, 48000.0);
            hosted->processBlock(buffer, midi);
        }
        // Both outputs carry the mono input through the tape.
        double difference = 0.0, level = 0.0;
        for (int i = 0; i < 256; ++i)
        {
            difference = std::max(difference, (double) std::fabs(buffer.getSample(0, i) - buffer.getSample(1, i)));
            level = std::max(level, (double) std::fabs(buffer.getSample(0, i)));
        }
        EXPECT_GT(level, 0.1);
        EXPECT_LT(difference, 2e-4);
    }
}

TEST_P(HostedFormat, SurvivesRepeatedPreparesAndOddBlocks)
{
    auto hosted = load(44100.0, 64);
    ASSERT_NE(hosted, nullptr);
    juce::MidiBuffer midi;
    for (const auto rate : { 44100.0, 8000.0, 192000.0, 44100.0 })
        for (const int size : { 1, 64, 2048, 17 })
        {
            hosted->prepareToPlay(rate, size);
            juce::AudioBuffer<float> buffer(2, size);
            for (int block = 0; block < 4; ++block)
            {
                qel::test::fillTestSignal(buffer, block * size, rate);
                hosted->processBlock(buffer, midi);
            }
            for (int i = 0; i < size; ++i)
                ASSERT_TRUE(std::isfinite(buffer.getSample(0, i)));
        }
}

INSTANTIATE_TEST_SUITE_P(Binaries, HostedFormat,
                         ::testing::Values(FormatCase { "VST", REELWARP_VST2_BINARY },
                                           FormatCase { "VST3", REELWARP_VST3_BUNDLE },
                                           FormatCase { "LV2", REELWARP_LV2_BUNDLE }),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
