#include "ui/EditorFactory.h"

#include "plugin/ReelwarpPlugin.h"
#include "ui/StandaloneEditor.h"
#include "ui/face/ReelwarpPluginUI.h"

namespace qel
{

juce::AudioProcessorEditor* createPluginEditor(juce::AudioProcessor& processor)
{
    if (auto* plugin = dynamic_cast<Plugin*>(&processor); plugin != nullptr && plugin->getProxy() != nullptr)
    {
        auto face = std::make_unique<ReelwarpPluginUI>(*plugin, plugin->getSettings());
        if (processor.wrapperType == juce::AudioProcessor::wrapperType_Standalone)
            return new StandaloneEditor(*plugin, std::move(face));
        return face.release();
    }
    return new juce::GenericAudioProcessorEditor(processor);
}

} // namespace qel
