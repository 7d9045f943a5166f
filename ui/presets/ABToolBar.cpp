#include "ui/presets/ABToolBar.h"

#include "ui/widgets/ScaledImage.h"

namespace qel
{

ABToolBar::ABToolBar(EngineProxy* p, const Path& elementPath) : SimpleElementView(p), presetDisplay(p, elementPath)
{
    addAndMakeVisible(presetDisplay);
    abButton.addListener(this);
    addAndMakeVisible(abButton);
    showABState();
    setElementPath(elementPath);
}

void ABToolBar::resized()
{
    presetDisplay.setBounds(249, 0, 602, 45);
    abButton.setBounds(851, 16, 47, 26);
}

void ABToolBar::buttonClicked(juce::Button* button)
{
    auto* element = getElement();
    if (button != &abButton || element == nullptr)
        return;
    swapABState(*element);
    abState = abState == 1 ? 2 : 1;
    showABState();
}

void ABToolBar::showABState()
{
    static const struct
    {
        const char* off;
        const char* over;
        const char* tooltip;
    } looks[] = {
        { "b_ab-off", "b_ab-off-over", "Store Current State to Memory A" },
        { "b_ab-b-off", "b_ab-a-off", "Store Current State to Memory B and restore Memory A" },
        { "b_ab-a-off", "b_ab-b-off", "Store Current State to Memory A and restore Memory B" },
    };
    const auto& look = looks[abState];
    const auto off = loadScaledImage(assetPath(juce::String(look.off) + ".png"));
    const auto over = loadScaledImage(assetPath(juce::String(look.over) + ".png"));
    abButton.setImages(off, off, over, over);
    abButton.setTooltip(look.tooltip);
}

} // namespace qel
