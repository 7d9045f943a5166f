// Loads the built plug-in binaries the way a host does.
#pragma once

#include "support/Signals.h"

#include <juce_audio_processors/juce_audio_processors.h>

#include <gtest/gtest.h>

#include <initializer_list>
#include <random>

namespace qel::test
{

using Instance = std::unique_ptr<juce::AudioPluginInstance>;

// A format's name, and its binary's path, empty when this configuration does not build it.
struct FormatCase { const char* name; const char* path; };
inline void PrintTo(const FormatCase& format, std::ostream* out) { *out << format.name; }

// Each parameter but the skipped ones at random in [low, high], on a step where it has some (hosts keep what
// they wrote); Flange Mode on LFO, since a restored Manual mode starts from deck A, wherever it was saved.
inline void setRandomValues(juce::AudioPluginInstance& instance, std::mt19937& random, float low, float high,
                            std::initializer_list<const char*> skipped)
{
    for (auto* parameter : instance.getParameters())
    {
        const auto name = parameter->getName(100);
        if (std::any_of(skipped.begin(), skipped.end(), [&](const char* s) { return name == s; }))
            continue;
        const int steps = parameter->getNumSteps();
        float value = name == "Flange Mode" ? 1.0f : std::uniform_real_distribution<float>(low, high)(random);
        if (steps > 1 && steps < 100)
            value = std::round(value * static_cast<float>(steps - 1)) / static_cast<float>(steps - 1);
        parameter->setValue(value);
    }
}

inline juce::AudioProcessorParameter* named(juce::AudioPluginInstance& instance, const juce::String& name)
{
    for (auto* parameter : instance.getParameters())
        if (parameter->getName(100) == name)
            return parameter;
    return nullptr;
}

inline juce::AudioProcessor::BusesLayout layoutOf(const juce::AudioChannelSet& in, const juce::AudioChannelSet& out)
{
    juce::AudioProcessor::BusesLayout layout;
    layout.inputBuses.add(in);
    layout.outputBuses.add(out);
    return layout;
}

inline juce::AudioProcessor::BusesLayout layoutOf(int channels)
{
    return layoutOf(juce::AudioChannelSet::canonicalChannelSet(channels), juce::AudioChannelSet::canonicalChannelSet(channels));
}

inline bool allFinite(const juce::AudioBuffer<float>& buffer)
{
    for (int c = 0; c < buffer.getNumChannels(); ++c)
        if (!std::all_of(buffer.getReadPointer(c), buffer.getReadPointer(c) + buffer.getNumSamples(), [](float x) { return std::isfinite(x); }))
            return false;
    return true;
}

// The test signal from `frame` through the processor, in place; false when what comes out is not finite.
inline bool playTestSignal(juce::AudioProcessor& processor, juce::AudioBuffer<float>& block, int64_t frame, double rate)
{
    juce::MidiBuffer midi;
    fillTestSignal(block, frame, rate);
    processor.processBlock(block, midi);
    return allFinite(block);
}

// Hosts the formats' asynchronous notices, latency among them.
inline void pumpMessages() { juce::MessageManager::getInstance()->runDispatchLoopUntil(50); }

// JUCE's LV2 host makes a new instance at each prepare with the old one's state, which the plug-in
// restores on its own message thread: audio compared from the first block waits for it.
inline void awaitPostedRestore() { pumpMessages(); juce::Thread::sleep(300); }

// Silent blocks of 256 frames, each followed by its messages: an LV2 host learns values only from them.
inline void settle(juce::AudioPluginInstance& instance, int blocks = 1)
{
    juce::AudioBuffer<float> buffer(2, 256);
    juce::MidiBuffer midi;
    for (int block = 0; block < blocks; ++block)
    {
        buffer.clear();
        instance.processBlock(buffer, midi);
        pumpMessages();
    }
}

struct HostedFormat : ::testing::TestWithParam<FormatCase>
{
    void SetUp() override
    {
        if (juce::String(GetParam().path).isEmpty())
            GTEST_SKIP() << GetParam().name << " is not built in this configuration";
        if (vst2())
            format = std::make_unique<juce::VSTPluginFormat>();
        else if (vst3())
            format = std::make_unique<juce::VST3PluginFormat>();
        else
            format = std::make_unique<juce::LV2PluginFormat>();
        // LV2 bundles are scanned from the build folder.
        juce::OwnedArray<juce::PluginDescription> found;
        const auto folder = juce::File(GetParam().path).getParentDirectory().getParentDirectory();
        for (const auto& uri : lv2() ? format->searchPathsForPlugins(juce::FileSearchPath(folder.getFullPathName()), false, false)
                                     : juce::StringArray { GetParam().path })
            if (!lv2() || uri.contains("qel.net"))
                format->findAllTypesForFile(found, uri);
        ASSERT_FALSE(found.isEmpty()) << "no plug-in found at " << GetParam().path;
        description = *found[0];
    }

    Instance load(double sampleRate, int blockSize)
    {
        juce::String error;
        auto instance = format->createInstanceFromDescription(description, sampleRate, blockSize, error);
        EXPECT_NE(instance, nullptr) << error;
        return instance;
    }

    // Loaded, laid out and prepared as a host does it, then awaitRestore(); null when the layout is refused.
    Instance prepared(double rate = 48000.0, int block = 256, int channels = 2)
    {
        auto hosted = load(rate, block);
        if (hosted == nullptr || !hosted->setBusesLayout(layoutOf(channels)))
            return nullptr;
        EXPECT_EQ(hosted->getTotalNumOutputChannels(), channels);
        hosted->prepareToPlay(rate, block);
        awaitRestore(*hosted, channels);
        return hosted;
    }

    bool vst2() const { return juce::String(GetParam().name) == "VST"; }
    bool vst3() const { return juce::String(GetParam().name) == "VST3"; }
    bool lv2() const { return juce::String(GetParam().name) == "LV2"; }

    // The restore takes ~35 ms at 48 kHz, 290 ms at 384 kHz, passing blocks through meanwhile: waits twice that, then for a probe.
    void awaitRestore(juce::AudioPluginInstance& p, int channels)
    {
        if (!lv2())
            return;
        awaitPostedRestore();
        juce::Thread::sleep((int) (p.getSampleRate() / 1000.0));
        juce::AudioBuffer<float> probe(channels, 1);
        juce::MidiBuffer midi;
        for (int attempt = 0; attempt < 300; ++attempt, juce::Thread::sleep(10))
        {
            for (int c = 0; c < channels; ++c)
                probe.setSample(c, 0, 0.25f);
            p.processBlock(probe, midi);
            if (probe.getSample(0, 0) != 0.25f)
                return;
        }
        ADD_FAILURE() << "the plug-in never processed a block";
    }

    std::unique_ptr<juce::AudioPluginFormat> format;
    juce::PluginDescription description;
};

// The three formats this configuration builds, and test names by format.
inline auto builtFormats()
{
    return ::testing::Values(FormatCase { "VST", REELWARP_VST2_BINARY }, FormatCase { "VST3", REELWARP_VST3_BUNDLE },
                             FormatCase { "LV2", REELWARP_LV2_BUNDLE });
}
inline std::string formatName(const ::testing::TestParamInfo<FormatCase>& info) { return info.param.name; }

} // namespace qel::test
