#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace qel
{

// The strip at the bottom of the window where tooltips show, in place of
// bubbles, with the version at its right.
class Footer : public juce::Component, private juce::Timer
{
public:
    static constexpr int intervalMs = 100;
    static constexpr const char* version = "1.0.0";

    Footer();
    ~Footer() override;

    // The expand button stands over the right corner while the window is collapsed.
    void setExpanded(bool expanded);
    const juce::String& getShownTip() const noexcept { return tip; }
    // The tooltip of the component or of its nearest parent that has one,
    // when it lies in the same window as the footer.
    juce::String tipFor(juce::Component* underMouse) const;
    void showTip(const juce::String& text);

    void paint(juce::Graphics& g) override;

private:
    void timerCallback() override;

    juce::String tip;
    bool expanded = false;
};

// One image of the loader at the top left, unscaled; it never takes the mouse.
class ImageDisplay : public juce::Component
{
public:
    ImageDisplay();

    void setImage(const juce::String& assetName);
    const juce::String& getImageName() const noexcept { return name; }
    const juce::Image& getImage() const noexcept { return image; }

    void paint(juce::Graphics& g) override;

private:
    juce::String name;
    juce::Image image;
};

} // namespace qel
