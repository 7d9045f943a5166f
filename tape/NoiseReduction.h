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

private:
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
