#pragma once

#include "ui/widgets/ParameterWidget.h"

namespace qel
{

// A choice: one entry per value of the description, worded by its text.
// The height of the entries comes from the component property "menuHeight".
class ParamComboBox : public juce::ComboBox, public ParameterWidget
{
public:
    using Callback = ParameterValueCallback;

    ParamComboBox(EngineProxy* proxy, const Path& path, uint32_t parameterId);

    void setShowsArrow(bool shows);
    void setValueCallback(std::unique_ptr<Callback> callback) { valueCallback = std::move(callback); }

    void elementChanged(Element* element) override;
    void parameterChanged(int value) override { show(value); }
    void parameterChanged(bool value) override { show(value ? 1 : 0); }
    void parameterChanged(float value) override { show(static_cast<int>(value)); }
    using ParameterWidget::parameterChanged;

    // The menu showPopup opens, and how.
    juce::PopupMenu::Options popupOptions();
    void showPopup() override;
    void mouseDown(const juce::MouseEvent& e) override;

private:
    void show(int value);
    void choose();
    int firstValue() const;

    std::unique_ptr<Callback> valueCallback;
};

} // namespace qel
