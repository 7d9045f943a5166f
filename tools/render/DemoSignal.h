#pragma once

#include <juce_audio_basics/juce_audio_basics.h>

namespace qel::render
{

// A few seconds of plucked chords and hi-hat ticks: bright, with attacks and
// sustain, so that the tape and the flange have something to work on.
juce::AudioBuffer<float> makeDemoSignal(double sampleRate, double seconds);

} // namespace qel::render
