// Every loop the effect's switches select while a host automates numbers,
// moves its transport and sends MIDI; the caller's guard watches each block.
#pragma once

#include "plugin/ExportedPluginParameter.h"
#include "plugin/ReelwarpPlugin.h"
#include "support/Signals.h"
#include "tape/ReelwarpParameters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <iterator>
#include <thread>
#include <utility>

namespace qel::test
{

// Who moves the parameters: the host through its slots, or the editor through the element's, the host's bank disconnected.
enum class Writer { host, element };

// The plug-in as a host drives it: prepared, one block played unguarded, then blocks of changing length with MIDI,
// a moving transport and automation between them.
struct HostedEffect
{
    struct MovingPlayHead : juce::AudioPlayHead
    {
        PositionInfo info;
        juce::Optional<PositionInfo> getPosition() const override { return info; }
    };

    HostedEffect(const juce::AudioChannelSet& in, const juce::AudioChannelSet& out, Writer writer, double sampleRate = 48000.0)
    {
        juce::AudioProcessor::BusesLayout layout;
        layout.inputBuses.add(in);
        layout.outputBuses.add(out);
        EXPECT_TRUE(plugin.setBusesLayout(layout));
        head.info.setBpm(120.0);
        head.info.setIsPlaying(true);
        plugin.setPlayHead(&head);
        plugin.prepareToPlay(sampleRate, maxFrames);
        midi.ensureSize(4096);
        if (writer == Writer::element)
            plugin.disconnectAll();
        block(maxFrames, [](auto& play) { return play(), size_t { 0 }; });
    }

    Element& effect() const { return *plugin.getEngine().findChild(ReelwarpPlugin::effectName); }
    int position(uint32_t id) const { return effect().findIntParameter(id) ? effect().getParameterInt(id) : effect().getParameterBool(id); }

    // Any parameter to a position of 0..1: through its host slot while the bank is connected, else as the editor writes.
    void set(uint32_t id, float position)
    {
        auto& e = effect();
        if (const auto slot = plugin.findSlot(ReelwarpPlugin::effectPath, id))
            plugin.getSlot(*slot)->setValue(position);
        else if (const auto* n = e.findFloatParameter(id))
            e.setParameterFloatDeferred(id, n->typedDescription().minimum + position * (n->typedDescription().maximum - n->typedDescription().minimum), true);
        else if (const auto* c = e.findIntParameter(id)) // every choice counts from 0
            e.setParameterIntDeferred(id, static_cast<int>(std::lround(position * static_cast<float>(c->typedDescription().maximum))), true);
        else
            e.setParameterBoolDeferred(id, position != 0.0f, true);
    }

    // Between blocks: a few numbers to their ends or between, the tempo, the transport, now and then a jump.
    void automate()
    {
        for (int k = 0; k < 3; ++k)
        {
            const uint32_t bits = random.nextBits();
            const auto& row = reelwarpParameterRow(static_cast<ReelwarpParameter>((bits >> 4) % reelwarpParameterCount));
            if (row.kind == ReelwarpParameterRow::Kind::number)
                set(reelwarpParameterId(row.parameter), bits % 5 < 2 ? static_cast<float>(bits % 5) : static_cast<float>(bits >> 8) / 16777216.0f);
        }
        const uint32_t bits = random.seed;
        head.info.setBpm(90.0 + static_cast<double>(bits % 3) * 30.0);
        beat = bits % 7 == 0 ? static_cast<double>(bits % 64) : beat + 0.05;
        head.info.setPpqPosition(beat);
        head.info.setIsPlaying(bits % 11 != 0);
    }

    // One block with notes, controllers (the transport's among them) and a bend, played inside `guard`; returns what it counted.
    template <typename Guard>
    size_t block(int frames, Guard&& guard)
    {
        fillTestSignal(buffer, played, 48000.0);
        played += frames;
        const uint32_t bits = random.seed;
        const int last = std::max(frames - 1, 0), note = 60 + (int) (bits % 12);
        midi.clear();
        midi.addEvent(juce::MidiMessage::noteOn(1, note, (juce::uint8) 100), 0);
        midi.addEvent(juce::MidiMessage::controllerEvent(1, 117 + (int) (bits % 3), 127), last / 2);
        midi.addEvent(juce::MidiMessage::controllerEvent(2, (int) (bits % 120), (int) (bits % 128)), last / 3);
        midi.addEvent(juce::MidiMessage::pitchWheel(1, (int) (bits % 16384)), last);
        midi.addEvent(juce::MidiMessage::noteOff(1, note), last);
        juce::AudioBuffer<float> view(buffer.getArrayOfWritePointers(), buffer.getNumChannels(), frames);
        auto play = [&] { plugin.processBlock(view, midi); };
        return guard(play);
    }

    static constexpr int maxFrames = 256;
    MovingPlayHead head; // outlives the plug-in that points to it
    ReelwarpPlugin plugin;
    juce::AudioBuffer<float> buffer { 2, maxFrames };
    juce::MidiBuffer midi;
    Noise random { 12345u };
    int64_t played = 0;
    double beat = 0.0;
};

// The switches and their positions. Each combination of the first five, which pick the decks' loops, plays twice: the
// others at a pattern from the noise, then at its inverse, so that each is heard both ways and none only bypassed.
inline constexpr std::pair<const char*, int> modeSwitches[] = {
    { "FlangeMode", 2 }, { "NoiseReductionEncoder", 4 }, { "NoiseReductionDecoder", 4 }, { "ApplyCompander", 2 },
    { "NRLink", 2 }, { "PhaseInvert", 2 }, { "ApplyRecordHead", 2 }, { "ApplyNoiseGate", 2 }, { "ApplyPlayheadFilter", 2 },
    { "ApplyTransport", 2 }, { "ApplyLowLatency", 2 }, { "NoiseSync", 2 }, { "ApplyFeedbackCompensation", 2 },
    { "SyncToHost", 2 }, { "Bypass", 2 },
};

// On an audio thread of its own while this, the message thread, delivers and writes the numbers' host slots, as a
// host's editor does. Returns the violations the guard saw.
template <typename Guard>
size_t playEveryMode(HostedEffect& host, Guard&& guard)
{
    constexpr int switchCount = static_cast<int>(std::size(modeSwitches)), walked = 5, combinations = 2 * 4 * 4 * 2 * 2;
    uint32_t ids[switchCount];
    for (int i = 0; i < switchCount; ++i)
        ids[i] = host.effect().findParameterId(modeSwitches[i].first);
    size_t violations = 0, unheard = 0;
    std::atomic<bool> done { false };
    std::thread audio([&] {
        constexpr int lengths[] = { 32, 1, 33, 0, 7, 64, 31 };
        int positions[switchCount] {};
        for (uint32_t n = 0, pattern = 0; n < 2 * combinations; ++n)
        {
            pattern = n % 2 == 0 ? host.random.nextBits() : ~pattern;
            for (int i = 0, rest = static_cast<int>(n / 2); i < switchCount; ++i)
            {
                const int count = modeSwitches[i].second, next = i < walked ? rest % count : static_cast<int>(pattern >> i) & 1;
                rest /= i < walked ? count : 1;
                if (n == 0 || next != positions[i])
                    host.set(ids[i], static_cast<float>(next) / static_cast<float>(count - 1));
                positions[i] = next;
            }
            violations += host.block(lengths[n % std::size(lengths)], guard);
            // The compander's choices read "None" while it is off, or follow the link.
            for (int i = 0; i < switchCount; ++i)
                unheard += i != 1 && i != 2 && host.position(ids[i]) != positions[i];
            host.automate();
        }
        done = true;
    });
    for (Noise random { 99u }; !done;)
    {
        for (int i = 0; i < host.plugin.getNumSlots(); ++i)
            if (auto* slot = host.plugin.getSlot(i); slot->isResolved() && slot->getKind() == ExportedPluginParameter::floatKind)
                slot->setValue(static_cast<float>(random.next() + 0.5));
        juce::MessageManager::getInstance()->runDispatchLoopUntil(2);
    }
    audio.join();
    EXPECT_EQ(unheard, 0u) << "switch moves the effect did not take";
    return violations;
}

} // namespace qel::test
