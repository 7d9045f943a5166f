#pragma once

#include "tape/dsp/Compander.h"
#include "tape/dsp/EmphasisShelf.h"

#include <array>
#include <cstdint>
#include <type_traits>
#include <utility>

namespace qel
{

// In the order of the choice parameters' values.
enum class NoiseReductionMode : uint32_t
{
    none,
    preEmphasis,
    typeA,
    typeB,
};

// The encoders ahead of the magnetics and the decoders after them, each side
// chosen on its own, so that a mismatched pair is possible.
struct NoiseReduction
{
    EmphasisShelf encoderShelf;
    EmphasisShelf decoderShelf;
    TypeBCompander typeBEncoder;
    TypeBCompander typeBDecoder;
    TypeACompander typeAEncoder;
    TypeACompander typeADecoder;
    NoiseReductionMode encoderMode = NoiseReductionMode::none;
    NoiseReductionMode decoderMode = NoiseReductionMode::none;

    void prepare(double sampleRate) noexcept
    {
        encoderShelf.prepare(sampleRate);
        decoderShelf.prepare(sampleRate);
        typeBEncoder.prepare(sampleRate);
        typeBDecoder.prepare(sampleRate);
        typeAEncoder.prepare(sampleRate);
        typeADecoder.prepare(sampleRate);
    }

    // Clears filter and envelope state; the companders' last solutions stay.
    void clear() noexcept
    {
        encoderShelf.clear();
        decoderShelf.clear();
        typeBEncoder.clear();
        typeBDecoder.clear();
        typeAEncoder.clear();
        typeADecoder.clear();
    }

    // Entering a mode clears that mode's state only.
    void setEncoderMode(NoiseReductionMode mode) noexcept
    {
        encoderMode = mode;
        clearMode(mode, encoderShelf, typeAEncoder, typeBEncoder);
    }

    void setDecoderMode(NoiseReductionMode mode) noexcept
    {
        decoderMode = mode;
        clearMode(mode, decoderShelf, typeADecoder, typeBDecoder);
    }

    // Neither side runs; their states stay as they are.
    void bypass() noexcept { encoderMode = decoderMode = NoiseReductionMode::none; }

    template <NoiseReductionMode Mode>
    double encode(double u) noexcept
    {
        if constexpr (Mode == NoiseReductionMode::preEmphasis)
            return encoderShelf.encode(u);
        else if constexpr (Mode == NoiseReductionMode::typeA)
            return typeAEncoder.encode(u);
        else if constexpr (Mode == NoiseReductionMode::typeB)
            return typeBEncoder.encode(u);
        else
            return u;
    }

    template <NoiseReductionMode Mode>
    double decode(double m) noexcept
    {
        if constexpr (Mode == NoiseReductionMode::preEmphasis)
            return decoderShelf.decode(m);
        else if constexpr (Mode == NoiseReductionMode::typeA)
            return typeADecoder.decode(m);
        else if constexpr (Mode == NoiseReductionMode::typeB)
            return typeBDecoder.decode(m);
        else
            return m;
    }

private:
    static void clearMode(NoiseReductionMode mode, EmphasisShelf& shelf, TypeACompander& a, TypeBCompander& b) noexcept
    {
        switch (mode)
        {
            case NoiseReductionMode::preEmphasis: shelf.clear(); break;
            case NoiseReductionMode::typeA: a.clear(); break;
            case NoiseReductionMode::typeB: b.clear(); break;
            default: break;
        }
    }
};

// The noise reduction of several decks through a slice, lane k for deck k,
// for the modes of a compiled loop: the companders' searches run in lockstep
// across the lanes, the shelves deck by deck.
template <typename T, NoiseReductionMode Encoder, NoiseReductionMode Decoder>
struct NoiseReductionLanes
{
    static constexpr size_t N = laneCount<T>;

    struct NoLanes
    {
        void store() noexcept {}
    };

    template <NoiseReductionMode Mode, typename Get>
    static auto lanesFor(const std::array<NoiseReduction*, N>& decks, Get&& get) noexcept
    {
        if constexpr (Mode == NoiseReductionMode::typeA || Mode == NoiseReductionMode::typeB)
        {
            using Compander = std::remove_reference_t<decltype(get(*decks[0]))>;
            std::array<Compander*, N> each;
            for (size_t k = 0; k < N; ++k)
                each[k] = &get(*decks[k]);
            return CompanderLanes<Compander, T> { each };
        }
        else
            return NoLanes {};
    }

    template <NoiseReductionMode Mode, bool Encoding>
    static auto& pick(NoiseReduction& d) noexcept
    {
        if constexpr (Mode == NoiseReductionMode::typeA)
            return Encoding ? d.typeAEncoder : d.typeADecoder;
        else
            return Encoding ? d.typeBEncoder : d.typeBDecoder;
    }

    std::array<NoiseReduction*, N> decks;
    decltype(lanesFor<Encoder>(decks, pick<Encoder, true>)) encoder = lanesFor<Encoder>(decks, pick<Encoder, true>);
    decltype(lanesFor<Decoder>(decks, pick<Decoder, false>)) decoder = lanesFor<Decoder>(decks, pick<Decoder, false>);

    explicit NoiseReductionLanes(const std::array<NoiseReduction*, N>& each) noexcept : decks(each) {}

    QEL_ALWAYS_INLINE T encode(T x) noexcept
    {
        if constexpr (Encoder == NoiseReductionMode::preEmphasis)
            return lanesFrom<T>([&](size_t k) QEL_INLINE_LAMBDA { return decks[k]->encoderShelf.encode(x[k]); });
        else if constexpr (Encoder == NoiseReductionMode::typeA)
            return encoder.first.encode(encoder.lanes, x);
        else if constexpr (Encoder == NoiseReductionMode::typeB)
            return encoder.first.template run<false>(encoder.lanes, x, encoder.passLimit);
        else
            return x;
    }

    QEL_ALWAYS_INLINE T decode(T m) noexcept
    {
        if constexpr (Decoder == NoiseReductionMode::preEmphasis)
            return lanesFrom<T>([&](size_t k) QEL_INLINE_LAMBDA { return decks[k]->decoderShelf.decode(m[k]); });
        else if constexpr (Decoder == NoiseReductionMode::typeA)
            return decoder.first.decode(decoder.lanes, m, decoder.passLimit);
        else if constexpr (Decoder == NoiseReductionMode::typeB)
            return decoder.first.template run<true>(decoder.lanes, m, decoder.passLimit);
        else
            return m;
    }

    void store() noexcept
    {
        encoder.store();
        decoder.store();
    }
};

} // namespace qel
