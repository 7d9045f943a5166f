// The audio thread's promise, after the first block: no allocation, no free,
// no waiting lock, no sleep, in every mode the effect's switches select,
// while the host automates and MIDI arrives.
#include "element/ParameterRegistry.h"
#include "plugin/ExportedPluginParameter.h"
#include "plugin/ReelwarpPlugin.h"
#include "support/AllocationCounter.h"
#include "support/Signals.h"
#include "tape/ReelwarpParameters.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

namespace
{

using qel::test::AllocationCounter;
using Set = juce::AudioChannelSet;

// One mode switch and its number of positions.
struct Switch
{
    std::string name;
    int positions = 2;
    uint32_t id = 0;
};

// Every toggle and choice of the effect's table, the LFO's sync to the host,
// and the element's bypass: the parameters that select code paths.
std::vector<Switch> modeSwitches()
{
    using Kind = qel::ReelwarpParameterRow::Kind;
    std::vector<Switch> switches;
    for (int i = 0; i < qel::reelwarpParameterCount; ++i)
    {
        const auto& row = qel::reelwarpParameterRow(static_cast<qel::ReelwarpParameter>(i));
        if (row.kind != Kind::number)
            switches.push_back({ row.name, static_cast<int>(row.maximum - row.minimum) + 1,
                                 qel::reelwarpParameterId(row.parameter) });
    }
    switches.push_back({ "SyncToHost", 2, qel::FrameworkParameters::get().syncToHost });
    switches.push_back({ "Bypass", 2, qel::FrameworkParameters::get().bypass });
    return switches;
}

// Moves one digit by one per step through every combination of the digits:
// the reflected mixed-radix Gray code. False after the last.
bool nextCombination(std::vector<int>& digits, std::vector<int>& directions, const std::vector<Switch>& switches,
                     size_t& moved)
{
    for (size_t i = 0; i < digits.size(); ++i)
    {
        const int next = digits[i] + directions[i];
        if (next >= 0 && next < switches[i].positions)
        {
            digits[i] = next;
            moved = i;
            return true;
        }
        directions[i] = -directions[i];
    }
    return false;
}

struct MovingPlayHead : juce::AudioPlayHead
{
    PositionInfo info;
    juce::Optional<PositionInfo> getPosition() const override { return info; }
};

juce::AudioProcessor::BusesLayout layout(const Set& in, const Set& out)
{
    juce::AudioProcessor::BusesLayout l;
    l.inputBuses.add(in);
    l.outputBuses.add(out);
    return l;
}

// Who moves the parameters: the host through its slots, or the editor's
// way, through the element's pending slots with the host's bank disconnected.
enum class Writer { host, element };

// The plug-in as a host drives it: prepared, one block played, then blocks
// of changing length with MIDI, a moving transport and automation between them.
struct HostedEffect
{
    HostedEffect(const juce::AudioProcessor::BusesLayout& l, Writer w, double sampleRate = 48000.0) : writer(w)
    {
        EXPECT_TRUE(plugin.setBusesLayout(l));
        head.info.setBpm(120.0);
        head.info.setIsPlaying(true);
        plugin.setPlayHead(&head);
        plugin.prepareToPlay(sampleRate, maxFrames);
        midi.ensureSize(4096);
        for (auto* parameter : plugin.getParameters())
            if (auto* slot = dynamic_cast<qel::ExportedPluginParameter*>(parameter))
                slots[slot->getParameterId()] = slot;
        for (int i = 0; i < qel::reelwarpParameterCount; ++i)
            if (const auto& row = qel::reelwarpParameterRow(static_cast<qel::ReelwarpParameter>(i));
                row.kind == qel::ReelwarpParameterRow::Kind::number)
                numbers.push_back(&row);
        if (writer == Writer::element)
            plugin.disconnectAll();
        block(maxFrames);
    }
    ~HostedEffect() { plugin.setPlayHead(nullptr); }

    qel::Element& effect() const { return *plugin.getEngine().findChild(qel::ReelwarpPlugin::effectName); }
    qel::ExportedPluginParameter* slotOf(uint32_t id) const
    {
        const auto it = slots.find(id);
        return writer == Writer::host && it != slots.end() ? it->second : nullptr;
    }

    // What the element reads for a switch, as a position.
    int position(const Switch& s) const
    {
        if (effect().findIntParameter(s.id) != nullptr)
            return effect().getParameterInt(s.id);
        return effect().getParameterBool(s.id) ? 1 : 0;
    }

    void set(const Switch& s, int position)
    {
        if (auto* slot = slotOf(s.id))
            slot->setValue(static_cast<float>(position) / static_cast<float>(s.positions - 1));
        else if (effect().findIntParameter(s.id) != nullptr)
            effect().setParameterIntDeferred(s.id, position, true);
        else
            effect().setParameterBoolDeferred(s.id, position != 0, true);
    }

    // What a host changes between blocks: a few numbers to their ends or
    // between, the tempo, and now and then a jump of the position.
    void automate()
    {
        for (int k = 0; k < 3; ++k)
        {
            seed = seed * 1664525u + 1013904223u;
            const float value = seed % 5 == 0 ? 0.0f : seed % 5 == 1 ? 1.0f : static_cast<float>(seed >> 8) / 16777216.0f;
            const auto& row = *numbers[(seed >> 4) % numbers.size()];
            const auto id = qel::reelwarpParameterId(row.parameter);
            if (auto* slot = slotOf(id))
                slot->setValue(value);
            else
                effect().setParameterFloatDeferred(id, row.minimum + value * (row.maximum - row.minimum), true);
        }
        head.info.setBpm(90.0 + static_cast<double>(seed % 3) * 30.0);
        beat += 0.05;
        if (seed % 7 == 0)
            beat = static_cast<double>(seed % 64);
        head.info.setPpqPosition(beat);
        head.info.setIsPlaying(seed % 11 != 0);
    }

    // One block, with notes, controllers (the transport's among them) and a
    // bend; returns what the plug-in did that the audio thread must not.
    size_t block(int frames)
    {
        qel::test::fillTestSignal(buffer, played, 48000.0);
        played += frames;
        midi.clear();
        const int last = std::max(frames - 1, 0);
        midi.addEvent(juce::MidiMessage::noteOn(1, 60 + (int) (seed % 12), (juce::uint8) 100), 0);
        midi.addEvent(juce::MidiMessage::controllerEvent(1, 117 + (int) (seed % 3), 127), last / 2);
        midi.addEvent(juce::MidiMessage::controllerEvent(2, (int) (seed % 120), (int) (seed % 128)), last / 3);
        midi.addEvent(juce::MidiMessage::pitchWheel(1, (int) (seed % 16384)), last);
        midi.addEvent(juce::MidiMessage::noteOff(1, 60 + (int) (seed % 12)), last);
        juce::AudioBuffer<float> view(buffer.getArrayOfWritePointers(), buffer.getNumChannels(), frames);
        AllocationCounter counter;
        plugin.processBlock(view, midi);
        return counter.violations();
    }

    static constexpr int maxFrames = 256;
    qel::ReelwarpPlugin plugin;
    MovingPlayHead head;
    juce::AudioBuffer<float> buffer { 2, maxFrames };
    juce::MidiBuffer midi;
    Writer writer;
    std::map<uint32_t, qel::ExportedPluginParameter*> slots;
    std::vector<const qel::ReelwarpParameterRow*> numbers;
    uint32_t seed = 12345u;
    int64_t played = 0;
    double beat = 0.0;
};

// The message thread keeps delivering while `work` runs on an audio thread
// of its own, as in a host: listeners answer there, not on the audio thread.
void onAudioThread(const std::function<void()>& work)
{
    std::atomic<bool> done { false };
    std::thread audio([&] {
        work();
        done = true;
    });
    while (!done)
        juce::MessageManager::getInstance()->runDispatchLoopUntil(5);
    audio.join();
}

std::string describe(const std::vector<Switch>& switches, const std::vector<int>& digits)
{
    std::string text;
    for (size_t i = 0; i < switches.size(); ++i)
        text += switches[i].name + "=" + std::to_string(digits[i]) + " ";
    return text;
}

TEST(RealtimeSafety, TheCounterSeesWhatItMustCatch)
{
    std::mutex m;
    size_t counted[4] {};
    {
        AllocationCounter c;
        // Through volatile pointers, which the compiler may not optimise away.
        int* volatile p = new int(1);
        delete p;
        void* volatile raw = std::malloc(8);
        raw = std::realloc(raw, 64);
        std::free(raw);
        { const std::lock_guard<std::mutex> held(m); }
        std::this_thread::yield();
        std::this_thread::sleep_for(std::chrono::microseconds(1));
        counted[0] = c.count(), counted[1] = c.frees(), counted[2] = c.locks(), counted[3] = c.waits();
    }
    EXPECT_EQ(counted[0], AllocationCounter::seesMalloc() ? 3u : 1u);
    EXPECT_EQ(counted[1], AllocationCounter::seesMalloc() ? 2u : 1u);
    EXPECT_EQ(counted[2], AllocationCounter::seesLocks() ? 1u : 0u);
    EXPECT_EQ(counted[3], AllocationCounter::seesLocks() ? 2u : 0u);

    // Another thread's allocation is not counted here, nor is a try-lock.
    std::atomic<int> stage { 0 };
    std::thread other([&] {
        while (stage.load() == 0)
        {
        }
        int* volatile q = new int(2);
        delete q;
        stage = 2;
    });
    size_t violations = 0;
    {
        AllocationCounter c;
        stage = 1;
        while (stage.load() != 2)
        {
        }
        if (m.try_lock())
            m.unlock();
        violations = c.violations();
    }
    other.join();
    EXPECT_EQ(violations, 0u);
}

// Plays one block in every combination of the switches, moving one switch
// through the host between blocks; returns the violations and where they began.
std::pair<size_t, std::string> playEveryCombination(HostedEffect& host, const std::vector<Switch>& switches)
{
    std::vector<int> digits(switches.size(), 0), directions(switches.size(), 1);
    for (const auto& s : switches)
        host.set(s, 0);
    AllocationCounter::forgetSites();
    size_t combinations = 1, violations = 0, unheard = 0;
    std::string first;
    // The choices of the compander read "None" while it is off, or follow the link.
    auto readsBack = [](const Switch& s) {
        return s.id != qel::reelwarpParameterId(qel::ReelwarpParameter::NoiseReductionEncoder)
            && s.id != qel::reelwarpParameterId(qel::ReelwarpParameter::NoiseReductionDecoder);
    };
    onAudioThread([&] {
        constexpr int lengths[] = { 32, 1, 33, 0, 7, 64, 31 };
        size_t moved = 0;
        for (bool more = true; more;)
        {
            const size_t found = host.block(lengths[combinations % std::size(lengths)]);
            if (found != 0 && first.empty())
                first = describe(switches, digits);
            violations += found;
            if (combinations > 1 && readsBack(switches[moved]) && host.position(switches[moved]) != digits[moved])
                ++unheard;
            host.automate();
            more = nextCombination(digits, directions, switches, moved);
            if (more)
            {
                host.set(switches[moved], digits[moved]);
                ++combinations;
            }
        }
    });
    size_t expected = 1;
    for (const auto& s : switches)
        expected *= static_cast<size_t>(s.positions);
    EXPECT_EQ(combinations, expected);
    EXPECT_EQ(unheard, 0u) << "switch moves the effect did not take";
    return { violations, violations == 0 ? std::string() : "first in " + first + "\n" + AllocationCounter::violationSites() };
}

TEST(RealtimeSafety, EveryCombinationOfModesUnderHostAutomation)
{
    HostedEffect host(layout(Set::stereo(), Set::stereo()), Writer::host);
    const auto switches = modeSwitches();
    for (const auto& s : switches)
        if (s.name != "Bypass")
            ASSERT_NE(host.slotOf(s.id), nullptr) << s.name << " has no host slot";
    const auto [violations, where] = playEveryCombination(host, switches);
    EXPECT_EQ(violations, 0u) << where;
}

// One channel runs the single-channel loops. Written as the editor writes,
// with no host slot listening, which keeps the engine's own promise in view.
TEST(RealtimeSafety, EveryCombinationOfModesOnOneChannelFromTheElement)
{
    HostedEffect host(layout(Set::mono(), Set::mono()), Writer::element, 44100.0);
    const auto [violations, where] = playEveryCombination(host, modeSwitches());
    EXPECT_EQ(violations, 0u) << where;
}

// Host automation of every slot from the message thread while the audio
// thread plays: the pending slots carry it over without a lock.
TEST(RealtimeSafety, AutomationFromAnotherThreadWhileBlocksRun)
{
    HostedEffect host(layout(Set::mono(), Set::stereo()), Writer::host, 96000.0);
    std::atomic<bool> done { false };
    AllocationCounter::forgetSites();
    size_t violations = 0;
    std::thread audio([&] {
        for (int b = 0; b < 3000; ++b)
        {
            violations += host.block(b % 5 == 0 ? 17 : 128);
        }
        done = true;
    });
    uint32_t seed = 99u;
    const auto parameters = host.plugin.getParameters();
    while (!done)
    {
        for (auto* parameter : parameters)
        {
            seed = seed * 1664525u + 1013904223u;
            parameter->setValue(static_cast<float>(seed >> 8) / 16777216.0f);
        }
        juce::MessageManager::getInstance()->runDispatchLoopUntil(1);
    }
    audio.join();
    EXPECT_EQ(violations, 0u) << AllocationCounter::violationSites();
}

} // namespace
