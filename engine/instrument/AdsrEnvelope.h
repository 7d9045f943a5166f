#pragma once

#include "engine/instrument/VoiceComponent.h"
#include "engine/instrument/dsp/Adsr.h"

namespace qel
{

// A keygroup's envelope: attack, decay, sustain and release for each voice.
class AdsrEnvelope : public VoiceComponent
{
public:
    static constexpr const char* typeName = "AdsrEnvelope";

    struct Ids
    {
        uint32_t attack, decay, sustain, release;
        static const Ids& get();
    };

    // Short enough not to soften a key's start, long enough not to click.
    struct State : ProcessingElementState
    {
        using ProcessingElementState::ProcessingElementState;
        float attack = 0.005f;
        float decay = 0.4f;
        float sustain = 0.7f;
        float release = 0.25f;
    };

    explicit AdsrEnvelope(const String& name = "Envelope");

    // Audio thread: a voice's envelope takes the current values.
    void configure(Adsr& voiceEnvelope, double sampleRate) const noexcept
    {
        const auto& s = static_cast<const State&>(getProcessingState());
        voiceEnvelope.configure(s.attack, s.decay, s.sustain, s.release, sampleRate);
    }
};

} // namespace qel
