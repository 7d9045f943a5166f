#include "OfflineRenderer.h"

#include "plugin/ReelwarpPlugin.h"

#include <cstdlib>

namespace qel::render
{

SteadyPlayHead::SteadyPlayHead(const RenderJob& job) : job(job) {}

juce::Optional<juce::AudioPlayHead::PositionInfo> SteadyPlayHead::getPosition() const
{
    PositionInfo info;
    const double beatsPerSample = *job.tempo / 60.0 / job.sampleRate;
    const double ppq = job.positionBeats + position * beatsPerSample;
    const double barLength = job.numerator * 4.0 / job.denominator;
    info.setBpm(*job.tempo);
    info.setTimeSignature(TimeSignature { job.numerator, job.denominator });
    info.setIsPlaying(true);
    info.setTimeInSamples(position);
    info.setTimeInSeconds(position / job.sampleRate);
    info.setPpqPosition(ppq);
    info.setPpqPositionOfLastBarStart(std::floor(ppq / barLength) * barLength);
    return info;
}

bool setLayoutFor(ReelwarpPlugin& plugin, int channels)
{
    const auto set = channels == 1 ? juce::AudioChannelSet::mono() : juce::AudioChannelSet::stereo();
    juce::AudioProcessor::BusesLayout layout;
    layout.inputBuses.add(set);
    layout.outputBuses.add(set);
    return plugin.setBusesLayout(layout);
}

juce::AudioBuffer<float> renderThroughPlugin(ReelwarpPlugin& plugin, const juce::AudioBuffer<float>& input, const RenderJob& job)
{
    const int channels = input.getNumChannels() == 1 ? 1 : 2;
    setLayoutFor(plugin, channels);
    SteadyPlayHead head(job);
    plugin.setPlayHead(job.tempo ? &head : nullptr);
    plugin.setNonRealtime(true);
    plugin.setRateAndBufferSizeDetails(job.sampleRate, job.blockSize);
    std::srand(job.seed);
    plugin.prepareToPlay(job.sampleRate, job.blockSize);
    if (job.prepared)
        job.prepared();

    const int latency = plugin.getLatencySamples();
    const int wanted = input.getNumSamples() + static_cast<int>(std::round(job.tailSeconds * job.sampleRate));
    const int total = wanted + latency;
    juce::AudioBuffer<float> output(channels, wanted);
    juce::AudioBuffer<float> block(channels, job.blockSize);
    juce::MidiBuffer midi;
    int reported = -1;
    for (int start = 0; start < total; start += job.blockSize)
    {
        const int n = std::min(job.blockSize, total - start);
        block.clear();
        const int fromInput = juce::jlimit(0, n, input.getNumSamples() - start);
        for (int c = 0; c < channels && fromInput > 0; ++c)
            block.copyFrom(c, 0, input, std::min(c, input.getNumChannels() - 1), start, fromInput);
        head.moveTo(start);
        juce::AudioBuffer<float> view(block.getArrayOfWritePointers(), channels, n);
        plugin.processBlock(view, midi);
        midi.clear();

        // The first `latency` samples out are the effect filling up.
        const int skip = std::max(0, latency - start);
        for (int c = 0; c < channels && skip < n; ++c)
            output.copyFrom(c, start + skip - latency, block, c, skip, n - skip);

        const int percent = static_cast<int>(100.0 * (start + n) / total);
        if (job.progress && percent != reported)
            job.progress((start + n) / static_cast<double>(total));
        reported = percent;
    }
    plugin.releaseResources();
    plugin.setPlayHead(nullptr);
    return output;
}

} // namespace qel::render
