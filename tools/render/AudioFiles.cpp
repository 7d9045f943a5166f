#include "AudioFiles.h"

namespace qel::render
{

namespace
{

void registerFormats(juce::AudioFormatManager& manager)
{
    manager.registerFormat(new juce::WavAudioFormat(), true);
    manager.registerFormat(new juce::AiffAudioFormat(), false);
    manager.registerFormat(new juce::FlacAudioFormat(), false);
}

} // namespace

bool readAudioFile(const juce::File& file, AudioData& out, juce::String& error)
{
    if (!file.existsAsFile())
    {
        error = "no such file: " + file.getFullPathName();
        return false;
    }
    juce::AudioFormatManager manager;
    registerFormats(manager);
    std::unique_ptr<juce::AudioFormatReader> reader(manager.createReaderFor(file));
    if (reader == nullptr)
    {
        error = "cannot read " + file.getFullPathName() + " as WAV, AIFF or FLAC";
        return false;
    }
    if (reader->numChannels < 1 || reader->lengthInSamples < 1 || reader->sampleRate < 1000.0 || reader->sampleRate > 768000.0)
    {
        error = file.getFullPathName() + " holds no audio";
        return false;
    }
    if (reader->lengthInSamples > std::numeric_limits<int>::max() / 2)
    {
        error = file.getFullPathName() + " is too long";
        return false;
    }
    const int channels = reader->numChannels > 1 ? 2 : 1;
    out.audio.setSize(channels, static_cast<int>(reader->lengthInSamples));
    out.sampleRate = reader->sampleRate;
    out.bits = static_cast<int>(reader->bitsPerSample);
    if (!reader->read(&out.audio, 0, out.audio.getNumSamples(), 0, true, channels > 1))
    {
        error = "cannot read the audio of " + file.getFullPathName();
        return false;
    }
    return true;
}

std::unique_ptr<juce::AudioFormat> formatFor(const juce::File& file, const juce::String& formatName)
{
    const auto name = formatName.isNotEmpty() ? formatName : file.getFileExtension().toLowerCase().trimCharactersAtStart(".");
    if (name == "wav")
        return std::make_unique<juce::WavAudioFormat>();
    if (name == "aiff" || name == "aif")
        return std::make_unique<juce::AiffAudioFormat>();
    if (name == "flac")
        return std::make_unique<juce::FlacAudioFormat>();
    return nullptr;
}

bool checkBitDepth(juce::AudioFormat& format, int bits, juce::String& error)
{
    const auto depths = format.getPossibleBitDepths();
    if (depths.contains(bits))
        return true;
    juce::StringArray words;
    for (const int d : depths)
        if (d >= 16)
            words.add(juce::String(d));
    error = format.getFormatName() + " holds " + words.joinIntoString(", ") + " bits, not " + juce::String(bits);
    return false;
}

bool writeAudioFile(const juce::File& file, juce::AudioFormat& format, const juce::AudioBuffer<float>& audio,
                    double sampleRate, int bits, juce::String& error)
{
    const auto cannot = [&](const juce::String& why) {
        error = "cannot write " + file.getFullPathName() + ": " + why;
        return false;
    };
    if (!file.getParentDirectory().isDirectory())
        return cannot("no such folder");
    if (file.isDirectory())
        return cannot("it is a folder");

    juce::TemporaryFile temporary(file, juce::TemporaryFile::putNumbersInBrackets);
    {
        auto stream = temporary.getFile().createOutputStream();
        if (stream == nullptr)
            return cannot("the folder is not writable");
        std::unique_ptr<juce::AudioFormatWriter> writer(format.createWriterFor(
            stream.get(), sampleRate, static_cast<unsigned>(audio.getNumChannels()), bits, {}, 0));
        if (writer == nullptr)
            return cannot(format.getFormatName() + " does not take " + juce::String(audio.getNumChannels()) + " channel(s) at "
                          + juce::String(sampleRate) + " Hz and " + juce::String(bits) + " bits");
        stream.release(); // the writer owns it now
        if (!writer->writeFromAudioSampleBuffer(audio, 0, audio.getNumSamples()))
            return cannot("the disk refused the data");
    }
    if (temporary.getFile().getSize() == 0)
        return cannot("the disk refused the data");
    if (!temporary.overwriteTargetFileWithTemporary())
        return cannot("cannot replace it");
    return true;
}

juce::AudioBuffer<float> resample(const juce::AudioBuffer<float>& audio, double fromRate, double toRate)
{
    if (fromRate == toRate)
        return audio;
    // A Blackman-windowed sinc centred on each output instant: no delay, and
    // when going down the cutoff follows the new Nyquist, so nothing folds back.
    const double step = fromRate / toRate;
    const double cutoff = 0.97 * std::min(1.0, 1.0 / step);
    const double halfWidth = 24.0 / cutoff;
    const int inFrames = audio.getNumSamples();
    const int outFrames = static_cast<int>(std::ceil(inFrames / step));
    juce::AudioBuffer<float> out(audio.getNumChannels(), outFrames);
    for (int c = 0; c < audio.getNumChannels(); ++c)
    {
        const float* in = audio.getReadPointer(c);
        float* dst = out.getWritePointer(c);
        for (int j = 0; j < outFrames; ++j)
        {
            const double t = j * step;
            const int first = std::max(0, static_cast<int>(std::ceil(t - halfWidth)));
            const int last = std::min(inFrames - 1, static_cast<int>(std::floor(t + halfWidth)));
            double sum = 0.0;
            for (int k = first; k <= last; ++k)
            {
                const double x = k - t;
                const double phase = juce::MathConstants<double>::pi * (x / halfWidth + 1.0); // 0..2 pi across the window
                const double window = 0.42 - 0.5 * std::cos(phase) + 0.08 * std::cos(2.0 * phase);
                const double arg = juce::MathConstants<double>::pi * cutoff * x;
                sum += in[k] * window * (x == 0.0 ? cutoff : cutoff * std::sin(arg) / arg);
            }
            dst[j] = static_cast<float>(sum);
        }
    }
    return out;
}

} // namespace qel::render
