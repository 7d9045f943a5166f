#include "ui/displays/PlayHeadResponseDisplay.h"

#include "ui/displays/DisplayCurve.h"

namespace qel
{

PlayHeadResponseDisplay::PlayHeadResponseDisplay(EngineProxy* proxy, const Path& effectPath)
    : parameters(*this, proxy, effectPath)
{
    setInterceptsMouseClicks(false, false);
    parameters.bind(ReelwarpParameter::Speed, response.speed);
    parameters.bind(ReelwarpParameter::Spacing, response.spacing);
    parameters.bind(ReelwarpParameter::Thickness, response.thickness);
    parameters.bind(ReelwarpParameter::Azimuth, response.azimuth);
    parameters.bind(ReelwarpParameter::TrackWidthRatio, response.widthRatio);
    parameters.bind(ReelwarpParameter::ApplyPlayheadFilter, response.on);
}

PlayHeadResponseDisplay::PlayHeadResponseDisplay(EngineProxy& proxy, const Path& effectPath)
    : PlayHeadResponseDisplay(&proxy, effectPath)
{
}

PlayHeadResponseDisplay::PlayHeadResponseDisplay(const PlayHeadResponse& values) : PlayHeadResponseDisplay(nullptr, {})
{
    response = values;
}

juce::Path PlayHeadResponseDisplay::makePath(const PlayHeadResponse& response, float width, float height)
{
    return DisplayCurve::plot(width, height, [&](float x) { return response.level(x, width); });
}

void PlayHeadResponseDisplay::paint(juce::Graphics& g)
{
    DisplayCurve::stroke(g, makePath(response, static_cast<float>(getWidth()), static_cast<float>(getHeight())),
                         juce::Colour(PlayHeadResponseDisplay::colour));
}

} // namespace qel
