#pragma once

// What every drawing of the face's images shares: the palette, the writing of
// one image at 1x and @2x, the four states of a button, and the few pieces
// (shadow, key, lamp, caption) that the families are built from.

#include <juce_graphics/juce_graphics.h>

#include <functional>

namespace assets
{

namespace palette
{
const juce::Colour panel { 0xffd3d3d3 };
const juce::Colour face { 0xffe6e6e6 };
const juce::Colour text { 0xff424242 };
const juce::Colour grey { 0xff646464 };
const juce::Colour quiet { 0xff919191 };
const juce::Colour accent { 0xff785991 };
const juce::Colour accentLight { 0xff906aae };
const juce::Colour ink { 0xff212121 };
} // namespace palette

// Where the images go, and the typeface of every word in them.
struct Context
{
    juce::File folder;
    juce::Typeface::Ptr typeface;
};

using Painter = std::function<void(juce::Graphics&)>;

// Writes name.png, w x h, and name@2x.png, drawn again at scale 2 so that it stays sharp.
void writeImage(const Context&, const juce::String& name, int w, int h, const Painter&);

struct ButtonState
{
    bool on = false;
    bool over = false;
};

using ButtonPainter = std::function<void(juce::Graphics&, juce::Rectangle<float>, ButtonState)>;

// Writes an image made elsewhere as name.png.
void writePng(const Context&, const juce::String& name, const juce::Image&);

// name-off, name-on, name-off-over, name-on-over; or only -off and -on.
void writeFourStates(const Context&, const juce::String& name, int w, int h, const ButtonPainter&);
void writeTwoStates(const Context&, const juce::String& name, int w, int h, const ButtonPainter&);

// A soft shadow around a circle, as a knob or a lamp casts it on the panel.
void circleShadow(juce::Graphics&, juce::Point<float> centre, float radius, float spread, float alpha);

// A square push key of a tape machine: raised when off, lit in the accent when
// on, a lighter face and rim under the mouse. Returns the colour its symbol takes.
juce::Colour drawKey(juce::Graphics&, juce::Rectangle<float> bounds, ButtonState, float corner = 3.5f);

// A round indicator lamp: dark glass when off, glowing in the accent when on.
void drawLamp(juce::Graphics&, juce::Point<float> centre, float radius, ButtonState);

// Words in the product's font, centred on the box, capitals at whole pixels.
juce::Path textPath(const Context&, const juce::String& text, float height, float tracking = 0.0f);
// A light face at small sizes gains weight from a thin outline of its own colour.
void drawText(juce::Graphics&, const juce::Path& text, juce::Rectangle<float> box, juce::Colour, juce::Justification,
              float weight = 0.0f);

// Strokes a symbol with round ends and joins.
void strokeSymbol(juce::Graphics&, const juce::Path&, juce::Colour, float thickness);

// The families: knob strips; square keys with a symbol; section switches and
// the LFO settings plate; the top bar's preset and A/B buttons; the backgrounds
// and reels.
void drawKnobs(const Context&);
void drawKeys(const Context&);
void drawSwitches(const Context&);
void drawTopBar(const Context&);
// The window's backgrounds of each flange panel and height, and the two reel strips.
void drawBackgrounds(const Context&);
void drawReels(const Context&);

} // namespace assets
