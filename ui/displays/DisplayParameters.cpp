#include "ui/displays/DisplayParameters.h"

namespace qel
{

DisplayParameters::DisplayParameters(juce::Component& display, EngineProxy* proxy, Path effectPath)
    : display(display), proxy(proxy), effectPath(std::move(effectPath))
{
}

void DisplayParameters::bind(ReelwarpParameter parameter, float& field)
{
    field = reelwarpParameterRow(parameter).defaultValue;
    if (proxy == nullptr)
        return;
    values.push_back(std::make_unique<ElementParameterValue<float>>(
        proxy, effectPath, reelwarpParameterId(parameter), [this, &field](const float& v) {
            field = v;
            display.repaint();
        }));
}

void DisplayParameters::bind(ReelwarpParameter parameter, bool& field)
{
    field = reelwarpParameterRow(parameter).defaultValue != 0.0f;
    if (proxy == nullptr)
        return;
    values.push_back(std::make_unique<ElementParameterValue<bool>>(
        proxy, effectPath, reelwarpParameterId(parameter), [this, &field](const bool& v) {
            field = v;
            display.repaint();
        }));
}

} // namespace qel
