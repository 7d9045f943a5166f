#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace qel
{

// The house style of the engine's editors: flat fills in one palette for
// what the images of a face do not cover (menus, combos, labels, bubbles,
// text buttons, tooltips, scroll bars).
class QelLookAndFeel : public juce::LookAndFeel_V2
{
public:
    QelLookAndFeel();

    // One a process, made on first use and deleted at shutdown.
    static QelLookAndFeel& getInstance();

    // The text height of menus, combos, buttons and tooltips.
    static constexpr float textHeight = 15.0f;

    void drawButtonBackground(juce::Graphics&, juce::Button&, const juce::Colour& background, bool highlighted,
                              bool down) override;
    juce::Font getTextButtonFont(juce::TextButton&, int buttonHeight) override;
    void drawButtonText(juce::Graphics&, juce::TextButton&, bool highlighted, bool down) override;
    void drawToggleButton(juce::Graphics&, juce::ToggleButton&, bool highlighted, bool down) override;

    void drawPopupMenuBackground(juce::Graphics&, int width, int height) override;
    void drawPopupMenuItem(juce::Graphics&, const juce::Rectangle<int>& area, bool isSeparator, bool isActive,
                           bool isHighlighted, bool isTicked, bool hasSubMenu, const juce::String& text,
                           const juce::String& shortcutKeyText, const juce::Drawable* icon,
                           const juce::Colour* textColour) override;
    void drawPopupMenuSectionHeader(juce::Graphics&, const juce::Rectangle<int>& area, const juce::String& name) override;
    juce::Font getPopupMenuFont() override;

    // A combo whose property "hideArrow" is set draws no arrow.
    void drawComboBox(juce::Graphics&, int width, int height, bool isMouseButtonDown, int buttonX, int buttonY,
                      int buttonW, int buttonH, juce::ComboBox&) override;
    juce::Font getComboBoxFont(juce::ComboBox&) override;
    void positionComboBoxText(juce::ComboBox&, juce::Label&) override;

    void drawLabel(juce::Graphics&, juce::Label&) override;

    void drawScrollbar(juce::Graphics&, juce::ScrollBar&, int x, int y, int width, int height, bool vertical,
                       int thumbStart, int thumbSize, bool isMouseOver, bool isMouseDown) override;
    int getDefaultScrollbarWidth() override { return 15; }

    juce::Rectangle<int> getTooltipBounds(const juce::String& text, juce::Point<int> screenPosition,
                                          juce::Rectangle<int> parentArea) override;
    void drawTooltip(juce::Graphics&, const juce::String& text, int width, int height) override;

    void drawBubble(juce::Graphics&, juce::BubbleComponent&, const juce::Point<float>& tip,
                    const juce::Rectangle<float>& body) override;

    // The size of an alert panel that states none of its own.
    virtual int getDefaultAlertWidth() { return 150; }
    virtual int getDefaultAlertHeight() { return 300; }
};

} // namespace qel
