#include "Canvas.h"

namespace assets
{

namespace
{
// The preset browser's buttons are bare signs on the bar, grey at rest and in
// the accent when pressed, like the preset's name beside them.
juce::Colour signColour(ButtonState s)
{
    return s.on ? palette::accent : palette::grey;
}

void burger(juce::Graphics& g, juce::Rectangle<float>, ButtonState s)
{
    g.setColour(signColour(s));
    for (const float y : { 7.0f, 12.0f, 17.0f })
        g.fillRoundedRectangle(9.0f, y, 17.0f, 2.0f, 1.0f);
}

void chevron(juce::Graphics& g, float tipX, float backX, ButtonState s)
{
    juce::Path p;
    p.startNewSubPath(backX, 8.0f);
    p.lineTo(tipX, 13.0f);
    p.lineTo(backX, 18.0f);
    strokeSymbol(g, p, signColour(s), 1.6f);
}

// The A/B key: two halves, the memory on show lit in the accent.
enum class Memory
{
    none,
    a,
    b
};

void drawAB(const Context& context, juce::Graphics& g, juce::Rectangle<float> bounds, Memory shown, bool over)
{
    const auto rest = drawKey(g, bounds, { false, over }, 4.0f);
    const auto face = bounds.reduced(1.0f).withTrimmedBottom(1.0f);
    const auto halves = std::make_pair(face.withWidth(face.getWidth() * 0.5f), face.withTrimmedLeft(face.getWidth() * 0.5f));
    const auto lit = shown == Memory::a ? halves.first : halves.second;
    if (shown != Memory::none)
    {
        g.setGradientFill(juce::ColourGradient::vertical(palette::accent.brighter(0.3f), lit.getY(),
                                                         palette::accent.darker(0.2f), lit.getBottom()));
        g.fillRoundedRectangle(lit.reduced(2.0f), 2.5f);
    }
    g.setColour(rest.withMultipliedAlpha(0.35f));
    g.fillRect(juce::Rectangle<float>(1.0f, face.getHeight() - 10.0f).withCentre(face.getCentre()));

    const auto colourOf = [&](Memory m) { return m == shown ? juce::Colours::white : rest; };
    drawText(g, textPath(context, "A", 15.0f), halves.first, colourOf(Memory::a), juce::Justification::centred, 0.45f);
    drawText(g, textPath(context, "B", 15.0f), halves.second, colourOf(Memory::b), juce::Justification::centred, 0.45f);
}
} // namespace

void drawTopBar(const Context& context)
{
    writeTwoStates(context, "b_burger", 35, 26, burger);
    writeTwoStates(context, "b_nav-prev", 16, 26,
                   [](juce::Graphics& g, juce::Rectangle<float>, ButtonState s) { chevron(g, 5.5f, 10.5f, s); });
    writeTwoStates(context, "b_nav-next", 16, 26,
                   [](juce::Graphics& g, juce::Rectangle<float>, ButtonState s) { chevron(g, 10.5f, 5.5f, s); });

    // Before the first store neither memory is on show; then the face shows one
    // and the mouse over it shows the other, the one a click brings back.
    const struct
    {
        const char* name;
        Memory shown;
        bool over;
    } ab[] = { { "b_ab-off", Memory::none, false },
               { "b_ab-off-over", Memory::none, true },
               { "b_ab-a-off", Memory::a, false },
               { "b_ab-b-off", Memory::b, false } };
    for (const auto& image : ab)
        writeImage(context, image.name, 47, 26, [&](juce::Graphics& g) {
            drawAB(context, g, { 0.0f, 0.0f, 47.0f, 26.0f }, image.shown, image.over);
        });
}

} // namespace assets
