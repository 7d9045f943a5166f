#pragma once

#include <juce_core/juce_core.h>

namespace qel
{

// Host-synchronised values are beat ratios in quarter notes (4 is a whole
// note), chosen from 30 rows, from long (row 0) to short (row 29).
namespace BeatDivisions
{
constexpr int rows = 30;
constexpr int miss = 30;

float ratioOfRow(int row) noexcept;
// The first row whose ratio, less 0.0001, is at or below the value.
int rowOfRatio(float ratio) noexcept;
juce::String textOfRow(int row);
// The row whose text matches exactly, or miss.
int rowOfText(const juce::String& text);
} // namespace BeatDivisions

} // namespace qel
