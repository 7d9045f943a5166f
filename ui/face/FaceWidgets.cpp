#include "ui/face/FaceWidgets.h"

#include "ui/widgets/ScaledImage.h"

namespace qel
{

ParamSlider& FaceWidgets::knob(ReelwarpParameter p, juce::Rectangle<int> at, const char* strip, const char* tooltip,
                               bool bubble)
{
    auto& k = keep(std::make_unique<ParamSlider>(proxy, effectPath, reelwarpParameterId(p),
                                                 juce::Slider::RotaryVerticalDrag, bubble));
    k.setFilmStrip(assetPath(strip), 129);
    // The effect converts its own rate when SyncToHost flips.
    k.setConvertsOnSyncChange(false);
    k.setTooltip(tooltip);
    k.setBounds(at);
    return k;
}

ParamLabel& FaceWidgets::valueLabel(ReelwarpParameter p, juce::Rectangle<int> at, juce::Colour colour)
{
    auto& l = keep(std::make_unique<ParamLabel>(proxy, effectPath, reelwarpParameterId(p)));
    l.setColour(juce::Label::textColourId, colour);
    l.setColour(juce::Label::textWhenEditingColourId, colour);
    l.setEditable(false, true);
    l.setJustificationType(juce::Justification::centred);
    l.setFont(juce::Font(15.0f));
    l.setBounds(at);
    return l;
}

ParamButton& FaceWidgets::toggle(const SwitchPlace& place)
{
    auto& b = keep(std::make_unique<ParamButton>(proxy, effectPath, reelwarpParameterId(place.parameter)));
    b.setImagesFromAssets(place.images);
    b.setTooltip(place.tooltip);
    b.setBounds(place.bounds);
    return b;
}

ParamComboBox& FaceWidgets::combo(ReelwarpParameter p, juce::Rectangle<int> at, const char* tooltip)
{
    auto& c = keep(std::make_unique<ParamComboBox>(proxy, effectPath, reelwarpParameterId(p)));
    styleFaceCombo(c);
    c.setTooltip(tooltip);
    c.setBounds(at);
    return c;
}

ParamSlider& FaceWidgets::knobWithLabel(const KnobPlace& place, const char* strip, juce::Colour labelColour, bool bubble)
{
    auto& k = knob(place.parameter, place.knob, strip, place.tooltip, bubble);
    valueLabel(place.parameter, place.label, labelColour);
    return k;
}

void withoutSettingsPanel(ParameterWidget& widget)
{
    widget.allowMidiEdit = widget.allowAutomationEdit = widget.allowHostAutomationEntry = false;
}

void styleFaceCombo(juce::ComboBox& combo)
{
    combo.setColour(juce::ComboBox::textColourId, juce::Colour(0xff424242));
    for (const auto id : { juce::ComboBox::backgroundColourId, juce::ComboBox::outlineColourId,
                           juce::ComboBox::arrowColourId, juce::ComboBox::focusedOutlineColourId })
        combo.setColour(id, juce::Colours::transparentWhite);
    combo.setJustificationType(juce::Justification::centred);
}

} // namespace qel
