#include "ui/EditorFactory.h"

namespace qel
{

juce::AudioProcessorEditor* createPluginEditor(juce::AudioProcessor& processor)
{
    return new juce::GenericAudioProcessorEditor(processor);
}

} // namespace qel
