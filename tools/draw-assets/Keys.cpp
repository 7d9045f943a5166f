#include "Canvas.h"

#include <cmath>

namespace assets
{

namespace
{
constexpr float pi = juce::MathConstants<float>::pi;

// Symbols are drawn in a unit square and mapped onto the key's symbol box.
struct Symbol
{
    juce::Graphics& g;
    juce::Rectangle<float> box;
    juce::Colour colour;
    float stroke;

    juce::AffineTransform unit() const
    {
        return juce::AffineTransform::scale(box.getWidth(), box.getHeight()).translated(box.getX(), box.getY());
    }
    void draw(juce::Path p) const
    {
        p.applyTransform(unit());
        strokeSymbol(g, p, colour, stroke);
    }
    void fill(juce::Path p) const
    {
        p.applyTransform(unit());
        g.setColour(colour);
        g.fillPath(p);
    }
};

juce::Path polyline(std::initializer_list<juce::Point<float>> points)
{
    juce::Path p;
    p.startNewSubPath(*points.begin());
    for (auto pt = points.begin() + 1; pt != points.end(); ++pt)
        p.lineTo(*pt);
    return p;
}

// Expand: a chevron that points where the window will go.
void chevron(const Symbol& s, ButtonState state)
{
    s.draw(state.on ? polyline({ { 0.15f, 0.68f }, { 0.5f, 0.33f }, { 0.85f, 0.68f } })
                    : polyline({ { 0.15f, 0.33f }, { 0.5f, 0.68f }, { 0.85f, 0.33f } }));
}

// Sync to host: a metronome, tempo's usual sign.
void metronome(const Symbol& s, ButtonState)
{
    auto body = polyline({ { 0.36f, 0.02f }, { 0.64f, 0.02f }, { 0.86f, 0.98f }, { 0.14f, 0.98f } });
    body.closeSubPath();
    s.draw(body);
    s.draw(polyline({ { 0.18f, 0.76f }, { 0.82f, 0.76f } }));
    s.draw(polyline({ { 0.5f, 0.76f }, { 0.84f, 0.16f } }));
}

// Low latency: a bolt.
void bolt(const Symbol& s, ButtonState)
{
    auto p = polyline({ { 0.62f, 0.0f }, { 0.16f, 0.58f }, { 0.46f, 0.58f }, { 0.36f, 1.0f }, { 0.84f, 0.4f }, { 0.54f, 0.4f } });
    p.closeSubPath();
    s.fill(p);
}

// Phase: the sign engineers write on a polarity switch.
void phase(const Symbol& s, ButtonState)
{
    juce::Path p;
    p.addEllipse(0.18f, 0.18f, 0.64f, 0.64f);
    p.startNewSubPath(0.86f, 0.04f);
    p.lineTo(0.14f, 0.96f);
    s.draw(p);
}

// The magnetization view: a sine rounded off by saturation.
void wave(const Symbol& s, ButtonState)
{
    juce::Path p;
    for (int i = 0; i <= 48; ++i)
    {
        const auto x = (float) i / 48.0f;
        const auto y = 0.5f - 0.4f * std::tanh(2.5f * std::sin(2.0f * pi * x)) / std::tanh(2.5f);
        i == 0 ? p.startNewSubPath(x, y) : p.lineTo(x, y);
    }
    s.draw(p);
}

// The frequency response view: flat, a head bump, then the roll-off.
void response(const Symbol& s, ButtonState)
{
    juce::Path p;
    p.startNewSubPath(0.0f, 0.45f);
    p.lineTo(0.4f, 0.45f);
    p.cubicTo(0.52f, 0.45f, 0.56f, 0.2f, 0.66f, 0.24f);
    p.cubicTo(0.76f, 0.28f, 0.8f, 0.7f, 1.0f, 0.96f);
    s.draw(p);
}

// Noise gate: the gate opens for the loud part only.
void gate(const Symbol& s, ButtonState)
{
    s.draw(polyline({ { 0.0f, 0.8f }, { 0.2f, 0.8f }, { 0.28f, 0.2f }, { 0.72f, 0.2f }, { 0.8f, 0.8f }, { 1.0f, 0.8f } }));
}

// Link: two chain links, joined when on and apart when off.
void chain(const Symbol& s, ButtonState state)
{
    const auto gap = state.on ? 0.12f : 0.25f;
    for (const float side : { -1.0f, 1.0f })
    {
        juce::Path link;
        link.addRoundedRectangle(-0.13f, -0.26f, 0.26f, 0.52f, 0.13f);
        link.applyTransform(juce::AffineTransform::rotation(pi * 0.25f)
                                .translated(0.5f - side * gap, 0.5f + side * gap));
        s.draw(link);
    }
    if (!state.on)
        for (const float side : { -1.0f, 1.0f })
            s.draw(polyline({ { 0.5f + side * 0.08f, 0.5f + side * 0.08f }, { 0.5f + side * 0.16f, 0.5f + side * 0.16f } }));
}

// Feedback compensation: the signal path with its loop back to the input.
void feedback(const Symbol& s, ButtonState)
{
    s.draw(polyline({ { 0.0f, 0.2f }, { 1.0f, 0.2f } }));
    s.draw(polyline({ { 0.83f, 0.04f }, { 1.0f, 0.2f }, { 0.83f, 0.36f } }));
    s.draw(polyline({ { 0.7f, 0.2f }, { 0.7f, 0.92f }, { 0.3f, 0.92f }, { 0.3f, 0.38f } }).createPathWithRoundedCorners(0.12f));
    s.draw(polyline({ { 0.14f, 0.54f }, { 0.3f, 0.38f }, { 0.46f, 0.54f } }));
}

using SymbolDrawing = void (*)(const Symbol&, ButtonState);

struct Key
{
    const char* name;
    int w, h;
    float symbolSize, stroke, corner;
    SymbolDrawing symbol;
};

const Key keys[] = {
    { "b_expand", 33, 33, 13.0f, 2.0f, 5.0f, chevron },
    { "b_sync", 27, 26, 13.0f, 1.4f, 4.0f, metronome },
    { "b_lowlatency", 24, 24, 12.0f, 1.5f, 3.5f, bolt },
    { "_flanger/b_phase", 18, 18, 9.0f, 1.3f, 3.0f, phase },
    { "b_phase", 24, 24, 11.0f, 1.5f, 3.5f, phase },
    { "b_rateFreq", 24, 24, 13.0f, 1.5f, 3.5f, wave },
    { "b_rateInt", 24, 24, 13.0f, 1.5f, 3.5f, response },
    { "b_clip", 24, 24, 13.0f, 1.5f, 3.5f, gate },
    { "b_link", 41, 41, 24.0f, 2.2f, 5.0f, chain },
    { "b_fbcomp", 24, 24, 13.0f, 1.4f, 3.5f, feedback },
};
} // namespace

void drawKeys(const Context& context)
{
    for (const auto& k : keys)
        writeFourStates(context, k.name, k.w, k.h, [&k](juce::Graphics& g, juce::Rectangle<float> bounds, ButtonState s) {
            const auto colour = drawKey(g, bounds, s, k.corner);
            // The key's face is one pixel shorter than its bounds: the symbol centres on the face.
            const auto face = bounds.withTrimmedBottom(1.0f);
            const auto box = juce::Rectangle<float>(k.symbolSize, k.symbolSize).withCentre(face.getCentre());
            k.symbol({ g, box, colour, k.stroke }, s);
        });
}

} // namespace assets
