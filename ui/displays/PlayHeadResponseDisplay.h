#pragma once

#include "ui/displays/DisplayParameters.h"
#include "ui/displays/ResponseCurves.h"

namespace qel
{

// The playback head's losses from 20 Hz to 20 kHz, drawn from the parameters.
class PlayHeadResponseDisplay : public juce::Component
{
public:
    static constexpr juce::uint32 colour = 0xffa45756;

    PlayHeadResponseDisplay(EngineProxy& proxy, const Path& effectPath);
    explicit PlayHeadResponseDisplay(const PlayHeadResponse& values);

    const PlayHeadResponse& getResponse() const noexcept { return response; }
    static juce::Path makePath(const PlayHeadResponse& response, float width, float height);
    void paint(juce::Graphics& g) override;

private:
    PlayHeadResponseDisplay(EngineProxy* proxy, const Path& effectPath);

    PlayHeadResponse response;
    DisplayParameters parameters;
};

} // namespace qel
