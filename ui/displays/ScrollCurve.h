#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

#include <vector>

namespace qel
{

// A strip chart: each curve keeps the values that fit the width at its step,
// the newest at the right edge; a push at a full ring drops the oldest.
class ScrollCurve : public juce::Component
{
public:
    ScrollCurve();

    // Returns the new curve's index: step 1 pixel, range 0..1, thickness 2, grey.
    int addCurve();
    int getNumCurves() const noexcept { return static_cast<int>(curves.size()); }
    void setColour(int curve, juce::Colour colour);
    void setStep(int curve, float pixels);
    void setThickness(int curve, float value);
    // The value drawn at the bottom edge and the one drawn at the top.
    void setRange(int curve, float bottom, float top);
    void setBackground(juce::Colour colour);
    void push(int curve, float value);

    // The values held, oldest first.
    std::vector<float> getValues(int curve) const;
    size_t getCapacity(int curve) const;
    juce::Path makePath(int curve) const;

    void paint(juce::Graphics& g) override;
    void resized() override;

private:
    struct Curve
    {
        std::vector<float> ring;
        size_t newest = 0; // index of the newest value
        size_t count = 0;
        juce::Colour colour { 0xff808080 };
        float step = 1.0f;
        float thickness = 2.0f;
        float bottom = 0.0f;
        float top = 1.0f;

        float fromNewest(size_t age) const noexcept { return ring[(newest + ring.size() - age) % ring.size()]; }
    };

    Curve* find(int curve);
    const Curve* find(int curve) const;
    void fitRing(Curve& c) const;

    std::vector<Curve> curves;
    juce::Colour background { juce::Colours::transparentWhite };
};

} // namespace qel
