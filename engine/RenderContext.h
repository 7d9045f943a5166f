#pragma once

#include "engine/EngineEvent.h"
#include "engine/ScratchArena.h"

#include <array>
#include <cstdint>

namespace qel
{

// The transport fields at the head of the context, copied as a whole by the
// transport capture.
struct TransportHead
{
    float tempo = 120.0f;
    int32_t playing = -1;        // -1 unknown, 0 stopped, 1 playing
    uint32_t changeFlags = 0;    // see changedPosition and transportChanges
    int32_t numerator = 4;
    int32_t denominator = 4;
    double previousPosition = 0.0;
    double position = 0.0;      // quarter notes at the block's start
    double positionInBar = 0.0;
    double samplesToNextBeat = 0.0;
    double samplesToNextBar = 0.0;
    bool looping = false;
    double loopStart = 0.0;
    double loopEnd = 0.0;
    bool nonRealtime = false;
};

struct RenderContext : TransportHead
{
    static constexpr uint32_t changedPosition = 1; // the position jumped or the play state changed
    // The low byte holds the transport's changes; any of them restarts what follows the position.
    static constexpr uint32_t transportChanges = 0xFFu;
    static constexpr size_t maxOutputEvents = 4096;

    float globalTune = 440.0f;
    float sampleRate = 44100.0f;
    void* voiceContext = nullptr;
    ScratchArena arenas[3] { ScratchArena(512000), ScratchArena(512000), ScratchArena(51200) };
    uint64_t blockCounter = 1;
    uint64_t sampleCounter = 0;
    double beatCounter = 0.0;
    std::array<EngineEvent, maxOutputEvents> outputEvents {};
    size_t outputEventCount = 0;

    TransportHead& head() noexcept { return *this; }
    const TransportHead& head() const noexcept { return *this; }

    void setSampleRate(double rate) noexcept { sampleRate = static_cast<float>(rate); }

    void endBlock(int frames) noexcept;
};

} // namespace qel
