#pragma once

#include "ui/face/FaceWidgets.h"

#include <optional>

namespace qel
{

// The panels of the middle of the face: LFO rate and depths, the LFO's
// curve, or the hand-driven flange.
class LFOMainMenu : public juce::Component
{
public:
    LFOMainMenu(EngineProxy* proxy, const Path& effectPath);
    ParamSlider& getMaxRelativeDelay() noexcept { return maxRelativeDelay; }

private:
    FaceWidgets widgets;
    ParamSlider& maxRelativeDelay;
    ElementParameterValue<bool> lowLatency;
};

class LFOEditMenu : public juce::Component
{
public:
    LFOEditMenu(EngineProxy* proxy, const Path& effectPath);

private:
    FaceWidgets widgets;
};

class ManualModeUI : public juce::Component
{
public:
    ManualModeUI(EngineProxy* proxy, const Path& effectPath);
    ParamSlider& getMaxRelativeDelay() noexcept { return maxRelativeDelay; }

private:
    FaceWidgets widgets;
    ParamSlider& maxRelativeDelay;
    ElementParameterValue<bool> lowLatency;
};

// Either LFO menu, by the LFO settings button.
class LFOModeUI : public juce::Component
{
public:
    LFOModeUI(EngineProxy* proxy, const Path& effectPath);

    void setShowEdit(bool show);
    bool isShowingEdit() const noexcept { return showEdit; }
    LFOMainMenu& getMainMenu() noexcept { return mainMenu; }
    LFOEditMenu& getEditMenu() noexcept { return editMenu; }

private:
    bool showEdit = false;
    LFOMainMenu mainMenu;
    LFOEditMenu editMenu;
};

// The depth knob's range shrinks with the low-latency mode's shorter tape.
void setMaxRelativeDelayRange(ParamSlider& knob, bool lowLatency);

constexpr const char* panelKnobStrip = "k_black-small_28x28x129.png";
constexpr juce::uint32 panelLabelColour = 0xff785991;

} // namespace qel
