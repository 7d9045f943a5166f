// Renders every factory preset over generated reference signals and prints
// the figures a preset author works from:
//   reelwarp-preset-measure [--resources FOLDER] [--only TEXT] [--markdown]
// --markdown prints the headline figures as the table of the presets page.
// With --resources the .fxps files of that folder are measured (as written by
// reelwarp-preset-author), else the presets in the archive this binary carries.
#include "PresetFigures.h"

#include "plugin/ReelwarpPlugin.h"

#include <juce_events/juce_events.h>

#include <cstdio>
#include <iostream>

namespace
{

const char* const legend = R"(Figures per preset (whole presets as they stand; tape presets over the default):
  dLU    loudness change, ungated K-weighted (BS.1770 filters), output minus input, program material
  dBTP   true peak (4x oversampled) of the output for the program peaking at -6 dBFS
  S/M    a mono program in both channels: output side over mid, dB; corr its L/R correlation
         (the preset chosen on the running effect; S/Mr: set before the effect is prepared, as a project restores it;
          all other figures are of that second order, the renderer's)
  +W     a stereo program (side 6 dB below mid): change of side over mid, dB
  t2k t8k t12k   third-octave gain against the gain over 250 Hz-4 kHz, pink noise, dB
  sweep  deck B's delay against deck A, +-ms, at Hz (from the settings; "man" = manual position)
  cents  pitch deviation of a 1 kHz sine (99th percentile)
  hiss THD       noise 200 Hz-20 kHz and harmonics 2-5 against a -12 dBFS sine, dB
  crest  crest factor change on the program, dB (negative squashes)
  swing  level spread over time on steady noise, dB (95th minus 5th percentile of 50 ms RMS)
  echo   the feedback tap: delay ms and its first repeat against the direct click, dB
  nearest        the closest preset of the same kind by the distance over these figures
)";

juce::String fixed(double v, int width, int decimals = 1)
{
    return juce::String(v, decimals).paddedLeft(' ', width);
}

void print(const qel::measure::Figures& f)
{
    juce::String line = f.name.paddedRight(' ', 40).substring(0, 40);
    line << fixed(f.levelChangeLu, 6) << fixed(f.truePeakDb, 6, 2) << fixed(f.sideToMidDb, 6) << fixed(f.correlation, 7, 3) << fixed(f.restoredSideToMidDb, 6)
         << fixed(f.widthChangeDb, 6) << fixed(f.tilt2k, 6) << fixed(f.tilt8k, 6) << fixed(f.tilt12k, 6)
         << fixed(f.sweepMs, 6, 2)
         << (f.sweepHz > 0 ? fixed(f.sweepHz, 6, 2) + (f.synced ? "b" : " ") : juce::String("    man "))
         << fixed(f.wobbleCents, 6) << fixed(f.hissDb, 6) << fixed(f.distortionDb, 6) << fixed(f.crestChangeDb, 6)
         << fixed(f.swingDb, 6)
         << (f.repeatDb != 0.0 ? fixed(f.echoDelayMs, 5, 0) + fixed(f.repeatDb, 6) : juce::String("    -     -"))
         << "  " << f.nearest << " (" << juce::String(f.nearestDistance, 1) << ")" << (f.finite ? "" : "  NOT FINITE");
    std::cout << line << "\n";
}

// Level, headroom, sweep, width and top end: the page's "Measured" table.
void printMarkdown(const std::vector<qel::measure::Figures>& all)
{
    std::cout << "| Preset | Level | True peak | Sweep | Width (side/mid) | 8 / 12.5 kHz |\n|---|---|---|---|---|---|\n";
    for (const auto& f : all)
    {
        juce::String sweep = "(the default flange)";
        if (!f.tape)
            sweep = f.sweepHz > 0 ? "+-" + juce::String(f.sweepMs, 1) + " ms at " + juce::String(f.sweepHz, 2) + (f.synced ? " (beats)" : " Hz")
                                  : "fixed at " + juce::String(f.sweepMs, 1) + " ms";
        std::cout << "| " << f.name << " | " << juce::String(f.levelChangeLu, 1) << " LU | " << juce::String(f.truePeakDb, 1)
                  << " dBTP | " << sweep << " | " << (f.sideToMidDb < -90 ? juce::String("mono") : juce::String(f.sideToMidDb, 1) + " dB")
                  << " | " << juce::String(f.tilt8k, 1) << " / " << juce::String(f.tilt12k, 1) << " dB |\n";
    }
}

} // namespace

int main(int argc, char** argv)
{
    const juce::ScopedJuceInitialiser_GUI juce;
    juce::File resources;
    juce::String only;
    bool markdown = false;
    for (int i = 1; i < argc; i += 2)
    {
        const juce::String option(argv[i]);
        if (option == "--markdown")
        {
            markdown = true;
            --i;
        }
        else if (i + 1 >= argc)
        {
            std::cerr << "usage: reelwarp-preset-measure [--resources FOLDER] [--only TEXT] [--markdown]\n";
            return 2;
        }
        else if (option == "--resources")
            resources = juce::File::getCurrentWorkingDirectory().getChildFile(argv[i + 1]);
        else if (option == "--only")
            only = argv[i + 1];
        else
        {
            std::cerr << "usage: reelwarp-preset-measure [--resources FOLDER] [--only TEXT] [--markdown]\n";
            return 2;
        }
    }
    const qel::ReelwarpPlugin mounting; // mounts the archive
    std::vector<qel::measure::Figures> all;
    for (const auto& choice : qel::measure::factoryChoices(resources))
    {
        if (only.isNotEmpty() && !choice.name.containsIgnoreCase(only))
            continue;
        qel::measure::Figures f;
        juce::String error;
        qel::ReelwarpPlugin plugin; // an instance of its own: no preset inherits another's state
        if (!qel::measure::measurePreset(plugin, choice, {}, f, error))
        {
            std::cerr << error << "\n";
            return 1;
        }
        all.push_back(f);
    }
    qel::measure::findNearest(all);
    if (markdown)
    {
        printMarkdown(all);
        return 0;
    }
    std::cout << legend << "\n"
              << juce::String("preset").paddedRight(' ', 40)
              << "   dLU  dBTP   S/M   corr  S/Mr    +W   t2k   t8k  t12k sweep    Hz  cents  hiss   THD crest swing echo  rep  nearest\n";
    for (const auto& f : all)
        print(f);
    return 0;
}
