#include "PresetFigures.h"

#include "ReferenceSignals.h"
#include "render/EffectSettings.h"
#include "render/OfflineRenderer.h"

#include "plugin/ReelwarpPlugin.h"

#include <cmath>
#include <functional>

namespace qel::measure
{

namespace
{

// What the effect does at its start (LFO starting, envelopes opening) is left out of the figures.
constexpr double settleSeconds = 0.25;

std::vector<Signal> render(ReelwarpPlugin& plugin, const std::vector<Signal>& input, bool& finite, std::function<void()> prepared)
{
    juce::AudioBuffer<float> buffer(static_cast<int>(input.size()), static_cast<int>(input.front().size()));
    for (size_t c = 0; c < input.size(); ++c)
        buffer.copyFrom(static_cast<int>(c), 0, input[c].data(), buffer.getNumSamples());
    render::RenderJob job;
    job.sampleRate = sampleRate;
    job.prepared = std::move(prepared);
    const auto output = render::renderThroughPlugin(plugin, buffer, job);
    std::vector<Signal> out(input.size());
    for (size_t c = 0; c < out.size(); ++c)
    {
        const auto* p = output.getReadPointer(static_cast<int>(c));
        out[c].assign(p, p + output.getNumSamples());
        for (const float s : out[c])
            finite = finite && std::isfinite(s);
    }
    return out;
}

Signal settled(const Signal& x)
{
    const auto skip = std::min(x.size(), static_cast<size_t>(settleSeconds * sampleRate));
    return { x.begin() + static_cast<std::ptrdiff_t>(skip), x.end() };
}

Signal mid(const std::vector<Signal>& x)
{
    Signal m(x[0].size());
    for (size_t i = 0; i < m.size(); ++i)
        m[i] = 0.5f * (x[0][i] + x[1][i]);
    return m;
}

float parameter(Element& effect, const char* name)
{
    const auto id = effect.findParameterId(name);
    if (effect.findIntParameter(id) != nullptr)
        return static_cast<float>(effect.getParameterInt(id));
    if (effect.findBoolParameter(id) != nullptr)
        return effect.getParameterBool(id) ? 1.0f : 0.0f;
    return effect.getParameterFloat(id);
}

void readSettings(Element& effect, Figures& f)
{
    auto depth = parameter(effect, "MaxRelativeDelay");
    if (parameter(effect, "ApplyLowLatency") != 0.0f)
        depth = std::min(depth, ReelwarpProcessor::lowLatencyMaxRelativeDelay);
    const bool lfo = parameter(effect, "FlangeMode") != 0.0f;
    f.synced = lfo && parameter(effect, "SyncToHost") != 0.0f;
    f.sweepHz = lfo ? parameter(effect, "LFOFreq") : 0.0;
    f.sweepMs = 1000.0 * depth * (lfo ? 1.0 : parameter(effect, "RelativeDelay"));
    f.echoDelayMs = parameter(effect, "Feedback") > 0.0f ? 1000.0 * parameter(effect, "Delay") : 0.0;
}

} // namespace

std::vector<PresetChoice> factoryChoices(const juce::File& resources)
{
    std::vector<PresetChoice> out;
    for (const bool tape : { false, true })
    {
        if (resources == juce::File())
        {
            for (const auto& p : render::factoryPresets(tape))
                out.push_back({ p.fullName(), p.fullName(), tape });
            continue;
        }
        const auto root = resources.getChildFile(tape ? "tapepresets" : "presets");
        auto files = root.findChildFiles(juce::File::findFiles, true, "*.fxps");
        files.sort();
        for (const auto& file : files)
            out.push_back({ file.getRelativePathFrom(root).dropLastCharacters(5), file.getFullPathName(), tape });
    }
    return out;
}

bool measurePreset(ReelwarpPlugin& plugin, const PresetChoice& choice, const Lengths& lengths, Figures& f, juce::String& error)
{
    auto& effect = *plugin.getEngine().findChild(ReelwarpPlugin::effectName);
    render::RenderOptions options;
    options.preset = choice.tape ? juce::String("Default") : choice.source;
    if (choice.tape)
        options.tapePreset = choice.source;
    if (!render::applySettings(effect, options, error))
        return false;
    f = {};
    f.name = choice.name;
    f.tape = choice.tape;
    readSettings(effect, f);
    const auto render = [&](const std::vector<Signal>& input) { return measure::render(plugin, input, f.finite, {}); };
    // The preset chosen on the running effect, coming from the default: preparing
    // starts every modulation in step, and some settings act only from the moment they are set.
    const auto chosen = [&] {
        juce::String ignored;
        render::RenderOptions fromDefault;
        fromDefault.preset = "Default";
        render::applySettings(effect, fromDefault, ignored);
        render::applySettings(effect, options, ignored);
    };

    const auto twice = [](const Signal& x) { return std::vector<Signal> { x, x }; };
    if (lengths.program > 0.0)
    {
        const auto in = twice(programSignal(lengths.program, 5));
        const auto out = render(in);
        f.truePeakDb = truePeakDb(out);
        const std::vector<Signal> a { settled(in[0]), settled(in[1]) }, b { settled(out[0]), settled(out[1]) };
        f.levelChangeLu = kWeightedLoudness(b) - kWeightedLoudness(a);
        f.restoredSideToMidDb = sideToMidDb(b[0], b[1]);
        f.crestChangeDb = crestDb(mid(b)) - crestDb(a[0]);
        const auto live = measure::render(plugin, in, f.finite, chosen);
        f.sideToMidDb = sideToMidDb(settled(live[0]), settled(live[1]));
        f.correlation = correlation(settled(live[0]), settled(live[1]));
    }
    if (lengths.stereo > 0.0)
    {
        const auto in = stereoProgram(lengths.stereo);
        const auto out = measure::render(plugin, in, f.finite, chosen);
        f.widthChangeDb = sideToMidDb(settled(out[0]), settled(out[1])) - sideToMidDb(settled(in[0]), settled(in[1]));
    }
    if (lengths.noise > 0.0)
    {
        const auto in = pinkNoise(lengths.noise, 7);
        const auto out = settled(mid(render(twice(in))));
        const auto dry = settled(in);
        // Against the whole middle, which spans several teeth of any comb the flange makes.
        const double middle = bandGainDb(dry, out, 250.0, 4000.0);
        f.tilt2k = thirdOctaveGainDb(dry, out, 2000.0) - middle;
        f.tilt8k = thirdOctaveGainDb(dry, out, 8000.0) - middle;
        f.tilt12k = thirdOctaveGainDb(dry, out, 12500.0) - middle;
        f.swingDb = levelSwingDb(out);
    }
    if (lengths.sine > 0.0)
    {
        // The transport alone: the flange held still, deck B at its edge, so
        // that its sweep does not move the phase of the sum.
        options.settings = { { "FlangeMode", "Manual" }, { "RelativeDelay", "-1" } };
        const auto out = settled(measure::render(plugin, twice(sine(lengths.sine, 1000.0)), f.finite, chosen)[0]);
        f.wobbleCents = wobbleCents(out, 1000.0);
        const auto residue = sineResidue(out, 1000.0);
        f.hissDb = residue.hissDb;
        f.distortionDb = residue.distortionDb;
        options.settings.clear();
    }
    if (lengths.click > 0.0 && f.echoDelayMs > 2.0 * f.sweepMs + 5.0)
    {
        constexpr double at = 0.3;
        const auto out = render(twice(click(lengths.click, at)))[0];
        f.repeatDb = repeatDb(out, static_cast<int>(at * sampleRate), f.echoDelayMs * 0.001, f.sweepMs * 0.001);
    }
    return true;
}

double figureDistance(const Figures& a, const Figures& b)
{
    // Each difference over the step a careful listener would just notice.
    const auto cents = [](const Figures& f) { return std::log2(1.0 + f.wobbleCents); };
    const auto width = [](const Figures& f) { return std::max(f.sideToMidDb, -40.0); };
    const auto rate = [](const Figures& f) { return f.sweepHz > 0.0 ? std::log2(f.sweepHz) : -8.0; };
    const double steps[] = {
        (a.levelChangeLu - b.levelChangeLu) / 1.0,
        (a.tilt2k - b.tilt2k) / 1.5,
        (a.tilt8k - b.tilt8k) / 2.0,
        (a.tilt12k - b.tilt12k) / 2.0,
        (cents(a) - cents(b)) / 0.7,
        (std::max(a.hissDb, -90.0) - std::max(b.hissDb, -90.0)) / 4.0,
        (std::max(a.distortionDb, -80.0) - std::max(b.distortionDb, -80.0)) / 4.0,
        (width(a) - width(b)) / 4.0,
        (a.crestChangeDb - b.crestChangeDb) / 1.0,
        (a.swingDb - b.swingDb) / 1.5,
        (a.sweepMs - b.sweepMs) / 1.0,
        (rate(a) - rate(b)) / 0.5,
    };
    double sum = 0.0;
    for (const double s : steps)
        sum += s * s;
    return std::sqrt(sum);
}

void findNearest(std::vector<Figures>& all)
{
    for (auto& f : all)
    {
        f.nearestDistance = INFINITY;
        for (const auto& g : all)
            if (&g != &f && g.tape == f.tape)
            {
                const double d = figureDistance(f, g);
                if (d < f.nearestDistance)
                {
                    f.nearestDistance = d;
                    f.nearest = g.name;
                }
            }
    }
}

} // namespace qel::measure
