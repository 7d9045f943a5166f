#pragma once

#include <juce_audio_processors/juce_audio_processors.h>

namespace qel
{

// The editor the host opens: the face, with a keyboard below it in the
// standalone application; JUCE's generic one for a processor that has no
// engine proxy.
juce::AudioProcessorEditor* createPluginEditor(juce::AudioProcessor& processor);

} // namespace qel
