#include "ui/widgets/Slider.h"

namespace qel
{

QelSliderPopupDisplayComponent::QelSliderPopupDisplayComponent(Slider& owner)
    : slider(owner), font(owner.getLookAndFeel().getSliderPopupFont(owner))
{
    setAllowedPlacement(above | below);
    setAlwaysOnTop(true);
}

void QelSliderPopupDisplayComponent::setText(const juce::String& newText)
{
    if (newText == text)
        return;
    text = newText;
    repaint();
}

void QelSliderPopupDisplayComponent::pointAtSlider()
{
    // A desktop window: screen coordinates, which already carry the editor's scale.
    setPosition(slider.getScreenBounds(), 5, 8);
}

void QelSliderPopupDisplayComponent::getContentSize(int& width, int& height)
{
    width = font.getStringWidth(text) + 12;
    height = juce::roundToInt(font.getHeight()) + 4;
}

void QelSliderPopupDisplayComponent::paintContent(juce::Graphics& g, int width, int height)
{
    g.setFont(font);
    g.setColour(findColour(juce::TooltipWindow::textColourId));
    g.drawFittedText(text, 0, 0, width, height, juce::Justification::centred, 1);
}

} // namespace qel
