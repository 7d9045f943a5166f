#pragma once

#include "ui/presets/ModulePresetDisplay.h"

namespace qel
{

// The top bar: the whole-preset browser and the A/B memory button.
class ABToolBar : public juce::Component, public SimpleElementView, public juce::Button::Listener
{
public:
    ABToolBar(EngineProxy* proxy, const Path& elementPath);

    // 0 before the first click of this window; then 1 and 2 in turn.
    int getABState() const noexcept { return abState; }
    ModulePresetDisplay& getPresetDisplay() noexcept { return presetDisplay; }
    Button& getABButton() noexcept { return abButton; }

    void resized() override;
    void buttonClicked(juce::Button* button) override;

private:
    void showABState();

    ModulePresetDisplay presetDisplay;
    Button abButton { "A/B", "Store Current State to Memory A" };
    int32_t abState = 0;
};

} // namespace qel
