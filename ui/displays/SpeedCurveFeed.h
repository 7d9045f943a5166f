#pragma once

#include "tape/dsp/Transport.h"
#include "ui/displays/ScrollCurve.h"

#include <memory>
#include <vector>

namespace qel
{

// Deck B's speed deviation into a curve: the maximum of each 10 ms that the
// ring holds becomes one point. The face's timer calls feed.
class SpeedCurveFeed
{
public:
    static constexpr double chunkSeconds = 0.01;
    // Full wow, flutter and random depths together stay within this.
    static constexpr float deviationRange = 0.4f;

    // Gives a curve the face's look: a point every 2 pixels, green, deviation 0 in the middle.
    static void styleCurve(ScrollCurve& curve, int index);

    void setRing(std::shared_ptr<DisplayRing> newRing) { ring = std::move(newRing); }
    const std::shared_ptr<DisplayRing>& getRing() const noexcept { return ring; }

    // Pushes every whole 10 ms the ring holds; returns how many points went in.
    // Nothing until the engine has a sample rate.
    int feed(ScrollCurve& curve, int index, double sampleRate);

private:
    std::shared_ptr<DisplayRing> ring;
    std::vector<float> scratch;
};

} // namespace qel
