// reelwarp-render: runs a WAV file, or a built-in demo, through Reel Warp.
#include "DemoSignal.h"
#include "OfflineRenderer.h"

#include <juce_audio_formats/juce_audio_formats.h>
#include <juce_events/juce_events.h>

#include <iostream>
#include <memory>

namespace
{

const char* usage = R"(Usage:
  reelwarp-render INPUT.wav OUTPUT.wav [--block N]
  reelwarp-render --demo OUTPUT.wav [--dry DRY.wav] [--seconds S] [--sample-rate HZ] [--block N]
  reelwarp-render --help | --version

Runs audio through Reel Warp at its default settings, offline.
  --demo           render a built-in demo signal (plucked chords and hi-hats)
  --dry FILE       with --demo, also write the unprocessed demo signal
  --seconds S      length of the demo (default 8)
  --sample-rate HZ sample rate of the demo (default 48000)
  --block N        block size handed to the effect (default 512)
)";

struct Options
{
    juce::String input, output, dry;
    bool demo = false;
    double seconds = 8.0;
    double sampleRate = 48000.0;
    int block = 512;
};

bool parse(const juce::StringArray& args, Options& o, juce::String& error)
{
    juce::StringArray positional;
    for (int i = 0; i < args.size(); ++i)
    {
        const auto& a = args[i];
        auto value = [&](juce::String& out) {
            if (i + 1 >= args.size())
            {
                error = a + " needs a value";
                return false;
            }
            out = args[++i];
            return true;
        };
        juce::String v;
        if (a == "--demo")
            o.demo = true;
        else if (a == "--dry") { if (!value(o.dry)) return false; }
        else if (a == "--seconds") { if (!value(v)) return false; o.seconds = v.getDoubleValue(); }
        else if (a == "--sample-rate") { if (!value(v)) return false; o.sampleRate = v.getDoubleValue(); }
        else if (a == "--block") { if (!value(v)) return false; o.block = v.getIntValue(); }
        else if (a.startsWith("--"))
        {
            error = "unknown option " + a;
            return false;
        }
        else
            positional.add(a);
    }
    if (o.demo && positional.size() == 1)
        o.output = positional[0];
    else if (!o.demo && positional.size() == 2)
    {
        o.input = positional[0];
        o.output = positional[1];
    }
    else
    {
        error = "expected " + juce::String(o.demo ? "one output file" : "an input and an output file");
        return false;
    }
    if (o.block < 1 || o.block > 65536)
        error = "--block must be between 1 and 65536";
    else if (o.sampleRate < 8000.0 || o.sampleRate > 384000.0)
        error = "--sample-rate must be between 8000 and 384000";
    else if (o.seconds <= 0.0 || o.seconds > 3600.0)
        error = "--seconds must be above 0 and at most 3600";
    return error.isEmpty();
}

bool writeWav(const juce::File& file, const juce::AudioBuffer<float>& audio, double sampleRate)
{
    file.deleteFile();
    auto stream = std::make_unique<juce::FileOutputStream>(file);
    if (!stream->openedOk())
        return false;
    juce::WavAudioFormat wav;
    std::unique_ptr<juce::AudioFormatWriter> writer(
        wav.createWriterFor(stream.get(), sampleRate, (unsigned) audio.getNumChannels(), 24, {}, 0));
    if (writer == nullptr)
        return false;
    stream.release();
    return writer->writeFromAudioSampleBuffer(audio, 0, audio.getNumSamples());
}

} // namespace

int main(int argc, char** argv)
{
    juce::ScopedJuceInitialiser_GUI juce;
    juce::StringArray args;
    for (int i = 1; i < argc; ++i)
        args.add(juce::String::fromUTF8(argv[i]));

    if (args.contains("--help") || args.contains("-h"))
    {
        std::cout << usage;
        return 0;
    }
    if (args.contains("--version"))
    {
        std::cout << "reelwarp-render 1.0.0 (Reel Warp 1.0.0)\n";
        return 0;
    }

    Options options;
    juce::String error;
    if (!parse(args, options, error))
    {
        std::cerr << "reelwarp-render: " << error << "\n\n" << usage;
        return 2;
    }

    juce::AudioBuffer<float> input;
    double sampleRate = options.sampleRate;
    if (options.demo)
    {
        input = qel::render::makeDemoSignal(sampleRate, options.seconds);
        if (options.dry.isNotEmpty() && !writeWav(juce::File::getCurrentWorkingDirectory().getChildFile(options.dry), input, sampleRate))
        {
            std::cerr << "reelwarp-render: cannot write " << options.dry << "\n";
            return 1;
        }
    }
    else
    {
        juce::WavAudioFormat wav;
        const auto file = juce::File::getCurrentWorkingDirectory().getChildFile(options.input);
        std::unique_ptr<juce::AudioFormatReader> reader(wav.createReaderFor(file.createInputStream().release(), true));
        if (reader == nullptr)
        {
            std::cerr << "reelwarp-render: cannot read " << options.input << " as WAV\n";
            return 1;
        }
        if (reader->lengthInSamples > std::numeric_limits<int>::max() || reader->numChannels < 1)
        {
            std::cerr << "reelwarp-render: " << options.input << " is empty or too long\n";
            return 1;
        }
        sampleRate = reader->sampleRate;
        input.setSize((int) std::min(reader->numChannels, 2u), (int) reader->lengthInSamples);
        reader->read(&input, 0, input.getNumSamples(), 0, true, input.getNumChannels() > 1);
    }

    const auto output = qel::render::renderThroughPlugin(input, sampleRate, options.block);
    const auto outFile = juce::File::getCurrentWorkingDirectory().getChildFile(options.output);
    if (!writeWav(outFile, output, sampleRate))
    {
        std::cerr << "reelwarp-render: cannot write " << options.output << "\n";
        return 1;
    }
    std::cout << "Rendered " << output.getNumSamples() / sampleRate << " s at " << sampleRate << " Hz, "
              << output.getNumChannels() << " channel(s) -> " << outFile.getFullPathName() << "\n";
    return 0;
}
