#include "ui/StandaloneEditor.h"

#include "plugin/Plugin.h"

namespace qel
{

StandaloneEditor::StandaloneEditor(Plugin& owner, std::unique_ptr<juce::AudioProcessorEditor> faceEditor)
    : juce::AudioProcessorEditor(owner), plugin(owner), face(std::move(faceEditor))
{
    addAndMakeVisible(*face);
    face->addComponentListener(this);
    keyboard.setAvailableRange(lowestKey, highestKey);
    keyboard.setVelocity(0.8f, true);
    keyboard.setOctaveForMiddleC(4);
    keyboard.setKeyPressBaseOctave(5); // "a" plays middle C
    addAndMakeVisible(keyboard);
    keyboardState.addListener(this);
    setWantsKeyboardFocus(true);
    fitToFace();
    startTimer(100);
}

StandaloneEditor::~StandaloneEditor()
{
    // Keys still down are let go, so that no note hangs when the window closes.
    keyboardState.allNotesOff(0);
    keyboardState.removeListener(this);
    face->removeComponentListener(this);
}

void StandaloneEditor::fitToFace()
{
    setSize(face->getWidth(), face->getHeight() + keyboardHeight);
}

void StandaloneEditor::resized()
{
    auto area = getLocalBounds();
    keyboard.setBounds(area.removeFromBottom(keyboardHeight));
    face->setTopLeftPosition(0, 0);
    int whiteKeys = 0;
    for (int note = lowestKey; note <= highestKey; ++note)
        whiteKeys += juce::MidiMessage::isMidiNoteBlack(note) ? 0 : 1;
    keyboard.setKeyWidth(static_cast<float>(getWidth()) / static_cast<float>(whiteKeys));
}

void StandaloneEditor::componentMovedOrResized(juce::Component&, bool, bool wasResized)
{
    if (wasResized)
        fitToFace();
}

void StandaloneEditor::timerCallback()
{
    if (!isShowing())
        return;
    stopTimer();
    keyboard.grabKeyboardFocus();
}

bool StandaloneEditor::keyPressed(const juce::KeyPress& key)
{
    return keyboard.keyPressed(key);
}

bool StandaloneEditor::keyStateChanged(bool isKeyDown)
{
    return keyboard.keyStateChanged(isKeyDown);
}

void StandaloneEditor::handleNoteOn(juce::MidiKeyboardState*, int channel, int note, float velocity)
{
    plugin.postEditorMidi(juce::MidiMessage::noteOn(channel, note, velocity));
}

void StandaloneEditor::handleNoteOff(juce::MidiKeyboardState*, int channel, int note, float velocity)
{
    plugin.postEditorMidi(juce::MidiMessage::noteOff(channel, note, velocity));
}

} // namespace qel
