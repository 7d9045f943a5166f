#include "ui/displays/RecordResponseDisplay.h"

#include "ui/displays/DisplayCurve.h"

namespace qel
{

RecordResponseDisplay::RecordResponseDisplay(EngineProxy* proxy, const Path& effectPath)
    : parameters(*this, proxy, effectPath)
{
    setInterceptsMouseClicks(false, false);
    parameters.bind(ReelwarpParameter::MagneticHardness, response.hardness);
    parameters.bind(ReelwarpParameter::Hysteresis, response.resistance);
    parameters.bind(ReelwarpParameter::ApplyRecordHead, response.on);
}

RecordResponseDisplay::RecordResponseDisplay(EngineProxy& proxy, const Path& effectPath)
    : RecordResponseDisplay(&proxy, effectPath)
{
}

RecordResponseDisplay::RecordResponseDisplay(const RecordResponse& values) : RecordResponseDisplay(nullptr, {})
{
    response = values;
}

juce::Path RecordResponseDisplay::makePath(const RecordResponse& response, float width, float height)
{
    return DisplayCurve::plot(width, height, [&](float x) { return response.level(x, width); });
}

void RecordResponseDisplay::paint(juce::Graphics& g)
{
    DisplayCurve::stroke(g, makePath(response, static_cast<float>(getWidth()), static_cast<float>(getHeight())),
                         juce::Colour(colour));
}

} // namespace qel
