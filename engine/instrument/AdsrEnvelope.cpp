#include "engine/instrument/AdsrEnvelope.h"

#include "element/Bindings.h"

namespace qel
{

const AdsrEnvelope::Ids& AdsrEnvelope::Ids::get()
{
    static const Ids ids = [] {
        auto& r = ParameterRegistry::get();
        // Times are read at a note's start and end: nothing to glide.
        auto time = [&](const char* name, float value, float longest) {
            ParameterDescription<float> d(name, value, { 0.001f, longest }, seconds);
            d.smoothed = false;
            return r.registerFloat(d);
        };
        Ids i {};
        i.attack = time("Attack", 0.005f, 10.0f);
        i.decay = time("Decay", 0.4f, 20.0f);
        ParameterDescription<float> sustain("Sustain", 0.7f, { 0.0f, 1.0f }, percentNormalised);
        sustain.smoothed = false;
        i.sustain = r.registerFloat(sustain);
        i.release = time("Release", 0.25f, 20.0f);
        return i;
    }();
    return ids;
}

AdsrEnvelope::AdsrEnvelope(const String& name) : VoiceComponent(typeName, name)
{
    setStates(std::make_unique<State>(this), std::make_unique<State>(this));
    const auto& ids = Ids::get();
    declareParameter(bindField<&State::attack>(ids.attack));
    declareParameter(bindField<&State::decay>(ids.decay));
    declareParameter(bindField<&State::sustain>(ids.sustain));
    declareParameter(bindField<&State::release>(ids.release));
}

} // namespace qel
