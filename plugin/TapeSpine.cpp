#include "plugin/TapeSpine.h"

#include <algorithm>

namespace qel
{

TapeSpine::TapeSpine() : BasicProcessingElement("Reelwarp", "Reelwarp")
{
    setPerVoice(false);
}

void TapeSpine::setOutputStream(int index, Bus* bus)
{
    BasicProcessingElement::setOutputStream(index, bus);
    if (index != 0)
        return;
    pairs.resize(bus != nullptr ? (size_t) bus->getNumChannels() : 0);
    for (auto& p : pairs)
        if (p == nullptr)
            p = std::make_unique<DeckPair>();
    preparePairs();
}

void TapeSpine::prepare()
{
    BasicProcessingElement::prepare();
    preparePairs();
}

void TapeSpine::preparePairs()
{
    if (getSampleRate() <= 0.0f)
        return;
    for (auto& p : pairs)
        p->prepare(getSampleRate());
}

// Called once per slice: that is where the modes are read.
void TapeSpine::processPair(DeckPair& pair, float* samples, int frames, float* deviation) noexcept
{
    const auto process = selectChannelProcessor(pair.flangeMode, pair.deckA.noiseReduction.encoderMode,
                                                pair.deckA.noiseReduction.decoderMode);
    if (process != nullptr)
        process(pair, samples, frames, deviation);
}

void TapeSpine::processAudio(RenderContext& context, ProcessingElementState& state, int frames, float* const* channels,
                             void* extra)
{
    juce::ignoreUnused(context, state, extra);
    float deviation[DeckPair::maxSlice];
    const int n = std::min(static_cast<int>(getChannelCount()), static_cast<int>(pairs.size()));
    for (int c = 0; c < n; ++c)
        processPair(*pairs[(size_t) c], channels[c], frames, deviation);
    if (auto* bus = getOutput())
        bus->clearSilent();
}

void TapeSpine::resetProcessState()
{
    BasicProcessingElement::resetProcessState();
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
