#pragma once

#include "element/Trackable.h"
#include "ui/EngineProxy.h"

#include <juce_audio_processors/juce_audio_processors.h>

#include <memory>

namespace qel
{

class Plugin;

// The window a host opens on a plug-in of this framework.
class PluginEditor : public juce::AudioProcessorEditor,
                     public juce::DragAndDropContainer,
                     public Trackable,
                     public juce::Timer
{
public:
    PluginEditor(Plugin& plugin, bool makeTooltipWindow);
    ~PluginEditor() override;

    // The host's question of which exported parameter is under the mouse:
    // the slot of a bound parameter widget, else -1.
    int getControlParameterIndex(juce::Component& component) override;

    void setContent(std::unique_ptr<juce::Component> content);
    void resized() override;
    void timerCallback() override {}

protected:
    Plugin& plugin;
    EngineProxy* proxy;

private:
    std::unique_ptr<juce::TooltipWindow> tooltipWindow;
    std::unique_ptr<juce::Component> content;
};

} // namespace qel
