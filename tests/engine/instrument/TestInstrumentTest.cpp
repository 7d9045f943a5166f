// The standalone application's instrument in the plug-in's own tree: its shape under each wrapper and through saved
// states, a note heard through the effect and let go, and the audio thread's promise while notes play.
#include "engine/instrument/InstrumentContainer.h"
#include "engine/instrument/Keygroup.h"
#include "engine/instrument/TestInstrument.h"
#include "plugin/ReelwarpPlugin.h"
#include "support/AllocationCounter.h"
#include "support/Spectrum.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace
{

using qel::test::amplitudeAt;
using qel::test::decibels;
using Wrapper = juce::AudioProcessor::WrapperType;

std::unique_ptr<qel::ReelwarpPlugin> makeAs(Wrapper type)
{
    juce::AudioProcessor::setTypeOfNextNewPlugin(type);
    auto plugin = std::make_unique<qel::ReelwarpPlugin>();
    juce::AudioProcessor::setTypeOfNextNewPlugin(juce::AudioProcessor::wrapperType_Undefined);
    return plugin;
}

qel::Keygroup* keygroupOf(const qel::Engine& engine)
{
    auto* program = dynamic_cast<qel::Program*>(engine.getProcessingChild(0));
    auto* layer = program != nullptr && program->getNumMembers() == 1 ? dynamic_cast<qel::Layer*>(program->getMember(0)) : nullptr;
    return layer != nullptr && layer->getNumMembers() == 1 ? dynamic_cast<qel::Keygroup*>(layer->getMember(0)) : nullptr;
}

// Engine, then Program, Layer, Keygroup with its oscillator, "Amp. Env" and the link to Volume; the effect second.
void expectInstrumentThenEffect(const qel::Engine& engine, int waveform)
{
    ASSERT_EQ(engine.getNumProcessingChildren(), 2);
    EXPECT_EQ(engine.getProcessingChild(1)->getName(), qel::ReelwarpPlugin::effectName);
    auto* keygroup = keygroupOf(engine);
    ASSERT_NE(keygroup, nullptr);
    ASSERT_EQ(keygroup->getNumOscillators(), 1);
    auto* oscillator = keygroup->getOscillator(0);
    EXPECT_EQ(oscillator->getTypeName(), "MinBlepGenerator");
    EXPECT_EQ(oscillator->getParameterInt(oscillator->findParameterId("Waveform")), waveform);
    ASSERT_EQ(keygroup->getNumModulators(), 1);
    EXPECT_EQ(keygroup->getModulator(0)->getName(), "Amp. Env");
    auto* link = dynamic_cast<qel::SignalConnection*>(keygroup->findChild("AmpEnvMod"));
    ASSERT_NE(link, nullptr);
    EXPECT_EQ(link->source, "Amp. Env");
    EXPECT_EQ(link->displayName, "Amp. Env");
    EXPECT_EQ(link->parameterName(), "Volume");
    EXPECT_FLOAT_EQ(link->ratio, 1.0f);
    EXPECT_EQ(keygroup->getNumVolumeLinks(), 1) << "the link is bound to its envelope";
}

juce::MemoryBlock stateOf(qel::ReelwarpPlugin& plugin)
{
    juce::MemoryBlock state;
    plugin.getStateInformation(state);
    return state;
}

TEST(TestInstrument, OnlyTheStandaloneTreeHoldsItAndItTravelsWithStatesAsAnyElement)
{
    auto standalone = makeAs(juce::AudioProcessor::wrapperType_Standalone);
    expectInstrumentThenEffect(standalone->getEngine(), 1);
    EXPECT_FALSE(standalone->getEngine().isModified()) << "a freshly built instance is clean";
    for (const auto type : { juce::AudioProcessor::wrapperType_VST, juce::AudioProcessor::wrapperType_VST3,
                             juce::AudioProcessor::wrapperType_LV2 })
        EXPECT_EQ(makeAs(type)->getEngine().getNumProcessingChildren(), 1) << type;

    // Values away from their defaults come back in a new instance.
    auto* keygroup = keygroupOf(standalone->getEngine());
    auto* envelope = keygroup->getModulator(0);
    auto* oscillator = keygroup->getOscillator(0);
    keygroup->setParameterFloat(keygroup->findParameterId("Volume"), -3.0f);
    keygroup->setParameterInt(keygroup->findParameterId("HighKey"), 100);
    envelope->setParameterFloat(envelope->findParameterId("Release"), 0.6f);
    oscillator->setParameterInt(oscillator->findParameterId("Waveform"), 2);
    const auto saved = stateOf(*standalone);

    auto restored = makeAs(juce::AudioProcessor::wrapperType_Standalone);
    restored->setStateInformation(saved.getData(), (int) saved.getSize());
    expectInstrumentThenEffect(restored->getEngine(), 2);
    if (auto* back = keygroupOf(restored->getEngine()))
    {
        EXPECT_FLOAT_EQ(back->getParameterFloat(back->findParameterId("Volume")), -3.0f);
        EXPECT_EQ(back->getParameterInt(back->findParameterId("HighKey")), 100);
        EXPECT_FLOAT_EQ(back->getModulator(0)->getParameterFloat(envelope->findParameterId("Release")), 0.6f);
    }
    EXPECT_TRUE(restored->getEngine().getErrors().empty());

    // A plug-in given the standalone's state plays no instrument; the standalone given a plug-in's state plays one.
    auto plugin = makeAs(juce::AudioProcessor::wrapperType_VST3);
    plugin->setStateInformation(saved.getData(), (int) saved.getSize());
    ASSERT_EQ(plugin->getEngine().getNumProcessingChildren(), 1);
    EXPECT_EQ(plugin->getEngine().getProcessingChild(0)->getName(), qel::ReelwarpPlugin::effectName);
    const auto pluginState = stateOf(*plugin);
    auto again = makeAs(juce::AudioProcessor::wrapperType_Standalone);
    again->setStateInformation(pluginState.getData(), (int) pluginState.getSize());
    expectInstrumentThenEffect(again->getEngine(), 1);
}

// The standalone application with its input removed, at 48 kHz in blocks of 8192 frames.
struct SilentInputStandalone
{
    static constexpr int frames = 8192;
    SilentInputStandalone()
    {
        juce::AudioProcessor::BusesLayout layout;
        layout.inputBuses.add(juce::AudioChannelSet::disabled());
        layout.outputBuses.add(juce::AudioChannelSet::stereo());
        EXPECT_TRUE(plugin->setBusesLayout(layout));
        plugin->prepareToPlay(48000.0, frames);
    }
    void play(juce::MidiBuffer midi = {})
    {
        buffer.clear();
        plugin->processBlock(buffer, midi);
    }
    // The amplitude at a frequency in the block's second half, after the effect's latency.
    double amplitude(double hertz) const { return amplitudeAt(buffer.getReadPointer(0) + frames / 2, frames / 2, hertz, 48000.0); }

    std::unique_ptr<qel::ReelwarpPlugin> plugin = makeAs(juce::AudioProcessor::wrapperType_Standalone);
    juce::AudioBuffer<float> buffer { 2, frames };
};

TEST(TestInstrument, ANoteSoundsThroughTheEffectInItsOwnBlockAndDiesAwayWhenLetGo)
{
    SilentInputStandalone app;
    juce::MidiBuffer midi;
    midi.addEvent(juce::MidiMessage::noteOn(1, 69, (juce::uint8) 100), 0);
    app.play(midi);

    // Before the effect's latency only its hiss: the note went through it.
    const int latency = app.plugin->getLatencySamples();
    ASSERT_GT(latency, 0);
    const auto* left = app.buffer.getReadPointer(0);
    EXPECT_LT(*std::max_element(left, left + latency - 32, [](float a, float b) { return std::fabs(a) < std::fabs(b); }), 1e-3f);
    const double held = app.amplitude(440.0);
    EXPECT_GT(decibels(held), -40.0) << "A4 is heard in the block that started it";
    EXPECT_GT(decibels(held / app.amplitude(660.0)), 30.0) << "at its pitch, not between its partials";

    // Let go the way the on-screen keyboard plays: through the editor's inbox.
    ASSERT_TRUE(app.plugin->postEditorMidi(juce::MidiMessage::noteOff(1, 69)));
    for (int block = 0; block < 6; ++block)
        app.play();
    std::printf("A4 held %.1f dBFS, one second after its release %.1f dB below\n", decibels(held),
                decibels(held / app.amplitude(440.0)));
    EXPECT_LT(decibels(app.amplitude(440.0) / held), -60.0);
    EXPECT_EQ(keygroupOf(app.plugin->getEngine())->getActiveVoiceCount(), 0);
}

// Chords past the voice count, so that voices are stolen, with the pedal, the pitch wheel and the editor's inbox.
TEST(TestInstrument, PlayingNotesNeitherAllocatesNorWaitsOnTheAudioThread)
{
    auto plugin = makeAs(juce::AudioProcessor::wrapperType_Standalone);
    plugin->prepareToPlay(48000.0, 512);
    juce::AudioBuffer<float> buffer(2, 512);
    juce::MidiBuffer midi;
    midi.ensureSize(4096);
    buffer.clear();
    plugin->processBlock(buffer, midi);

    using qel::test::AllocationCounter;
    AllocationCounter::forgetSites();
    size_t violations = 0;
    int mostVoices = 0;
    float loudest = 0.0f;
    for (int block = 0; block < 400; ++block)
    {
        midi.clear();
        const auto root = [](int start) { return 40 + (start * 7) % 36; };
        if (block % 10 == 0)
            for (int n : { 0, 4, 7 })
                midi.addEvent(juce::MidiMessage::noteOn(1, root(block) + n, (juce::uint8) (60 + block % 60)), (block * 37) % 512);
        if (block % 10 == 6)
            for (int n : { 0, 4, 7 })
                midi.addEvent(juce::MidiMessage::noteOff(1, root(block - 6) + n), 100);
        if (block % 50 == 0)
            midi.addEvent(juce::MidiMessage::controllerEvent(1, 64, block % 100 == 0 ? 127 : 0), 3);
        midi.addEvent(juce::MidiMessage::pitchWheel(1, 8192 + (block % 16) * 256), 200);
        if (block % 25 == 3)
            plugin->postEditorMidi(juce::MidiMessage::noteOn(1, 60, 0.5f));
        buffer.clear();
        {
            const AllocationCounter counter;
            plugin->processBlock(buffer, midi);
            violations += counter.violations();
        }
        mostVoices = std::max(mostVoices, keygroupOf(plugin->getEngine())->getActiveVoiceCount());
        loudest = std::max(loudest, buffer.getMagnitude(0, 512));
    }
    EXPECT_EQ(violations, 0u) << AllocationCounter::violationSites();
    EXPECT_EQ(mostVoices, qel::Keygroup::voiceCount) << "every voice played, and some were taken over";
    EXPECT_GT(loudest, 0.05f);
}

} // namespace
