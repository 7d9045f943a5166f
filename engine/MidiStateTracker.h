#pragma once

#include "engine/EngineEvent.h"

#include <array>
#include <cstdint>

namespace qel
{

// Last value per controller and per note, read by modulation sources.
struct MidiStateTracker
{
    std::array<uint8_t, 128> controllers {};
    std::array<uint8_t, 128> noteVelocities {};
    int32_t pitchWheel = 8192;

    void update(const EngineEvent* events, int count) noexcept
    {
        for (int i = 0; i < count; ++i)
        {
            const EngineEvent& e = events[i];
            const auto d1 = static_cast<uint32_t>(e.data1) & 127u;
            const auto d2 = static_cast<uint8_t>(static_cast<uint32_t>(e.data2) & 127u);
            switch (e.type)
            {
                case EngineEvent::Controller: controllers[d1] = d2; break;
                case EngineEvent::NoteOn: noteVelocities[d1] = d2; break;
                case EngineEvent::NoteOff: noteVelocities[d1] = 0; break;
                case EngineEvent::PitchWheel: pitchWheel = (e.data2 << 7) | e.data1; break;
                default: break;
            }
        }
    }
};

} // namespace qel
