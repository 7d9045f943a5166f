#pragma once

#include "ui/ElementView.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <memory>

namespace qel
{

// A property's value as the text a label shows.
class PropertyValueFormatter
{
public:
    virtual ~PropertyValueFormatter() = default;
    virtual juce::String format(const juce::String& value) const = 0;
};

// A preset's path as its file name without folder and extension; none reads "default".
class PresetNamePropertyValueFormatter : public PropertyValueFormatter
{
public:
    juce::String format(const juce::String& value) const override;
};

// A label that shows one property of the element at a path, through its
// formatter; with no text it shows its default text.
class ElementPropertyLabel : public juce::Label, public SimpleElementView
{
public:
    ElementPropertyLabel(EngineProxy* proxy, const Path& elementPath, const juce::String& propertyName,
                         std::unique_ptr<PropertyValueFormatter> formatter, const juce::String& defaultText);
    ~ElementPropertyLabel() override;

    void elementChanged(Element* element) override;
    // Reads the property again and shows it.
    void refresh();

protected:
    // Called as the property changes, on the thread that changed it.
    virtual void propertyChanged() { refresh(); }

private:
    juce::String propertyName;
    std::unique_ptr<PropertyValueFormatter> formatter;
    juce::String defaultText;
    SignalN<const String&, const ElementProperty&>::Connection connection;
};

// The current preset's name; shown on the message thread whichever thread changed it.
class PresetName : public ElementPropertyLabel, private juce::AsyncUpdater
{
public:
    PresetName(EngineProxy* proxy, const Path& elementPath, const juce::String& propertyKey);
    ~PresetName() override { cancelPendingUpdate(); }

private:
    void propertyChanged() override;
    void handleAsyncUpdate() override { refresh(); }
};

} // namespace qel
