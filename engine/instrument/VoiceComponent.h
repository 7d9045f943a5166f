#pragma once

#include "element/ProcessingElement.h"

namespace qel
{

// A part of a keygroup's voices (an oscillator, an envelope): it keeps the
// parameters, the keygroup keeps the voices and runs the sound. It never
// renders into a stream of its own.
class VoiceComponent : public ProcessingElement
{
public:
    using ProcessingElement::ProcessingElement;

    // Audio thread, once per block before the voices read the values.
    void beginBlock(RenderContext& context, int frames)
    {
        flushPending();
        updateState(context, frames, getProcessingState());
    }

    void invalidateTail() override {}
    void process(RenderContext&, int, ProcessingElementState&) override {}
};

} // namespace qel
