#include "ui/widgets/ParamSlider.h"

#include "element/BeatDivisions.h"
#include "ui/widgets/SyncConversion.h"

namespace qel
{

ParamSlider::ParamSlider(EngineProxy* proxy, const Path& path, uint32_t parameterId, SliderStyle style, bool showPopup)
    : Slider(style, showPopup), ParameterWidget(proxy)
{
    setName("ParamSlider");
    setEnabled(false);
    setParameter(path, parameterId);
}

ParamSlider::~ParamSlider()
{
    if (wheelGesture || pressGesture)
        endGesture();
}

void ParamSlider::setValueRange(float minimum, float maximum)
{
    rangeOverride = std::make_pair(minimum, maximum);
    if (isBound() && getParameterDescription() != nullptr)
    {
        applyRange();
        show(readValue());
    }
}

float ParamSlider::normalise(float value) const
{
    const auto& d = *getFloatDescription();
    if (!d.hasRange())
        return value;
    const auto& mapper = d.hostMapper != nullptr ? d.hostMapper : d.mapper;
    mapper->unmap(getElement(), value);
    return value;
}

float ParamSlider::denormalise(float position) const
{
    const auto& d = *getFloatDescription();
    if (!d.hasRange())
        return position;
    const auto& mapper = d.hostMapper != nullptr ? d.hostMapper : d.mapper;
    mapper->map(getElement(), position);
    return position;
}

double ParamSlider::sliderValueOf(double parameterValue) const
{
    if (getValueType() != ValueType::floatValue)
        return parameterValue;
    if (isSyncOn())
        return BeatDivisions::rowOfRatio(static_cast<float>(parameterValue));
    if (!getFloatDescription()->hasRange())
        return parameterValue;
    return juce::jlimit(0.0f, 1.0f, normalise(static_cast<float>(parameterValue))) - zeroOffset;
}

double ParamSlider::parameterValueOf(double sliderValue) const
{
    switch (getValueType())
    {
        case ValueType::boolValue: return sliderValue != 0.0 ? 1.0 : 0.0;
        case ValueType::intValue: return static_cast<int>(sliderValue);
        case ValueType::floatValue:
            if (isSyncOn())
                return BeatDivisions::ratioOfRow(static_cast<int>(sliderValue));
            return denormalise(static_cast<float>(sliderValue) + zeroOffset);
        default: return sliderValue;
    }
}

double ParamSlider::defaultSliderValue() const
{
    if (getValueType() != ValueType::floatValue)
        return defaultValue();
    if (isSyncOn())
        return syncResetRow;
    return sliderValueOf(defaultOverride.value_or(getFloatDescription()->defaultValue));
}

void ParamSlider::elementChanged(Element* element)
{
    ParameterWidget::elementChanged(element);
    if (element == nullptr || getParameterDescription() == nullptr)
    {
        setEnabled(false);
        const double neutral = getMinimum() <= 0.0 && getMaximum() >= 0.0 ? 0.0 : getMinimum();
        setValue(neutral, juce::dontSendNotification);
        return;
    }
    setEnabled(true);
    applyRange();
    show(readValue());
}

void ParamSlider::applyRange()
{
    offsetActive = false;
    zeroOffset = 0.0f;
    switch (getValueType())
    {
        case ValueType::boolValue: setRange(0.0, 1.0, 1.0); break;
        case ValueType::intValue:
        {
            const auto& d = *getIntDescription();
            if (d.hasRange())
                setRange(d.minimum, juce::jmax(d.minimum + 1, d.maximum), 1.0);
            if (getSliderStyle() == RotaryVerticalDrag || getSliderStyle() == RotaryHorizontalDrag)
                setMouseDragSensitivity(juce::jlimit(100, 250, 40 * (d.maximum - d.minimum)));
            break;
        }
        case ValueType::floatValue:
            if (isSyncOn())
                setRange(0.0, BeatDivisions::rows - 1, 1.0);
            else
                applyFloatRange();
            break;
        default: break;
    }
}

void ParamSlider::applyFloatRange()
{
    const auto& d = *getFloatDescription();
    if (!d.hasRange())
    {
        setRange(d.bipolarRange[0], d.bipolarRange[1], 0.0);
        return;
    }
    const float low = rangeOverride ? rangeOverride->first : d.minimum;
    const float high = rangeOverride ? rangeOverride->second : d.maximum;
    // A bipolar range turns about its 0.
    if (low < 0.0f && 0.0f < high)
    {
        offsetActive = true;
        zeroOffset = normalise(0.0f);
    }
    setRange(normalise(low) - zeroOffset, normalise(high) - zeroOffset, 0.0);
}

void ParamSlider::show(double parameterValue)
{
    // While the user holds the slider, the engine's echo would fight the drag.
    if (pressed)
        return;
    setValue(sliderValueOf(parameterValue), juce::dontSendNotification);
    updateBubble();
}

void ParamSlider::valueChanged()
{
    Slider::valueChanged();
    if (isBound())
        writeValue(parameterValueOf(getValue()));
}

double ParamSlider::snapValue(double attemptedValue, DragMode mode)
{
    if (auto* e = getElement(); valueCallback != nullptr && e != nullptr)
    {
        switch (getValueType())
        {
            case ValueType::boolValue: attemptedValue = valueCallback->mapBool(*e, attemptedValue != 0.0) ? 1.0 : 0.0; break;
            case ValueType::intValue: attemptedValue = valueCallback->mapInt(*e, static_cast<int>(attemptedValue)); break;
            case ValueType::floatValue:
                attemptedValue = sliderValueOf(valueCallback->mapFloat(*e, static_cast<float>(parameterValueOf(attemptedValue))));
                break;
            default: break;
        }
    }
    return Slider::snapValue(attemptedValue, mode);
}

juce::String ParamSlider::getTextFromValue(double value)
{
    return isBound() ? textOfValue(parameterValueOf(value)) : juce::String();
}

double ParamSlider::getValueFromText(const juce::String& text)
{
    double value = 0.0;
    return valueOfText(text, value) ? sliderValueOf(value) : getValue();
}

void ParamSlider::setValueFromEditBox(double value)
{
    beginGesture();
    setValue(value, juce::sendNotificationSync);
    endGesture();
}

void ParamSlider::resetToDefault()
{
    // A wheel gesture in progress already frames the change.
    const bool gesture = !wheelGesture;
    if (gesture)
        beginGesture();
    setValue(defaultSliderValue(), juce::sendNotificationSync);
    if (gesture)
        endGesture();
}

void ParamSlider::mouseDown(const juce::MouseEvent& e)
{
    if (e.mods.isAltDown() && !e.mods.isRightButtonDown())
    {
        resetToDefault();
        return;
    }
    // A right press opens the panel or nothing: it never drags, as a menu may take the release.
    if (e.mods.isRightButtonDown())
    {
        openSettingsPanel(*this, e.mods.isAltDown());
        return;
    }
    pressed = true;
    pressGesture = isBound() && !wheelGesture;
    if (pressGesture)
        beginGesture();
    Slider::mouseDown(e);
}

void ParamSlider::mouseUp(const juce::MouseEvent& e)
{
    Slider::mouseUp(e);
    const bool wasPressed = std::exchange(pressed, false);
    if (std::exchange(pressGesture, false))
        endGesture();
    // The value the engine holds now, which the echo rule kept back.
    if (wasPressed && isBound())
        show(readValue());
}

void ParamSlider::mouseWheelMove(const juce::MouseEvent& e, const juce::MouseWheelDetails& wheel)
{
    if (isBound() && !pressed && !e.mods.isAnyMouseButtonDown() && !wheelGesture)
    {
        beginGesture();
        wheelGesture = true;
    }
    Slider::mouseWheelMove(e, wheel);
}

void ParamSlider::mouseExit(const juce::MouseEvent& e)
{
    Slider::mouseExit(e);
    if (!pressed && std::exchange(wheelGesture, false))
        endGesture();
}

void ParamSlider::syncChanged()
{
    if (getValueType() != ValueType::floatValue || getFloatDescription() == nullptr)
        return;
    if (convertsOnSyncChange && proxy != nullptr)
    {
        const auto& d = *getFloatDescription();
        const float tempo = SyncConversion::treeTempo(*proxy);
        const float value = getFloat();
        writeValue(syncOn ? SyncConversion::toSynced(d.displayType, tempo, value) : SyncConversion::fromSynced(d, tempo, value));
    }
    applyRange();
    show(readValue());
}

} // namespace qel
