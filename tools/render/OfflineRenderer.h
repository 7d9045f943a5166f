#pragma once

#include <juce_audio_basics/juce_audio_basics.h>

namespace qel::render
{

// Runs audio through the product, as a host would offline: one instance,
// non-realtime, block by block.
juce::AudioBuffer<float> renderThroughPlugin(const juce::AudioBuffer<float>& input, double sampleRate, int blockSize);

} // namespace qel::render
