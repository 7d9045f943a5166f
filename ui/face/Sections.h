#pragma once

#include "ui/face/FaceWidgets.h"

namespace qel
{

// The tape settings below the reels, one component per section so that its
// switch can dim and disable it as a whole.
class TapeSection : public juce::Component
{
public:
    TapeSection(EngineProxy* proxy, const Path& effectPath);

private:
    FaceWidgets widgets;
};

class PlaybackSection : public juce::Component
{
public:
    PlaybackSection(EngineProxy* proxy, const Path& effectPath);

private:
    FaceWidgets widgets;
};

class TransportSection : public juce::Component
{
public:
    TransportSection(EngineProxy* proxy, const Path& effectPath);

private:
    FaceWidgets widgets;
};

// The encoder and decoder; the decoder hides while the link makes it follow the encoder.
class CompanderSection : public juce::Component, public SimpleElementView
{
public:
    CompanderSection(EngineProxy* proxy, const Path& effectPath);

    juce::ComboBox& getDecoder() noexcept { return decoder; }

private:
    FaceWidgets widgets;
    juce::ComboBox& decoder;
    ElementParameterValue<bool> link;
};

// The grey knobs of the sections: 26 by 26, bubble and panel as they come.
constexpr const char* sectionKnobStrip = "k_grey_26x26x129.png";

} // namespace qel
