#pragma once

#include <cstdint>

namespace qel
{

class Element;
class ScratchArena;

// The per-instance data that processing reads; an element has a reference
// state (the base values) and a process state (what the audio code reads).
class ElementState
{
public:
    explicit ElementState(Element* owner) : element(owner) {}
    virtual ~ElementState() = default;
    virtual void prepare(double sampleRate, int maximumBlockSize) { (void) sampleRate, (void) maximumBlockSize; }
    virtual void reset() {}
    // A copy in the arena, for a voice; none where a state has no voices.
    virtual ElementState* cloneState(ScratchArena& arena) const { (void) arena; return nullptr; }

    enum StateFlag : uint8_t
    {
        slicing = 1,        // a block's slices are under way
        fullUpdateDue = 2,  // a ramp asks the next block to update every envelope
    };

    Element* element;
    uint16_t version = 0;
    uint8_t stateFlags = 0;
};

} // namespace qel

namespace qel
{

// What a processing element's block reads beyond the base: where the
// current control slice starts, and the bypass switch.
class ProcessingElementState : public ElementState
{
public:
    using ElementState::ElementState;
    uint32_t sliceOffset = 0;
    bool bypass = false;
};

} // namespace qel
