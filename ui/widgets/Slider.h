#pragma once

#include "files/Path.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <memory>

namespace qel
{

class QelSliderPopupDisplayComponent;

// A JUCE slider that draws a filmstrip (one image, a frame per position),
// shows its value in a bubble while the mouse is over it, and opens a text
// box on a double click.
class Slider : public juce::Slider
{
public:
    enum DrawMode
    {
        juceDrawing = 0,
        filmstripDrawing = 1,
    };

    Slider(SliderStyle style = RotaryVerticalDrag, bool showPopup = false);
    ~Slider() override;

    // The value typed into the text box; a parameter widget wraps it in a gesture.
    virtual void setValueFromEditBox(double value) { setValue(value, juce::sendNotificationSync); }

    // Orientation 0 lays frames left to right, 1 top to bottom; by default the
    // longer side. Without a count, frames are squares of the shorter side.
    // A null image changes nothing.
    virtual void setFilmStrip(const juce::Image& image, int frames = 0, int orientation = -1);
    void setFilmStrip(const Path& path, int frames = 0);

    int getDrawMode() const noexcept { return drawMode; }
    // The frame shown for a proportion of the range: truncated, never rounded.
    static int frameIndex(double proportion, int frameCount) noexcept;
    int currentFrame() { return frameIndex(valueToProportionOfLength(getValue()), frameCount); }

    juce::TextEditor* getEditBox() const noexcept { return editBox.get(); }

    void paint(juce::Graphics& g) override;
    void valueChanged() override;
    void mouseEnter(const juce::MouseEvent& e) override;
    void mouseExit(const juce::MouseEvent& e) override;
    void mouseDoubleClick(const juce::MouseEvent& e) override;

protected:
    void updateBubble();

private:
    void showEditBox();
    void closeEditBox(bool commit);

    int drawMode = juceDrawing;
    int filmstripOrientation = 1;
    juce::Image filmstrip;
    int frameCount = 0;
    juce::Rectangle<int> frameSize;
    bool showPopup;
    std::unique_ptr<QelSliderPopupDisplayComponent> bubble;
    std::unique_ptr<juce::TextEditor> editBox;
    int editBoxCount = 0;
};

// The value bubble of a slider, a window of its own on the desktop.
class QelSliderPopupDisplayComponent : public juce::BubbleComponent
{
public:
    explicit QelSliderPopupDisplayComponent(Slider& owner);

    void setText(const juce::String& newText);
    const juce::String& getText() const noexcept { return text; }
    // Points at the slider on screen.
    void pointAtSlider();

protected:
    void getContentSize(int& width, int& height) override;
    void paintContent(juce::Graphics& g, int width, int height) override;

private:
    Slider& slider;
    juce::Font font;
    juce::String text;
};

} // namespace qel
