#pragma once

#include "tape/Compander.h"
#include "tape/EmphasisShelf.h"

#include <cstdint>

namespace qel
{

enum NoiseReductionMode : uint32_t
{
    noNoiseReduction = 0,
    basicPreEmphasis = 1,
    typeA = 2,
    typeB = 3,
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
    uint32_t encoderMode = noNoiseReduction;
    uint32_t decoderMode = noNoiseReduction;

    void prepare(double f) noexcept
    {
        encoderShelf.prepare(f);
        decoderShelf.prepare(f);
        typeBEncoder.prepare(f);
        typeBDecoder.prepare(f);
        typeAEncoder.prepare(f);
        typeADecoder.prepare(f);
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
    void setEncoderMode(uint32_t mode) noexcept
    {
        encoderMode = mode;
        clearMode(mode, encoderShelf, typeAEncoder, typeBEncoder);
    }

    void setDecoderMode(uint32_t mode) noexcept
    {
        decoderMode = mode;
        clearMode(mode, decoderShelf, typeADecoder, typeBDecoder);
    }

    template <uint32_t Mode>
    double encode(double u) noexcept
    {
        if constexpr (Mode == basicPreEmphasis)
            return encoderShelf.encode(u);
        else if constexpr (Mode == typeA)
            return typeAEncoder.encode(u);
        else if constexpr (Mode == typeB)
            return typeBEncoder.encode(u);
        else
            return u;
    }

    template <uint32_t Mode>
    double decode(double m) noexcept
    {
        if constexpr (Mode == basicPreEmphasis)
            return decoderShelf.decode(m);
        else if constexpr (Mode == typeA)
            return typeADecoder.decode(m);
        else if constexpr (Mode == typeB)
            return typeBDecoder.decode(m);
        else
            return m;
    }

    // Both decks of a pair, one lane each; their searches run side by side.
    template <uint32_t Mode>
    static Double2 encodePair(NoiseReduction& a, NoiseReduction& b, Double2 u) noexcept
    {
        if constexpr (Mode == noNoiseReduction)
            return u;
        else if constexpr (Mode == typeB)
        {
            TypeBCompander::Search searchA { a.typeBEncoder, u[0], false };
            TypeBCompander::Search searchB { b.typeBEncoder, u[1], false };
            searchTogether(searchA, searchB);
            return finishBoth(searchA, searchB);
        }
        else
            return pack(a.encode<Mode>(u[0]), b.encode<Mode>(u[1]));
    }

    template <uint32_t Mode>
    static Double2 decodePair(NoiseReduction& a, NoiseReduction& b, Double2 m) noexcept
    {
        if constexpr (Mode == typeA)
        {
            TypeACompander::DecodeSearch searchA { a.typeADecoder, m[0] };
            TypeACompander::DecodeSearch searchB { b.typeADecoder, m[1] };
            searchTogether(searchA, searchB);
            return finishBoth(searchA, searchB);
        }
        else if constexpr (Mode == typeB)
        {
            TypeBCompander::Search searchA { a.typeBDecoder, m[0], true };
            TypeBCompander::Search searchB { b.typeBDecoder, m[1], true };
            searchTogether(searchA, searchB);
            return finishBoth(searchA, searchB);
        }
        else if constexpr (Mode == noNoiseReduction)
            return m;
        else
            return pack(a.decode<Mode>(m[0]), b.decode<Mode>(m[1]));
    }

private:
    template <typename Search>
    static Double2 finishBoth(Search& a, Search& b) noexcept
    {
        const double outA = a.finish();
        return pack(outA, b.finish());
    }

    static void clearMode(uint32_t mode, EmphasisShelf& shelf, TypeACompander& a, TypeBCompander& b) noexcept
    {
        switch (mode)
        {
            case basicPreEmphasis: shelf.clear(); break;
            case typeA: a.clear(); break;
            case typeB: b.clear(); break;
            default: break;
        }
    }
};

} // namespace qel
