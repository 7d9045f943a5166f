#include "ui/widgets/ParamButton.h"

namespace qel
{

ParamButton::ParamButton(EngineProxy* proxy, const Path& path, uint32_t parameterId, bool isInverted)
    : Button("ParamButton"), ParameterWidget(proxy), inverted(isInverted)
{
    setClickingTogglesState(true);
    setEnabled(false);
    setParameter(path, parameterId);
}

ParamButton::~ParamButton()
{
    if (pressGesture)
        endGesture();
}

void ParamButton::elementChanged(Element* element)
{
    ParameterWidget::elementChanged(element);
    const auto* d = getParameterDescription();
    setEnabled(element != nullptr && d != nullptr);
    if (!isEnabled())
        return;
    if (getTooltip().isEmpty())
        setTooltip(d->displayName);
    show(readValue() >= 0.5);
}

void ParamButton::clicked()
{
    auto* e = getElement();
    if (e == nullptr)
        return;
    bool on = getToggleState() != inverted;
    if (valueCallback != nullptr)
        on = valueCallback->mapBool(*e, on);
    writeValue(on ? 1.0 : 0.0);
}

void ParamButton::mouseDown(const juce::MouseEvent& e)
{
    if (e.mods.isAltDown() && !e.mods.isRightButtonDown())
    {
        beginGesture();
        writeValue(defaultValue());
        show(defaultValue() >= 0.5);
        endGesture();
        return;
    }
    // A right press opens the panel or nothing: it never toggles.
    if (e.mods.isRightButtonDown())
    {
        openSettingsPanel(*this, e.mods.isAltDown());
        return;
    }
    pressGesture = isBound();
    if (pressGesture)
        beginGesture();
    Button::mouseDown(e);
}

void ParamButton::mouseUp(const juce::MouseEvent& e)
{
    // The click writes in JUCE's release, inside the gesture.
    Button::mouseUp(e);
    if (std::exchange(pressGesture, false))
        endGesture();
}

} // namespace qel
