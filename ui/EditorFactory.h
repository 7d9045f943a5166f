#pragma once

#include <juce_audio_processors/juce_audio_processors.h>

namespace qel
{

// The editor the host opens; the generic one until the face exists.
juce::AudioProcessorEditor* createPluginEditor(juce::AudioProcessor& processor);

} // namespace qel
