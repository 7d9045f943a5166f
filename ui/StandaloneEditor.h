#pragma once

#include <juce_audio_processors/juce_audio_processors.h>
#include <juce_audio_utils/juce_audio_utils.h>

#include <memory>

namespace qel
{

class Plugin;

// The standalone application's window content: the plug-in's own editor with
// a keyboard below it, played with the mouse or the computer's keys, whose
// notes reach the plug-in's MIDI input as a device's would.
class StandaloneEditor : public juce::AudioProcessorEditor,
                         private juce::MidiKeyboardState::Listener,
                         private juce::ComponentListener,
                         private juce::Timer
{
public:
    static constexpr int keyboardHeight = 72;
    static constexpr int lowestKey = 36;  // C2
    static constexpr int highestKey = 96; // C7

    StandaloneEditor(Plugin& plugin, std::unique_ptr<juce::AudioProcessorEditor> face);
    ~StandaloneEditor() override;

    void resized() override;
    // Keys pressed anywhere in the window play, not only on the keyboard.
    bool keyPressed(const juce::KeyPress& key) override;
    bool keyStateChanged(bool isKeyDown) override;

    juce::MidiKeyboardState& getKeyboardState() noexcept { return keyboardState; }
    juce::MidiKeyboardComponent& getKeyboard() noexcept { return keyboard; }
    juce::AudioProcessorEditor& getFace() noexcept { return *face; }

private:
    void handleNoteOn(juce::MidiKeyboardState*, int channel, int note, float velocity) override;
    void handleNoteOff(juce::MidiKeyboardState*, int channel, int note, float velocity) override;
    void componentMovedOrResized(juce::Component& component, bool wasMoved, bool wasResized) override;
    // Once the window is on the screen the keyboard takes the keys, so that typing plays at once.
    void timerCallback() override;
    void fitToFace();

    Plugin& plugin;
    std::unique_ptr<juce::AudioProcessorEditor> face;
    juce::MidiKeyboardState keyboardState;
    juce::MidiKeyboardComponent keyboard { keyboardState, juce::MidiKeyboardComponent::horizontalKeyboard };
};

} // namespace qel
