// The plug-in's blocks after the first in RealtimeSanitizer's real-time
// context, in every mode the effect's switches select.
#include "RealtimeScope.h"

#include "element/ParameterRegistry.h"
#include "plugin/ExportedPluginParameter.h"
#include "plugin/ReelwarpPlugin.h"
#include "support/Signals.h"
#include "tape/ReelwarpParameters.h"

#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <mutex>
#include <thread>

namespace
{

using qel::test::inRealtimeScope;
using Set = juce::AudioChannelSet;

// Every toggle and choice of the table, the LFO's sync and the bypass, each
// with its number of positions.
std::vector<std::pair<uint32_t, int>> modeSwitches()
{
    std::vector<std::pair<uint32_t, int>> switches;
    for (int i = 0; i < qel::reelwarpParameterCount; ++i)
        if (const auto& row = qel::reelwarpParameterRow(static_cast<qel::ReelwarpParameter>(i));
            row.kind != qel::ReelwarpParameterRow::Kind::number)
            switches.emplace_back(qel::reelwarpParameterId(row.parameter), static_cast<int>(row.maximum - row.minimum) + 1);
    switches.emplace_back(qel::FrameworkParameters::get().syncToHost, 2);
    switches.emplace_back(qel::FrameworkParameters::get().bypass, 2);
    return switches;
}

struct MovingPlayHead : juce::AudioPlayHead
{
    PositionInfo info;
    juce::Optional<PositionInfo> getPosition() const override { return info; }
};

// Prepares, plays the first block, then walks every combination of the
// switches (reflected Gray code, one switch moving per block) with MIDI, a
// moving transport and numbers automated between blocks. The host's slots
// write, or, with the bank disconnected, the element's pending slots.
void playEveryMode(const Set& in, const Set& out, bool throughHost)
{
    qel::ReelwarpPlugin p;
    juce::AudioProcessor::BusesLayout layout;
    layout.inputBuses.add(in);
    layout.outputBuses.add(out);
    ASSERT_TRUE(p.setBusesLayout(layout));
    MovingPlayHead head;
    head.info.setBpm(120.0);
    head.info.setIsPlaying(true);
    p.setPlayHead(&head);
    p.prepareToPlay(48000.0, 256);
    auto& effect = *p.getEngine().findChild(qel::ReelwarpPlugin::effectName);
    std::map<uint32_t, juce::AudioProcessorParameter*> slots;
    for (auto* parameter : p.getParameters())
        slots[static_cast<qel::ExportedPluginParameter*>(parameter)->getParameterId()] = parameter;
    if (!throughHost)
        p.disconnectAll();
    auto write = [&](uint32_t id, int position, int positions) {
        if (throughHost && slots.count(id) != 0)
            slots[id]->setValue(static_cast<float>(position) / static_cast<float>(positions - 1));
        else if (effect.findIntParameter(id) != nullptr)
            effect.setParameterIntDeferred(id, position, true);
        else
            effect.setParameterBoolDeferred(id, position != 0, true);
    };

    juce::AudioBuffer<float> buffer(2, 256);
    juce::MidiBuffer midi;
    midi.ensureSize(4096);
    p.processBlock(buffer, midi);

    const auto switches = modeSwitches();
    std::vector<int> digits(switches.size(), 0), directions(switches.size(), 1);
    for (const auto& [id, positions] : switches)
        write(id, 0, positions);
    uint32_t seed = 7u;
    int64_t played = 0;
    size_t blocks = 0;
    for (bool more = true; more; ++blocks)
    {
        constexpr int lengths[] = { 32, 1, 33, 0, 7, 64, 31 };
        const int frames = lengths[blocks % std::size(lengths)];
        qel::test::fillTestSignal(buffer, played, 48000.0);
        played += frames;
        midi.clear();
        midi.addEvent(juce::MidiMessage::noteOn(1, 60, (juce::uint8) 100), 0);
        midi.addEvent(juce::MidiMessage::controllerEvent(1, 117 + (int) (seed % 3), 127), frames / 2);
        midi.addEvent(juce::MidiMessage::pitchWheel(1, (int) (seed % 16384)), frames / 3);
        juce::AudioBuffer<float> view(buffer.getArrayOfWritePointers(), buffer.getNumChannels(), frames);
        inRealtimeScope([&] { p.processBlock(view, midi); });

        seed = seed * 1664525u + 1013904223u;
        const auto& row = qel::reelwarpParameterRow(static_cast<qel::ReelwarpParameter>(seed % qel::reelwarpParameterCount));
        const float value = static_cast<float>(seed >> 8) / 16777216.0f;
        if (row.kind == qel::ReelwarpParameterRow::Kind::number)
        {
            const auto id = qel::reelwarpParameterId(row.parameter);
            if (throughHost)
                slots[id]->setValue(value);
            else
                effect.setParameterFloatDeferred(id, row.minimum + value * (row.maximum - row.minimum), true);
        }
        head.info.setBpm(90.0 + static_cast<double>(seed % 3) * 30.0);
        head.info.setPpqPosition(seed % 7 == 0 ? static_cast<double>(seed % 64) : static_cast<double>(blocks) * 0.05);

        more = false;
        for (size_t i = 0; i < digits.size() && !more; ++i)
        {
            const int next = digits[i] + directions[i];
            if (next >= 0 && next < switches[i].second)
            {
                digits[i] = next;
                write(switches[i].first, next, switches[i].second);
                more = true;
            }
            else
                directions[i] = -directions[i];
        }
    }
    size_t expected = 1;
    for (const auto& s : switches)
        expected *= static_cast<size_t>(s.second);
    EXPECT_EQ(blocks, expected);
    p.setPlayHead(nullptr);
}

TEST(RealtimeSanitizer, EveryModeOnTwoChannelsFromTheElement) { playEveryMode(Set::stereo(), Set::stereo(), false); }
TEST(RealtimeSanitizer, EveryModeOnOneChannelFromTheElement) { playEveryMode(Set::mono(), Set::mono(), false); }
TEST(RealtimeSanitizer, EveryModeUnderHostAutomation) { playEveryMode(Set::mono(), Set::stereo(), true); }

// The context bites: what the audio thread must not do ends the process.
TEST(RealtimeSanitizerDeathTest, ReportsAnAllocationALockAndASystemCallButNotATryLock)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    std::mutex m;
    inRealtimeScope([&] {
        if (m.try_lock())
            m.unlock();
    });
    EXPECT_DEATH(inRealtimeScope([] {
                     int* volatile p = new int(3);
                     delete p;
                 }),
                 "Real-time violation.*`malloc`");
    EXPECT_DEATH(inRealtimeScope([&] { const std::lock_guard<std::mutex> held(m); }), "`pthread_mutex_lock`");
    EXPECT_DEATH(inRealtimeScope([] { std::this_thread::sleep_for(std::chrono::milliseconds(1)); }), "`nanosleep`");
}

} // namespace
