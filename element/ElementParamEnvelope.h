#pragma once

#include "element/Element.h"
#include "engine/MidiStateTracker.h"

#include <cmath>

namespace qel
{

// Stands between a parameter's base value and the process state: carries a
// change into the state at slice rate, smoothing floats on the way.
class SignalConnection;

class ElementParamEnvelope : public Element
{
public:
    static constexpr int maxSlices = 256; // 8192 frames a block; beyond, the last slice holds

    enum Kind : uint8_t
    {
        floatKind = 0,
        intKind = 1,
        boolKind = 2,
    };

    ElementParamEnvelope(Element& owner, ParameterInfoBase& binding);

    // Once per block, after the flush: reads the base value and, when it
    // moved, plans this block's slice values; returns whether the state
    // should hear from this envelope in the block.
    bool update(ElementState& state, uint16_t elementVersion, int frames);
    // The value of one slice into the state, by type.
    void writeSlice(ElementState& state, int slice);
    void setFormat(double sampleRate);
    // An immediate set: the states already hold the value, the envelope takes it without a glide.
    void jumpTo(float value);
    ParameterInfoBase& getBinding() const noexcept { return binding; }

    // A live link makes the envelope run at every block.
    void addLink(SignalConnection* link, const MidiStateTracker* midiState);
    bool removeLink(const String& sourcePath);
    bool hasLiveLink() const noexcept { return linkCount > 0; }
    void listSources(juce::StringArray& out) const;

    bool isRamping() const noexcept { return ramping; }
    // Whether this block's slices differ, so that each needs writing: a
    // switch or a choice is written once, as its setter may clear state.
    bool glidesInBlock() const noexcept { return gliding; }
    float lastOutput() const noexcept { return output; }
    static double sliceCoefficient(double sampleRate) noexcept { return 1.0 - std::pow(0.33, 3200.0 / sampleRate); }

private:
    float readTarget() const;
    float withLinks(float base) const;

    static constexpr int maxLinks = 8;
    SignalConnection* links[maxLinks] {};
    const MidiStateTracker* linkMidi[maxLinks] {};
    int linkCount = 0;

    Element& owner;
    ParameterInfoBase& binding;
    Kind kind;
    double coefficient = 0.0;
    static constexpr uint16_t noVersionSeen = 0xFFFF;
    uint16_t version = noVersionSeen;
    float target = 0.0f;
    float output = 0.0f;
    float slices[maxSlices] {};
    int sliceCount = 0;
    bool gliding = false;
    bool ramping = false;
    bool hasOutput = false;
};

} // namespace qel
