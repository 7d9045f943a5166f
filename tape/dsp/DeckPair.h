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

// One channel's pair through one slice: deck A runs on the channel and deck B
// on a copy; from the drive to the play head the two decks share registers,
// one lane each. Each deck's sample is that of TapeDeck::step.
template <bool LfoMode>
struct ChannelSlice
{
    TapeDeck& a;
    TapeDeck& b;
    float* x;
    const float sign;
    const Double2 drive = pack(a.told.drive, b.told.drive);
    const Double2 noiseGain = pack(a.told.noiseGain, b.told.noiseGain);
    TapeDeck::Slice sliceA = a.beginSlice();
    TapeDeck::Slice sliceB = b.beginSlice();
    RecordHeadPair record { a.recordHead, b.recordHead };
    PlayHeadPair play { a.playHead, b.playHead };
    // Decks set alike run one LFO between them.
    const bool sharedLfo = a.sharesLfoWith(b);
    Double2 compensation {};

    ChannelSlice(DeckPair& pair, float* samples) noexcept
        : a(pair.deckA), b(pair.deckB), x(samples), sign(pair.phaseInvert ? -1.0f : 1.0f)
    {
    }

    // The noise reduction of deck A (0) or B (1), which runs outside the slice.
    NoiseReduction* noiseReduction(size_t deck) const noexcept
    {
        return deck == 0 ? &a.noiseReduction : &b.noiseReduction;
    }

    // Sample i up to the encoder, and deck B's speed deviation. Inline, as
    // is back: out of line the channels' samples could not overlap.
    QEL_ALWAYS_INLINE Double2 front(int i, float& deviation) noexcept
    {
        if constexpr (LfoMode)
        {
            const float position = a.lfoPosition(sliceA);
            a.relativePosition = position;
            b.relativePosition = sharedLfo ? position : b.lfoPosition(sliceB);
        }
        float deviationA;
        const Double2 s = pack(a.tapeFront<false, false>(sliceA, x[i], deviationA),
                               b.tapeFront<false, true>(sliceB, x[i], deviation));
        compensation = pack(static_cast<double>(a.driveCompensation.value()),
                            static_cast<double>(b.driveCompensation.value()));
        return tanhOf(s * drive * 0.01) * 100.0;
    }

    Double2 magnetise(Double2 e) noexcept { return record.process(e, compensation * noiseGain); }

    // Sample i from the decoder on: the play head, and the pair's sum.
    QEL_ALWAYS_INLINE void back(int i, Double2 g) noexcept
    {
        const Double2 y = play.process(g) / compensation;
        const float outA = a.tapeBack<LfoMode, false>(sliceA, y[0]);
        const float outB = b.tapeBack<LfoMode, true>(sliceB, y[1]);
        x[i] = outA + outB * sign;
    }

    void end(int n) noexcept
    {
        record.store();
        play.store();
        a.endSlice(n, sliceA);
        b.endSlice(n, sliceB);
    }
};

// Channels' pairs, each in place on its own buffer, for one set of modes,
// sample by sample side by side: the channels are independent, and their
// compander searches and head solvers overlap in the processor. deviation
// takes deck B's speed deviation of the last channel.
template <bool LfoMode, NoiseReductionMode Encoder, NoiseReductionMode Decoder, size_t Channels, size_t... C>
void processChannels(const std::array<DeckPair*, Channels>& pairs, const std::array<float*, Channels>& buffers,
                     int frames, float* deviation, std::index_sequence<C...>) noexcept
{
    float unused[DeckPair::maxSlice];
    for (int start = 0; start < frames; start += DeckPair::maxSlice)
    {
        const int n = std::min(DeckPair::maxSlice, frames - start);
        float* dev = deviation + start;
        std::array<ChannelSlice<LfoMode>, Channels> slices { ChannelSlice<LfoMode> { *pairs[C], buffers[C] + start }... };
        std::array<NoiseReduction*, 2 * Channels> noiseReduction {};
        for (size_t d = 0; d < 2 * Channels; ++d)
            noiseReduction[d] = slices[d / 2].noiseReduction(d % 2);
        for (int i = 0; i < n; ++i)
        {
            std::array<Double2, Channels> v { slices[C].front(i, C + 1 == Channels ? dev[i] : unused[i])... };
            NoiseReduction::encodeChannels<Encoder, Channels>(noiseReduction, v);
            v = { slices[C].magnetise(v[C])... };
            NoiseReduction::decodeChannels<Decoder, Channels>(noiseReduction, v);
            (slices[C].back(i, v[C]), ...);
        }
        (slices[C].end(n), ...);
    }
    // A call of no frames changes nothing, but its block has passed all the same.
    if (frames <= 0)
        for (auto* pair : pairs)
        {
            pair->deckA.endFirstBlock();
            pair->deckB.endFirstBlock();
        }
}

// One channel through its pair, in place, for one set of modes.
template <bool LfoMode, NoiseReductionMode Encoder, NoiseReductionMode Decoder>
void processChannel(DeckPair& pair, float* buffer, int frames, float* deviation) noexcept
{
    processChannels<LfoMode, Encoder, Decoder, 1>({ &pair }, { buffer }, frames, deviation, std::index_sequence<0>());
}

// Two channels through their pairs together: what processChannel gives for
// the first and then the second, sample for sample.
template <bool LfoMode, NoiseReductionMode Encoder, NoiseReductionMode Decoder>
void processChannelPair(DeckPair& first, DeckPair& second, float* firstBuffer, float* secondBuffer, int frames,
                        float* deviation) noexcept
{
    processChannels<LfoMode, Encoder, Decoder, 2>({ &first, &second }, { firstBuffer, secondBuffer }, frames,
                                                  deviation, std::index_sequence<0, 1>());
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
