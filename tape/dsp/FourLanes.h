#pragma once

#include "tape/dsp/DeckPair.h"

#include <array>
#include <cstdlib>
#include <cstring>

namespace qel
{

// How many decks share one register when two channels run together: two (a
// pair, any x86-64) or four (both pairs, AVX2). Mono and an odd last channel
// always run two.
enum class LaneWidth
{
    two,
    four,
};

using ChannelPairProcessors = std::array<ChannelPairProcessor, detail::LoopModes::count>;

// The 32 loops of two channels' pairs as four lanes, compiled for AVX2 and
// FMA in a unit of their own; null where the build has none.
#if defined(REELWARP_FOUR_LANES)
const ChannelPairProcessors* fourLaneProcessors() noexcept;
#else
inline const ChannelPairProcessors* fourLaneProcessors() noexcept { return nullptr; }
#endif

// Four lanes where the build has them and the processor runs AVX2 and FMA,
// unless REELWARP_LANES=2 asks for two. Not for the audio thread: once per
// prepare.
inline LaneWidth chooseLaneWidth() noexcept
{
    const char* asked = std::getenv("REELWARP_LANES");
    if (asked != nullptr && std::strcmp(asked, "2") == 0)
        return LaneWidth::two;
#if defined(__x86_64__) || defined(__i386__)
    __builtin_cpu_init();
    if (fourLaneProcessors() != nullptr && __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"))
        return LaneWidth::four;
#endif
    return LaneWidth::two;
}

// The loop of two channels for the modes a pair runs now, at the width given.
inline ChannelPairProcessor selectChannelPairProcessor(const DeckPair& pair, LaneWidth width) noexcept
{
    const auto* four = width == LaneWidth::four ? fourLaneProcessors() : nullptr;
    if (four == nullptr)
        return selectChannelPairProcessor(pair);
    const auto& modes = pair.deckA.getNoiseReduction();
    const int index = detail::LoopModes::indexOf(pair.flangeMode, modes.encoderMode, modes.decoderMode);
    return index < 0 ? nullptr : (*four)[static_cast<size_t>(index)];
}

} // namespace qel
