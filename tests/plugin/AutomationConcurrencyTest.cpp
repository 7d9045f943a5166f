// A host automating or saving from its own threads while the audio thread renders
// and the message thread changes the tree and delivers notices; run under ThreadSanitizer too.
#include "plugin/ReelwarpPlugin.h"
#include "support/HostStateText.h"
#include "tape/ReelwarpParameters.h"
#include "ui/PresetFiles.h"

#include <gtest/gtest.h>
#include <tinyxml2.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace
{

using qel::ReelwarpParameter;
using qel::test::savedText;

// The plug-in with an audio thread clicking through it, block after block.
struct Playing
{
    qel::ReelwarpPlugin plugin;
    std::atomic<bool> stop { false };
    std::thread audio;

    Playing()
    {
        plugin.prepareToPlay(48000.0, 256);
        audio = std::thread([this] {
            juce::AudioBuffer<float> buffer(2, 256);
            juce::MidiBuffer midi;
            while (!stop.load())
            {
                buffer.clear();
                buffer.setSample(0, 0, 0.5f);
                plugin.processBlock(buffer, midi);
            }
        });
    }
    ~Playing() { halt(); }
    void halt() { stop = true; if (audio.joinable()) audio.join(); }
    qel::Element& effect() { return *plugin.getEngine().findChild("Reelwarp"); }
    juce::AudioProcessorParameter& slot(int index) { return *plugin.getParameters()[index]; }
};

// The message thread's turn: deliver the notices and run the dispatch loop.
void messageThreadTurn()
{
    qel::ParameterChangeChannel::get().deliver();
    juce::MessageManager::getInstance()->runDispatchLoopUntil(1);
}

TEST(HostAutomation, ThreeThreadsAtOnceEndOnTheLastValueWritten)
{
    Playing p;
    auto &mix = p.slot(29), &encoder = p.slot(41), &invert = p.slot(33);
    std::atomic<bool> hostDone { false };
    constexpr int writes = 2000;
    std::thread host([&] {
        for (int i = 0; i <= writes; ++i)
        {
            mix.setValue(static_cast<float>(i) / writes);
            encoder.setValueNotifyingHost(static_cast<float>(i % 4) / 3.0f);
            invert.setValue(static_cast<float>(i % 2));
            (void) mix.getValue();
        }
        hostDone = true;
    });
    // The message thread plays the editor, whose writes go through the pending slot like the host's.
    const auto driveId = qel::reelwarpParameterId(ReelwarpParameter::Drive);
    for (int i = 0; !hostDone.load() || i < 50; ++i)
    {
        p.effect().setParameterFloatDeferred(driveId, static_cast<float>(i % 100), true);
        messageThreadTurn();
    }
    host.join();
    p.halt();

    EXPECT_FLOAT_EQ(mix.getValue(), 1.0f);
    EXPECT_FLOAT_EQ(encoder.getValue(), static_cast<float>(writes % 4) / 3.0f);
    EXPECT_EQ(invert.getValue(), 0.0f);
    EXPECT_EQ(p.effect().getParameterFloat(qel::reelwarpParameterId(ReelwarpParameter::Mix)), 1.0f);
}

// The message thread restores states (each a new tree), loads presets, links and unlinks a parameter and sets a property
// while the host automates and a worker saves: each save is a whole tree, the slots follow the last tree, and once the
// edits stop a worker's save is the message thread's, byte for byte.
TEST(HostAutomation, TheHostAutomatesAndSavesWhileTheMessageThreadEditsTheTree)
{
    qel::ReelwarpPlugin source;
    juce::MemoryBlock state;
    source.getStateInformation(state);
    const auto presetFile = juce::File::createTempFile(".fxps");
    auto& sourceEffect = *source.getEngine().findChild("Reelwarp");
    sourceEffect.setParameterFloat(qel::reelwarpParameterId(ReelwarpParameter::Speed), 0.5f);
    ASSERT_TRUE(qel::savePresetFile(sourceEffect, presetFile, qel::PresetKind::whole()));
    tinyxml2::XMLDocument link;
    link.Parse(R"(<SignalConnection Source="@MIDI CC 7" Destination="Feedback" Ratio="0.5"/>)");

    Playing p;
    auto &mix = p.slot(29), &invert = p.slot(33);
    std::atomic<bool> hostDone { false }, saverDone { false };
    std::thread host([&] {
        for (int i = 0; i <= 3000; ++i)
        {
            mix.setValue(static_cast<float>(i % 100) / 100.0f);
            invert.setValue(static_cast<float>(i % 2));
            (void) mix.getValue();
        }
        hostDone = true;
    });
    std::vector<std::string> saves;
    std::thread saver([&] {
        for (int i = 0; i < 300; ++i)
            saves.push_back(savedText(p.plugin));
        saverDone = true;
    });
    for (int i = 0; !hostDone.load() || !saverDone.load() || i < 20; ++i)
    {
        switch (i % 4)
        {
            case 0: p.plugin.setStateInformation(state.getData(), static_cast<int>(state.getSize())); break;
            case 1: qel::loadPresetFile(&p.effect(), presetFile.getFullPathName(), qel::PresetKind::whole()); break;
            case 2: p.effect().addModulationSource(*link.RootElement(), true); break;
            default:
                p.effect().setProperty("PresetPath", { juce::String("/p/") + juce::String(i), 1 });
                p.effect().removeModulationSource(qel::reelwarpParameterId(ReelwarpParameter::Feedback), "@MIDI CC 7", true);
        }
        messageThreadTurn();
    }
    host.join();
    saver.join();
    p.halt();
    presetFile.deleteFile();
    for (const auto& text : saves)
    {
        tinyxml2::XMLDocument document;
        ASSERT_EQ(document.Parse(text.c_str()), tinyxml2::XML_SUCCESS);
        const auto* engine = document.FirstChildElement("QEL4")->FirstChildElement("Engine");
        ASSERT_NE(engine, nullptr);
        ASSERT_NE(engine->FirstChildElement("Reelwarp"), nullptr) << text;
    }

    mix.setValue(0.3f);
    juce::AudioBuffer<float> buffer(2, 256);
    juce::MidiBuffer midi;
    p.plugin.processBlock(buffer, midi);
    EXPECT_FLOAT_EQ(mix.getValue(), 0.3f);
    EXPECT_FLOAT_EQ(p.effect().getParameterFloat(qel::reelwarpParameterId(ReelwarpParameter::Mix)), 0.3f);

    p.effect().addModulationSource(*link.RootElement(), true);
    const auto here = savedText(p.plugin);
    std::string there;
    std::thread([&] { there = savedText(p.plugin); }).join();
    EXPECT_EQ(there, here);
    EXPECT_NE(here.find("@MIDI CC 7"), std::string::npos);
}

} // namespace
