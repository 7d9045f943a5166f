// reelwarp-render: runs audio files, or a built-in demo, through Reel Warp.
#include "AudioFiles.h"
#include "DemoSignal.h"
#include "EffectSettings.h"
#include "OfflineRenderer.h"
#include "Plot.h"
#include "RenderOptions.h"
#include "Snapshot.h"

#include "plugin/ReelwarpPlugin.h"

#include <juce_events/juce_events.h>

#include <iostream>
#include <unistd.h>

using namespace qel::render;

namespace
{

int fail(int code, const juce::String& message)
{
    std::cerr << "reelwarp-render: " << message << "\n";
    return code;
}

juce::File fileOf(const juce::String& name)
{
    return juce::File::getCurrentWorkingDirectory().getChildFile(name);
}

// A bar on standard error, redrawn in place; only for a person watching.
std::function<void(double)> progressBar(bool wanted)
{
    if (!wanted || !isatty(STDERR_FILENO))
        return {};
    return [](double done) {
        const int width = 40, filled = static_cast<int>(done * width);
        std::cerr << "\r[" << std::string(static_cast<size_t>(filled), '#') << std::string(static_cast<size_t>(width - filled), '.')
                  << "] " << static_cast<int>(done * 100.0) << "%" << (done >= 1.0 ? "\n" : "") << std::flush;
    };
}

int run(const RenderOptions& options)
{
    qel::ReelwarpPlugin plugin;
    auto& effect = *plugin.getEngine().findChild(qel::ReelwarpPlugin::effectName);
    if (options.action == RenderOptions::Action::listPresets)
    {
        std::cout << describePresets();
        return exitOk;
    }
    if (options.action == RenderOptions::Action::listParameters)
    {
        std::cout << describeParameters(effect);
        return exitOk;
    }

    juce::String error;
    if (!applySettings(effect, options, error))
        return fail(exitUsage, error);
    if (options.action == RenderOptions::Action::snapshot)
    {
        if (!options.snapshot.endsWithIgnoreCase(".png"))
            return fail(exitUsage, "--snapshot writes a .png file, not " + options.snapshot);
        if (!writeSnapshot(plugin, fileOf(options.snapshot), options, error))
            return fail(exitFailed, error);
        if (!options.quiet)
            std::cout << "Picture: " << fileOf(options.snapshot).getFullPathName() << "\n";
        return exitOk;
    }

    const auto outFile = fileOf(options.output);
    const auto format = formatFor(outFile, options.format);
    if (format == nullptr)
        return fail(exitUsage, "cannot tell the format of " + options.output + ": name it .wav, .aif, .aiff or .flac, or use --format");
    for (const auto& name : { options.output, options.dry, options.plot })
        if (name.isNotEmpty() && !fileOf(name).getParentDirectory().isDirectory())
            return fail(exitFailed, "cannot write " + fileOf(name).getFullPathName() + ": no such folder");
    if (options.plot.isNotEmpty() && !options.plot.endsWithIgnoreCase(".png"))
        return fail(exitUsage, "--plot writes a .png file, not " + options.plot);

    AudioData input;
    if (options.demo)
    {
        input.sampleRate = options.sampleRate.value_or(48000.0);
        input.audio = makeDemoSignal(input.sampleRate, options.demoSeconds);
    }
    else if (!readAudioFile(fileOf(options.input), input, error))
        return fail(exitFailed, error);

    const int bits = options.bits.value_or(format->getPossibleBitDepths().contains(input.bits) ? input.bits : 24);
    if (!checkBitDepth(*format, bits, error))
        return fail(exitUsage, error);

    RenderJob job;
    job.sampleRate = options.sampleRate.value_or(input.sampleRate);
    if (job.sampleRate != input.sampleRate)
        input.audio = resample(input.audio, input.sampleRate, job.sampleRate);
    job.blockSize = options.block;
    job.tailSeconds = options.tailSeconds;
    job.tempo = options.tempo;
    job.positionBeats = options.positionBeats;
    job.numerator = options.numerator;
    job.denominator = options.denominator;
    job.progress = progressBar(!options.quiet && input.audio.getNumSamples() > 5.0 * job.sampleRate);

    const auto output = renderThroughPlugin(plugin, input.audio, job);
    if (!writeAudioFile(outFile, *format, output, job.sampleRate, bits, error))
        return fail(exitFailed, error);
    if (options.dry.isNotEmpty())
    {
        const auto dryFile = fileOf(options.dry);
        const auto dryFormat = formatFor(dryFile, options.format);
        if (dryFormat == nullptr || !writeAudioFile(dryFile, *dryFormat, input.audio, job.sampleRate, 24, error))
            return fail(exitFailed, dryFormat == nullptr ? "cannot tell the format of " + options.dry : error);
    }
    if (options.plot.isNotEmpty() && !writeComparisonPlot(fileOf(options.plot), input.audio, output, job.sampleRate, error))
        return fail(exitFailed, error);

    if (!options.quiet)
    {
        std::cout << "Rendered " << juce::String(output.getNumSamples() / job.sampleRate, 2) << " s at " << job.sampleRate
                  << " Hz, " << output.getNumChannels() << " channel(s), " << bits << " bits -> "
                  << outFile.getFullPathName() << "\n";
        if (options.plot.isNotEmpty())
            std::cout << "Picture: " << fileOf(options.plot).getFullPathName() << "\n";
    }
    return exitOk;
}

} // namespace

int main(int argc, char** argv)
{
    juce::StringArray args;
    for (int i = 1; i < argc; ++i)
        args.add(qel::textFromUtf8(argv[i])); // arguments may be any bytes

    juce::String error;
    const auto options = parseArguments(args, error);
    if (!options)
        return fail(exitUsage, error);
    if (options->action == RenderOptions::Action::help)
    {
        std::cout << usageText;
        return exitOk;
    }
    if (options->action == RenderOptions::Action::version)
    {
        std::cout << "reelwarp-render " << REELWARP_VERSION << " (Reel Warp " << REELWARP_VERSION << ")\n";
        return exitOk;
    }
    const juce::ScopedJuceInitialiser_GUI juce;
    return run(*options);
}
