// A host automating or saving from its own thread while the audio thread
// renders and the message thread changes the tree and delivers notices.
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

// The audio thread: clicks through the plug-in, block after block.
void renderUntil(qel::ReelwarpPlugin& plugin, const std::atomic<bool>& stop)
{
    juce::AudioBuffer<float> buffer(2, 256);
    juce::MidiBuffer midi;
    while (!stop.load())
    {
        buffer.clear();
        buffer.setSample(0, 0, 0.5f);
        plugin.processBlock(buffer, midi);
    }
}

TEST(HostAutomation, ThreeThreadsAtOnceEndOnTheLastValueWritten)
{
    qel::ReelwarpPlugin plugin;
    plugin.prepareToPlay(48000.0, 256);
    auto& effect = *plugin.getEngine().findChild("Reelwarp");
    auto& mix = *plugin.getParameters()[29];
    auto& encoder = *plugin.getParameters()[41];
    auto& invert = *plugin.getParameters()[33];

    std::atomic<bool> hostDone { false }, stop { false };
    std::thread audio([&] { renderUntil(plugin, stop); });
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

    // The message thread plays the editor, whose writes go through the pending
    // slot like the host's, and delivers the notices.
    const auto driveId = qel::reelwarpParameterId(ReelwarpParameter::Drive);
    for (int i = 0; !hostDone.load() || i < 50; ++i)
    {
        effect.setParameterFloatDeferred(driveId, static_cast<float>(i % 100), true);
        qel::ParameterChangeChannel::get().deliver();
        juce::MessageManager::getInstance()->runDispatchLoopUntil(1);
    }
    host.join();
    stop = true;
    audio.join();

    EXPECT_FLOAT_EQ(mix.getValue(), 1.0f);
    EXPECT_FLOAT_EQ(encoder.getValue(), static_cast<float>(writes % 4) / 3.0f);
    EXPECT_EQ(invert.getValue(), 0.0f);
    EXPECT_EQ(effect.getParameterFloat(qel::reelwarpParameterId(ReelwarpParameter::Mix)), 1.0f);
}

// The message thread loads presets and restores host states, each restore
// a new tree, while the host automates and the audio thread renders.
TEST(HostAutomation, PresetsAndRestoresOnTheMessageThreadMeetAutomationSafely)
{
    qel::ReelwarpPlugin source, plugin;
    plugin.prepareToPlay(48000.0, 256);
    juce::MemoryBlock state;
    source.getStateInformation(state);
    const auto presetFile = juce::File::createTempFile(".fxps");
    auto& sourceEffect = *source.getEngine().findChild("Reelwarp");
    sourceEffect.setParameterFloat(qel::reelwarpParameterId(ReelwarpParameter::Speed), 0.5f);
    ASSERT_TRUE(qel::savePresetFile(sourceEffect, presetFile, qel::PresetKind::whole()));
    auto& mix = *plugin.getParameters()[29];
    auto& invert = *plugin.getParameters()[33];

    std::atomic<bool> stop { false }, hostDone { false };
    std::thread audio([&] { renderUntil(plugin, stop); });
    std::thread host([&] {
        for (int i = 0; i <= 3000; ++i)
        {
            mix.setValue(static_cast<float>(i % 100) / 100.0f);
            invert.setValue(static_cast<float>(i % 2));
            (void) mix.getValue();
        }
        hostDone = true;
    });
    for (int i = 0; !hostDone.load() || i < 20; ++i)
    {
        if (i % 2 == 0)
            plugin.setStateInformation(state.getData(), static_cast<int>(state.getSize()));
        else
            qel::loadPresetFile(plugin.getEngine().findChild("Reelwarp"), presetFile.getFullPathName(),
                                qel::PresetKind::whole());
        qel::ParameterChangeChannel::get().deliver();
        juce::MessageManager::getInstance()->runDispatchLoopUntil(1);
    }
    host.join();
    stop = true;
    audio.join();
    presetFile.deleteFile();

    // The slots follow the last tree.
    mix.setValue(0.3f);
    juce::AudioBuffer<float> buffer(2, 256);
    juce::MidiBuffer midi;
    plugin.processBlock(buffer, midi);
    EXPECT_FLOAT_EQ(mix.getValue(), 0.3f);
    EXPECT_FLOAT_EQ(plugin.getEngine().findChild("Reelwarp")->getParameterFloat(
                        qel::reelwarpParameterId(ReelwarpParameter::Mix)),
                    0.3f);
}

// A host saves from a worker while the message thread restores, loads a
// preset, links and unlinks a parameter and sets a property, and the audio
// thread renders: no save waits, each is a whole tree, and once the edits
// stop a worker's save is the message thread's, byte for byte.
TEST(HostAutomation, AWorkerSavesWhileTheMessageThreadEditsTheTree)
{
    qel::ReelwarpPlugin plugin;
    plugin.prepareToPlay(48000.0, 256);
    juce::MemoryBlock state;
    plugin.getStateInformation(state);
    const auto presetFile = juce::File::createTempFile(".fxps");
    ASSERT_TRUE(qel::savePresetFile(*plugin.getEngine().findChild("Reelwarp"), presetFile, qel::PresetKind::whole()));
    tinyxml2::XMLDocument link;
    link.Parse(R"(<SignalConnection Source="@MIDI CC 7" Destination="Feedback" Ratio="0.5"/>)");
    const auto feedback = qel::reelwarpParameterId(ReelwarpParameter::Feedback);

    std::atomic<bool> stop { false }, saverDone { false };
    std::thread audio([&] { renderUntil(plugin, stop); });
    std::vector<std::string> saves;
    std::thread saver([&] {
        for (int i = 0; i < 300; ++i)
            saves.push_back(savedText(plugin));
        saverDone = true;
    });
    for (int i = 0; !saverDone.load(); ++i)
    {
        auto& effect = *plugin.getEngine().findChild("Reelwarp");
        switch (i % 4)
        {
            case 0: plugin.setStateInformation(state.getData(), static_cast<int>(state.getSize())); break;
            case 1: qel::loadPresetFile(&effect, presetFile.getFullPathName(), qel::PresetKind::whole()); break;
            case 2: effect.addModulationSource(*link.RootElement(), true); break;
            default:
                effect.setProperty("PresetPath", { juce::String("/p/") + juce::String(i), 1 });
                effect.removeModulationSource(feedback, "@MIDI CC 7", true);
        }
        juce::MessageManager::getInstance()->runDispatchLoopUntil(1);
    }
    saver.join();
    stop = true;
    audio.join();
    presetFile.deleteFile();
    for (const auto& text : saves)
    {
        tinyxml2::XMLDocument document;
        ASSERT_EQ(document.Parse(text.c_str()), tinyxml2::XML_SUCCESS);
        const auto* engine = document.FirstChildElement("QEL4")->FirstChildElement("Engine");
        ASSERT_NE(engine, nullptr);
        ASSERT_NE(engine->FirstChildElement("Reelwarp"), nullptr) << text;
    }

    plugin.getEngine().findChild("Reelwarp")->addModulationSource(*link.RootElement(), true);
    const auto here = savedText(plugin);
    std::string there;
    std::thread([&] { there = savedText(plugin); }).join();
    EXPECT_EQ(there, here);
    EXPECT_NE(here.find("@MIDI CC 7"), std::string::npos);
}

} // namespace
