#pragma once

#include "RenderOptions.h"

#include <juce_audio_basics/juce_audio_basics.h>

#include <functional>

namespace qel
{
class ReelwarpPlugin;
}

namespace qel::render
{

struct RenderJob
{
    double sampleRate = 48000.0;
    int blockSize = 512;
    double tailSeconds = 0.0;
    std::optional<double> tempo; // a playing host at this tempo; unset: no position at all
    double positionBeats = 0.0;
    int numerator = 4, denominator = 4;
    // The tape's hiss draws its seeds from the C library's generator when the
    // decks are prepared; seeding it first makes a render repeatable.
    unsigned seed = 1;
    // Fraction done, now and then; never called when empty.
    std::function<void(double)> progress;
    // Called once the effect is prepared, before the first block: what a
    // musician does to a running effect, such as choosing a preset.
    std::function<void()> prepared;
};

// A host that plays from the job's position at its tempo, which must be set.
class SteadyPlayHead : public juce::AudioPlayHead
{
public:
    explicit SteadyPlayHead(const RenderJob& job);
    void moveTo(int64_t sample) { position = sample; }
    juce::Optional<PositionInfo> getPosition() const override;

private:
    const RenderJob& job;
    int64_t position = 0;
};

// Runs audio through an instance of the product as a host would offline:
// non-realtime, block by block, with the host's position when asked. The
// result is as long as the input plus the tail, with the effect's latency
// taken off its start, so that it lines up with the input.
juce::AudioBuffer<float> renderThroughPlugin(ReelwarpPlugin& plugin, const juce::AudioBuffer<float>& input, const RenderJob& job);

// Sets the instance's layout to the input's channels (mono or stereo).
bool setLayoutFor(ReelwarpPlugin& plugin, int channels);

} // namespace qel::render
