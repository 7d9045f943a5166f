#include "Canvas.h"

namespace assets
{

namespace
{
using Box = juce::Rectangle<float>;
constexpr int width = 1130, expandedHeight = 656, collapsedHeight = 435;
constexpr float captionHeight = 9.5f;

enum class Panel
{
    lfo,
    lfoEdit,
    manual,
};

void caption(const Context& c, juce::Graphics& g, const juce::String& text, Box box,
             juce::Justification j = juce::Justification::centred, float height = captionHeight)
{
    drawText(g, textPath(c, text, height, 0.08f), box, palette::grey, j, 0.25f);
}

// A raised plate that groups a section's controls.
void plate(juce::Graphics& g, Box box)
{
    g.setColour(juce::Colours::black.withAlpha(0.08f));
    g.fillRoundedRectangle(box.translated(0.0f, 1.0f), 5.0f);
    g.setGradientFill(juce::ColourGradient::vertical(juce::Colour(0xffe0e0e0), box.getY(), juce::Colour(0xffd6d6d6),
                                                     box.getBottom()));
    g.fillRoundedRectangle(box, 5.0f);
    g.setColour(juce::Colour(0xffb4b4b4));
    g.drawRoundedRectangle(box.reduced(0.5f), 5.0f, 1.0f);
}

// A sunken window for a display, a meter or a field of text.
void well(juce::Graphics& g, Box box, juce::Colour fill, float corner = 3.0f)
{
    g.setColour(juce::Colours::white.withAlpha(0.6f));
    g.fillRoundedRectangle(box.translated(0.0f, 1.0f), corner);
    g.setColour(fill);
    g.fillRoundedRectangle(box, corner);
    g.setColour(juce::Colours::black.withAlpha(0.35f));
    g.drawRoundedRectangle(box.reduced(0.5f), corner, 1.0f);
    g.setColour(juce::Colours::black.withAlpha(0.12f));
    g.fillRect(box.reduced(corner, 1.0f).withHeight(1.0f).translated(0.0f, 1.0f));
}

const juce::Colour darkWindow { 0xff2f2f31 };
const juce::Colour lightWindow { 0xfff1f1ef };
const juce::Colour field { 0xffeeeeee };

void topBar(const Context& c, juce::Graphics& g)
{
    g.setGradientFill(juce::ColourGradient::vertical(juce::Colour(0xff3c3c3e), 0.0f, juce::Colour(0xff29292b), 45.0f));
    g.fillRect(0, 0, width, 45);
    drawText(g, textPath(c, "REEL WARP", 20.0f, 0.2f), { 20.0f, 0.0f, 300.0f, 45.0f }, juce::Colour(0xffe6e6e6),
             juce::Justification::centredLeft, 0.4f);
    // Right of its switch: the A/B button stands left of it.
    drawText(g, textPath(c, "SYNC", captionHeight, 0.08f), { 946.0f, 16.0f, 48.0f, 26.0f }, juce::Colour(0xffa0a0a0),
             juce::Justification::centredLeft, 0.25f);
}

// The main knobs, the meters and the reels' plates.
void sides(const Context& c, juce::Graphics& g)
{
    for (const float x : { 10.0f, 986.0f })
        plate(g, { x, 55.0f, 134.0f, 322.0f });
    const std::pair<float, const char*> knobs[] = { { 58.0f, "INPUT" }, { 992.0f, "OUTPUT" } };
    for (const auto& [x, name] : knobs)
    {
        caption(c, g, name, { x, 112.0f, 80.0f, 12.0f });
        caption(c, g, x < 500.0f ? "DRIVE" : "MIX", { x, 257.0f, 80.0f, 12.0f });
    }
    for (const auto& [x, name] : { std::pair { 16.0f, "IN" }, std::pair { 1106.0f, "OUT" } })
    {
        well(g, { x - 2.0f, 95.0f, 9.0f, 268.0f }, darkWindow, 2.0f);
        caption(c, g, name, { x - 14.0f, 364.0f, 33.0f, 10.0f }, juce::Justification::centred, 8.5f);
    }
    for (const float x : { 177.0f, 787.0f })
    {
        g.setColour(juce::Colours::black.withAlpha(0.05f));
        g.fillRoundedRectangle({ x - 6.0f, 96.0f, 178.0f, 268.0f }, 8.0f);
    }
}

// The flange display, the mode and the knobs of the middle panel.
void middle(const Context& c, juce::Graphics& g, Panel panel)
{
    caption(c, g, "FLANGE", { 430.0f, 88.0f, 271.0f, 12.0f });
    well(g, Box(430.0f, 104.0f, 271.0f, 94.0f).expanded(3.0f), darkWindow);
    plate(g, { 398.0f, 222.0f, 337.0f, 152.0f });
    caption(c, g, "MODE", { 448.0f, 234.0f, 74.0f, 12.0f });
    well(g, { 446.0f, 248.0f, 78.0f, 19.0f }, field);
    caption(c, g, "INVERT", { 535.0f, 228.0f, 60.0f, 12.0f });

    struct Column
    {
        float x, w;
        const char* name;
    };
    const Column lfo[] = { { 416, 74, "RATE" }, { 491, 74, "DEPTH" }, { 565, 74, "DELAY" }, { 640, 74, "FEEDBACK" } };
    const Column edit[] = { { 416, 74, "SHAPE" }, { 491, 74, "SYMMETRY" }, { 565, 74, "PHASE" }, { 640, 74, "SWING" } };
    const Column manual[] = { { 403, 64, "POSITION" }, { 468, 64, "DEPTH" }, { 533, 64, "FADE" },
                              { 598, 64, "DELAY" },    { 663, 64, "FEEDBACK" } };
    auto columns = [&](const auto& table) {
        for (const auto& col : table)
            caption(c, g, col.name, { col.x, 360.0f, col.w, 11.0f });
    };
    if (panel == Panel::lfo)
        columns(lfo);
    else if (panel == Panel::lfoEdit)
        columns(edit);
    else
        columns(manual);
}

// The tape preset and its makeup gain, shown in both heights.
void tapePresetRow(const Context& c, juce::Graphics& g)
{
    caption(c, g, "MAKEUP", { 730.0f, 393.0f, 60.0f, 11.0f }, juce::Justification::centredRight);
    well(g, { 807.0f, 386.0f, 254.0f, 26.0f }, field);
}

void sections(const Context& c, juce::Graphics& g)
{
    for (const Box box : { Box(12, 421, 284, 196), Box(299, 421, 167, 196), Box(470, 421, 300, 196), Box(774, 421, 346, 196) })
        plate(g, box);
    for (const Box box : { Box(63, 469, 201, 59), Box(514, 469, 225, 59), Box(818, 469, 275, 59) })
        well(g, box.expanded(2.0f), lightWindow);

    auto below = [&](float centreX, float w, const char* name, float height = captionHeight) {
        caption(c, g, name, { centreX - w * 0.5f, 602.0f, w, 11.0f }, juce::Justification::centred, height);
    };
    // Tape: the knobs' centres are their places plus 13.
    below(41, 62, "HARDNESS");
    below(106, 62, "HYSTERESIS");
    below(167, 46, "DEPTH");
    below(214, 46, "RATE");
    below(261, 46, "NOISE");
    caption(c, g, "DEGRADE", { 150.0f, 561.0f, 81.0f, 10.0f });
    caption(c, g, "GATE", { 236.0f, 563.0f, 34.0f, 10.0f }, juce::Justification::centredRight);

    caption(c, g, "ENCODER", { 329.0f, 475.0f, 119.0f, 11.0f });
    well(g, { 329.0f, 487.0f, 119.0f, 24.0f }, field);
    caption(c, g, "DECODER", { 329.0f, 604.0f, 119.0f, 11.0f });
    well(g, { 329.0f, 578.0f, 119.0f, 24.0f }, field);
    caption(c, g, "LINK", { 412.0f, 542.0f, 40.0f, 11.0f }, juce::Justification::centredLeft);

    // Knobs 55 apart: the smaller letters keep their names apart.
    for (const auto& [x, name] : { std::pair { 516.0f, "SPEED" }, std::pair { 572.0f, "SPACING" },
                                   std::pair { 627.0f, "THICKNESS" }, std::pair { 682.0f, "AZIMUTH" },
                                   std::pair { 737.0f, "WIDTH" } })
        below(x, 54, name, 8.5f);

    const std::pair<float, const char*> groups[] = { { 843, "WOW" }, { 955, "FLUTTER" }, { 1068, "RANDOM" } };
    for (const auto& [x, name] : groups)
    {
        caption(c, g, name, { x - 40.0f, 561.0f, 80.0f, 10.0f });
        below(x - 23.0f, 46, "DEPTH");
        below(x + 24.0f, 46, "RATE");
    }
    caption(c, g, "LOW LATENCY", { 923.0f, 429.0f, 90.0f, 11.0f }, juce::Justification::centredLeft);
}

void footer(juce::Graphics& g, int height)
{
    g.setColour(juce::Colour(0xffc6c6c6));
    g.fillRect(0, height - 20, width, 20);
    g.setColour(juce::Colour(0xffb0b0b0));
    g.fillRect(0, height - 20, width, 1);
}
} // namespace

void drawBackgrounds(const Context& context)
{
    const std::pair<Panel, const char*> panels[] = { { Panel::lfo, "lfo" }, { Panel::lfoEdit, "lfo-edit" },
                                                     { Panel::manual, "manual" } };
    for (const auto& [panel, name] : panels)
        for (const bool expanded : { true, false })
        {
            const int height = expanded ? expandedHeight : collapsedHeight;
            writeImage(context, juce::String("_flanger/_bkg_") + name + (expanded ? "_max" : "_min"), width, height,
                       [&, panel = panel](juce::Graphics& g) {
                           g.fillAll(palette::panel);
                           topBar(context, g);
                           sides(context, g);
                           middle(context, g, panel);
                           tapePresetRow(context, g);
                           if (expanded)
                               sections(context, g);
                           footer(g, height);
                       });
        }
}

} // namespace assets
