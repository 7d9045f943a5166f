#pragma once

#include "tape/dsp/Compander.h"
#include "tape/dsp/EmphasisShelf.h"

#include <array>
#include <cstdint>
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

    // Several decks' samples, deck k's in x[k], in place. All their searches
    // run side by side.
    template <NoiseReductionMode Mode, size_t Decks>
    static void encodeDecks(const std::array<NoiseReduction*, Decks>& decks, std::array<double, Decks>& x) noexcept
    {
        if constexpr (Mode == NoiseReductionMode::typeB)
        {
            auto searches = eachDeck<Decks>([&](size_t d) {
                return TypeBCompander::Search { decks[d]->typeBEncoder, x[d], false };
            });
            searchTogether(searches);
            finishAll(searches, x);
        }
        else if constexpr (Mode != NoiseReductionMode::none)
            for (size_t d = 0; d < Decks; ++d)
                x[d] = decks[d]->template encode<Mode>(x[d]);
    }

    template <NoiseReductionMode Mode, size_t Decks>
    static void decodeDecks(const std::array<NoiseReduction*, Decks>& decks, std::array<double, Decks>& x) noexcept
    {
        if constexpr (Mode == NoiseReductionMode::typeA)
        {
            auto searches = eachDeck<Decks>([&](size_t d) {
                return TypeACompander::DecodeSearch { decks[d]->typeADecoder, x[d] };
            });
            searchInLockstep(searches);
            finishAll(searches, x);
        }
        else if constexpr (Mode == NoiseReductionMode::typeB)
        {
            auto searches = eachDeck<Decks>([&](size_t d) {
                return TypeBCompander::Search { decks[d]->typeBDecoder, x[d], true };
            });
            searchTogether(searches);
            finishAll(searches, x);
        }
        else if constexpr (Mode != NoiseReductionMode::none)
            for (size_t d = 0; d < Decks; ++d)
                x[d] = decks[d]->template decode<Mode>(x[d]);
    }

private:
    template <size_t Decks, typename Make, size_t... D>
    static auto eachDeck(Make&& make, std::index_sequence<D...>) noexcept
    {
        return std::array<decltype(make(0)), Decks> { make(D)... };
    }

    template <size_t Decks, typename Make>
    static auto eachDeck(Make&& make) noexcept
    {
        return eachDeck<Decks>(make, std::make_index_sequence<Decks>());
    }

    template <typename Search, size_t Decks>
    static void finishAll(std::array<Search, Decks>& searches, std::array<double, Decks>& x) noexcept
    {
        for (size_t d = 0; d < Decks; ++d)
            x[d] = searches[d].finish();
    }

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

} // namespace qel
