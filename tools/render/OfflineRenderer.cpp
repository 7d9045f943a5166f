#include "OfflineRenderer.h"

#include "plugin/ReelwarpPlugin.h"

namespace qel::render
{

juce::AudioBuffer<float> renderThroughPlugin(const juce::AudioBuffer<float>& input, double sampleRate, int blockSize)
{
    ReelwarpPlugin plugin;
    const int channels = input.getNumChannels() == 1 ? 1 : 2;
    const auto set = channels == 1 ? juce::AudioChannelSet::mono() : juce::AudioChannelSet::stereo();
    juce::AudioProcessor::BusesLayout layout;
    layout.inputBuses.add(set);
    layout.outputBuses.add(set);
    plugin.setBusesLayout(layout);
    plugin.setNonRealtime(true);
    plugin.setRateAndBufferSizeDetails(sampleRate, blockSize);
    plugin.prepareToPlay(sampleRate, blockSize);

    const int frames = input.getNumSamples();
    juce::AudioBuffer<float> output(channels, frames);
    juce::AudioBuffer<float> block(channels, blockSize);
    juce::MidiBuffer midi;
    for (int start = 0; start < frames; start += blockSize)
    {
        const int n = std::min(blockSize, frames - start);
        for (int c = 0; c < channels; ++c)
            block.copyFrom(c, 0, input, std::min(c, input.getNumChannels() - 1), start, n);
        juce::AudioBuffer<float> view(block.getArrayOfWritePointers(), channels, n);
        plugin.processBlock(view, midi);
        for (int c = 0; c < channels; ++c)
            output.copyFrom(c, start, block, c, 0, n);
    }
    plugin.releaseResources();
    return output;
}

} // namespace qel::render
