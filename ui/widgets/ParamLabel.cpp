#include "ui/widgets/ParamLabel.h"

namespace qel
{

ParamLabel::ParamLabel(EngineProxy* proxy, const Path& path, uint32_t parameterId) : ParameterWidget(proxy)
{
    setName("ParamLabel");
    setEditable(false, true);
    setJustificationType(juce::Justification::centred);
    setEnabled(false);
    setParameter(path, parameterId);
}

void ParamLabel::setUnboundText(const juce::String& text)
{
    unboundText = text;
    if (!isBound())
        setText(text, juce::dontSendNotification);
}

void ParamLabel::elementChanged(Element* element)
{
    ParameterWidget::elementChanged(element);
    setEnabled(element != nullptr && getParameterDescription() != nullptr);
    if (isEnabled())
        refresh();
    else
    {
        shown.reset();
        setText(unboundText, juce::dontSendNotification);
    }
}

void ParamLabel::refresh()
{
    shown.reset();
    show(readValue());
}

void ParamLabel::show(double value)
{
    if (shown == value)
        return;
    shown = value;
    setText(textOfValue(value), juce::dontSendNotification);
}

void ParamLabel::textWasEdited()
{
    double value = 0.0;
    if (valueOfText(getText(), value))
    {
        beginGesture();
        writeValue(value);
        endGesture();
    }
    refresh();
}

} // namespace qel
