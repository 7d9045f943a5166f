#include "ui/presets/PresetName.h"

#include "ui/presets/PresetTree.h"

namespace qel
{

juce::String PresetNamePropertyValueFormatter::format(const juce::String& value) const
{
    return value.isEmpty() ? juce::String("default") : presetDisplayName(Path(value));
}

ElementPropertyLabel::ElementPropertyLabel(EngineProxy* p, const Path& elementPath, const juce::String& property,
                                           std::unique_ptr<PropertyValueFormatter> f, const juce::String& fallback)
    : SimpleElementView(p), propertyName(property), formatter(std::move(f)), defaultText(fallback)
{
    setText(defaultText, juce::dontSendNotification);
    setElementPath(elementPath);
}

ElementPropertyLabel::~ElementPropertyLabel()
{
    connection.disconnect();
}

void ElementPropertyLabel::elementChanged(Element* element)
{
    connection.disconnect();
    if (element != nullptr)
        connection = element->getSignals().propertyChanged.connect([this](const String& key, const ElementProperty&) {
            if (key == propertyName)
                propertyChanged();
        });
    refresh();
}

void ElementPropertyLabel::refresh()
{
    const auto* element = getElement();
    const auto value = element != nullptr ? element->getProperty(propertyName).value.value_or(String()) : String();
    auto text = formatter != nullptr ? formatter->format(value) : value;
    setText(text.isEmpty() ? defaultText : text, juce::dontSendNotification);
}

PresetName::PresetName(EngineProxy* p, const Path& elementPath, const juce::String& propertyKey)
    : ElementPropertyLabel(p, elementPath, propertyKey, std::make_unique<PresetNamePropertyValueFormatter>(), "default")
{
    setEditable(false);
}

void PresetName::propertyChanged()
{
    if (juce::MessageManager::existsAndIsCurrentThread())
        refresh();
    else
        triggerAsyncUpdate();
}

} // namespace qel
