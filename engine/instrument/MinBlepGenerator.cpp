#include "engine/instrument/MinBlepGenerator.h"

#include "element/Bindings.h"

namespace qel
{

const MinBlepGenerator::Ids& MinBlepGenerator::Ids::get()
{
    static const Ids ids = [] {
        Ids i {};
        ParameterDescription<int> waveform("Waveform", BlepOscillator::sine, { BlepOscillator::sine, BlepOscillator::square });
        waveform.formatter = [](const ParameterContext*, int v) {
            static const char* const names[] = { "Sine", "Saw", "Square" };
            return String(names[std::clamp(v, 0, 2)]);
        };
        i.waveform = ParameterRegistry::get().registerInt(waveform);
        return i;
    }();
    return ids;
}

// The table is made here, on the message thread, and never on the audio thread.
MinBlepGenerator::MinBlepGenerator() : VoiceComponent(typeName, "Oscillator"), table(MinBlepTable::get())
{
    setStates(std::make_unique<State>(this), std::make_unique<State>(this));
    declareParameter(bindField<&State::waveform>(Ids::get().waveform));
}

} // namespace qel
