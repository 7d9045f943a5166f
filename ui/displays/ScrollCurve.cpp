#include "ui/displays/ScrollCurve.h"

#include <algorithm>
#include <cmath>

namespace qel
{

ScrollCurve::ScrollCurve()
{
    setInterceptsMouseClicks(false, false);
}

ScrollCurve::Curve* ScrollCurve::find(int curve)
{
    return curve >= 0 && curve < getNumCurves() ? &curves[static_cast<size_t>(curve)] : nullptr;
}

const ScrollCurve::Curve* ScrollCurve::find(int curve) const
{
    return curve >= 0 && curve < getNumCurves() ? &curves[static_cast<size_t>(curve)] : nullptr;
}

// Room for a value at every step across the width, and one cut at the left edge.
void ScrollCurve::fitRing(Curve& c) const
{
    const auto size = static_cast<size_t>(std::ceil(static_cast<float>(getWidth()) / c.step)) + 1;
    if (size == c.ring.size())
        return;
    std::vector<float> kept;
    const size_t keep = std::min(c.count, size);
    for (size_t age = keep; age-- > 0;)
        kept.push_back(c.fromNewest(age));
    c.ring.assign(size, 0.0f);
    std::copy(kept.begin(), kept.end(), c.ring.begin());
    c.count = keep;
    c.newest = keep == 0 ? size - 1 : keep - 1;
}

int ScrollCurve::addCurve()
{
    curves.emplace_back();
    fitRing(curves.back());
    return getNumCurves() - 1;
}

void ScrollCurve::setColour(int curve, juce::Colour colour)
{
    if (auto* c = find(curve))
        c->colour = colour;
    repaint();
}

void ScrollCurve::setStep(int curve, float pixels)
{
    if (auto* c = find(curve); c != nullptr && pixels > 0.0f)
    {
        c->step = pixels;
        fitRing(*c);
    }
    repaint();
}

void ScrollCurve::setThickness(int curve, float value)
{
    if (auto* c = find(curve))
        c->thickness = value;
    repaint();
}

void ScrollCurve::setRange(int curve, float bottom, float top)
{
    if (auto* c = find(curve); c != nullptr && top != bottom)
    {
        c->bottom = bottom;
        c->top = top;
    }
    repaint();
}

void ScrollCurve::setBackground(juce::Colour colour)
{
    background = colour;
    repaint();
}

void ScrollCurve::push(int curve, float value)
{
    auto* c = find(curve);
    if (c == nullptr)
        return;
    c->newest = (c->newest + 1) % c->ring.size();
    c->ring[c->newest] = value;
    c->count = std::min(c->count + 1, c->ring.size());
    repaint();
}

std::vector<float> ScrollCurve::getValues(int curve) const
{
    std::vector<float> values;
    if (const auto* c = find(curve))
        for (size_t age = c->count; age-- > 0;)
            values.push_back(c->fromNewest(age));
    return values;
}

size_t ScrollCurve::getCapacity(int curve) const
{
    const auto* c = find(curve);
    return c != nullptr ? c->ring.size() : 0;
}

// From the newest value at the right edge leftwards, one step a value.
juce::Path ScrollCurve::makePath(int curve) const
{
    juce::Path path;
    const auto* c = find(curve);
    if (c == nullptr)
        return path;
    const auto w = static_cast<float>(getWidth());
    const auto h = static_cast<float>(getHeight());
    const float scale = h / (c->top - c->bottom);
    for (size_t age = 0; age < c->count; ++age)
    {
        const float x = w - static_cast<float>(age) * c->step;
        const float y = h - (c->fromNewest(age) - c->bottom) * scale;
        if (age == 0)
            path.startNewSubPath(x, y);
        else
            path.lineTo(x, y);
    }
    return path;
}

void ScrollCurve::paint(juce::Graphics& g)
{
    g.fillAll(background);
    for (int i = 0; i < getNumCurves(); ++i)
    {
        const auto& c = curves[static_cast<size_t>(i)];
        g.setColour(c.colour);
        g.strokePath(makePath(i), juce::PathStrokeType(c.thickness, juce::PathStrokeType::curved));
    }
}

void ScrollCurve::resized()
{
    for (auto& c : curves)
        fitRing(c);
}

} // namespace qel
