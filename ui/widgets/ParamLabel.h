#pragma once

#include "ui/widgets/ParameterWidget.h"

#include <optional>

namespace qel
{

// The value of a parameter as text; a double click edits it. While no element
// is bound it shows a fixed text.
class ParamLabel : public juce::Label, public ParameterWidget
{
public:
    ParamLabel(EngineProxy* proxy, const Path& path, uint32_t parameterId);

    void setUnboundText(const juce::String& text);

    void elementChanged(Element* element) override;
    void parameterChanged(float value) override { show(value); }
    void parameterChanged(int value) override { show(value); }
    void parameterChanged(bool value) override { show(value ? 1.0 : 0.0); }
    using ParameterWidget::parameterChanged;

protected:
    void textWasEdited() override;
    void syncChanged() override { refresh(); }

private:
    void show(double value);
    void refresh();

    juce::String unboundText;
    std::optional<double> shown;
};

} // namespace qel
