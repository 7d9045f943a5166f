#pragma once

#include "files/Path.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <array>

namespace qel
{

// A button drawn from up to four images (off, on, off hovered, on hovered)
// by its toggle and hover state; its text shows only while it has no image.
class Button : public juce::Button
{
public:
    enum ImageIndex
    {
        offImage,
        onImage,
        offOverImage,
        onOverImage,
    };

    explicit Button(const juce::String& name = {}, const juce::String& tooltip = {});

    void setImages(const juce::Image& off, const juce::Image& on, const juce::Image& offOver, const juce::Image& onOver);
    // The hovered states look as the plain ones.
    void setImages(const juce::Image& off, const juce::Image& on);
    // "b_clip" loads b_clip-off, -on, -off-over and -on-over; a missing hover image falls back.
    void setImagesFromAssets(const juce::String& baseName);

    bool hasImages() const noexcept { return images[offImage].isValid(); }
    // The image for the present toggle state and this hover state.
    const juce::Image& imageFor(bool hovered) const;
    // The logical size of the off image.
    juce::Rectangle<int> getImageBounds() const;

    void paintButton(juce::Graphics& g, bool highlighted, bool down) override;

private:
    std::array<juce::Image, 4> images;
};

// The logical size of an image whose property "scale" tells its pixels per point.
juce::Rectangle<int> logicalBounds(const juce::Image& image);

} // namespace qel
