#pragma once

#include "element/Bindings.h"
#include "element/Element.h"

#include <memory>

namespace qel::test
{

struct GainState : qel::ElementState
{
    using ElementState::ElementState;
    float gain = -1.0f;
    bool on = false;
};

// A small element with a state-level float and bool, as a concrete element declares them.
struct GainElement : Element
{
    static uint32_t gainId()
    {
        static const uint32_t id = qel::ParameterRegistry::get().registerFloat(ParameterDescription<float>("TestGain", 0.5f, { 0.0f, 1.0f }));
        return id;
    }
    static uint32_t onId()
    {
        static const uint32_t id = qel::ParameterRegistry::get().registerBool(ParameterDescription<bool>("TestOn", true));
        return id;
    }

    explicit GainElement(const String& name, const String& type = "Gain") : Element(type, name)
    {
        setStates(std::make_unique<GainState>(this), std::make_unique<GainState>(this));
        addParameter(qel::bindField<&GainState::gain>(gainId()));
        addParameter(qel::bindField<&GainState::on>(onId()));
    }

    GainState& reference() { return *static_cast<GainState*>(getReferenceState()); }
    GainState& process() { return *static_cast<GainState*>(getProcessState()); }
};

} // namespace qel::test
