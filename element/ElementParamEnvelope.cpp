#include "element/ElementParamEnvelope.h"

namespace qel
{

ElementParamEnvelope::ElementParamEnvelope(Element& ownerElement, ParameterInfoBase& parameter)
    : Element("ElementParamEnvelope", parameter.description().name), owner(ownerElement), binding(parameter),
      kind(parameter.valueType() == ValueType::intValue ? intKind
           : parameter.valueType() == ValueType::boolValue ? boolKind
                                                            : floatKind)
{
    // The states already hold the default: the envelope starts there.
    switch (kind)
    {
        case intKind: target = static_cast<float>(static_cast<const ParameterDescription<int>&>(parameter.description()).defaultValue); break;
        case boolKind: target = static_cast<const ParameterDescription<bool>&>(parameter.description()).defaultValue ? 1.0f : 0.0f; break;
        default: target = static_cast<const ParameterDescription<float>&>(parameter.description()).defaultValue; break;
    }
    output = target;
    for (auto& s : slices)
        s = target;
    sliceCount = 1;
}

void ElementParamEnvelope::setFormat(double sampleRate)
{
    coefficient = sampleRate > 0.0 ? sliceCoefficient(sampleRate) : 1.0;
}

float ElementParamEnvelope::readTarget() const
{
    const auto id = binding.id();
    switch (kind)
    {
        case intKind: return static_cast<float>(owner.getParameterInt(id));
        case boolKind: return owner.getParameterBool(id) ? 1.0f : 0.0f;
        default: return owner.getParameterFloat(id);
    }
}

bool ElementParamEnvelope::update(ElementState& state, uint16_t elementVersion, int frames)
{
    juce::ignoreUnused(state);
    changed = false;
    if (version == elementVersion && !ramping)
        return false;
    version = elementVersion;
    const float newTarget = readTarget();
    if (newTarget == target && hasOutput && !ramping)
        return false;
    target = newTarget;
    hasOutput = true;

    sliceCount = juce::jlimit(1, maxSlices, (frames + 31) / 32);
    const bool smooth = kind == floatKind && static_cast<const ParameterDescription<float>&>(binding.description()).smoothed;
    if (!smooth)
    {
        output = target;
        for (int i = 0; i < sliceCount; ++i)
            slices[i] = target;
        ramping = false;
    }
    else
    {
        // One pole per slice; it stops asking once within the float's resolution.
        const float c = static_cast<float>(coefficient);
        for (int i = 0; i < sliceCount; ++i)
        {
            const float next = output + (target - output) * c;
            // Within the float's resolution a step no longer moves it: it has arrived.
            output = next == output ? target : next;
            slices[i] = output;
        }
        ramping = output != target;
    }
    changed = true;
    return true;
}

void ElementParamEnvelope::jumpTo(float value)
{
    target = output = value;
    for (int i = 0; i < sliceCount; ++i)
        slices[i] = value;
    ramping = false;
    hasOutput = true;
}

void ElementParamEnvelope::writeSlice(ElementState& state, int slice)
{
    const float v = slices[juce::jlimit(0, sliceCount - 1, slice)];
    void* target = binding.description().has(ParameterFlags::elementLevel) ? static_cast<void*>(&owner) : &state;
    switch (kind)
    {
        case intKind: static_cast<ParameterInfo<int>&>(binding).set(target, static_cast<int>(std::floor(v + 0.5f))); break;
        case boolKind: static_cast<ParameterInfo<bool>&>(binding).set(target, v >= 0.5f); break;
        default: static_cast<ParameterInfo<float>&>(binding).set(target, v); break;
    }
}

} // namespace qel
