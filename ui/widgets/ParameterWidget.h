#pragma once

#include "ui/ElementView.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <memory>

namespace qel
{

class SimpleEditionSettingsPanel;

// Bends a value just before a widget uses it; the defaults let it pass.
class ParameterValueCallback
{
public:
    virtual ~ParameterValueCallback() = default;
    virtual float mapFloat(Element& element, float value) { return juce::ignoreUnused(element), value; }
    virtual int mapInt(Element& element, int value) { return juce::ignoreUnused(element), value; }
    virtual bool mapBool(Element& element, bool value) { return juce::ignoreUnused(element), value; }
};

// Formats a parameter's value for one widget, and reads it back.
class ParameterDisplayCallback
{
public:
    virtual ~ParameterDisplayCallback() = default;
    virtual String toText(Element& element, double value) = 0;
    virtual bool fromText(Element& element, const String& text, double& value) = 0;
};

// What the parameter widgets share: the binding, the texts of values in the
// parameter's own units, writes through the pending slot, the user's
// gestures, the settings panel of a right press, and for a value that may
// follow the host tempo, the SyncToHost switch beside it.
class ParameterWidget : public SimpleElementParameterView
{
public:
    explicit ParameterWidget(EngineProxy* proxy) : SimpleElementParameterView(proxy) {}
    ~ParameterWidget() override;

    void setParameter(const Path& path, uint32_t id) override;
    void elementChanged(Element* element) override;
    void dispatchValue(Element* element, uint32_t id) override;

    // Null while unbound. A float widget may be given a description of its own.
    const ParameterDescriptionBase* getParameterDescription() const;
    const ParameterDescription<float>* getFloatDescription() const;
    const ParameterDescription<int>* getIntDescription() const;
    const ParameterDescription<bool>* getBoolDescription() const;
    void setDescriptionOverride(const ParameterDescription<float>* description) { descriptionOverride = description; }

    bool isSyncOn() const noexcept { return syncKnown && syncOn; }
    bool isSyncCapable() const;

    // Values in the parameter's own units: a switch as 0 or 1, a choice as its number.
    double readValue() const;
    double defaultValue() const;
    // Through the element's pending slot, safe while audio runs.
    void writeValue(double value);
    String textOfValue(double value) const;
    // False, and value untouched, for text that does not read or lies outside a strict range.
    bool valueOfText(const String& text, double& value) const;
    void setDisplayCallback(std::unique_ptr<ParameterDisplayCallback> callback) { displayCallback = std::move(callback); }

    void beginGesture();
    void endGesture();

    // A right press: opens the panel on the widget's parent when the rules
    // allow it (Alt for MIDI modulation, else control); true when it opened.
    bool openSettingsPanel(juce::Component& widget, bool alt);

    bool allowMidiEdit = true;
    bool allowAutomationEdit = true;
    bool allowHostAutomationEntry = true;

protected:
    // SyncToHost of the element changed; syncOn holds the new state.
    virtual void syncChanged() {}

    bool syncOn = false;
    bool syncKnown = false;
    std::unique_ptr<ParameterDisplayCallback> displayCallback;

private:
    void readSyncState(Element* element);

    const ParameterDescription<float>* descriptionOverride = nullptr;
    juce::Component::SafePointer<SimpleEditionSettingsPanel> settingsPanel;
};

} // namespace qel
