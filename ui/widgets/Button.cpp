#include "ui/widgets/Button.h"

#include "ui/widgets/ScaledImage.h"

namespace qel
{

juce::Rectangle<int> logicalBounds(const juce::Image& image)
{
    if (!image.isValid())
        return {};
    const int scale = juce::jmax(1, static_cast<int>(image.getProperties()->getWithDefault("scale", 1)));
    return { image.getWidth() / scale, image.getHeight() / scale };
}

Button::Button(const juce::String& name, const juce::String& tooltip) : juce::Button(name)
{
    setTooltip(tooltip);
}

void Button::setImages(const juce::Image& off, const juce::Image& on, const juce::Image& offOver, const juce::Image& onOver)
{
    images = { off, on, offOver.isValid() ? offOver : off, onOver.isValid() ? onOver : on };
    if (getWidth() == 0 && getHeight() == 0)
        setSize(getImageBounds().getWidth(), getImageBounds().getHeight());
    repaint();
}

void Button::setImages(const juce::Image& off, const juce::Image& on)
{
    setImages(off, on, off, on);
}

void Button::setImagesFromAssets(const juce::String& baseName)
{
    auto load = [&](const char* suffix) { return loadScaledImage(assetPath(baseName + suffix + ".png")); };
    setImages(load("-off"), load("-on"), load("-off-over"), load("-on-over"));
}

const juce::Image& Button::imageFor(bool hovered) const
{
    const bool on = getToggleState();
    return images[hovered ? (on ? onOverImage : offOverImage) : (on ? onImage : offImage)];
}

juce::Rectangle<int> Button::getImageBounds() const
{
    return logicalBounds(images[offImage]);
}

void Button::paintButton(juce::Graphics& g, bool highlighted, bool down)
{
    const float alpha = isEnabled() ? 1.0f : 0.5f;
    if (const auto& image = imageFor(highlighted || down); image.isValid())
    {
        const auto area = logicalBounds(image).withCentre(getLocalBounds().getCentre());
        g.setOpacity(alpha);
        g.drawImage(image, area.toFloat());
        return;
    }
    const auto colour = findColour(getToggleState() ? juce::TextButton::textColourOnId : juce::TextButton::textColourOffId);
    g.setColour(colour.withMultipliedAlpha(alpha));
    g.setFont(juce::Font(15.0f));
    g.drawFittedText(getButtonText(), getLocalBounds(), juce::Justification::centred, 1);
}

} // namespace qel
