#pragma once

#include "ui/displays/DisplayParameters.h"
#include "ui/displays/ResponseCurves.h"

namespace qel
{

// The record side's high-pass from 20 Hz to 20 kHz, drawn from the parameters.
class RecordResponseDisplay : public juce::Component
{
public:
    static constexpr juce::uint32 colour = 0xff6b82b2;

    RecordResponseDisplay(EngineProxy& proxy, const Path& effectPath);
    explicit RecordResponseDisplay(const RecordResponse& values);

    const RecordResponse& getResponse() const noexcept { return response; }
    static juce::Path makePath(const RecordResponse& response, float width, float height);
    void paint(juce::Graphics& g) override;

private:
    RecordResponseDisplay(EngineProxy* proxy, const Path& effectPath);

    RecordResponse response;
    DisplayParameters parameters;
};

} // namespace qel
