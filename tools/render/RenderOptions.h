#pragma once

#include <juce_core/juce_core.h>

#include <optional>
#include <utility>
#include <vector>

namespace qel::render
{

// Exit codes of the command.
enum ExitCode
{
    exitOk = 0,
    exitFailed = 1,    // an input that cannot be read, an output that cannot be written
    exitUsage = 2,     // options, presets, parameters or values that make no sense
};

struct RenderOptions
{
    enum class Action { render, snapshot, help, version, listPresets, listParameters };
    Action action = Action::render;

    juce::String input, output, dry, plot;
    bool demo = false;
    double demoSeconds = 8.0;
    std::optional<double> sampleRate; // unset: the input's own
    std::optional<int> bits;          // unset: the input's own, or 24
    juce::String format;              // empty: by the output's extension
    int block = 512;
    double tailSeconds = 0.0;

    juce::String preset, tapePreset;
    std::vector<std::pair<juce::String, juce::String>> settings; // --set Name=value, in order
    std::optional<double> tempo;
    double positionBeats = 0.0;
    int numerator = 4, denominator = 4;
    bool quiet = false;

    juce::String snapshot; // a PNG of the window instead of audio
    bool expanded = false, lfoSettings = false;
    double scale = 1.0;
};

// Reads the command line; on failure returns nothing and says why.
std::optional<RenderOptions> parseArguments(const juce::StringArray& args, juce::String& error);

extern const char* const usageText;

} // namespace qel::render
