#pragma once

#include "ui/EngineProxy.h"

#include <juce_audio_processors/juce_audio_processors.h>

#include <memory>
#include <vector>

namespace qel
{

// The editor until the face exists: every parameter the host sees, as a knob,
// a switch or a choice under its name, in a grid on the panel's grey.
class PlainEditor : public juce::AudioProcessorEditor
{
public:
    static constexpr juce::uint32 panelColour = 0xffd3d3d3;
    static constexpr juce::uint32 textColour = 0xff424242;

    PlainEditor(juce::AudioProcessor& processor, EngineProxy& proxy, const Path& effectPath);
    ~PlainEditor() override;

    void paint(juce::Graphics& g) override;
    void resized() override;
    // A right press on a lockable control opens the parameter menu.
    void mouseDown(const juce::MouseEvent& e) override;

private:
    struct Cell;

    EngineProxy& proxy;
    const Path effectPath;
    std::vector<std::unique_ptr<Cell>> cells;
    juce::TooltipWindow tooltips { this };
};

} // namespace qel
