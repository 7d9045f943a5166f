// A stereo instance's decks (two per channel) at 48 kHz on 512-frame blocks:
// "rt_factor" is seconds of stereo audio per second of one core.
#include "BenchSignal.h"
#include "tape/dsp/FourLanes.h"

#include <memory>

namespace
{

using namespace qel::bench;

struct StereoDecks
{
    std::unique_ptr<qel::DeckPair> pairs[2] { std::make_unique<qel::DeckPair>(), std::make_unique<qel::DeckPair>() };
    float left[blockSize], right[blockSize], deviation[32];

    explicit StereoDecks(qel::NoiseReductionMode encoder, qel::NoiseReductionMode decoder, bool heavy)
    {
        for (auto& p : pairs)
        {
            p->prepare(sampleRate);
            p->forBothDecks([&](qel::TapeDeck& d) {
                d.setEncoderMode(encoder);
                d.setDecoderMode(decoder);
                if (heavy)
                {
                    d.setFeedback(0.9);
                    d.setDrive(100.0);
                    d.setWowDepth(0.3);
                    d.setFlutterDepth(0.05);
                    d.setRandomDepth(0.1);
                    d.setDegradeDepth(1.0);
                    d.setHardness(1.0);
                }
            });
        }
        const auto music = musicLikeBlock(0.3);
        for (int i = 0; i < blockSize; ++i)
            left[i] = right[i] = static_cast<float>(music[(size_t) i]);
    }

    // As the processor runs a stereo instance: both channels side by side.
    void run(qel::LaneWidth width = qel::LaneWidth::two)
    {
        qel::DeckPair& first = *pairs[0];
        for (int start = 0; start < blockSize; start += 32)
        {
            const auto process = qel::selectChannelPairProcessor(first, width);
            process(first, *pairs[1], left + start, right + start, 32, deviation);
        }
    }

    // One channel after the other.
    void runEachChannel()
    {
        float* channels[2] { left, right };
        for (int c = 0; c < 2; ++c)
        {
            qel::DeckPair& pair = *pairs[c];
            for (int start = 0; start < blockSize; start += 32)
            {
                const auto process = qel::selectChannelProcessor(pair);
                process(pair, channels[c] + start, 32, deviation);
            }
        }
    }
};

void stereoDecks(benchmark::State& state)
{
    StereoDecks decks(static_cast<qel::NoiseReductionMode>(state.range(0)), static_cast<qel::NoiseReductionMode>(state.range(1)), state.range(2) != 0);
    runBlocks(state, [&] { decks.run(); }, decks.left[0]);
}

// All four decks in one register.
void stereoDecksFourLanes(benchmark::State& state)
{
    if (qel::chooseLaneWidth() != qel::LaneWidth::four)
    {
        state.SkipWithError("no AVX2 here");
        return;
    }
    StereoDecks decks(static_cast<qel::NoiseReductionMode>(state.range(0)), static_cast<qel::NoiseReductionMode>(state.range(1)), state.range(2) != 0);
    runBlocks(state, [&] { decks.run(qel::LaneWidth::four); }, decks.left[0]);
}

void stereoDecksEachChannel(benchmark::State& state)
{
    StereoDecks decks(static_cast<qel::NoiseReductionMode>(state.range(0)), static_cast<qel::NoiseReductionMode>(state.range(1)), state.range(2) != 0);
    runBlocks(state, [&] { decks.runEachChannel(); }, decks.left[0]);
}

BENCHMARK(stereoDecks)->Apply(encoderDecoderPairs);
BENCHMARK(stereoDecksFourLanes)->Apply(encoderDecoderPairs);
BENCHMARK(stereoDecksEachChannel)->Apply(encoderDecoderPairs);

} // namespace
