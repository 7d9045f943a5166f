#pragma once

#include "ui/displays/DisplayParameters.h"

#include <cmath>

namespace qel
{

class ReelwarpProcessor;

// Two sine lines, one per deck: the second stands off the first by where
// deck B is now within the flange depth.
struct FlangeLines
{
    float maxRelativeDelay = 0.0f; // MaxRelativeDelay, seconds
    bool phaseInvert = false;      // PhaseInvert
    float relativeDelay = 0.0f;    // the processor's last relative delay, -1..1

    // Two cycles over the width, shifted by the depth.
    float shift(float width) const noexcept { return maxRelativeDelay * 26.66666666666667f * width; }
    float firstLevel(float x, float width) const noexcept
    {
        return 0.5f - std::sin((x - shift(width)) * 12.566370964050293f / width) * 0.5f;
    }
    float secondLevel(float x, float width) const noexcept
    {
        const float e = (relativeDelay + 1.0f) * shift(width);
        const float s = std::sin((x - e) * 12.566370964050293f / width);
        return 0.5f - (phaseInvert ? -s : s) * 0.5f;
    }
};

// The flange now: redrawn every 20 ms from deck B's position while a
// processor is bound, and on a change of its parameters.
class FlangeDisplay : public juce::Component, public SimpleElementView, private juce::Timer
{
public:
    static constexpr juce::uint32 colour = 0xffbababa;
    static constexpr int intervalMs = 20;

    FlangeDisplay(EngineProxy& proxy, const Path& effectPath);
    explicit FlangeDisplay(const FlangeLines& values);
    ~FlangeDisplay() override;

    const FlangeLines& getLines() const noexcept { return lines; }
    bool isFollowingDecks() const noexcept { return isTimerRunning(); }
    // Takes deck B's position and repaints when it moved; the timer's work.
    void followDecks();

    static juce::Path makeFirstPath(const FlangeLines& lines, float width, float height);
    static juce::Path makeSecondPath(const FlangeLines& lines, float width, float height);
    void paint(juce::Graphics& g) override;
    void elementChanged(Element* element) override;

private:
    FlangeDisplay(EngineProxy* proxy, const Path& effectPath);
    void timerCallback() override { followDecks(); }

    FlangeLines lines;
    DisplayParameters parameters;
    ReelwarpProcessor* processor = nullptr;
};

} // namespace qel
