#include "ui/displays/SpeedCurveFeed.h"

#include <algorithm>

namespace qel
{

void SpeedCurveFeed::styleCurve(ScrollCurve& curve, int index)
{
    curve.setStep(index, 2.0f);
    curve.setColour(index, juce::Colour(0xff369977));
    curve.setRange(index, -deviationRange, deviationRange);
    curve.setBackground(juce::Colours::transparentWhite);
}

int SpeedCurveFeed::feed(ScrollCurve& curve, int index, double sampleRate)
{
    const auto n = static_cast<size_t>(sampleRate * chunkSeconds);
    if (ring == nullptr || n == 0)
        return 0;
    if (scratch.size() < n)
        scratch.resize(n, 0.0f);
    int pushed = 0;
    while (ring->available() >= n)
    {
        ring->read(scratch.data(), static_cast<uint32_t>(n));
        curve.push(index, *std::max_element(scratch.begin(), scratch.begin() + static_cast<std::ptrdiff_t>(n)));
        ++pushed;
    }
    return pushed;
}

} // namespace qel
