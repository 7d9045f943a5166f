// Loads the built plug-in binaries the way a host does.
#pragma once

#include <juce_audio_processors/juce_audio_processors.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <memory>
#include <random>

namespace qel::test
{

struct FormatCase
{
    const char* name;
    const char* path; // empty when the format is not built in this configuration
};

// Test listings name the format rather than dump its bytes.
inline void PrintTo(const FormatCase& format, std::ostream* out) { *out << format.name; }

// Each parameter but the skipped ones at a random value in [low, high];
// switches and choices at one of their steps, since some hosts keep what they wrote.
inline void setRandomValues(juce::AudioPluginInstance& instance, std::mt19937& random, float low, float high,
                            std::initializer_list<const char*> skipped)
{
    for (auto* parameter : instance.getParameters())
    {
        const auto name = parameter->getName(100);
        if (std::any_of(skipped.begin(), skipped.end(), [&](const char* s) { return name == s; }))
            continue;
        // LFO: a restored Manual mode starts its flange from deck A, wherever it was saved.
        if (name == "Flange Mode")
        {
            parameter->setValue(1.0f);
            continue;
        }
        const int steps = parameter->getNumSteps();
        float value = std::uniform_real_distribution<float>(low, high)(random);
        if (steps > 1 && steps < 100)
            value = std::round(value * static_cast<float>(steps - 1)) / static_cast<float>(steps - 1);
        parameter->setValue(value);
    }
}

inline std::unique_ptr<juce::AudioPluginFormat> makeFormat(const juce::String& name)
{
    if (name == "VST")
        return std::make_unique<juce::VSTPluginFormat>();
    if (name == "VST3")
        return std::make_unique<juce::VST3PluginFormat>();
    return std::make_unique<juce::LV2PluginFormat>();
}

// Finds the plug-in's description: LV2 bundles are scanned from the build folder.
inline std::unique_ptr<juce::PluginDescription> describe(juce::AudioPluginFormat& format, const juce::String& path)
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

// Hosts the formats' asynchronous notices, latency among them.
inline void pumpMessages()
{
    juce::MessageManager::getInstance()->runDispatchLoopUntil(50);
}

// JUCE's LV2 host makes a new instance at each prepare and gives it the old
// one's state; the plug-in restores it on its own message thread, which
// runs beside this one. Audio compared from the first block waits for it.
inline void awaitPostedRestore()
{
    pumpMessages();
    juce::Thread::sleep(300);
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

    bool lv2() const { return juce::String(GetParam().name) == "LV2"; }

    // JUCE's LV2 host makes a new plug-in at each prepare and hands it the old
    // state, restored on the plug-in's own thread in some 35 ms at 48 kHz and
    // 290 ms at 384 kHz, during which blocks come back as they went in. Waits
    // twice that, then until a one-frame probe is processed.
    void awaitRestore(juce::AudioPluginInstance& p, int channels)
    {
        if (!lv2())
            return;
        awaitPostedRestore();
        juce::Thread::sleep((int) (p.getSampleRate() / 1000.0));
        juce::AudioBuffer<float> probe(channels, 1);
        juce::MidiBuffer midi;
        for (int attempt = 0; attempt < 300; ++attempt)
        {
            for (int c = 0; c < channels; ++c)
                probe.setSample(c, 0, 0.25f);
            p.processBlock(probe, midi);
            if (probe.getSample(0, 0) != 0.25f)
                return;
            juce::Thread::sleep(10);
        }
        ADD_FAILURE() << "the plug-in never processed a block";
    }

    std::unique_ptr<juce::AudioPluginFormat> format;
    std::unique_ptr<juce::PluginDescription> description;
};

inline bool isVst2(const FormatCase& c)
{
    return juce::String(c.name) == "VST";
}

// The three formats this configuration builds, for INSTANTIATE_TEST_SUITE_P.
inline auto builtFormats()
{
    return ::testing::Values(FormatCase { "VST", REELWARP_VST2_BINARY }, FormatCase { "VST3", REELWARP_VST3_BUNDLE },
                             FormatCase { "LV2", REELWARP_LV2_BUNDLE });
}

inline std::string formatName(const ::testing::TestParamInfo<FormatCase>& info)
{
    return info.param.name;
}

} // namespace qel::test
