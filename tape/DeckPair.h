#pragma once

#include "tape/TapeDeck.h"

#include <array>
#include <cstdint>
#include <utility>

namespace qel
{

enum FlangeMode : uint32_t
{
    manualFlange = 0,
    lfoFlange = 1,
};

// The two machines of one channel: deck B drifts against deck A, and their
// sum is the flange.
struct DeckPair
{
    static constexpr int maxSlice = 32;

    TapeDeck deckA;
    TapeDeck deckB;
    uint8_t phaseInvert = 0;
    uint32_t flangeMode = lfoFlange;

    DeckPair()
    {
        for (TapeDeck* d : { &deckA, &deckB })
        {
            d->feedback = 0.0;
            d->feedbackTap = TapeDeck::feedbackTapIndex;
            d->setDelay(0.016);
            d->setMainDelay(0.06);
            d->transport.wowRate = 0.1;
        }
    }

    void prepare(double fs)
    {
        deckA.prepare(fs);
        deckB.prepare(fs);
        const auto length = static_cast<uint64_t>(2.0 * fs);
        for (TapeDeck* d : { &deckA, &deckB })
        {
            d->setTapeLength(length);
            d->clear();
        }
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

// One channel through its pair, in place, for one set of modes. Deck A runs
// on the channel and deck B on a copy. Each deck's sample is that of
// TapeDeck::step; from the drive to the play head the two decks share
// registers, one lane each.
template <bool LfoMode, uint32_t Encoder, uint32_t Decoder>
void processChannel(DeckPair& pair, float* buffer, int frames, float* deviation) noexcept
{
    TapeDeck& a = pair.deckA;
    TapeDeck& b = pair.deckB;
    const float sign = pair.phaseInvert ? -1.0f : 1.0f;
    const Double2 drive = pack(a.drive, b.drive);
    const Double2 noiseGain = pack(a.noiseGain, b.noiseGain);
    for (int start = 0; start < frames; start += DeckPair::maxSlice)
    {
        const int n = std::min(DeckPair::maxSlice, frames - start);
        float* x = buffer + start;
        float* dev = deviation + start;
        auto sliceA = a.beginSlice();
        auto sliceB = b.beginSlice();
        RecordHeadPair record { a.recordHead, b.recordHead };
        PlayHeadPair play { a.playHead, b.playHead };
        // Decks set alike run one LFO between them.
        const bool sharedLfo = a.sharesLfoWith(b);
        for (int i = 0; i < n; ++i)
        {
            if constexpr (LfoMode)
            {
                const float position = a.lfoPosition(sliceA);
                a.relativePosition = position;
                b.relativePosition = sharedLfo ? position : b.lfoPosition(sliceB);
            }
            float deviationA;
            const Double2 s = pack(a.tapeFront<false, false>(sliceA, x[i], deviationA),
                                   b.tapeFront<false, true>(sliceB, x[i], dev[i]));
            const Double2 u = tanhOf(s * drive * 0.01) * 100.0;
            const Double2 compensation = pack(static_cast<double>(a.driveCompensation.value()),
                                              static_cast<double>(b.driveCompensation.value()));
            const Double2 e = NoiseReduction::encodePair<Encoder>(a.noiseReduction, b.noiseReduction, u);
            const Double2 m = record.process(e, compensation * noiseGain);
            const Double2 g = NoiseReduction::decodePair<Decoder>(a.noiseReduction, b.noiseReduction, m);
            const Double2 y = play.process(g) / compensation;
            const float outA = a.tapeBack<LfoMode, false>(sliceA, y[0]);
            const float outB = b.tapeBack<LfoMode, true>(sliceB, y[1]);
            x[i] = outA + outB * sign;
        }
        record.store();
        play.store();
        a.endSlice(n, sliceA);
        b.endSlice(n, sliceB);
    }
}

using ChannelProcessor = void (*)(DeckPair&, float*, int, float*) noexcept;

namespace detail
{
template <size_t Index>
constexpr ChannelProcessor channelProcessorAt() noexcept
{
    return &processChannel<(Index / 16) == 1, static_cast<uint32_t>((Index / 4) % 4), static_cast<uint32_t>(Index % 4)>;
}

template <size_t... Index>
constexpr std::array<ChannelProcessor, sizeof...(Index)> channelProcessorTable(std::index_sequence<Index...>) noexcept
{
    return { channelProcessorAt<Index>()... };
}
} // namespace detail

// The one place where runtime modes become a compiled loop: 2 flange modes
// x 4 encoders x 4 decoders. Modes outside the range give no processor.
inline ChannelProcessor selectChannelProcessor(uint32_t flangeMode, uint32_t encoderMode, uint32_t decoderMode) noexcept
{
    static constexpr auto table = detail::channelProcessorTable(std::make_index_sequence<32>());
    if (encoderMode > 3 || decoderMode > 3)
        return nullptr;
    const size_t lfo = flangeMode == lfoFlange ? 1 : 0;
    return table[lfo * 16 + encoderMode * 4 + decoderMode];
}

} // namespace qel
