#include "ui/face/LFOWaveformDisplay.h"

#include "tape/ReelwarpParameters.h"
#include "tape/dsp/Lfo.h"

#include <cmath>

namespace qel
{

// The effect's own LFO: the curve shows what the decks run.
float lfoShape(float x, float phase, float shape, float symmetry, float swing)
{
    return lfoValue(x, phase, shape, symmetry, swing);
}

float lfoShapeNormaliser(float shape)
{
    return 1.0f / lfoShape(0.25f, 0.0f, shape, 0.0f, 0.0f);
}

const LFOPreset lfoPresets[5] = {
    { "Triangle", 0.0f, 0.0f, 0.0f }, { "Sine", 0.0f, 0.2f, 0.0f },      { "Square", 0.0f, 0.99f, 0.0f },
    { "Ramp Down", 0.0f, 0.0f, -1.0f }, { "Ramp", -0.5f, 0.0f, 1.0f },
};

namespace
{
using P = ReelwarpParameter;

// One period over the box, centred on its middle, the curve brought to one height.
juce::Path curvePath(juce::Rectangle<float> box, float phase, float shape, float symmetry, float swing)
{
    const float normaliser = lfoShapeNormaliser(shape);
    juce::Path path;
    for (float px = 0.0f; px <= box.getWidth(); px += 0.25f)
    {
        const float x = 2.0f * px / box.getWidth();
        const float value = lfoShape(x, phase, shape, symmetry, swing) * normaliser * 0.5f;
        const float y = box.getY() + (0.5f - value) * box.getHeight();
        if (px == 0.0f)
            path.startNewSubPath(box.getX() + px, y);
        else
            path.lineTo(box.getX() + px, y);
    }
    return path;
}
} // namespace

LFOWaveformDisplay::LFOWaveformDisplay(EngineProxy* proxy, const Path& effectPath)
    : SimpleElementView(proxy),
      values { { proxy, effectPath, reelwarpParameterId(P::LFOShape), [this](float) { repaint(); } },
               { proxy, effectPath, reelwarpParameterId(P::LFOSymmetry), [this](float) { repaint(); } },
               { proxy, effectPath, reelwarpParameterId(P::LFOPhase), [this](float) { repaint(); } },
               { proxy, effectPath, reelwarpParameterId(P::LFOSwing), [this](float) { repaint(); } } }
{
    setElementPath(effectPath);
}

juce::Path LFOWaveformDisplay::makePath(float width, float height) const
{
    return curvePath({ 0.0f, 2.5f, width, height - 5.0f }, values[2].get(), values[0].get(), values[1].get(),
                     values[3].get());
}

void LFOWaveformDisplay::paint(juce::Graphics& g)
{
    g.setColour(juce::Colour(0xff808080));
    g.strokePath(makePath((float) getWidth(), (float) getHeight()), juce::PathStrokeType(1.0f));
}

void LFOWaveformDisplay::applyPreset(int itemId)
{
    if (itemId < 1 || itemId > 5 || getElement() == nullptr)
        return;
    const auto& row = lfoPresets[itemId - 1];
    const std::pair<ElementParameterValue<float>*, float> writes[] = {
        { &values[2], row.phase }, { &values[0], row.shape }, { &values[1], row.symmetry }
    };
    for (const auto& [parameter, v] : writes)
    {
        proxy->parameterGestureBegan(getElement(), parameter->getParameterId());
        parameter->set(v);
        proxy->parameterGestureEnded(getElement(), parameter->getParameterId());
    }
    repaint();
}

void LFOWaveformDisplay::mouseDown(const juce::MouseEvent&)
{
    if (!isEnabled())
        return;
    juce::PopupMenu menu;
    for (int i = 0; i < 5; ++i)
        menu.addCustomItem(i + 1, std::make_unique<LFOWaveformPopupMenuCustomComponent>(lfoPresets[i]), nullptr,
                           lfoPresets[i].text);
    juce::Component::SafePointer<LFOWaveformDisplay> safe(this);
    menu.showMenuAsync(juce::PopupMenu::Options().withTargetComponent(this), [safe](int choice) {
        if (safe != nullptr)
            safe->applyPreset(choice);
    });
}

LFOWaveformPopupMenuCustomComponent::LFOWaveformPopupMenuCustomComponent(const LFOPreset& row)
    : juce::PopupMenu::CustomComponent(true), preset(row)
{
}

void LFOWaveformPopupMenuCustomComponent::getIdealSize(int& width, int& height)
{
    width = 100;
    height = 50;
}

void LFOWaveformPopupMenuCustomComponent::resized()
{
    const auto box = getLocalBounds().toFloat().reduced(12.0f, 10.0f);
    curve = curvePath(box, preset.phase, preset.shape, juce::jlimit(-0.99f, 0.99f, preset.symmetry), 0.0f);
}

void LFOWaveformPopupMenuCustomComponent::paint(juce::Graphics& g)
{
    g.fillAll(juce::Colour(0xffe6e6e6));
    g.setColour(juce::Colour(0xff424242));
    g.strokePath(curve, juce::PathStrokeType(1.0f));
    if (isItemHighlighted())
        g.fillAll(juce::Colours::black.withAlpha(0.25f));
}

} // namespace qel
