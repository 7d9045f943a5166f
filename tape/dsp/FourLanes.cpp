// The decks of two channels in one AVX register. This unit alone is compiled
// with -mavx2 -mfma, and lets products and sums fuse: every lane computes what
// the two-lane loops compute, but for rounding.
//
// Every inline function of the DSP compiled here gets names of its own: were
// they the baseline's names, the linker could keep this unit's AVX copy for
// the baseline code too, and a processor without AVX would fault.
#define qel qelFourLanes
#include "tape/dsp/DeckPair.h"
#undef qel

#include <array>
#include <cstdint>
#include <utility>

namespace qel
{

// As tape/dsp/FourLanes.h has them; that header's own includes are taken
// above, under this unit's names.
struct DeckPair;
using ChannelPairProcessor = void (*)(DeckPair&, DeckPair&, float*, float*, int, float*) noexcept;
using ChannelPairProcessors = std::array<ChannelPairProcessor, 32>;
const ChannelPairProcessors* fourLaneProcessors() noexcept;

namespace
{

namespace lanes = qelFourLanes;
using Mode = lanes::NoiseReductionMode;

template <bool Lfo, Mode Encoder, Mode Decoder>
void processFourLanes(DeckPair& first, DeckPair& second, float* firstBuffer, float* secondBuffer, int frames,
                      float* deviation) noexcept
{
    // The same structure under this unit's names.
    auto* a = reinterpret_cast<lanes::DeckPair*>(&first);
    auto* b = reinterpret_cast<lanes::DeckPair*>(&second);
    lanes::processLanes<Lfo, Encoder, Decoder, lanes::Double4, 1>(
        { a, b }, { firstBuffer, secondBuffer }, frames, deviation, std::index_sequence<0>());
}

template <size_t... Index>
constexpr ChannelPairProcessors table(std::index_sequence<Index...>) noexcept
{
    using Modes = lanes::detail::LoopModes;
    return { &processFourLanes<Modes::lfoAt(Index), Modes::encoderAt(Index), Modes::decoderAt(Index)>... };
}

constexpr ChannelPairProcessors processors = table(std::make_index_sequence<lanes::detail::LoopModes::count>());

} // namespace

const ChannelPairProcessors* fourLaneProcessors() noexcept { return &processors; }

} // namespace qel
