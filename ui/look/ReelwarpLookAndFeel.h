#pragma once

#include "ui/look/QelLookAndFeel.h"

namespace qel
{

// This product's font and value bubble over the house style.
class ReelwarpLookAndFeel : public QelLookAndFeel
{
public:
    static constexpr const char* fontPath = "resource/fonts/Lato-Light.ttf";
    static constexpr float bubbleTextHeight = 19.0f;

    ReelwarpLookAndFeel();

    // One a process, deleted at shutdown; the default look and feel from its
    // first use on.
    static ReelwarpLookAndFeel& getInstance();

    // Null when the font file could not be read: JUCE's own typeface stays.
    juce::Typeface::Ptr getProductTypeface() const { return typeface; }

    juce::Font getSliderPopupFont(juce::Slider&) override;
    // A box whose arrow points at the slider.
    void drawBubble(juce::Graphics&, juce::BubbleComponent&, const juce::Point<float>& tip,
                    const juce::Rectangle<float>& body) override;

private:
    // The typeface is made over these bytes, which live as long as it does.
    juce::MemoryBlock fontData;
    juce::Typeface::Ptr typeface;
};

} // namespace qel
