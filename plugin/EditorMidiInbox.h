#pragma once

#include <juce_core/juce_core.h>

#include <array>
#include <cstdint>

namespace qel
{

// MIDI played on the editor (the standalone application's keyboard), on its
// way to the audio thread: one writer, the message thread, and one reader,
// the block; neither waits nor allocates. A full inbox drops the message.
class EditorMidiInbox
{
public:
    static constexpr int capacity = 256;

    bool post(uint8_t status, uint8_t data1, uint8_t data2) noexcept
    {
        const auto scope = fifo.write(1);
        if (scope.blockSize1 + scope.blockSize2 == 0)
            return false;
        messages[(size_t) (scope.blockSize1 > 0 ? scope.startIndex1 : scope.startIndex2)] = { status, data1, data2 };
        return true;
    }

    // Each waiting message as (status, data1, data2), in the order posted.
    template <typename Visit>
    void drain(Visit&& visit) noexcept
    {
        fifo.read(fifo.getNumReady()).forEach([&](int index) {
            const auto& m = messages[(size_t) index];
            visit(m[0], m[1], m[2]);
        });
    }

private:
    juce::AbstractFifo fifo { capacity };
    std::array<std::array<uint8_t, 3>, capacity> messages {};
};

} // namespace qel
