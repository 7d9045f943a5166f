#pragma once

#include "element/Bindings.h"
#include "element/Element.h"

#include <memory>

namespace qel::test
{

using qel::Element;
using qel::ParameterDescription;
using qel::String;

struct GainState : qel::ElementState
{
    using ElementState::ElementState;
    float gain = -1.0f;
    bool on = false;
};

// A small element type with a state-level float, a bool, and an
// element-level text, as a concrete element declares them.
struct GainElement : Element
{
    static const ParameterDescription<float>& gainDescription()
    {
        static const ParameterDescription<float> d("TestGain", 0.5f, { 0.0f, 1.0f });
        return d;
    }
    static uint32_t gainId()
    {
        static const uint32_t id = qel::ParameterRegistry::get().registerFloat(gainDescription());
        return id;
    }
    static uint32_t onId()
    {
        static const uint32_t id = qel::ParameterRegistry::get().registerBool(ParameterDescription<bool>("TestOn", true));
        return id;
    }
    static uint32_t labelId()
    {
        static const uint32_t id =
            qel::ParameterRegistry::get().registerString(ParameterDescription<String>("TestLabel", "none", false, true));
        return id;
    }

    String label { "none" };

    explicit GainElement(const String& name, const String& type = "Gain") : Element(type, name)
    {
        setStates(std::make_unique<GainState>(this), std::make_unique<GainState>(this));
        addParameter(qel::bindField<&GainState::gain>(gainId()));
        addParameter(qel::bindField<&GainState::on>(onId()));
        addParameter(qel::bindField<&GainElement::label>(labelId()));
    }

    GainState& reference() { return *static_cast<GainState*>(getReferenceState()); }
    GainState& process() { return *static_cast<GainState*>(getProcessState()); }
};

} // namespace qel::test
