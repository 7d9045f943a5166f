#include "ui/displays/FlangeDisplay.h"

#include "element/ElementProxy.h"
#include "tape/ReelwarpProcessor.h"
#include "ui/displays/DisplayCurve.h"

namespace qel
{

FlangeDisplay::FlangeDisplay(EngineProxy* proxy, const Path& effectPath)
    : SimpleElementView(proxy), parameters(*this, proxy, effectPath)
{
    setInterceptsMouseClicks(false, false);
    parameters.bind(ReelwarpParameter::MaxRelativeDelay, lines.maxRelativeDelay);
    parameters.bind(ReelwarpParameter::PhaseInvert, lines.phaseInvert);
    setElementPath(effectPath);
}

FlangeDisplay::FlangeDisplay(EngineProxy& proxy, const Path& effectPath) : FlangeDisplay(&proxy, effectPath) {}

FlangeDisplay::FlangeDisplay(const FlangeLines& values) : FlangeDisplay(nullptr, {})
{
    lines = values;
}

FlangeDisplay::~FlangeDisplay()
{
    stopTimer();
}

// Only the product's processor has decks; through a proxy, its first element.
void FlangeDisplay::elementChanged(Element* element)
{
    stopTimer();
    if (auto* group = dynamic_cast<ElementProxy*>(element))
        element = group->getFirst();
    processor = dynamic_cast<ReelwarpProcessor*>(element);
    if (processor != nullptr)
        startTimer(intervalMs);
    else if (element != nullptr && lines.relativeDelay != 0.0f)
    {
        // Another kind of element has no deck B: the lines stand together.
        lines.relativeDelay = 0.0f;
        repaint();
    }
}

void FlangeDisplay::followDecks()
{
    if (processor == nullptr)
        return;
    const float p = processor->getLastRelativeDelay();
    if (p == lines.relativeDelay)
        return;
    lines.relativeDelay = p;
    repaint();
}

juce::Path FlangeDisplay::makeFirstPath(const FlangeLines& lines, float width, float height)
{
    return DisplayCurve::plot(width, height, [&](float x) { return lines.firstLevel(x, width); });
}

juce::Path FlangeDisplay::makeSecondPath(const FlangeLines& lines, float width, float height)
{
    return DisplayCurve::plot(width, height, [&](float x) { return lines.secondLevel(x, width); });
}

void FlangeDisplay::paint(juce::Graphics& g)
{
    const auto w = static_cast<float>(getWidth());
    const auto h = static_cast<float>(getHeight());
    DisplayCurve::stroke(g, makeFirstPath(lines, w, h), juce::Colour(colour), 1.0f);
    DisplayCurve::stroke(g, makeSecondPath(lines, w, h), juce::Colour(colour), 2.0f);
}

} // namespace qel
