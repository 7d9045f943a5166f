#pragma once

#include "engine/Bus.h"
#include "engine/EngineEvent.h"
#include "engine/RenderContext.h"

#include <juce_core/juce_core.h>

namespace qel
{

// What the engine's block loop asks of a child: five operations. A child that
// offers these is a complete tree for the block path.
class BlockElement
{
public:
    virtual ~BlockElement() = default;

    // Message thread, never during render.
    virtual void setFormat(double sampleRate, int maximumBlockSize) = 0;
    virtual void setOutputStream(int index, Bus* bus) = 0;
    // Audio thread: events sorted by sample position.
    virtual void processEvents(RenderContext& context, const EngineEvent* events, int count, int frames) = 0;
    // Audio thread: in place on the output bus, no lock, no allocation.
    virtual void render(RenderContext& context, int frames) = 0;
    virtual void reset() = 0;

    const juce::String& getName() const noexcept { return name; }
    void setName(const juce::String& n) { name = n; }

    // Look-up of a boolean parameter by name; false when there is none.
    virtual bool findBoolParameter(const juce::String& parameterName, bool& value) const
    {
        juce::ignoreUnused(parameterName, value);
        return false;
    }

private:
    juce::String name;
};

} // namespace qel
