#include "ui/EditorFactory.h"

#include "plugin/ReelwarpPlugin.h"
#include "ui/PlainEditor.h"

namespace qel
{

juce::AudioProcessorEditor* createPluginEditor(juce::AudioProcessor& processor)
{
    if (auto* plugin = dynamic_cast<Plugin*>(&processor); plugin != nullptr && plugin->getProxy() != nullptr)
        return new PlainEditor(processor, *plugin->getProxy(), ReelwarpPlugin::effectPath);
    return new juce::GenericAudioProcessorEditor(processor);
}

} // namespace qel
