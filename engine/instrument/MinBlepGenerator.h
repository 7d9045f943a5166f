#pragma once

#include "engine/instrument/VoiceComponent.h"
#include "engine/instrument/dsp/BlepOscillator.h"

namespace qel
{

// The keygroup's oscillator: sine, saw or square, band-limited by the
// minimum-phase step. Its Waveform picks the shape.
class MinBlepGenerator : public VoiceComponent
{
public:
    static constexpr const char* typeName = "MinBlepGenerator";

    struct Ids
    {
        uint32_t waveform;
        static const Ids& get();
    };

    struct State : ProcessingElementState
    {
        using ProcessingElementState::ProcessingElementState;
        int waveform = BlepOscillator::sine;
    };

    MinBlepGenerator();

    // Message thread: the shared table, for a voice's oscillator.
    const MinBlepTable& getTable() const noexcept { return table; }
    BlepOscillator::Shape getShape() const noexcept
    {
        return static_cast<BlepOscillator::Shape>(static_cast<const State&>(getProcessingState()).waveform);
    }

private:
    const MinBlepTable& table;
};

} // namespace qel
