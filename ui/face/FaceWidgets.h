#pragma once

#include "tape/ReelwarpParameters.h"
#include "ui/widgets/ParamButton.h"
#include "ui/widgets/ParamComboBox.h"
#include "ui/widgets/ParamLabel.h"
#include "ui/widgets/ParamSlider.h"

#include <memory>
#include <vector>

namespace qel
{

// A knob of the face, with the place of its value label when it has one.
struct KnobPlace
{
    ReelwarpParameter parameter;
    juce::Rectangle<int> knob;
    juce::Rectangle<int> label;
    const char* tooltip;
};

// A switch of the face and the base name of its four images.
struct SwitchPlace
{
    ReelwarpParameter parameter;
    juce::Rectangle<int> bounds;
    const char* images;
    const char* tooltip;
};

// Makes the face's parameter widgets on a parent, keeps them, and lets them
// go before the parent does.
class FaceWidgets
{
public:
    FaceWidgets(juce::Component& parent, EngineProxy* proxy, Path effectPath)
        : parent(parent), proxy(proxy), effectPath(std::move(effectPath))
    {
    }

    ParamSlider& knob(ReelwarpParameter p, juce::Rectangle<int> at, const char* strip, const char* tooltip, bool bubble);
    ParamLabel& valueLabel(ReelwarpParameter p, juce::Rectangle<int> at, juce::Colour colour);
    ParamButton& toggle(const SwitchPlace& place);
    ParamComboBox& combo(ReelwarpParameter p, juce::Rectangle<int> at, const char* tooltip);

    // A knob with its label beneath, as the panels and the main knobs have.
    ParamSlider& knobWithLabel(const KnobPlace& place, const char* strip, juce::Colour labelColour, bool bubble);

    const std::vector<std::unique_ptr<juce::Component>>& all() const noexcept { return owned; }

private:
    template <typename T>
    T& keep(std::unique_ptr<T> widget)
    {
        auto& ref = *widget;
        parent.addAndMakeVisible(ref);
        owned.push_back(std::move(widget));
        return ref;
    }

    juce::Component& parent;
    EngineProxy* proxy;
    Path effectPath;
    std::vector<std::unique_ptr<juce::Component>> owned;
};

// Turns off a widget's own right-click panel.
void withoutSettingsPanel(ParameterWidget& widget);

// The face's combos: dark text over the panel image, nothing else drawn.
void styleFaceCombo(juce::ComboBox& combo);

} // namespace qel
