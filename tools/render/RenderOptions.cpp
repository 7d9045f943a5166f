#include "RenderOptions.h"

#include <type_traits>

namespace qel::render
{

const char* const usageText = R"(Usage:
  reelwarp-render INPUT OUTPUT [options]
  reelwarp-render --demo OUTPUT [--dry DRY] [--seconds S] [options]
  reelwarp-render --list-presets | --list-parameters | --help | --version

Runs audio through Reel Warp offline, as a host would. Files are WAV, AIFF
or FLAC, mono or stereo, chosen by their extension.

Sound:
  --preset NAME|FILE      a factory preset by its menu name ("Jet Tape",
                          "01 Classic/Jet Tape", "Default") or a .fxps file
  --tape-preset NAME|FILE a tape preset by its menu name ("00 Flat") or file
  --set NAME=VALUE        set a parameter, in its own words: --set Delay="12 ms",
                          --set OutputGain="-6 dB", --set FlangeMode=LFO;
                          repeat as needed, applied after the presets
  --tempo BPM             host tempo, for LFOs synchronised to it (default 120)
  --position BEATS        host position at the start, in quarter notes (default 0)
  --meter N/D             host time signature (default 4/4)
  --tail SECONDS          render this much longer, to let the feedback ring out

Files:
  --sample-rate HZ        render at this rate (the input is resampled to it)
  --bits N                output bit depth: 16, 24 or 32 (32 is floating point
                          in WAV); default the input's, or 24
  --format wav|aiff|flac  output format when the extension does not say
  --plot FILE.png         draw input and output side by side
  --block N               block size handed to the effect (default 512)
  --quiet                 no progress and no summary

Demo:
  --demo                  render a built-in demo (plucked chords and hi-hats)
  --dry FILE              with --demo, also write the unprocessed demo
  --seconds S             length of the demo (default 8)
)";

namespace
{

bool toNumber(const juce::String& text, double& out)
{
    const auto t = text.trim();
    if (t.isEmpty() || !t.containsOnly("0123456789.-+eE"))
        return false;
    out = t.getDoubleValue();
    return std::isfinite(out);
}

bool toInteger(const juce::String& text, int& out)
{
    const auto t = text.trim();
    if (t.isEmpty() || !t.containsOnly("0123456789") || t.length() > 9)
        return false;
    out = t.getIntValue();
    return true;
}

bool toValue(const juce::String& text, double& out) { return toNumber(text, out); }
bool toValue(const juce::String& text, int& out) { return toInteger(text, out); }

} // namespace

std::optional<RenderOptions> parseArguments(const juce::StringArray& args, juce::String& error)
{
    RenderOptions o;
    juce::StringArray positional;
    for (int i = 0; i < args.size(); ++i)
    {
        const auto a = args[i];
        juce::String v;
        auto value = [&]() {
            if (i + 1 >= args.size())
            {
                error = a + " needs a value";
                return false;
            }
            v = args[++i];
            return true;
        };
        // The option's value, read as a number of out's kind within [low, high].
        auto ranged = [&](auto low, auto high, auto& out) {
            if (!value())
                return false;
            if (!toValue(v, out) || out < low || out > high)
            {
                const juce::String kind = std::is_integral_v<std::decay_t<decltype(out)>> ? "a whole number" : "a number";
                error = a + " takes " + kind + " from " + juce::String(low) + " to " + juce::String(high) + ", not \"" + v + "\"";
                return false;
            }
            return true;
        };

        double d = 0.0;
        int n = 0;
        if (a == "--help" || a == "-h")
            o.action = RenderOptions::Action::help;
        else if (a == "--version")
            o.action = RenderOptions::Action::version;
        else if (a == "--list-presets")
            o.action = RenderOptions::Action::listPresets;
        else if (a == "--list-parameters")
            o.action = RenderOptions::Action::listParameters;
        else if (a == "--demo")
            o.demo = true;
        else if (a == "--quiet")
            o.quiet = true;
        else if (a == "--dry") { if (!value()) return {}; o.dry = v; }
        else if (a == "--plot") { if (!value()) return {}; o.plot = v; }
        else if (a == "--preset") { if (!value()) return {}; o.preset = v; }
        else if (a == "--tape-preset") { if (!value()) return {}; o.tapePreset = v; }
        else if (a == "--format")
        {
            if (!value())
                return {};
            o.format = v.toLowerCase();
            if (!juce::StringArray { "wav", "aiff", "aif", "flac" }.contains(o.format))
            {
                error = "--format is wav, aiff or flac, not \"" + v + "\"";
                return {};
            }
        }
        else if (a == "--set")
        {
            if (!value())
                return {};
            if (!v.containsChar('=') || v.upToFirstOccurrenceOf("=", false, false).trim().isEmpty())
            {
                error = "--set takes NAME=VALUE, not \"" + v + "\"";
                return {};
            }
            o.settings.emplace_back(v.upToFirstOccurrenceOf("=", false, false).trim(),
                                    v.fromFirstOccurrenceOf("=", false, false).trim());
        }
        else if (a == "--seconds") { if (!ranged(0.001, 3600.0, o.demoSeconds)) return {}; }
        else if (a == "--sample-rate") { if (!ranged(8000.0, 384000.0, d)) return {}; o.sampleRate = d; }
        else if (a == "--tempo") { if (!ranged(1.0, 999.0, d)) return {}; o.tempo = d; }
        else if (a == "--position") { if (!ranged(0.0, 1.0e7, o.positionBeats)) return {}; }
        else if (a == "--tail") { if (!ranged(0.0, 600.0, o.tailSeconds)) return {}; }
        else if (a == "--block") { if (!ranged(1, 65536, o.block)) return {}; }
        else if (a == "--bits")
        {
            if (!value())
                return {};
            if (!toInteger(v, n) || (n != 16 && n != 24 && n != 32))
            {
                error = "--bits is 16, 24 or 32, not \"" + v + "\"";
                return {};
            }
            o.bits = n;
        }
        else if (a == "--meter")
        {
            if (!value())
                return {};
            const auto top = v.upToFirstOccurrenceOf("/", false, false), bottom = v.fromFirstOccurrenceOf("/", false, false);
            int den = 0;
            if (!toInteger(top, n) || !toInteger(bottom, den) || n < 1 || n > 64 || !juce::isPowerOfTwo(den) || den > 64)
            {
                error = "--meter takes a time signature such as 3/4 or 7/8, not \"" + v + "\"";
                return {};
            }
            o.numerator = n;
            o.denominator = den;
        }
        else if (a.startsWith("-") && a.length() > 1)
        {
            error = "unknown option " + a + " (see --help)";
            return {};
        }
        else
            positional.add(a);
    }

    if (o.action != RenderOptions::Action::render)
        return o;
    if (o.demo && positional.size() == 1)
        o.output = positional[0];
    else if (!o.demo && positional.size() == 2)
    {
        o.input = positional[0];
        o.output = positional[1];
    }
    else
    {
        error = o.demo ? "--demo takes one output file" : "expected an input and an output file (see --help)";
        return {};
    }
    if (o.dry.isNotEmpty() && !o.demo)
    {
        error = "--dry goes with --demo";
        return {};
    }
    return o;
}

} // namespace qel::render
