#pragma once

#include <juce_graphics/juce_graphics.h>

namespace qel
{

// The common rules of the line displays: a level n in 0..1 at every quarter
// pixel across the width, 2.5 pixels of margin above and below.
namespace DisplayCurve
{
constexpr float step = 0.25f;
constexpr float margin = 2.5f;
constexpr float thickness = 2.0f;

inline float yOfLevel(float n, float height) noexcept
{
    return (1.0f - n) * (height - 2.0f * margin) + margin;
}

// Calls f(x) for x = 0, 0.25, ... up to the last step at or before width.
template <typename Function>
void forEachStep(float width, Function&& f)
{
    for (int i = 0;; ++i)
    {
        const float x = static_cast<float>(i) * step;
        if (x > width)
            break;
        f(x);
    }
}

// The path of level(x) over the width; the first point starts it.
template <typename Level>
juce::Path plot(float width, float height, Level&& level)
{
    juce::Path path;
    path.preallocateSpace(static_cast<int>(width / step + 2.0f) * 3);
    bool first = true;
    forEachStep(width, [&](float x) {
        const float y = yOfLevel(level(x), height);
        if (first)
            path.startNewSubPath(x, y);
        else
            path.lineTo(x, y);
        first = false;
    });
    return path;
}

inline void stroke(juce::Graphics& g, const juce::Path& path, juce::Colour colour, float lineThickness = thickness)
{
    g.setColour(colour);
    g.strokePath(path, juce::PathStrokeType(lineThickness, juce::PathStrokeType::mitered, juce::PathStrokeType::rounded));
}
} // namespace DisplayCurve

} // namespace qel
