#pragma once

#include "engine/BlockElement.h"
#include "tape/DeckPair.h"

#include <memory>
#include <vector>

namespace qel
{

// The effect's place in the tree until the full processor stands: every
// channel through its pair of tape decks, at their default settings.
class TapeSpine : public BlockElement
{
public:
    void setFormat(double sampleRate, int maximumBlockSize) override;
    void setOutputStream(int index, Bus* bus) override;
    void processEvents(RenderContext&, const EngineEvent*, int, int) override {}
    void render(RenderContext& context, int frames) override;
    void reset() override;

    // Runs one channel's pair over a block in slices, as the render does.
    static void processPair(DeckPair& pair, float* samples, int frames, float* deviation) noexcept;

private:
    void preparePairs();

    double sampleRate = 0.0;
    Bus* output = nullptr;
    std::vector<std::unique_ptr<DeckPair>> pairs;
};

} // namespace qel
