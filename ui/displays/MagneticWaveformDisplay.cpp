#include "ui/displays/MagneticWaveformDisplay.h"

#include "ui/displays/DisplayCurve.h"

#include <cmath>

namespace qel
{

namespace
{
// Fixed seeds for the hiss, so that a redraw of the same values is the same line.
constexpr uint32_t hissSeedA = 282491734;
constexpr uint32_t hissSeedB = 564966983;

float sineAt(float x, float width) noexcept
{
    return std::sin(x * 12.566370964050293f / width);
}
} // namespace

const std::vector<float>& MagneticWaveform::compute(float width)
{
    output.clear();
    if (!on)
    {
        DisplayCurve::forEachStep(width, [&](float x) { output.push_back(sineAt(x, width)); });
        return output;
    }
    // A quarter pixel is a sample at w x 1000 Hz, so two cycles are 500 Hz.
    head.prepare(static_cast<double>(width) * 1000.0, hissSeedA, hissSeedB);
    head.setA(5.0 - static_cast<double>(hardness) * 4.0);
    head.setB(100.0 * std::pow(10.0, 3.0 * static_cast<double>(resistance)));
    // One pass from a blank tape, so that the drawn pass is the settled loop.
    DisplayCurve::forEachStep(width, [&](float x) { head.process(static_cast<double>(sineAt(x, width))); });
    DisplayCurve::forEachStep(width, [&](float x) {
        output.push_back(static_cast<float>(head.process(static_cast<double>(sineAt(x, width)))));
    });
    return output;
}

MagneticWaveformDisplay::MagneticWaveformDisplay(EngineProxy* proxy, const Path& effectPath)
    : parameters(*this, proxy, effectPath)
{
    setInterceptsMouseClicks(false, false);
    parameters.bind(ReelwarpParameter::MagneticHardness, waveform.hardness);
    parameters.bind(ReelwarpParameter::Hysteresis, waveform.resistance);
    parameters.bind(ReelwarpParameter::ApplyRecordHead, waveform.on);
}

MagneticWaveformDisplay::MagneticWaveformDisplay(EngineProxy& proxy, const Path& effectPath)
    : MagneticWaveformDisplay(&proxy, effectPath)
{
}

MagneticWaveformDisplay::MagneticWaveformDisplay(const MagneticWaveform& values) : MagneticWaveformDisplay(nullptr, {})
{
    waveform.hardness = values.hardness;
    waveform.resistance = values.resistance;
    waveform.on = values.on;
}

juce::Path MagneticWaveformDisplay::makePath(float width, float height)
{
    const auto& m = waveform.compute(width);
    size_t i = 0;
    // m = 1 at the top margin, -1 at the bottom one.
    return DisplayCurve::plot(width, height, [&](float) { return 0.5f + m[i++] * 0.5f; });
}

void MagneticWaveformDisplay::paint(juce::Graphics& g)
{
    DisplayCurve::stroke(g, makePath(static_cast<float>(getWidth()), static_cast<float>(getHeight())),
                         juce::Colour(colour));
}

} // namespace qel
