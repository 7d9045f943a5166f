#include "element/ElementParamEnvelope.h"

#include "element/SignalConnection.h"

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

void ElementParamEnvelope::addLink(SignalConnection* link, const MidiStateTracker* midiState)
{
    if (linkCount < maxLinks)
    {
        links[linkCount] = link;
        linkMidi[linkCount] = midiState;
        ++linkCount;
    }
}

bool ElementParamEnvelope::removeLink(const String& sourcePath)
{
    for (int i = 0; i < linkCount; ++i)
        if (links[i]->source == sourcePath)
        {
            for (int j = i; j + 1 < linkCount; ++j)
            {
                links[j] = links[j + 1];
                linkMidi[j] = linkMidi[j + 1];
            }
            --linkCount;
            return true;
        }
    return false;
}

void ElementParamEnvelope::listSources(juce::StringArray& out) const
{
    for (int i = 0; i < linkCount; ++i)
        out.add(links[i]->source);
}

// The links move the base in the normalised domain of the parameter's
// modulation mapper; a plain range limits the result.
float ElementParamEnvelope::withLinks(float base) const
{
    if (linkCount == 0 || kind != floatKind)
        return base;
    const auto& d = static_cast<const ParameterDescription<float>&>(binding.description());
    float position = base;
    d.modulationMapper->unmap(&owner, position);
    float sum = 0.0f;
    for (int i = 0; i < linkCount; ++i)
    {
        const int cc = links[i]->midiController();
        const float source = cc >= 0 && linkMidi[i] != nullptr ? linkMidi[i]->controllers[(size_t) cc] / 127.0f : 0.0f;
        sum += links[i]->contribution(source);
    }
    float moved;
    d.modulationType->apply(position, &sum, &moved, 1);
    float value = juce::jlimit(0.0f, 1.0f, moved);
    d.modulationMapper->map(&owner, value);
    if (d.hasRange())
        value = juce::jlimit(d.minimum, d.maximum, value);
    return value;
}

bool ElementParamEnvelope::update(ElementState& state, uint16_t elementVersion, int frames)
{
    juce::ignoreUnused(state);
    gliding = false;
    if (version == elementVersion && !ramping && linkCount == 0)
        return false;
    version = elementVersion;
    const float newTarget = withLinks(readTarget());
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
        gliding = true;
    }
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
