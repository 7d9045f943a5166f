// A host automating from its own thread while the audio thread renders and
// the message thread changes other parameters and delivers notices.
#include "plugin/ReelwarpPlugin.h"
#include "tape/ReelwarpParameters.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace
{

using qel::ReelwarpParameter;

TEST(HostAutomation, ThreeThreadsAtOnceEndOnTheLastValueWritten)
{
    qel::ReelwarpPlugin plugin;
    plugin.prepareToPlay(48000.0, 256);
    auto& effect = *plugin.getEngine().findChild("Reelwarp");
    auto& mix = *plugin.getParameters()[29];
    auto& encoder = *plugin.getParameters()[41];
    auto& invert = *plugin.getParameters()[33];

    std::atomic<bool> hostDone { false }, stop { false };
    std::thread audio([&] {
        juce::AudioBuffer<float> buffer(2, 256);
        juce::MidiBuffer midi;
        while (!stop.load())
        {
            buffer.clear();
            buffer.setSample(0, 0, 0.5f);
            plugin.processBlock(buffer, midi);
        }
    });
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

} // namespace
