#include "ui/look/ReelwarpLookAndFeel.h"

#include "ui/look/ResourceFiles.h"

namespace qel
{

namespace
{
struct ReelwarpLookAndFeelHolder : juce::DeletedAtShutdown
{
    ~ReelwarpLookAndFeelHolder() override
    {
        if (&juce::Desktop::getInstance().getDefaultLookAndFeel() == &lookAndFeel)
            juce::Desktop::getInstance().setDefaultLookAndFeel(nullptr);
        clearSingletonInstance();
    }
    ReelwarpLookAndFeel lookAndFeel;
    JUCE_DECLARE_SINGLETON_SINGLETHREADED_MINIMAL(ReelwarpLookAndFeelHolder)
};
JUCE_IMPLEMENT_SINGLETON(ReelwarpLookAndFeelHolder)
} // namespace

ReelwarpLookAndFeel::ReelwarpLookAndFeel()
{
    // The bubble is a desktop window that no face colours: it takes the tooltip's dark ground.
    setColour(juce::BubbleComponent::backgroundColourId, findColour(juce::TooltipWindow::backgroundColourId));
    if (auto stream = openResource(fontPath))
    {
        stream->readIntoMemoryBlock(fontData);
        if (fontData.getSize() > 0)
            typeface = juce::Typeface::createSystemTypefaceFor(fontData.getData(), fontData.getSize());
    }
    if (typeface != nullptr)
        setDefaultSansSerifTypeface(typeface);
}

ReelwarpLookAndFeel& ReelwarpLookAndFeel::getInstance()
{
    auto& lookAndFeel = ReelwarpLookAndFeelHolder::getInstance()->lookAndFeel;
    auto& desktop = juce::Desktop::getInstance();
    if (&desktop.getDefaultLookAndFeel() != &lookAndFeel)
        desktop.setDefaultLookAndFeel(&lookAndFeel);
    return lookAndFeel;
}

juce::Font ReelwarpLookAndFeel::getSliderPopupFont(juce::Slider&)
{
    return juce::Font(bubbleTextHeight);
}

void ReelwarpLookAndFeel::drawBubble(juce::Graphics& g, juce::BubbleComponent& bubble, const juce::Point<float>& tip,
                                     const juce::Rectangle<float>& body)
{
    juce::Path p;
    p.addBubble(body.reduced(0.5f), body.getUnion({ tip.x, tip.y, 1.0f, 1.0f }), tip, 4.0f,
                juce::jmin(10.0f, body.getWidth() * 0.2f, body.getHeight() * 0.3f));
    g.setColour(bubble.findColour(juce::BubbleComponent::backgroundColourId));
    g.fillPath(p);
    g.setColour(bubble.findColour(juce::BubbleComponent::outlineColourId).darker(0.4f));
    g.strokePath(p, juce::PathStrokeType(1.0f));
}

} // namespace qel
