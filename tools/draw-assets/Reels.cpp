#include "Canvas.h"

#include <cmath>

namespace assets
{

namespace
{
constexpr int reelWidth = 166, reelHeight = 255, reelFrames = 180;
const juce::Point<float> hub { 83.0f, 82.0f };
constexpr float flangeRadius = 78.0f, packRadius = 58.0f, hubRadius = 16.0f;
const juce::Colour tape { 0xff4a3a30 };

juce::Rectangle<float> disc(juce::Point<float> c, float r)
{
    return juce::Rectangle<float>(r * 2.0f, r * 2.0f).withCentre(c);
}

// The tape leaves the pack on the side of the heads, turns on a guide roller
// and runs out of the frame toward the middle of the face.
void drawTapePath(juce::Graphics& g, bool left)
{
    const float side = left ? 1.0f : -1.0f;
    const float rollerRadius = 9.0f;
    const juce::Point<float> roller { hub.x + side * (packRadius + rollerRadius), 226.0f };
    const juce::Point<float> leave { hub.x + side * packRadius, hub.y };
    const juce::Point<float> touch { roller.x - side * rollerRadius, roller.y };
    const juce::Point<float> exit { left ? (float) reelWidth : 0.0f, roller.y + rollerRadius };

    juce::Path path;
    path.startNewSubPath(leave);
    path.lineTo(touch);
    // Down the inner side of the roller and under it, toward the heads.
    path.addCentredArc(roller.x, roller.y, rollerRadius, rollerRadius, 0.0f, -side * juce::MathConstants<float>::halfPi,
                       -side * juce::MathConstants<float>::pi, false);
    path.lineTo(exit);
    g.setColour(tape);
    g.strokePath(path, juce::PathStrokeType(2.0f));

    circleShadow(g, roller, rollerRadius, 2.0f, 0.25f);
    g.setGradientFill(juce::ColourGradient(juce::Colour(0xfff4f4f4), roller.translated(-4.0f, -4.0f),
                                           juce::Colour(0xff9c9c9c), roller.translated(6.0f, 6.0f), true));
    g.fillEllipse(disc(roller, rollerRadius - 1.0f));
    g.setColour(juce::Colour(0xff6a6a6a));
    g.drawEllipse(disc(roller, rollerRadius - 1.0f), 1.0f);
    g.fillEllipse(disc(roller, 2.0f));
}

// One frame: the flange with its three windows, the pack behind them, and the
// hub with its spokes, all turned by angle.
void drawReel(juce::Graphics& g, float angle, bool left)
{
    drawTapePath(g, left);
    circleShadow(g, hub, flangeRadius, 4.0f, 0.3f);

    // The pack shows through the windows of the flange.
    g.setColour(tape);
    g.fillEllipse(disc(hub, packRadius));
    g.setColour(tape.brighter(0.25f));
    for (float r = 26.0f; r < packRadius; r += 6.0f)
        g.drawEllipse(disc(hub, r), 0.5f);

    juce::Path flange;
    flange.addEllipse(disc(hub, flangeRadius));
    flange.setUsingNonZeroWinding(false);
    for (int i = 0; i < 3; ++i)
    {
        const float a = angle + (float) i * juce::MathConstants<float>::twoPi / 3.0f;
        juce::Path window;
        window.addPieSegment(disc(hub, flangeRadius - 9.0f), a + 0.22f, a + 2.0944f - 0.22f, 0.42f);
        flange.addPath(window);
    }
    g.setGradientFill(juce::ColourGradient(juce::Colour(0xffeeeeee), hub.translated(-50.0f, -60.0f),
                                           juce::Colour(0xff9a9a9a), hub.translated(55.0f, 65.0f), false));
    g.fillPath(flange);
    g.setColour(juce::Colour(0xff7a7a7a));
    g.strokePath(flange, juce::PathStrokeType(1.0f));

    // The hub and its spokes.
    g.setColour(juce::Colour(0xff3a3a3c));
    g.fillEllipse(disc(hub, hubRadius + 3.0f));
    g.setGradientFill(juce::ColourGradient(juce::Colour(0xfff8f8f8), hub.translated(-6.0f, -8.0f),
                                           juce::Colour(0xffa8a8a8), hub.translated(8.0f, 10.0f), true));
    g.fillEllipse(disc(hub, hubRadius));
    for (int i = 0; i < 3; ++i)
    {
        const float a = angle + 0.5f + (float) i * juce::MathConstants<float>::twoPi / 3.0f;
        const juce::Point<float> dir { std::sin(a), -std::cos(a) };
        juce::Path spoke;
        spoke.startNewSubPath(hub + dir * 6.0f);
        spoke.lineTo(hub + dir * (hubRadius - 2.0f));
        strokeSymbol(g, spoke, juce::Colour(0xff505050), 3.0f);
    }
    g.setColour(juce::Colour(0xff2a2a2a));
    g.fillEllipse(disc(hub, 4.0f));
}
} // namespace

void drawReels(const Context& context)
{
    // The plate behind each reel on the backgrounds: the panel under 5% of black.
    const auto plate = palette::panel.overlaidWith(juce::Colours::black.withAlpha(0.05f));
    for (const bool left : { true, false })
    {
        // One turn over the strip, clockwise, opaque and at 1x only: decoded
        // without alpha it holds 3 bytes a pixel, 23 MB, where its @2x in
        // ARGB would hold 120 MB.
        juce::Image strip(juce::Image::RGB, reelWidth, reelHeight * reelFrames, false, juce::SoftwareImageType());
        juce::Graphics g(strip);
        // Each frame is drawn on its own and copied in: far down the strip,
        // float coordinates would shade the still parts a little differently.
        for (int frame = 0; frame < reelFrames; ++frame)
        {
            juce::Image one(juce::Image::RGB, reelWidth, reelHeight, false, juce::SoftwareImageType());
            {
                juce::Graphics fg(one);
                fg.fillAll(plate);
                drawReel(fg, (float) frame * juce::MathConstants<float>::twoPi / reelFrames, left);
            }
            g.drawImageAt(one, 0, frame * reelHeight);
        }
        writePng(context, juce::String("_flanger/k_reel-flanger-") + (left ? "L" : "R") + "_166x255x180", strip);
    }
}

} // namespace assets
