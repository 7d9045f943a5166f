#pragma once

#include "element/ProcessingElement.h"
#include "tape/DeckPair.h"

#include <memory>
#include <vector>

namespace qel
{

// The effect's place in the tree until the full processor stands: every
// channel through its pair of tape decks, at their default settings.
class TapeSpine : public BasicProcessingElement
{
public:
    TapeSpine();

    void setOutputStream(int index, Bus* bus) override;
    void prepare() override;
    void resetProcessState() override;
    void processAudio(RenderContext& context, ProcessingElementState& state, int frames, float* const* channels,
                      void* extra) override;

    // Runs one channel's pair over a slice, as the render does; the deviation holds frames values.
    static void processPair(DeckPair& pair, float* samples, int frames, float* deviation) noexcept;

private:
    void preparePairs();

    std::vector<std::unique_ptr<DeckPair>> pairs;
};

} // namespace qel
