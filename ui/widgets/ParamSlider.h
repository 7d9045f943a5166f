#pragma once

#include "ui/widgets/ParameterWidget.h"
#include "ui/widgets/Slider.h"

#include <optional>
#include <utility>

namespace qel
{

// A slider bound to one parameter. It moves in normalised units, shifted so
// that the 0 of a bipolar parameter is its origin; an int moves by its steps,
// and a value synchronised to the host tempo by the rows of the beat divisions.
class ParamSlider : public Slider, public ParameterWidget
{
public:
    using Callback = ParameterValueCallback;
    static constexpr int syncResetRow = 10; // "1/1"

    ParamSlider(EngineProxy* proxy, const Path& path, uint32_t parameterId, SliderStyle style = RotaryVerticalDrag,
                bool showPopup = true);
    ~ParamSlider() override;

    // A range narrower than the description's, in the parameter's units.
    void setValueRange(float minimum, float maximum);
    void setDefaultValue(float value) { defaultOverride = value; }
    void setValueCallback(std::unique_ptr<Callback> callback) { valueCallback = std::move(callback); }
    // By default the slider converts a time or rate when SyncToHost flips;
    // an element that converts its own values asks it not to.
    void setConvertsOnSyncChange(bool converts) { convertsOnSyncChange = converts; }

    bool isOffsetActive() const noexcept { return offsetActive; }
    bool isWheelGestureOpen() const noexcept { return wheelGesture; }

    // Between the slider's position and the parameter's value.
    double sliderValueOf(double parameterValue) const;
    double parameterValueOf(double sliderValue) const;
    double defaultSliderValue() const;

    void elementChanged(Element* element) override;
    void parameterChanged(float value) override { show(value); }
    void parameterChanged(int value) override { show(value); }
    void parameterChanged(bool value) override { show(value ? 1.0 : 0.0); }
    using ParameterWidget::parameterChanged;

    void valueChanged() override;
    double snapValue(double attemptedValue, DragMode mode) override;
    juce::String getTextFromValue(double value) override;
    double getValueFromText(const juce::String& text) override;

    void mouseDown(const juce::MouseEvent& e) override;
    void mouseUp(const juce::MouseEvent& e) override;
    void mouseWheelMove(const juce::MouseEvent& e, const juce::MouseWheelDetails& wheel) override;
    void mouseExit(const juce::MouseEvent& e) override;

    void setValueFromEditBox(double value) override;

protected:
    void syncChanged() override;

private:
    void applyFloatRange();
    void applyRange();
    void show(double parameterValue);
    void resetToDefault();
    float normalise(float value) const;
    float denormalise(float position) const;

    std::unique_ptr<Callback> valueCallback;
    bool offsetActive = false;
    float zeroOffset = 0.0f;
    bool wheelGesture = false;
    std::optional<std::pair<float, float>> rangeOverride;
    std::optional<float> defaultOverride;
    bool convertsOnSyncChange = true;
    // The button is down on this slider: the engine's echo waits.
    bool pressed = false;
    bool pressGesture = false;
};

} // namespace qel
