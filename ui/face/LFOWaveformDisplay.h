#pragma once

#include "ui/ElementView.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace qel
{

// The LFO's curve, as the effect's LFO draws it: x runs one period over 0..2.
float lfoShape(float x, float phase, float shape, float symmetry, float swing);
// The factor that takes every shape to the same height.
float lfoShapeNormaliser(float shape);

// One row of the shape menu: the values it writes.
struct LFOPreset
{
    const char* text;
    float phase, shape, symmetry;
};
extern const LFOPreset lfoPresets[5];

// The small curve over the LFO panel; a press on it opens the menu of shapes.
class LFOWaveformDisplay : public juce::Component, public SimpleElementView
{
public:
    LFOWaveformDisplay(EngineProxy* proxy, const Path& effectPath);

    juce::Path makePath(float width, float height) const;
    // Writes the row's phase, shape and symmetry, each inside its own gesture.
    void applyPreset(int itemId);

    void paint(juce::Graphics& g) override;
    void mouseDown(const juce::MouseEvent& e) override;

private:
    ElementParameterValue<float> values[4]; // shape, symmetry, phase, swing
};

// A row of the shape menu that draws its own curve.
class LFOWaveformPopupMenuCustomComponent : public juce::PopupMenu::CustomComponent
{
public:
    explicit LFOWaveformPopupMenuCustomComponent(const LFOPreset& preset);

    void getIdealSize(int& width, int& height) override;
    void resized() override;
    void paint(juce::Graphics& g) override;

private:
    LFOPreset preset;
    juce::Path curve;
};

} // namespace qel
