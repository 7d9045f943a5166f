#include "RenderOptions.h"

#include <functional>
#include <type_traits>
#include <vector>

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

Picture:
  --snapshot FILE.png     draw the plug-in's window with the settings above
                          instead of rendering audio
  --expanded              with the tape settings shown (default: collapsed)
  --lfo-settings          with the LFO settings shown
  --scale N               pixels per point, 1 to 4 (default 1)

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

// The value of `option`, read as a number of out's kind within [low, high].
template <typename T>
bool ranged(const juce::String& option, const juce::String& v, T low, T high, T& out, juce::String& error)
{
    bool ok = false;
    if constexpr (std::is_integral_v<T>)
        ok = toInteger(v, out);
    else
        ok = toNumber(v, out);
    if (ok && out >= low && out <= high)
        return true;
    const juce::String kind = std::is_integral_v<T> ? "a whole number" : "a number";
    error = option + " takes " + kind + " from " + juce::String(low) + " to " + juce::String(high) + ", not \"" + v + "\"";
    return false;
}

bool parseFormat(RenderOptions& o, const juce::String& v, juce::String& error)
{
    o.format = v.toLowerCase();
    if (juce::StringArray { "wav", "aiff", "aif", "flac" }.contains(o.format))
        return true;
    error = "--format is wav, aiff or flac, not \"" + v + "\"";
    return false;
}

bool parseSetting(RenderOptions& o, const juce::String& v, juce::String& error)
{
    const auto name = v.upToFirstOccurrenceOf("=", false, false).trim();
    if (!v.containsChar('=') || name.isEmpty())
    {
        error = "--set takes NAME=VALUE, not \"" + v + "\"";
        return false;
    }
    o.settings.emplace_back(name, v.fromFirstOccurrenceOf("=", false, false).trim());
    return true;
}

bool parseBits(RenderOptions& o, const juce::String& v, juce::String& error)
{
    int n = 0;
    if (!toInteger(v, n) || (n != 16 && n != 24 && n != 32))
    {
        error = "--bits is 16, 24 or 32, not \"" + v + "\"";
        return false;
    }
    o.bits = n;
    return true;
}

bool parseMeter(RenderOptions& o, const juce::String& v, juce::String& error)
{
    int top = 0, bottom = 0;
    if (!toInteger(v.upToFirstOccurrenceOf("/", false, false), top) || !toInteger(v.fromFirstOccurrenceOf("/", false, false), bottom)
        || top < 1 || top > 64 || !juce::isPowerOfTwo(bottom) || bottom > 64)
    {
        error = "--meter takes a time signature such as 3/4 or 7/8, not \"" + v + "\"";
        return false;
    }
    o.numerator = top;
    o.denominator = bottom;
    return true;
}

// One row per option: its name, a short alias and, for one that takes a
// value, how to read it.
struct Option
{
    const char* name;
    const char* alias;
    std::function<void(RenderOptions&)> flag;
    std::function<bool(RenderOptions&, const juce::String&, juce::String&)> withValue;
};

const std::vector<Option>& options()
{
    using O = RenderOptions;
    using S = juce::String;
    auto action = [](O::Action a) { return [a](O& o) { o.action = a; }; };
    static const std::vector<Option> table {
        { "--help", "-h", action(O::Action::help), nullptr },
        { "--version", nullptr, action(O::Action::version), nullptr },
        { "--list-presets", nullptr, action(O::Action::listPresets), nullptr },
        { "--list-parameters", nullptr, action(O::Action::listParameters), nullptr },
        { "--demo", nullptr, [](O& o) { o.demo = true; }, nullptr },
        { "--quiet", nullptr, [](O& o) { o.quiet = true; }, nullptr },
        { "--dry", nullptr, nullptr, [](O& o, const S& v, S&) { o.dry = v; return true; } },
        { "--plot", nullptr, nullptr, [](O& o, const S& v, S&) { o.plot = v; return true; } },
        { "--preset", nullptr, nullptr, [](O& o, const S& v, S&) { o.preset = v; return true; } },
        { "--tape-preset", nullptr, nullptr, [](O& o, const S& v, S&) { o.tapePreset = v; return true; } },
        { "--format", nullptr, nullptr, parseFormat },
        { "--set", nullptr, nullptr, parseSetting },
        { "--bits", nullptr, nullptr, parseBits },
        { "--meter", nullptr, nullptr, parseMeter },
        { "--seconds", nullptr, nullptr, [](O& o, const S& v, S& e) { return ranged("--seconds", v, 0.001, 3600.0, o.demoSeconds, e); } },
        { "--sample-rate", nullptr, nullptr,
          [](O& o, const S& v, S& e) {
              double d = 0.0;
              if (!ranged("--sample-rate", v, 8000.0, 384000.0, d, e))
                  return false;
              o.sampleRate = d;
              return true;
          } },
        { "--tempo", nullptr, nullptr,
          [](O& o, const S& v, S& e) {
              double d = 0.0;
              if (!ranged("--tempo", v, 1.0, 999.0, d, e))
                  return false;
              o.tempo = d;
              return true;
          } },
        { "--position", nullptr, nullptr, [](O& o, const S& v, S& e) { return ranged("--position", v, 0.0, 1.0e7, o.positionBeats, e); } },
        { "--tail", nullptr, nullptr, [](O& o, const S& v, S& e) { return ranged("--tail", v, 0.0, 600.0, o.tailSeconds, e); } },
        { "--block", nullptr, nullptr, [](O& o, const S& v, S& e) { return ranged("--block", v, 1, 65536, o.block, e); } },
        { "--snapshot", nullptr, nullptr, [](O& o, const S& v, S&) { o.snapshot = v; o.action = O::Action::snapshot; return true; } },
        { "--expanded", nullptr, [](O& o) { o.expanded = true; }, nullptr },
        { "--lfo-settings", nullptr, [](O& o) { o.lfoSettings = true; }, nullptr },
        { "--scale", nullptr, nullptr, [](O& o, const S& v, S& e) { return ranged("--scale", v, 1.0, 4.0, o.scale, e); } },
    };
    return table;
}

const Option* findOption(const juce::String& name)
{
    for (const auto& option : options())
        if (name == option.name || (option.alias != nullptr && name == option.alias))
            return &option;
    return nullptr;
}

} // namespace

std::optional<RenderOptions> parseArguments(const juce::StringArray& args, juce::String& error)
{
    RenderOptions o;
    juce::StringArray positional;
    for (int i = 0; i < args.size(); ++i)
    {
        const auto a = args[i];
        if (const auto* option = findOption(a))
        {
            if (option->flag)
                option->flag(o);
            else if (i + 1 >= args.size())
            {
                error = a + " needs a value";
                return {};
            }
            else if (!option->withValue(o, args[++i], error))
                return {};
        }
        else if (a.startsWith("-") && a.length() > 1)
        {
            error = "unknown option " + a + " (see --help)";
            return {};
        }
        else
            positional.add(a);
    }

    if (o.action == RenderOptions::Action::snapshot && !positional.isEmpty())
    {
        error = "--snapshot takes no audio files";
        return {};
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
