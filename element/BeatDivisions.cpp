#include "element/BeatDivisions.h"

namespace qel::BeatDivisions
{

namespace
{
struct Row
{
    float ratio;
    float threshold; // ratio less 0.0001, as the float constants have it
    const char* text;
};

const Row table[rows] = {
    { 128.0f, 127.9999f, "32x" },           { 64.0f, 63.9999f, "16x" },
    { 32.0f, 31.9999f, "8x" },              { 28.0f, 27.9999f, "7x" },
    { 24.0f, 23.9999f, "6x" },              { 20.0f, 19.9999f, "5x" },
    { 16.0f, 15.9999f, "4x" },              { 12.0f, 11.9999f, "3x" },
    { 8.0f, 7.9999f, "2x" },                { 6.0f, 5.9999f, "1/1 dot" },
    { 4.0f, 3.9999f, "1/1" },               { 3.0f, 2.9999f, "1/2 dot" },
    { 2.6666667f, 2.6665668f, "1/1 tri" },  { 2.0f, 1.9999f, "1/2" },
    { 1.5f, 1.4999f, "1/4 dot" },           { 1.3333334f, 1.3332334f, "1/2 tri" },
    { 1.0f, 0.9999f, "1/4" },               { 0.75f, 0.7499f, "1/8 dot" },
    { 0.6666667f, 0.66656667f, "1/4 tri" }, { 0.5f, 0.4999f, "1/8" },
    { 0.375f, 0.3749f, "1/16 dot" },        { 0.33333334f, 0.33323336f, "1/8 tri" },
    { 0.25f, 0.2499f, "1/16" },             { 0.1875f, 0.1874f, "1/32 dot" },
    { 0.16666667f, 0.16656667f, "1/16 tri" }, { 0.125f, 0.1249f, "1/32" },
    { 0.09375f, 0.09365f, "1/64 dot" },     { 0.083333336f, 0.083233334f, "1/32 tri" },
    { 0.0625f, 0.0624f, "1/64" },           { 0.041666668f, 0.0f, "1/64 tri" },
};
} // namespace

float ratioOfRow(int row) noexcept
{
    return table[juce::jlimit(0, rows - 1, row)].ratio;
}

int rowOfRatio(float ratio) noexcept
{
    for (int row = 0; row < rows - 1; ++row)
        if (table[row].threshold <= ratio)
            return row;
    return rows - 1;
}

juce::String textOfRow(int row)
{
    return table[juce::jlimit(0, rows - 1, row)].text;
}

int rowOfText(const juce::String& text)
{
    for (int row = 0; row < rows; ++row)
        if (text == table[row].text)
            return row;
    return miss;
}

} // namespace qel::BeatDivisions
