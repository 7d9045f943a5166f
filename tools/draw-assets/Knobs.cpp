#include "Canvas.h"

#include <cmath>

namespace assets
{

namespace
{
constexpr int frames = 129;
constexpr float pi = juce::MathConstants<float>::pi;

// A knob turns through 270 degrees, from seven to five o'clock.
constexpr float startAngle = -0.75f * pi;
constexpr float angleRange = 1.5f * pi;

struct KnobStyle
{
    const char* name;
    int size;
    float arcRadius, arcWidth;
    float bodyRadius, capRadius;
    juce::Colour bodyTop, bodyBottom, capLight, capDark, pointer, arc;
    int ridges;
    float pointerWidth;
};

const KnobStyle knobs[] = {
    { "k_black-large_44x44x129", 44, 19.25f, 2.5f, 15.0f, 11.5f, juce::Colour(0xff3c3c3e), juce::Colour(0xff141415),
      juce::Colour(0xff505052), juce::Colour(0xff1c1c1d), juce::Colour(0xfff2f2f2), palette::accent, 32, 2.0f },
    { "k_black-small_28x28x129", 28, 12.25f, 2.0f, 9.5f, 7.25f, juce::Colour(0xff3c3c3e), juce::Colour(0xff141415),
      juce::Colour(0xff505052), juce::Colour(0xff1c1c1d), juce::Colour(0xfff2f2f2), palette::accent, 22, 1.5f },
    { "k_grey_26x26x129", 26, 11.5f, 1.75f, 8.75f, 6.75f, juce::Colour(0xffa4a4a4), juce::Colour(0xff6c6c6c),
      juce::Colour(0xffc8c8c8), juce::Colour(0xff8a8a8a), juce::Colour(0xff262626), palette::accentLight, 20, 1.5f },
    { "k_17x17x129", 17, 7.4f, 1.5f, 5.4f, 4.2f, juce::Colour(0xff3c3c3e), juce::Colour(0xff141415),
      juce::Colour(0xff505052), juce::Colour(0xff1c1c1d), juce::Colour(0xfff2f2f2), palette::accent, 0, 1.25f },
};

juce::Point<float> onCircle(juce::Point<float> c, float radius, float angle)
{
    return c.getPointOnCircumference(radius, angle);
}

void drawKnob(juce::Graphics& g, const KnobStyle& k, float value)
{
    const auto half = (float) k.size * 0.5f;
    const juce::Point<float> c(half, half);
    const auto angle = startAngle + angleRange * value;
    const auto arcStroke = juce::PathStrokeType(k.arcWidth, juce::PathStrokeType::curved, juce::PathStrokeType::butt);

    // The groove the value runs in, engraved into the panel.
    juce::Path groove;
    groove.addCentredArc(c.x, c.y, k.arcRadius, k.arcRadius, 0.0f, startAngle, startAngle + angleRange, true);
    g.setColour(juce::Colours::black.withAlpha(0.2f));
    g.strokePath(groove, arcStroke);

    if (value > 0.0f)
    {
        juce::Path lit;
        lit.addCentredArc(c.x, c.y, k.arcRadius, k.arcRadius, 0.0f, startAngle, angle, true);
        g.setColour(k.arc.withAlpha(0.22f));
        g.strokePath(lit, juce::PathStrokeType(k.arcWidth + 2.0f, juce::PathStrokeType::curved, juce::PathStrokeType::butt));
        g.setColour(k.arc);
        g.strokePath(lit, arcStroke);
    }

    circleShadow(g, c, k.bodyRadius, k.bodyRadius * 0.2f, 0.5f);
    const auto disc = [c](float r) { return juce::Rectangle<float>(r * 2.0f, r * 2.0f).withCentre(c); };
    g.setGradientFill(juce::ColourGradient::vertical(k.bodyTop, c.y - k.bodyRadius, k.bodyBottom, c.y + k.bodyRadius));
    g.fillEllipse(disc(k.bodyRadius));

    // The knurled skirt turns with the knob; the light on it does not.
    for (int i = 0; i < k.ridges; ++i)
    {
        const auto a = angle + 2.0f * pi * (float) i / (float) k.ridges;
        const auto lightness = 0.06f + 0.1f * (1.0f + std::cos(a)) * 0.5f;
        g.setColour(juce::Colours::white.withAlpha(lightness));
        g.drawLine({ onCircle(c, k.capRadius + 0.5f, a), onCircle(c, k.bodyRadius - 0.6f, a) }, 0.7f);
    }
    g.setColour(juce::Colours::black.withAlpha(0.55f));
    g.drawEllipse(disc(k.bodyRadius - 0.4f), 0.8f);

    const auto hot = c.translated(-k.capRadius * 0.4f, -k.capRadius * 0.6f);
    g.setGradientFill(juce::ColourGradient(k.capLight, hot, k.capDark, c.translated(0.0f, k.capRadius), true));
    g.fillEllipse(disc(k.capRadius));
    g.setGradientFill(juce::ColourGradient::vertical(juce::Colours::white.withAlpha(0.3f), c.y - k.capRadius,
                                                     juce::Colours::black.withAlpha(0.3f), c.y + k.capRadius));
    g.drawEllipse(disc(k.capRadius - 0.3f), 0.6f);

    g.setColour(k.pointer);
    g.drawLine({ onCircle(c, k.capRadius * 0.3f, angle), onCircle(c, k.bodyRadius - 0.9f, angle) }, k.pointerWidth);
    g.fillEllipse(juce::Rectangle<float>(k.pointerWidth, k.pointerWidth).withCentre(onCircle(c, k.capRadius * 0.3f, angle)));
    g.fillEllipse(juce::Rectangle<float>(k.pointerWidth, k.pointerWidth).withCentre(onCircle(c, k.bodyRadius - 0.9f, angle)));
}
} // namespace

void drawKnobs(const Context& context)
{
    for (const auto& k : knobs)
        writeImage(context, k.name, k.size, k.size * frames, [&k](juce::Graphics& g) {
            for (int n = 0; n < frames; ++n)
            {
                juce::Graphics::ScopedSaveState frame(g);
                g.addTransform(juce::AffineTransform::translation(0.0f, (float) (n * k.size)));
                g.reduceClipRegion(0, 0, k.size, k.size);
                drawKnob(g, k, (float) n / (float) (frames - 1));
            }
        });
}

} // namespace assets
