#pragma once

#include "AudioMeasures.h"

#include <juce_core/juce_core.h>

#include <vector>

namespace qel
{
class ReelwarpPlugin;
}

namespace qel::measure
{

// What a preset does to the reference signals: the table a preset author works from.
struct Figures
{
    juce::String name; // as the menu shows it, with its folder
    bool tape = false; // a tape preset, measured over the default
    bool finite = true;
    double levelChangeLu = 0;  // ungated K-weighted loudness, output minus input (program)
    double truePeakDb = 0;     // of the output, the program peaking at -6 dBFS
    // The program in both channels: the output's side over its mid, and the
    // channels' correlation, with the preset chosen on the running effect.
    double sideToMidDb = 0;
    double correlation = 1;
    double restoredSideToMidDb = 0; // the same, the preset set before the effect was prepared (a project restored)
    double widthChangeDb = 0;  // a stereo program, preset chosen on the running effect: output side-to-mid minus the input's
    double tilt2k = 0, tilt8k = 0, tilt12k = 0; // third-octave gain against the gain over 250 Hz-4 kHz (pink noise)
    double sweepMs = 0;        // deck B's delay against deck A swings over +-this (LFO), or sits at it (manual)
    double sweepHz = 0;        // 0: manual; from the settings
    bool synced = false;       // the LFO rate is a beat ratio
    double wobbleCents = 0;    // of a 1 kHz sine
    double hissDb = 0, distortionDb = 0; // against a 1 kHz sine at -12 dBFS
    double crestChangeDb = 0;  // program; negative squashes
    double swingDb = 0;        // level spread over time on steady noise
    double echoDelayMs = 0, repeatDb = 0; // the feedback tap's delay and its first repeat against the direct click
    juce::String nearest;
    double nearestDistance = 0;
};

// Seconds of each reference signal; 0 leaves its figures out.
struct Lengths
{
    double program = 3.0, stereo = 3.0, noise = 3.0, sine = 2.0, click = 1.0;
};

// A preset to measure: a whole preset, or a tape preset over the default.
struct PresetChoice
{
    juce::String name; // for the table
    juce::String source; // a factory menu name or a .fxps file
    bool tape = false;
};

// The factory presets, whole then tape, from the archive, or from a
// resources folder of .fxps files when one is given.
std::vector<PresetChoice> factoryChoices(const juce::File& resources = {});

// False with a reason when the preset cannot be applied.
bool measurePreset(ReelwarpPlugin& plugin, const PresetChoice& choice, const Lengths& lengths, Figures& out, juce::String& error);

// The distance between two presets' figures, each figure over the step a listener would notice.
double figureDistance(const Figures& a, const Figures& b);

// For each preset, the nearest of its own kind (whole or tape).
void findNearest(std::vector<Figures>& all);

} // namespace qel::measure
