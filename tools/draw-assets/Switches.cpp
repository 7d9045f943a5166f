#include "Canvas.h"

#include <algorithm>

namespace assets
{

namespace
{
struct SectionSwitch
{
    const char* name;
    int w;
    const char* caption;
};

// A section's enable switch: a lamp and the section's name engraved beside it.
const SectionSwitch sectionSwitches[] = {
    { "b_xt-tapesim", 138, "TAPE SIMULATION" },
    { "b_xt-compander", 116, "NOISE REDUCTION" },
    { "b_xt-filtering", 154, "PLAYBACK FILTERING" },
    { "b_xt-modulations", 120, "MODULATIONS" },
};
constexpr int switchHeight = 18;
constexpr float captionLeft = 18.0f;
constexpr float tracking = 0.06f;

juce::Colour captionColour(ButtonState s)
{
    if (s.over)
        return s.on ? palette::accent.darker(0.35f) : juce::Colour(0xff333333);
    return s.on ? juce::Colour(0xff2c2c2c) : juce::Colour(0xff6c6c6c);
}

void drawSectionSwitches(const Context& context)
{
    // One size of lettering for all four: the largest at which every caption fits.
    float height = 12.5f;
    for (const auto& s : sectionSwitches)
    {
        const auto width = textPath(context, s.caption, height, tracking).getBounds().getWidth();
        height = std::min(height, height * ((float) s.w - captionLeft - 2.0f) / width);
    }
    for (const auto& s : sectionSwitches)
    {
        const auto caption = textPath(context, s.caption, height, tracking);
        writeFourStates(context, s.name, s.w, switchHeight,
                        [&caption](juce::Graphics& g, juce::Rectangle<float> bounds, ButtonState state) {
                            drawLamp(g, { 9.0f, 9.0f }, 4.5f, state);
                            drawText(g, caption, bounds.withTrimmedLeft(captionLeft), captionColour(state),
                                     juce::Justification::centredLeft, 0.3f);
                        });
    }
}

// The LFO plate: a window for the waveform display that stands over it, a lamp
// at its left, and at its right a key with faders for the settings it opens.
void drawLfoPlate(juce::Graphics& g, juce::Rectangle<float> bounds, ButtonState s)
{
    drawKey(g, bounds, { false, s.over }, 5.0f);

    // The display covers (13, 6, 64, 18); the window frames it by a pixel.
    const juce::Rectangle<float> window(12.0f, 5.0f, 66.0f, 20.0f);
    g.setColour(juce::Colour(0xffececec));
    g.fillRoundedRectangle(window, 2.0f);
    g.setGradientFill(juce::ColourGradient::vertical(juce::Colours::black.withAlpha(0.16f), window.getY(),
                                                     juce::Colours::transparentBlack, window.getY() + 4.0f));
    g.fillRoundedRectangle(window, 2.0f);
    g.setColour(s.on ? palette::accentLight : juce::Colour(0xffa0a0a0));
    g.drawRoundedRectangle(window.reduced(0.5f), 1.5f, 1.0f);

    drawLamp(g, { 6.5f, 15.0f }, 3.0f, s);

    // The faders' end is a key of its own, lit when the settings are open.
    const juce::Rectangle<float> end(80.0f, 4.0f, 18.0f, 21.0f);
    if (s.on)
    {
        g.setGradientFill(juce::ColourGradient::vertical(palette::accent.brighter(s.over ? 0.55f : 0.3f), end.getY(),
                                                         palette::accent.darker(s.over ? 0.0f : 0.2f), end.getBottom()));
        g.fillRoundedRectangle(end, 2.5f);
    }
    else
    {
        g.setColour(juce::Colours::black.withAlpha(0.15f));
        g.fillRect(79.0f, 5.0f, 1.0f, 19.0f);
    }
    const auto ink = s.on ? juce::Colours::white : (s.over ? juce::Colour(0xff2e2e2e) : juce::Colour(0xff5a5a5a));
    const float rows[] = { 9.5f, 14.5f, 19.5f };
    const float knobs[] = { 86.0f, 92.0f, 88.5f };
    for (int i = 0; i < 3; ++i)
    {
        g.setColour(ink.withMultipliedAlpha(0.6f));
        g.fillRect(83.0f, rows[i] - 0.5f, 12.0f, 1.0f);
        g.setColour(ink);
        g.fillRoundedRectangle(juce::Rectangle<float>(2.5f, 4.0f).withCentre({ knobs[i], rows[i] }), 0.8f);
    }
}
} // namespace

void drawSwitches(const Context& context)
{
    drawSectionSwitches(context);
    writeFourStates(context, "_flanger/b_lfo", 101, 30, drawLfoPlate);
}

} // namespace assets
