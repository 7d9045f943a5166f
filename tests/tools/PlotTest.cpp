#include "render/Plot.h"

#include <juce_graphics/juce_graphics.h>

#include <gtest/gtest.h>

#include <cmath>

using namespace qel::render;

namespace
{

constexpr double rate = 48000.0;

juce::AudioBuffer<float> sine(int channels, int length, double hz, float amplitude, int soundingFor)
{
    juce::AudioBuffer<float> b(channels, length);
    b.clear();
    for (int ch = 0; ch < channels; ++ch)
        for (int i = 0; i < soundingFor; ++i)
            b.setSample(ch, i, amplitude * (float) std::sin(2.0 * juce::MathConstants<double>::pi * hz * i / rate));
    return b;
}

// The row whose log-spaced band holds hz, straight from the axis' definition.
int rowOf(double hz, const Spectrogram& s) { return (int) std::floor(s.rows * std::log(hz / s.minHz) / std::log(s.maxHz / s.minHz)); }

} // namespace

// Sines on FFT bin centres, at -6 dBFS: each column's loudest row is the sine's, at its level;
// once the sine has stopped, the column is silent.
TEST(PlotSpectrogram, FindsEachSineInItsRowAtItsLevel)
{
    const double inHz = 44 * rate / 2048, outHz = 256 * rate / 2048;
    const auto in = sine(2, 24000, inHz, 0.5f, 24000), out = sine(1, 48000, outHz, 0.5f, 24000);
    const auto a = computeSpectrogram(in, rate, 100, 240), b = computeSpectrogram(out, rate, 200, 240);
    ASSERT_EQ(a.db.size(), 100u * 240u);
    for (const auto* s : { &a, &b })
        for (int c = 0; c < s->columns; ++c)
        {
            const int centre = (int) ((c + 0.5) * 240), sounding = 24000; // both hops are 240 samples
            if (centre >= sounding)
                continue;
            const auto* column = &s->db[(size_t) c * 240];
            const int loudest = (int) (std::max_element(column, column + 240) - column);
            EXPECT_EQ(loudest, rowOf(s == &a ? inHz : outHz, *s)) << "column " << c;
            if (centre >= 1024 && centre + 1024 <= sounding) // the window lies wholly on the sine
                EXPECT_NEAR(column[loudest], -6.02f, 0.05f) << "column " << c;
        }
    for (int c = 110; c < 200; ++c) // windows wholly after the sine's end
        EXPECT_LT(*std::max_element(&b.db[(size_t) c * 240], &b.db[(size_t) c * 240 + 240]), -150.0f) << "column " << c;
}

TEST(PlotFile, WritesAReadablePictureForLongShortAndEmptyAudio)
{
    const auto dir = juce::File::createTempFile("plot-test");
    ASSERT_TRUE(dir.createDirectory());
    const auto png = dir.getChildFile("compare.png");
    ASSERT_TRUE(png.replaceWithText("an older file that is not a picture"));
    const juce::AudioBuffer<float> none(2, 0);
    const struct { juce::AudioBuffer<float> in, out; } cases[] = {
        { sine(2, 48000, 1000.0, 0.5f, 48000), sine(2, 72000, 3000.0, 0.9f, 48000) },
        { sine(1, 10, 1000.0, 0.5f, 10), none },
        { none, none },
    };
    for (const auto& c : cases)
    {
        juce::String error;
        ASSERT_TRUE(writeComparisonPlot(png, c.in, c.out, rate, error)) << error;
        const auto image = juce::ImageFileFormat::loadFrom(png);
        ASSERT_TRUE(image.isValid());
        EXPECT_EQ(image.getWidth(), 1600);
        EXPECT_EQ(image.getHeight(), 900);
        EXPECT_EQ(dir.getNumberOfChildFiles(juce::File::findFiles), 1) << "a temporary file was left behind";
    }
    dir.deleteRecursively();
}

TEST(PlotFile, FailsWithAReasonWhereNothingCanBeWritten)
{
    const auto audio = sine(1, 4800, 440.0, 0.5f, 4800);
    for (const auto& png : { juce::File("/nonexistent-folder/plot.png"), juce::File("/proc/plot.png"), juce::File("/proc/self") })
    {
        juce::String error;
        EXPECT_FALSE(writeComparisonPlot(png, audio, audio, rate, error)) << png.getFullPathName();
        EXPECT_TRUE(error.isNotEmpty());
        EXPECT_FALSE(png.existsAsFile());
    }
}

