#pragma once

#include "tape/dsp/TapeDeck.h"

#include <array>
#include <cstdint>
#include <utility>

namespace qel
{

// In the order of the choice parameter's values.
enum class FlangeMode : uint32_t
{
    manual,
    lfo,
};

// The two machines of one channel: deck B drifts against deck A, and their
// sum is the flange.
struct DeckPair
{
    static constexpr int maxSlice = 32;

    TapeDeck deckA;
    TapeDeck deckB;
    bool phaseInvert = false;
    FlangeMode flangeMode = FlangeMode::lfo;

    void prepare(double sampleRate)
    {
        constexpr double tapeSeconds = 2.0;
        deckA.prepare(sampleRate, tapeSeconds);
        deckB.prepare(sampleRate, tapeSeconds);
    }

    void clear() noexcept
    {
        deckA.clear();
        deckB.clear();
    }

    template <typename Setter>
    void forBothDecks(Setter&& set)
    {
        set(deckA);
        set(deckB);
    }
};

// Channels' pairs through one slice, deck A on each channel and deck B on a
// copy; from the drive to the play head the decks share registers, one lane
// each: deck A of pair p in lane 2p, deck B in lane 2p + 1. T is Double2 for
// one pair, Double4 for two. Each deck's sample is that of TapeDeck::step.
template <bool LfoMode, NoiseReductionMode Encoder, NoiseReductionMode Decoder, typename T>
struct ChannelSlice
{
    static constexpr size_t lanes = laneCount<T>;
    static constexpr size_t pairs = lanes / 2;

    std::array<TapeDeck*, lanes> decks;
    std::array<float*, pairs> x;
    std::array<float, pairs> sign;
    std::array<TapeDeck::Slice, lanes> slices;
    // Decks set alike run one LFO between them: deck B its pair's deck A's,
    // and deck A of a later pair the first pair's.
    std::array<bool, lanes> sharedLfo;
    T drive, noiseGain, compensation {};
    RecordHeadLanes<T> record { eachDeck([](TapeDeck& d) { return &d.recordHead; }) };
    PlayHeadLanes<T> play { eachDeck([](TapeDeck& d) { return &d.playHead; }) };
    NoiseReductionLanes<T, Encoder, Decoder> noiseReduction { eachDeck([](TapeDeck& d) { return &d.noiseReduction; }) };

    ChannelSlice(const std::array<DeckPair*, pairs>& channelPairs, const std::array<float*, pairs>& samples) noexcept
        : decks(decksOf(channelPairs)), x(samples)
    {
        for (size_t p = 0; p < pairs; ++p)
        {
            sign[p] = channelPairs[p]->phaseInvert ? -1.0f : 1.0f;
            sharedLfo[2 * p] = p > 0 && decks[2 * p]->sharesLfoWith(*decks[0]);
            sharedLfo[2 * p + 1] = decks[2 * p]->sharesLfoWith(*decks[2 * p + 1]);
        }
        for (size_t k = 0; k < lanes; ++k)
            slices[k] = decks[k]->beginSlice();
        drive = lanesFrom<T>([&](size_t k) { return decks[k]->told.drive; });
        noiseGain = lanesFrom<T>([&](size_t k) { return decks[k]->told.noiseGain; });
    }

    // Sample i up to the encoder; deviation takes the last deck B's speed
    // deviation. Inline, as is back: out of line the decks' samples could not overlap.
    QEL_ALWAYS_INLINE T front(int i, float& deviation) noexcept
    {
        float unused;
        const T s = lanesFrom<T>([&](auto lane) QEL_INLINE_LAMBDA {
            constexpr size_t k = decltype(lane)::value;
            constexpr bool deckB = k % 2 == 1;
            TapeDeck& d = *decks[k];
            if constexpr (LfoMode)
            {
                if constexpr (deckB)
                    d.relativePosition = sharedLfo[k] ? decks[k - 1]->relativePosition : d.lfoPosition(slices[k]);
                else if constexpr (k > 0)
                    d.relativePosition = sharedLfo[k] ? decks[0]->relativePosition : d.lfoPosition(slices[k]);
                else
                    d.relativePosition = d.lfoPosition(slices[k]);
            }
            return d.template tapeFront<false, deckB>(slices[k], x[k / 2][i], k + 1 == lanes ? deviation : unused);
        });
        compensation = lanesFrom<T>(
            [&](size_t k) QEL_INLINE_LAMBDA { return static_cast<double>(decks[k]->driveCompensation.value()); });
        return tanhOf(s * drive * 0.01) * 100.0;
    }

    QEL_ALWAYS_INLINE T encode(T u) noexcept { return noiseReduction.encode(u); }
    T magnetise(T e) noexcept { return record.process(e, compensation * noiseGain); }
    QEL_ALWAYS_INLINE T decode(T m) noexcept { return noiseReduction.decode(m); }

    // Sample i from the decoder on: the play head, and each pair's sum.
    QEL_ALWAYS_INLINE void back(int i, T g) noexcept
    {
        const T y = play.process(g) / compensation;
        for (size_t p = 0; p < pairs; ++p)
        {
            const float outA = decks[2 * p]->template tapeBack<LfoMode, false>(slices[2 * p], y[2 * p]);
            const float outB = decks[2 * p + 1]->template tapeBack<LfoMode, true>(slices[2 * p + 1], y[2 * p + 1]);
            x[p][i] = outA + outB * sign[p];
        }
    }

    void end(int n) noexcept
    {
        record.store();
        play.store();
        noiseReduction.store();
        for (size_t k = 0; k < lanes; ++k)
            decks[k]->endSlice(n, slices[k]);
    }

private:
    static std::array<TapeDeck*, lanes> decksOf(const std::array<DeckPair*, pairs>& channelPairs) noexcept
    {
        std::array<TapeDeck*, lanes> d;
        for (size_t p = 0; p < pairs; ++p)
        {
            d[2 * p] = &channelPairs[p]->deckA;
            d[2 * p + 1] = &channelPairs[p]->deckB;
        }
        return d;
    }

    template <typename Get>
    auto eachDeck(Get&& get) const noexcept
    {
        std::array<decltype(get(*decks[0])), lanes> each;
        for (size_t k = 0; k < lanes; ++k)
            each[k] = get(*decks[k]);
        return each;
    }
};

// Channels' pairs, each in place on its own buffer, for one set of modes,
// sample by sample side by side: the channels are independent, and their
// compander searches and head solvers overlap in the processor. Slices of
// T's width each take laneCount<T> / 2 pairs; deviation takes the last
// deck B's speed deviation.
template <bool LfoMode, NoiseReductionMode Encoder, NoiseReductionMode Decoder, typename T, size_t Slices, size_t... S>
void processLanes(const std::array<DeckPair*, Slices * laneCount<T> / 2>& pairs,
                  const std::array<float*, Slices * laneCount<T> / 2>& buffers, int frames, float* deviation,
                  std::index_sequence<S...>) noexcept
{
    using Slice = ChannelSlice<LfoMode, Encoder, Decoder, T>;
    constexpr size_t P = Slice::pairs;
    float unused[DeckPair::maxSlice];
    for (int start = 0; start < frames; start += DeckPair::maxSlice)
    {
        const int n = std::min(DeckPair::maxSlice, frames - start);
        float* dev = deviation + start;
        const auto slicePairs = [&](size_t s) {
            std::array<DeckPair*, P> p;
            std::array<float*, P> b;
            for (size_t k = 0; k < P; ++k)
            {
                p[k] = pairs[s * P + k];
                b[k] = buffers[s * P + k] + start;
            }
            return Slice { p, b };
        };
        std::array<Slice, Slices> slices { slicePairs(S)... };
        for (int i = 0; i < n; ++i)
        {
            std::array<T, Slices> v { slices[S].front(i, S + 1 == Slices ? dev[i] : unused[i])... };
            v = { slices[S].encode(v[S])... };
            v = { slices[S].magnetise(v[S])... };
            v = { slices[S].decode(v[S])... };
            (slices[S].back(i, v[S]), ...);
        }
        (slices[S].end(n), ...);
    }
    // A call of no frames changes nothing, but its block has passed all the same.
    if (frames <= 0)
        for (auto* pair : pairs)
        {
            pair->deckA.endFirstBlock();
            pair->deckB.endFirstBlock();
        }
}

template <bool LfoMode, NoiseReductionMode Encoder, NoiseReductionMode Decoder, size_t Channels>
void processChannels(const std::array<DeckPair*, Channels>& pairs, const std::array<float*, Channels>& buffers,
                     int frames, float* deviation) noexcept
{
    processLanes<LfoMode, Encoder, Decoder, Double2, Channels>(pairs, buffers, frames, deviation,
                                                               std::make_index_sequence<Channels>());
}

// One channel through its pair, in place, for one set of modes.
template <bool LfoMode, NoiseReductionMode Encoder, NoiseReductionMode Decoder>
void processChannel(DeckPair& pair, float* buffer, int frames, float* deviation) noexcept
{
    processChannels<LfoMode, Encoder, Decoder, 1>({ &pair }, { buffer }, frames, deviation);
}

// Two channels through their pairs together: what processChannel gives for
// the first and then the second, sample for sample.
template <bool LfoMode, NoiseReductionMode Encoder, NoiseReductionMode Decoder>
void processChannelPair(DeckPair& first, DeckPair& second, float* firstBuffer, float* secondBuffer, int frames,
                        float* deviation) noexcept
{
    processChannels<LfoMode, Encoder, Decoder, 2>({ &first, &second }, { firstBuffer, secondBuffer }, frames,
                                                  deviation);
}

using ChannelProcessor = void (*)(DeckPair&, float*, int, float*) noexcept;
using ChannelPairProcessor = void (*)(DeckPair&, DeckPair&, float*, float*, int, float*) noexcept;

namespace detail
{
// Where a set of modes stands among the 32 loops: LFO x 16 + encoder x 4 + decoder.
struct LoopModes
{
    static constexpr size_t count = 32;
    static constexpr bool lfoAt(size_t index) noexcept { return index / 16 == 1; }
    static constexpr NoiseReductionMode encoderAt(size_t index) noexcept
    {
        return static_cast<NoiseReductionMode>((index / 4) % 4);
    }
    static constexpr NoiseReductionMode decoderAt(size_t index) noexcept
    {
        return static_cast<NoiseReductionMode>(index % 4);
    }
    // -1 for modes outside the range.
    static int indexOf(FlangeMode flange, NoiseReductionMode encoder, NoiseReductionMode decoder) noexcept
    {
        const auto e = static_cast<uint32_t>(encoder), d = static_cast<uint32_t>(decoder);
        if (e > 3 || d > 3)
            return -1;
        return (flange == FlangeMode::lfo ? 16 : 0) + static_cast<int>(e * 4 + d);
    }
};

template <size_t... Index>
constexpr std::array<ChannelProcessor, sizeof...(Index)> channelProcessorTable(std::index_sequence<Index...>) noexcept
{
    return { &processChannel<LoopModes::lfoAt(Index), LoopModes::encoderAt(Index), LoopModes::decoderAt(Index)>... };
}

template <size_t... Index>
constexpr std::array<ChannelPairProcessor, sizeof...(Index)>
channelPairProcessorTable(std::index_sequence<Index...>) noexcept
{
    return { &processChannelPair<LoopModes::lfoAt(Index), LoopModes::encoderAt(Index), LoopModes::decoderAt(Index)>... };
}
} // namespace detail

// The one place where runtime modes become a compiled loop: 2 flange modes
// x 4 encoders x 4 decoders. Modes outside the range give no processor.
inline ChannelProcessor selectChannelProcessor(FlangeMode flangeMode, NoiseReductionMode encoderMode,
                                               NoiseReductionMode decoderMode) noexcept
{
    static constexpr auto table = detail::channelProcessorTable(std::make_index_sequence<detail::LoopModes::count>());
    const int index = detail::LoopModes::indexOf(flangeMode, encoderMode, decoderMode);
    return index < 0 ? nullptr : table[static_cast<size_t>(index)];
}

// The same for two channels at once.
inline ChannelPairProcessor selectChannelPairProcessor(FlangeMode flangeMode, NoiseReductionMode encoderMode,
                                                       NoiseReductionMode decoderMode) noexcept
{
    static constexpr auto table = detail::channelPairProcessorTable(std::make_index_sequence<detail::LoopModes::count>());
    const int index = detail::LoopModes::indexOf(flangeMode, encoderMode, decoderMode);
    return index < 0 ? nullptr : table[static_cast<size_t>(index)];
}

// The loops for the modes a pair runs now.
inline ChannelProcessor selectChannelProcessor(const DeckPair& pair) noexcept
{
    const auto& modes = pair.deckA.getNoiseReduction();
    return selectChannelProcessor(pair.flangeMode, modes.encoderMode, modes.decoderMode);
}

inline ChannelPairProcessor selectChannelPairProcessor(const DeckPair& pair) noexcept
{
    const auto& modes = pair.deckA.getNoiseReduction();
    return selectChannelPairProcessor(pair.flangeMode, modes.encoderMode, modes.decoderMode);
}

} // namespace qel
