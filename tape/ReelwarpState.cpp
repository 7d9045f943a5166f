#include "tape/ReelwarpParameters.h"
#include "tape/ReelwarpProcessor.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace qel
{

ReelwarpProcessor::State::State(ReelwarpProcessor* owner)
    : ProcessingElementState(owner), decks(1), unsyncGenerator(0x9E3779B9u * (owner->getElementId() + 1u))
{
}

ElementState* ReelwarpProcessor::State::cloneState(ScratchArena& arena) const
{
    static_assert(alignof(State) <= 16, "the arena aligns to 16 bytes");
    auto* clone = new (arena.allocate(sizeof(State))) State(&processor());
    clone->decks = decks;
    clone->lfoFrequency = lfoFrequency;
    return clone;
}

void ReelwarpProcessor::State::prepare(double sampleRate, int maximumBlockSize)
{
    const size_t channels = std::max<size_t>(processor().getChannelCount(), 1);
    // A new channel starts from the first one's settings, which live in its decks.
    decks.reserve(channels);
    while (decks.size() < channels)
        decks.push_back(decks.front());
    decks.erase(decks.begin() + static_cast<std::ptrdiff_t>(channels), decks.end());
    for (auto& pair : decks)
        pair.prepare(sampleRate);
    laneWidth = chooseLaneWidth();

    dryLines.resize(channels);
    // Reckoned as the processor reckons the delay it asks for, so that the longest one fits.
    const int maxDelay = static_cast<int>(std::ceil(normalLatencySeconds * static_cast<float>(sampleRate)));
    for (auto& line : dryLines)
        line.prepare(maxDelay, std::max(maximumBlockSize, static_cast<int>(sliceFrames)));
}

void ReelwarpProcessor::State::reset()
{
    for (auto& pair : decks)
    {
        pair.clear();
        pair.forBothDecks([](TapeDeck& d) { d.seedModulations(); });
    }
    for (auto& line : dryLines)
        line.clear();
}

void ReelwarpProcessor::State::setFlangeMode(FlangeMode mode)
{
    for (auto& pair : decks)
    {
        pair.flangeMode = mode;
        if (mode == FlangeMode::manual)
        {
            pair.deckA.setRelativePosition(0.0);
            pair.deckB.setRelativePosition(0.0);
        }
    }
    if (mode == FlangeMode::manual)
        processor().notifyParameter(ReelwarpParameter::RelativeDelay);
}

// Deliberately blind to the compander switch: choosing an encoder starts it.
void ReelwarpProcessor::State::setEncoderChoice(NoiseReductionMode mode)
{
    forEachDeck([&](TapeDeck& d) {
        d.setEncoderMode(mode);
        if (link)
            d.setDecoderMode(mode);
    });
    encoderChoice = mode;
    if (link)
    {
        decoderChoice = mode;
        processor().notifyParameter(ReelwarpParameter::NoiseReductionDecoder);
    }
}

void ReelwarpProcessor::State::setDecoderChoice(NoiseReductionMode mode)
{
    forEachDeck([mode](TapeDeck& d) { d.setDecoderMode(mode); });
    decoderChoice = mode;
}

void ReelwarpProcessor::State::setLink(bool on)
{
    link = on;
    if (!on)
        return;
    // The decoder follows what the encoder runs; its choice follows the
    // encoder's choice, so that it is right when the compander comes back.
    const NoiseReductionMode running = firstDeckA().getNoiseReduction().encoderMode;
    forEachDeck([running](TapeDeck& d) { d.setDecoderMode(running); });
    decoderChoice = encoderChoice;
    processor().notifyParameter(ReelwarpParameter::NoiseReductionDecoder);
}

void ReelwarpProcessor::State::setCompanderOn(bool on)
{
    companderOn = on;
    if (on)
        forEachDeck([this](TapeDeck& d) {
            d.setEncoderMode(encoderChoice);
            d.setDecoderMode(decoderChoice);
        });
    else
        // Off keeps the choices and the compander state: only the modes go.
        forEachDeck([](TapeDeck& d) { d.bypassNoiseReduction(); });
    processor().notifyParameter(ReelwarpParameter::NoiseReductionEncoder);
    processor().notifyParameter(ReelwarpParameter::NoiseReductionDecoder);
}

void ReelwarpProcessor::State::setLowLatency(bool on)
{
    lowLatency = on;
    latency = on ? lowLatencySeconds : normalLatencySeconds;
    if (on)
    {
        const float depth = processor().getParameterFloat(reelwarpParameterId(ReelwarpParameter::MaxRelativeDelay));
        for (auto& pair : decks)
            pair.deckB.setMaxRelativeDelay(static_cast<double>(std::min(depth, lowLatencyMaxRelativeDelay)));
        processor().notifyParameter(ReelwarpParameter::MaxRelativeDelay);
    }
    const auto delay = static_cast<double>(latency);
    forEachDeck([delay](TapeDeck& d) { d.setMainDelay(delay); });
}

void ReelwarpProcessor::State::setNoiseUnsync(bool on)
{
    noiseUnsync = on;
    if (on)
        forEachDeck([this](TapeDeck& d) {
            const uint32_t first = nextUnsyncDraw();
            d.seedUnsyncedTransport(first, nextUnsyncDraw());
        });
    else
        forEachDeck([](TapeDeck& d) { d.seedModulations(); });
}

void ReelwarpProcessor::State::setLfoFrequency(float value)
{
    lfoFrequency = value;
    setLfoRate(processor().isLfoSynced() ? syncedLfoRate(processor().getSyncedTempo(), value) : value);
}

void ReelwarpProcessor::State::setLfoRate(float hertz)
{
    forEachDeck([hertz](TapeDeck& d) { d.setLfoRate(hertz); });
}

// A small generator of its own: the platform's rand() may take a lock.
uint32_t ReelwarpProcessor::State::nextUnsyncDraw() noexcept
{
    unsyncGenerator = unsyncGenerator * 1664525u + 1013904223u;
    return unsyncGenerator >> 1;
}

} // namespace qel
