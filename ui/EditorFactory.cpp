#include "ui/EditorFactory.h"

#include "plugin/ReelwarpPlugin.h"
#include "ui/face/ReelwarpPluginUI.h"

namespace qel
{

juce::AudioProcessorEditor* createPluginEditor(juce::AudioProcessor& processor)
{
    if (auto* plugin = dynamic_cast<Plugin*>(&processor); plugin != nullptr && plugin->getProxy() != nullptr)
        return new ReelwarpPluginUI(*plugin, plugin->getSettings());
    return new juce::GenericAudioProcessorEditor(processor);
}

} // namespace qel
