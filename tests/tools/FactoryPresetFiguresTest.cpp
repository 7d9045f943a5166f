// Every factory preset, rendered on a short program: finite, near the input's
// loudness, with headroom, and wide where its page says so.
#include "PresetFigures.h"

#include "plugin/ReelwarpPlugin.h"

#include <gtest/gtest.h>

namespace
{

// The presets whose line on the page promises width, by the words it uses.
juce::StringArray presetsPromisingWidth()
{
    juce::StringArray lines, wide;
    juce::File(REELWARP_RESOURCES_DIR).getChildFile("presets.md").readLines(lines);
    for (const auto& line : lines)
    {
        juce::StringArray cells;
        cells.addTokens(line, "|", "");
        if (cells.size() < 5)
            continue;
        const auto text = cells[3];
        if (text.containsIgnoreCase("wide") || text.containsIgnoreCase("width") || text.containsIgnoreCase("left and right"))
            wide.add(cells[1].trim() + "/" + cells[2].trim());
    }
    return wide;
}

TEST(FactoryPresetFigures, StayFiniteNearTheInputLoudnessBelowFullScaleAndWideWherePromised)
{
    const auto wide = presetsPromisingWidth();
    EXPECT_GE(wide.size(), 4) << "the page names the stereo presets";
    const qel::ReelwarpPlugin mounting;
    qel::measure::Lengths lengths;
    lengths.program = 2.0;
    lengths.stereo = lengths.noise = lengths.sine = lengths.click = 0.0;
    int measured = 0, wideMeasured = 0;
    for (const auto& choice : qel::measure::factoryChoices())
    {
        SCOPED_TRACE(choice.name.toStdString());
        qel::ReelwarpPlugin plugin; // an instance of its own: no preset inherits another's state
        qel::measure::Figures f;
        juce::String error;
        ASSERT_TRUE(qel::measure::measurePreset(plugin, choice, lengths, f, error)) << error;
        ++measured;
        EXPECT_TRUE(f.finite);
        EXPECT_LE(std::abs(f.levelChangeLu), 6.0);
        EXPECT_LT(f.truePeakDb, -0.5) << "for a program peaking at -6 dBFS";
        if (wide.contains(choice.name))
        {
            ++wideMeasured;
            EXPECT_GE(f.sideToMidDb, -20.0) << "a mono source comes out wide";
        }
    }
    EXPECT_EQ(measured, 36 + 18);
    EXPECT_EQ(wideMeasured, wide.size());
}

} // namespace
