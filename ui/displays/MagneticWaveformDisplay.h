#pragma once

#include "tape/dsp/RecordHead.h"
#include "ui/displays/DisplayParameters.h"

#include <vector>

namespace qel
{

// What the magnetics do to a sine of two cycles over the width: the
// product's own record head, run until its loop has settled.
class MagneticWaveform
{
public:
    float hardness = 0.0f;   // MagneticHardness
    float resistance = 0.0f; // Hysteresis
    bool on = false;         // ApplyRecordHead

    // The head's output at each quarter pixel, -1..1 when not saturated.
    // Every call starts the model afresh from the same seeds.
    const std::vector<float>& compute(float width);

private:
    RecordHead head;
    std::vector<float> output;
};

class MagneticWaveformDisplay : public juce::Component
{
public:
    static constexpr juce::uint32 colour = 0xff6b82b2;

    MagneticWaveformDisplay(EngineProxy& proxy, const Path& effectPath);
    explicit MagneticWaveformDisplay(const MagneticWaveform& values);

    const MagneticWaveform& getWaveform() const noexcept { return waveform; }
    // Message thread only: the model is this display's own.
    juce::Path makePath(float width, float height);
    void paint(juce::Graphics& g) override;

private:
    MagneticWaveformDisplay(EngineProxy* proxy, const Path& effectPath);

    MagneticWaveform waveform;
    DisplayParameters parameters;
};

} // namespace qel
