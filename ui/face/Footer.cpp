#include "ui/face/Footer.h"

#include "ui/widgets/ScaledImage.h"

namespace qel
{

Footer::Footer()
{
    setInterceptsMouseClicks(false, false);
    startTimer(intervalMs);
}

Footer::~Footer()
{
    stopTimer();
}

void Footer::setExpanded(bool isExpanded)
{
    expanded = isExpanded;
    repaint();
}

juce::String Footer::tipFor(juce::Component* c) const
{
    auto* window = getTopLevelComponent();
    if (c == nullptr || window == nullptr || !(c == window || window->isParentOf(c)))
        return {};
    for (; c != nullptr; c = c->getParentComponent())
        if (auto* client = dynamic_cast<juce::TooltipClient*>(c))
            return client->getTooltip();
    return {};
}

void Footer::showTip(const juce::String& text)
{
    if (text == tip)
        return;
    tip = text;
    repaint();
}

void Footer::timerCallback()
{
    showTip(tipFor(juce::Desktop::getInstance().getMainMouseSource().getComponentUnderMouse()));
}

void Footer::paint(juce::Graphics& g)
{
    const auto grey = juce::Colour(0xff646464);
    g.setFont(juce::Font(17.0f));
    g.setColour(grey.brighter(0.4f));
    g.drawText(tip, getLocalBounds(), juce::Justification::centred, false);

    g.setFont(juce::Font(juce::jlimit(13.0f, 18.0f, getHeight() * 0.5f)));
    g.setColour(grey);
    const int width = getWidth() - (expanded ? 5 : 55);
    g.drawText(juce::String(version) + " x64", 0, 0, width, getHeight(), juce::Justification::centredRight, false);
}

ImageDisplay::ImageDisplay()
{
    setInterceptsMouseClicks(false, false);
}

void ImageDisplay::setImage(const juce::String& assetName)
{
    if (assetName == name)
        return;
    name = assetName;
    image = loadScaledImage(assetPath(assetName));
    repaint();
}

void ImageDisplay::paint(juce::Graphics& g)
{
    if (!image.isValid())
        return;
    // A @2x image is drawn at its size in points.
    const auto scale = (float) static_cast<double>(image.getProperties()->getWithDefault("scale", 1));
    g.drawImageTransformed(image, juce::AffineTransform::scale(1.0f / juce::jmax(1.0f, scale)));
}

} // namespace qel
