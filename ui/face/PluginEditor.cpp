#include "ui/face/PluginEditor.h"

#include "plugin/Plugin.h"
#include "ui/look/QelLookAndFeel.h"

namespace qel
{

PluginEditor::PluginEditor(Plugin& p, bool makeTooltipWindow)
    : juce::AudioProcessorEditor(p), plugin(p), proxy(p.getProxy())
{
    QelLookAndFeel::getInstance();
    if (makeTooltipWindow)
        tooltipWindow = std::make_unique<juce::TooltipWindow>(this, 700);
}

PluginEditor::~PluginEditor()
{
    stopTimer();
}

int PluginEditor::getControlParameterIndex(juce::Component& component)
{
    auto* view = dynamic_cast<SimpleElementParameterView*>(&component);
    if (view == nullptr || !view->isBound())
        return -1;
    const auto slot = plugin.findSlot(view->getPath().toString(), view->getParameterId());
    return slot ? *slot : -1;
}

void PluginEditor::setContent(std::unique_ptr<juce::Component> newContent)
{
    content = std::move(newContent);
    if (content != nullptr)
    {
        addAndMakeVisible(*content);
        content->setBounds(getLocalBounds());
    }
}

void PluginEditor::resized()
{
    if (content != nullptr)
        content->setBounds(getLocalBounds());
}

} // namespace qel
