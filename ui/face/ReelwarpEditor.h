#pragma once

#include "files/Settings.h"
#include "ui/presets/ModulePresetDisplay.h"
#include "ui/displays/AudioMeter.h"
#include "ui/displays/FlangeDisplay.h"
#include "ui/displays/MagneticWaveformDisplay.h"
#include "ui/displays/PlayHeadResponseDisplay.h"
#include "ui/displays/RecordResponseDisplay.h"
#include "ui/displays/ScrollCurve.h"
#include "ui/displays/SpeedCurveFeed.h"
#include "ui/face/FaceWidgets.h"
#include "ui/face/Sections.h"
#include "ui/widgets/Button.h"

namespace qel
{

class ReelwarpProcessor;

// The face below the top bar: the reels, the main knobs, the sections of the
// tape settings with their displays, and the meters. It turns the reels and
// feeds the speed curve every 20 ms.
class ReelwarpEditor : public juce::Component, public SimpleElementView, private juce::Timer
{
public:
    static constexpr int intervalMs = 20;
    static constexpr int reelFrames = 180;

    ReelwarpEditor(EngineProxy& proxy, const Path& effectPath, Settings& settings);
    ~ReelwarpEditor() override;

    // Frames of the reel strip a tick adds at a tape speed parameter of s.
    static float reelStep(float speed);

    void elementChanged(Element* element) override;
    // One timer tick: the curve takes what the ring holds, the reels turn.
    void tick();

    bool isReelRunning() const noexcept { return reelRunning; }
    float getReelTime() const noexcept { return reelTime; }
    void setReelTime(float time) { reelTime = time; }
    Slider& getReel(int index) noexcept { return index == 0 ? leftReel : rightReel; }
    // What the face's mouse listener does with a press.
    void handlePress(const juce::MouseEvent& e);
    juce::MouseListener& getMouseListener() noexcept { return mouse; }

    TapeSection& getTapeSection() noexcept { return tape; }
    TapeModulePresetDisplay& getTapePresets() noexcept { return tapePresets; }
    PlaybackSection& getPlaybackSection() noexcept { return playback; }
    CompanderSection& getCompanderSection() noexcept { return compander; }
    TransportSection& getTransportSection() noexcept { return transport; }
    MagneticWaveformDisplay& getMagneticDisplay() noexcept { return magnetic; }
    RecordResponseDisplay& getRecordDisplay() noexcept { return recordResponse; }
    juce::Button& getDisplayButton(int index) noexcept { return index == 0 ? magneticButton : responseButton; }
    const ScrollCurve& getSpeedCurve() const noexcept { return curve; }

private:
    struct FaceMouse : juce::MouseListener
    {
        explicit FaceMouse(ReelwarpEditor& editor) : editor(editor) {}
        void mouseDown(const juce::MouseEvent& e) override { editor.handlePress(e); }
        ReelwarpEditor& editor;
    };

    void timerCallback() override { tick(); }
    void showChosenDisplay();
    void setupReel(Slider& reel, const char* strip);
    using Dimmed = std::initializer_list<juce::Component*>;
    static void dim(juce::Component& section, Dimmed also, bool on);

    const Path effectPath;
    Settings& settings;
    FaceMouse mouse { *this };
    FaceWidgets widgets;
    TapeSection tape;
    TapeModulePresetDisplay tapePresets;
    PlaybackSection playback;
    CompanderSection compander;
    TransportSection transport;
    RecordResponseDisplay recordResponse;
    MagneticWaveformDisplay magnetic;
    PlayHeadResponseDisplay playResponse;
    FlangeDisplay flange;
    Button magneticButton, responseButton;
    ScrollCurve curve;
    AudioMeter inputMeter, outputMeter;
    Slider leftReel, rightReel;
    ElementParameterValue<bool> tapeDimmer, playbackDimmer, companderDimmer, transportDimmer;
    float reelTime;
    bool reelRunning;
    SpeedCurveFeed feed;
    ReelwarpProcessor* processor = nullptr;
};

} // namespace qel
