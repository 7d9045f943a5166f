#pragma once

#include "ui/widgets/Button.h"
#include "ui/widgets/ParameterWidget.h"

namespace qel
{

// A toggle bound to a switch (or to an int or float taken as 0 or 1).
class ParamButton : public Button, public ParameterWidget
{
public:
    using Callback = ParameterValueCallback;

    ParamButton(EngineProxy* proxy, const Path& path, uint32_t parameterId, bool inverted = false);
    ~ParamButton() override;

    void setValueCallback(std::unique_ptr<Callback> callback) { valueCallback = std::move(callback); }

    void elementChanged(Element* element) override;
    void parameterChanged(float value) override { show(value >= 0.5f); }
    void parameterChanged(int value) override { show(value != 0); }
    void parameterChanged(bool value) override { show(value); }
    using ParameterWidget::parameterChanged;

    void clicked() override;
    void mouseDown(const juce::MouseEvent& e) override;
    void mouseUp(const juce::MouseEvent& e) override;

private:
    void show(bool on) { setToggleState(on != inverted, juce::dontSendNotification); }

    const bool inverted;
    std::unique_ptr<Callback> valueCallback;
    bool pressGesture = false;
};

} // namespace qel
