#include "plugin/TapeSpine.h"

#include <algorithm>

namespace qel
{

void TapeSpine::setFormat(double rate, int maximumBlockSize)
{
    juce::ignoreUnused(maximumBlockSize);
    sampleRate = rate;
    preparePairs();
}

void TapeSpine::setOutputStream(int index, Bus* bus)
{
    if (index != 0)
        return;
    output = bus;
    const size_t channels = bus != nullptr ? (size_t) bus->getNumChannels() : 0;
    pairs.resize(channels);
    for (auto& p : pairs)
        if (p == nullptr)
            p = std::make_unique<DeckPair>();
    preparePairs();
}

void TapeSpine::preparePairs()
{
    if (sampleRate <= 0.0)
        return;
    for (auto& p : pairs)
        p->prepare(sampleRate);
}

void TapeSpine::processPair(DeckPair& pair, float* samples, int frames, float* deviation) noexcept
{
    for (int start = 0; start < frames; start += DeckPair::maxSlice)
    {
        const int n = std::min(DeckPair::maxSlice, frames - start);
        // Modes are read once per slice.
        const auto process = selectChannelProcessor(pair.flangeMode, pair.deckA.noiseReduction.encoderMode,
                                                    pair.deckA.noiseReduction.decoderMode);
        if (process != nullptr)
            process(pair, samples + start, n, deviation);
    }
}

void TapeSpine::render(RenderContext& context, int frames)
{
    juce::ignoreUnused(context);
    if (output == nullptr || sampleRate <= 0.0)
        return;
    float* const* data = output->getChannels();
    float deviation[DeckPair::maxSlice];
    const int n = std::min(output->getNumChannels(), static_cast<int>(pairs.size()));
    for (int c = 0; c < n; ++c)
        processPair(*pairs[(size_t) c], data[c], frames, deviation);
    output->clearSilent();
}

void TapeSpine::reset()
{
    for (auto& p : pairs)
    {
        p->clear();
        for (TapeDeck* d : { &p->deckA, &p->deckB })
        {
            d->transport.seed();
            d->demagnetizer.seed(d->sampleCount);
        }
    }
}

} // namespace qel
