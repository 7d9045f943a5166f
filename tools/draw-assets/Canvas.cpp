#include "Canvas.h"

#include <cmath>
#include <stdexcept>

namespace assets
{

namespace
{
void save(const juce::Image& image, const juce::File& file)
{
    file.getParentDirectory().createDirectory();
    file.deleteFile();
    juce::FileOutputStream out(file);
    juce::PNGImageFormat png;
    if (out.failedToOpen() || !png.writeImageToStream(image, out))
        throw std::runtime_error("cannot write " + file.getFullPathName().toStdString());
}

const char* suffix(ButtonState s)
{
    return s.on ? (s.over ? "-on-over" : "-on") : (s.over ? "-off-over" : "-off");
}
} // namespace

void writeImage(const Context& context, const juce::String& name, int w, int h, const Painter& paint)
{
    for (const int scale : { 1, 2 })
    {
        // The software renderer, so that every run and machine gives the same bytes.
        juce::Image image(juce::Image::ARGB, w * scale, h * scale, true, juce::SoftwareImageType());
        {
            juce::Graphics g(image);
            g.addTransform(juce::AffineTransform::scale((float) scale));
            paint(g);
        }
        save(image, context.folder.getChildFile(name + (scale == 1 ? "" : "@2x") + ".png"));
    }
}

void writePng(const Context& context, const juce::String& name, const juce::Image& image)
{
    save(image, context.folder.getChildFile(name + ".png"));
}

void writeFourStates(const Context& context, const juce::String& name, int w, int h, const ButtonPainter& paint)
{
    for (const ButtonState s : { ButtonState { false, false }, ButtonState { true, false }, ButtonState { false, true },
                                 ButtonState { true, true } })
        writeImage(context, name + suffix(s), w, h,
                   [&](juce::Graphics& g) { paint(g, { 0.0f, 0.0f, (float) w, (float) h }, s); });
}

void writeTwoStates(const Context& context, const juce::String& name, int w, int h, const ButtonPainter& paint)
{
    for (const ButtonState s : { ButtonState { false, false }, ButtonState { true, false } })
        writeImage(context, name + suffix(s), w, h,
                   [&](juce::Graphics& g) { paint(g, { 0.0f, 0.0f, (float) w, (float) h }, s); });
}

void circleShadow(juce::Graphics& g, juce::Point<float> centre, float radius, float spread, float alpha)
{
    // Light comes from above: the shadow falls a little below its object.
    const auto c = centre.translated(0.0f, spread * 0.4f);
    const auto outer = radius + spread;
    juce::ColourGradient shade(juce::Colours::black.withAlpha(alpha), c, juce::Colours::transparentBlack,
                               c.translated(outer, 0.0f), true);
    const auto inner = radius / outer;
    shade.addColour(inner, juce::Colours::black.withAlpha(alpha));
    shade.addColour(inner + (1.0 - inner) * 0.45, juce::Colours::black.withAlpha(alpha * 0.35f));
    g.setGradientFill(shade);
    g.fillEllipse(juce::Rectangle<float>(outer * 2.0f, outer * 2.0f).withCentre(c));
}

juce::Colour drawKey(juce::Graphics& g, juce::Rectangle<float> bounds, ButtonState s, float corner)
{
    // Whole-pixel edges, so that the rim is sharp at both scales.
    const auto key = bounds.reduced(1.0f).withTrimmedBottom(1.0f);
    g.setColour(juce::Colours::black.withAlpha(s.on ? 0.16f : 0.26f));
    g.fillRoundedRectangle(key.translated(0.0f, 1.0f), corner);

    juce::Colour top, bottom, rim;
    if (s.on)
    {
        top = palette::accent.brighter(s.over ? 0.55f : 0.3f);
        bottom = palette::accent.darker(s.over ? 0.0f : 0.2f);
        rim = palette::accent.darker(s.over ? 0.35f : 0.7f);
    }
    else
    {
        top = juce::Colour(s.over ? 0xfffdfdfd : 0xfff0f0f0);
        bottom = juce::Colour(s.over ? 0xffe6e6e6 : 0xffd5d5d5);
        rim = s.over ? palette::accentLight : juce::Colour(0xff9a9a9a);
    }
    g.setGradientFill(juce::ColourGradient::vertical(top, key.getY(), bottom, key.getBottom()));
    g.fillRoundedRectangle(key, corner);

    // A raised key catches light on its top edge; a pressed one sits in its own shadow.
    const auto lip = key.reduced(1.0f).withHeight(1.0f).reduced(corner * 0.5f, 0.0f);
    g.setColour(s.on ? juce::Colours::black.withAlpha(0.22f) : juce::Colours::white.withAlpha(0.9f));
    g.fillRect(lip);
    if (s.on)
    {
        const auto c = key.getCentre();
        juce::ColourGradient glow(juce::Colours::white.withAlpha(s.over ? 0.3f : 0.2f), c, juce::Colours::transparentWhite,
                                  c.translated(key.getWidth() * 0.55f, 0.0f), true);
        g.setGradientFill(glow);
        g.fillRoundedRectangle(key, corner);
    }

    g.setColour(rim);
    g.drawRoundedRectangle(key.reduced(0.5f), corner - 0.5f, 1.0f);

    if (s.on)
        return juce::Colour(s.over ? 0xffffffff : 0xfff7f2fb);
    return juce::Colour(s.over ? 0xff2e2e2e : 0xff5a5a5a);
}

void drawLamp(juce::Graphics& g, juce::Point<float> c, float r, ButtonState s)
{
    const auto disc = [c](float radius) { return juce::Rectangle<float>(radius * 2.0f, radius * 2.0f).withCentre(c); };
    if (s.on)
    {
        juce::ColourGradient halo(palette::accent.withAlpha(s.over ? 0.6f : 0.45f), c, palette::accent.withAlpha(0.0f),
                                  c.translated(r * 2.3f, 0.0f), true);
        g.setGradientFill(halo);
        g.fillEllipse(disc(r * 2.3f));
    }
    else
    {
        circleShadow(g, c, r, 1.5f, 0.3f);
    }

    g.setColour(s.on ? palette::accent.darker(0.5f) : juce::Colour(s.over ? 0xff7a6a88 : 0xff4a4a4a));
    g.fillEllipse(disc(r));

    const auto glassR = r - 1.0f;
    const auto hot = c.translated(-glassR * 0.3f, -glassR * 0.3f);
    juce::ColourGradient glass = s.on
        ? juce::ColourGradient(juce::Colour(0xfff1e4fb), hot, palette::accent, c.translated(glassR, glassR * 0.4f), true)
        : juce::ColourGradient(juce::Colour(s.over ? 0xffa9a9a9 : 0xff8c8c8c), hot, juce::Colour(0xff505050),
                               c.translated(glassR, glassR * 0.4f), true);
    if (s.on)
        glass.addColour(0.45, palette::accentLight.brighter(0.3f));
    g.setGradientFill(glass);
    g.fillEllipse(disc(glassR));

    g.setColour(juce::Colours::white.withAlpha(s.on ? 0.7f : 0.45f));
    g.fillEllipse(juce::Rectangle<float>(glassR * 0.7f, glassR * 0.5f).withCentre(c.translated(0.0f, -glassR * 0.5f)));
}

juce::Path textPath(const Context& context, const juce::String& text, float height, float tracking)
{
    const auto font = juce::Font(context.typeface).withHeight(height).withExtraKerningFactor(tracking);
    juce::GlyphArrangement glyphs;
    glyphs.addLineOfText(font, text, 0.0f, 0.0f);
    juce::Path path;
    glyphs.createPath(path);
    return path;
}

void drawText(juce::Graphics& g, const juce::Path& text, juce::Rectangle<float> box, juce::Colour colour,
              juce::Justification justification, float weight)
{
    // The path's baseline is y = 0; placed on a whole pixel, capitals stand sharp.
    const auto bounds = text.getBounds();
    const auto placed = justification.appliedToRectangle(bounds, box);
    const auto dx = std::round(placed.getX() - bounds.getX());
    const auto dy = std::round(placed.getY() - bounds.getY());
    const auto moved = juce::AffineTransform::translation(dx, dy);
    g.setColour(colour);
    g.fillPath(text, moved);
    if (weight > 0.0f)
        g.strokePath(text, juce::PathStrokeType(weight), moved);
}

void strokeSymbol(juce::Graphics& g, const juce::Path& path, juce::Colour colour, float thickness)
{
    g.setColour(colour);
    g.strokePath(path, juce::PathStrokeType(thickness, juce::PathStrokeType::curved, juce::PathStrokeType::rounded));
}

} // namespace assets
