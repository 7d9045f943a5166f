// Draws every display of the face at its place's size, for a few settings,
// on the panel's grey, into one PNG page to look them over:
//   reelwarp-draw-displays OUTPUT.png [--scale N] [--ground AARRGGBB] [--row N [--cell N]]
// The displays are given plain values here; nothing is bound. --ground
// replaces the grey, to see the lines on a darker face; --row draws one row
// of the page only, --cell one display of it, to look at them closely.

#include "ui/displays/AudioMeter.h"
#include "ui/displays/FlangeDisplay.h"
#include "ui/displays/MagneticWaveformDisplay.h"
#include "ui/displays/PlayHeadResponseDisplay.h"
#include "ui/displays/RecordResponseDisplay.h"
#include "ui/displays/ScrollCurve.h"
#include "ui/displays/SpeedCurveFeed.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <cmath>
#include <iostream>
#include <memory>
#include <vector>

namespace
{


struct Cell
{
    juce::String label;
    std::unique_ptr<juce::Component> display;
};

template <typename Display, typename Values>
Cell cell(const juce::String& label, const Values& values, int w, int h)
{
    auto d = std::make_unique<Display>(values);
    d->setSize(w, h);
    return { label, std::move(d) };
}

std::vector<std::vector<Cell>> makeRows()
{
    std::vector<std::vector<Cell>> rows(6);
    rows[0].push_back(cell<qel::FlangeDisplay>("flange, at rest", qel::FlangeLines { 0.005f, false, 0.0f }, 271, 94));
    rows[0].push_back(cell<qel::FlangeDisplay>("flange, deck B at 0.6", qel::FlangeLines { 0.005f, false, 0.6f }, 271, 94));
    rows[0].push_back(cell<qel::FlangeDisplay>("flange, full depth, inverted, -0.5", qel::FlangeLines { 0.015f, true, -0.5f }, 271, 94));

    rows[1].push_back(cell<qel::RecordResponseDisplay>("record, defaults", qel::RecordResponse { 1.0f, 0.0f, true }, 201, 59));
    rows[1].push_back(cell<qel::RecordResponseDisplay>("record, hardness 0", qel::RecordResponse { 0.0f, 0.0f, true }, 201, 59));
    rows[1].push_back(cell<qel::RecordResponseDisplay>("record, 0.3 / 0.5", qel::RecordResponse { 0.3f, 0.5f, true }, 201, 59));
    rows[1].push_back(cell<qel::RecordResponseDisplay>("record, off", qel::RecordResponse { 0.3f, 0.5f, false }, 201, 59));

    const auto magnetic = [](float hardness, float resistance, bool on) {
        qel::MagneticWaveform m;
        m.hardness = hardness;
        m.resistance = resistance;
        m.on = on;
        return m;
    };
    rows[2].push_back(cell<qel::MagneticWaveformDisplay>("magnetic, defaults", magnetic(1.0f, 0.0f, true), 201, 59));
    rows[2].push_back(cell<qel::MagneticWaveformDisplay>("magnetic, hardness 0", magnetic(0.0f, 0.0f, true), 201, 59));
    rows[2].push_back(cell<qel::MagneticWaveformDisplay>("magnetic, 0.5 / 0.33", magnetic(0.5f, 0.33f, true), 201, 59));
    rows[2].push_back(cell<qel::MagneticWaveformDisplay>("magnetic, off", magnetic(0.5f, 0.33f, false), 201, 59));

    rows[3].push_back(cell<qel::PlayHeadResponseDisplay>("playback, defaults",
                                                         qel::PlayHeadResponse { 1.0f, 0.0f, 0.0f, 0.0f, 0.8f, true }, 225, 59));
    rows[3].push_back(cell<qel::PlayHeadResponseDisplay>("playback, slow, far, thick",
                                                         qel::PlayHeadResponse { 0.2f, 0.6f, 0.5f, 0.3f, 0.2f, true }, 225, 59));
    rows[3].push_back(cell<qel::PlayHeadResponseDisplay>("playback, fast, azimuth 1",
                                                         qel::PlayHeadResponse { 1.3f, 0.0f, 0.0f, 1.0f, 1.0f, true }, 225, 59));
    rows[3].push_back(cell<qel::PlayHeadResponseDisplay>("playback, off",
                                                         qel::PlayHeadResponse { 0.2f, 0.6f, 0.5f, 0.3f, 0.2f, false }, 225, 59));

    // Deviation maxima as wow and flutter give them, 10 ms a point.
    for (const float wow : { 0.0f, 0.1f, 0.3f })
    {
        auto curve = std::make_unique<qel::ScrollCurve>();
        curve->setSize(275, 59);
        const int c = curve->addCurve();
        qel::SpeedCurveFeed::styleCurve(*curve, c);
        for (int i = 0; i < 200; ++i)
        {
            const double t = i * 0.01;
            curve->push(c, static_cast<float>(wow * std::sin(6.283185307179586 * 0.7 * t) + 0.02 * std::sin(6.283185307179586 * 9.0 * t)));
        }
        rows[4].push_back({ "speed curve, wow " + juce::String(wow, 1), std::move(curve) });
    }

    for (const auto& [label, left, right] : { std::tuple { "meter, -6 / -30 dB", 0.5f, 0.0316f },
                                              std::tuple { "meter, 0 / -70 dB", 1.0f, 0.0003f },
                                              std::tuple { "meter, falling", 0.7f, 0.2f } })
    {
        auto meter = std::make_unique<qel::AudioMeter>(2);
        meter->setSize(5, 264);
        meter->getBar(0).takePeak(left);
        meter->getBar(1).takePeak(right);
        if (juce::String(label).contains("falling"))
            for (int t = 0; t < 3; ++t)
            {
                meter->getBar(0).takePeak(0.0f);
                meter->getBar(1).takePeak(0.0f);
            }
        rows[5].push_back({ label, std::move(meter) });
    }
    return rows;
}

juce::Image drawSheet(std::vector<std::vector<Cell>>& rows, int scale, juce::Colour ground)
{
    constexpr int margin = 16, labelHeight = 16, gap = 20;
    int height = margin, width = 0;
    for (const auto& row : rows)
    {
        int rowHeight = 0, rowWidth = margin;
        for (const auto& c : row)
        {
            rowHeight = std::max(rowHeight, c.display->getHeight());
            rowWidth += std::max(c.display->getWidth(), 110) + margin + gap;
        }
        height += labelHeight + rowHeight + margin;
        width = std::max(width, rowWidth);
    }
    juce::Image sheet(juce::Image::ARGB, width * scale, height * scale, true, juce::SoftwareImageType());
    juce::Graphics g(sheet);
    g.addTransform(juce::AffineTransform::scale(static_cast<float>(scale)));
    g.fillAll(ground);
    int y = margin;
    for (auto& row : rows)
    {
        int x = margin, rowHeight = 0;
        for (auto& c : row)
        {
            g.setColour(ground.contrasting(0.5f));
            g.setFont(12.0f);
            g.drawText(c.label, x, y, 300, labelHeight, juce::Justification::centredLeft);
            const auto& d = *c.display;
            // The display's place, faintly, to see the margins.
            g.setColour(ground.contrasting(0.1f));
            g.drawRect(x - 1, y + labelHeight - 1, d.getWidth() + 2, d.getHeight() + 2);
            g.saveState();
            g.setOrigin(x, y + labelHeight);
            c.display->paintEntireComponent(g, false);
            g.restoreState();
            x += std::max(d.getWidth(), 110) + margin + gap;
            rowHeight = std::max(rowHeight, d.getHeight());
        }
        y += labelHeight + rowHeight + margin;
    }
    return sheet;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2)
    {
        std::cerr << "usage: reelwarp-draw-displays OUTPUT.png [--scale N]\n";
        return 2;
    }
    int scale = 1;
    juce::Colour ground(0xffd3d3d3); // the panel's grey
    int onlyRow = -1, onlyCell = -1;
    for (int i = 2; i + 1 < argc; ++i)
        if (juce::String(argv[i]) == "--scale")
            scale = std::max(1, juce::String(argv[i + 1]).getIntValue());
        else if (juce::String(argv[i]) == "--ground")
            ground = juce::Colour(static_cast<juce::uint32>(juce::String(argv[i + 1]).getHexValue64()));
        else if (juce::String(argv[i]) == "--row")
            onlyRow = juce::String(argv[i + 1]).getIntValue();
        else if (juce::String(argv[i]) == "--cell")
            onlyCell = juce::String(argv[i + 1]).getIntValue();
    juce::ScopedJuceInitialiser_GUI juce;
    auto rows = makeRows();
    if (onlyRow >= 0 && onlyRow < static_cast<int>(rows.size()))
    {
        auto row = std::move(rows[static_cast<size_t>(onlyRow)]);
        if (onlyCell >= 0 && onlyCell < static_cast<int>(row.size()))
        {
            auto cell = std::move(row[static_cast<size_t>(onlyCell)]);
            row.clear();
            row.push_back(std::move(cell));
        }
        rows.clear();
        rows.push_back(std::move(row));
    }
    const auto sheet = drawSheet(rows, scale, ground);
    const juce::File file = juce::File::getCurrentWorkingDirectory().getChildFile(argv[1]);
    file.deleteFile();
    juce::FileOutputStream out(file);
    juce::PNGImageFormat png;
    if (!out.openedOk() || !png.writeImageToStream(sheet, out))
    {
        std::cerr << "cannot write " << file.getFullPathName() << "\n";
        return 1;
    }
    std::cout << file.getFullPathName() << "\n";
    return 0;
}
