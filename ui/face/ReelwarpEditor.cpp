#include "ui/face/ReelwarpEditor.h"

#include "element/ElementProxy.h"
#include "tape/ReelwarpProcessor.h"
#include "ui/ParameterMenu.h"
#include "ui/widgets/ScaledImage.h"

#include <cmath>

namespace qel
{

namespace
{
using P = ReelwarpParameter;

constexpr auto mainKnobStrip = "k_black-large_44x44x129.png";
constexpr juce::uint32 mainLabelColour = 0xff906aae;

const KnobPlace mainKnobs[] = {
    { P::InputGain, { 76, 83, 44, 44 }, { 58, 160, 80, 18 },
      "Input gain - not compensated on output -  right click to lock" },
    { P::Drive, { 76, 228, 44, 44 }, { 58, 305, 80, 18 },
      "Amount of tape drive - compensated on output  - right click to lock" },
    { P::OutputGain, { 1010, 83, 44, 44 }, { 992, 160, 80, 18 }, "Output gain - right click to lock" },
    { P::Mix, { 1010, 228, 44, 44 }, { 992, 305, 80, 18 }, "Dry/wet mix  - right click to lock" },
};

const SwitchPlace sectionSwitches[] = {
    { P::ApplyRecordHead, { 18, 381, 138, 18 }, "b_xt-tapesim", "Enable tape filtering and distortion" },
    { P::ApplyCompander, { 299, 381, 116, 18 }, "b_xt-compander", "Enable noise reduction" },
    { P::ApplyPlayheadFilter, { 473, 381, 154, 18 }, "b_xt-filtering", "Enable playback filtering" },
    { P::ApplyTransport, { 777, 381, 120, 18 }, "b_xt-modulations", "Enable transport modulations" },
};

const SwitchPlace lowLatencySwitch { P::ApplyLowLatency, { 895, 377, 24, 24 }, "b_lowlatency",
                                     "Reduce latency to 10 ms instead of 60 ms (maximal wow depth and flange depth are "
                                     "reduced as a consequence) - right click to lock" };
const SwitchPlace phaseSwitch { P::PhaseInvert, { 556, 197, 18, 18 }, "_flanger/b_phase", "Invert phase of second deck" };

uint32_t idOf(P p)
{
    return reelwarpParameterId(p);
}
} // namespace

ReelwarpEditor::ReelwarpEditor(EngineProxy& engineProxy, const Path& path, Settings& store)
    : SimpleElementView(&engineProxy), effectPath(path), settings(store),
      widgets(*this, &engineProxy, path), tape(&engineProxy, path), tapePresets(&engineProxy, path), playback(&engineProxy, path),
      compander(&engineProxy, path), transport(&engineProxy, path), recordResponse(engineProxy, path),
      magnetic(engineProxy, path), playResponse(engineProxy, path), flange(engineProxy, path),
      inputMeter(engineProxy, path, 0), outputMeter(engineProxy, path, 1),
      tapeDimmer(&engineProxy, path, idOf(P::ApplyRecordHead),
                 [this](bool on) { dim(tape, { &recordResponse, &magnetic }, on); }),
      playbackDimmer(&engineProxy, path, idOf(P::ApplyPlayheadFilter),
                     [this](bool on) { dim(playback, { &playResponse }, on); }),
      companderDimmer(&engineProxy, path, idOf(P::ApplyCompander), [this](bool on) { dim(compander, {}, on); }),
      transportDimmer(&engineProxy, path, idOf(P::ApplyTransport), [this](bool on) { dim(transport, { &curve }, on); }),
      reelTime(store.getFloat("ui.reelTime", 15.0f)), reelRunning(store.getBool("ui.reel", true))
{
    for (const auto& place : mainKnobs)
    {
        auto& knob = widgets.knobWithLabel(place, mainKnobStrip, juce::Colour(mainLabelColour), false);
        withoutSettingsPanel(knob);
        knob.addMouseListener(&mouse, true);
    }
    for (const auto& place : sectionSwitches)
        widgets.toggle(place);
    auto& lowLatency = widgets.toggle(lowLatencySwitch);
    withoutSettingsPanel(lowLatency);
    lowLatency.addMouseListener(&mouse, true);
    withoutSettingsPanel(widgets.toggle(phaseSwitch));

    const std::pair<juce::Component*, juce::Rectangle<int>> places[] = {
        { &tape, { 28, 511, 268, 50 } },          { &recordResponse, { 63, 424, 201, 59 } },
        { &magnetic, { 63, 424, 201, 59 } },      { &magneticButton, { 22, 429, 24, 24 } },
        { &responseButton, { 22, 454, 24, 24 } }, { &compander, { 314, 441, 150, 117 } },
        { &playback, { 503, 529, 247, 26 } },     { &playResponse, { 514, 424, 225, 59 } },
        { &transport, { 807, 498, 314, 57 } },    { &curve, { 818, 424, 275, 59 } },
        { &inputMeter, { 16, 52, 5, 264 } },      { &outputMeter, { 1106, 52, 5, 264 } },
        { &leftReel, { 177, 57, 166, 255 } },     { &rightReel, { 787, 57, 166, 255 } },
        { &flange, { 430, 59, 271, 94 } },        { &tapePresets, { 807, 341, 254, 26 } },
    };
    for (const auto& [component, bounds] : places)
    {
        addAndMakeVisible(*component);
        component->setBounds(bounds);
    }
    // The reels lie under the knobs and switches that overlap their corners.
    leftReel.toBack();
    rightReel.toBack();

    widgets.knob(P::OutputPad, { 794, 345, 17, 17 }, "k_17x17x129.png", "Tape settings makeup gain", true);

    magneticButton.setImagesFromAssets("b_rateFreq");
    magneticButton.setTooltip("Display magnetization effect on signal waveform");
    responseButton.setImagesFromAssets("b_rateInt");
    responseButton.setTooltip("Display tape frequency response");
    for (auto* b : { &magneticButton, &responseButton })
    {
        b->setClickingTogglesState(true);
        b->setRadioGroupId(1);
        b->onStateChange = [this] { showChosenDisplay(); };
    }
    magneticButton.setToggleState(true, juce::dontSendNotification);
    showChosenDisplay();

    curve.addCurve();
    SpeedCurveFeed::styleCurve(curve, 0);

    setupReel(leftReel, "_flanger/k_reel-flanger-L_166x255x180.png");
    setupReel(rightReel, "_flanger/k_reel-flanger-R_166x255x180.png");
    const float shown = std::fmod(reelTime, 179.0f);
    leftReel.setValue(shown, juce::dontSendNotification);
    rightReel.setValue(shown, juce::dontSendNotification);

    setElementPath(effectPath);
}

ReelwarpEditor::~ReelwarpEditor()
{
    stopTimer();
    settings.setBool("ui.reel", reelRunning);
    settings.setFloat("ui.reelTime", reelTime);
}

void ReelwarpEditor::setupReel(Slider& reel, const char* strip)
{
    // Always the 1x strip, 23 MB decoded: 180 frames at @2x would hold 120 MB a reel.
    reel.setFilmStrip(loadScaledImage(assetPath(strip), false), reelFrames);
    reel.setRange(0.0, reelFrames - 1, 0.0);
    // Shown, not played: the mouse listener starts and stops it.
    reel.setEnabled(false);
    reel.setTooltip("Click to start/stop");
    reel.addMouseListener(&mouse, true);
}

float ReelwarpEditor::reelStep(float speed)
{
    return static_cast<float>(std::pow(10.0f, speed) * 0.10000000149011612) * 5.0f;
}

void ReelwarpEditor::elementChanged(Element* element)
{
    stopTimer();
    if (auto* group = dynamic_cast<ElementProxy*>(element))
        element = group->getFirst();
    processor = dynamic_cast<ReelwarpProcessor*>(element);
    if (processor == nullptr)
        return;
    feed.setRing(processor->getDisplayRing());
    startTimer(intervalMs);
}

void ReelwarpEditor::tick()
{
    // Before the engine is prepared the ring stays empty.
    if (processor != nullptr)
        feed.feed(curve, 0, processor->getSampleRate());
    if (!reelRunning)
        return;
    const double shown = std::fmod(reelTime, 179.0f);
    leftReel.setValue(shown, juce::sendNotificationAsync);
    rightReel.setValue(shown, juce::sendNotificationAsync);
    const float speed = processor != nullptr ? processor->getParameterFloat(idOf(P::Speed)) : 0.0f;
    reelTime += reelStep(speed);
}

void ReelwarpEditor::handlePress(const juce::MouseEvent& e)
{
    auto* target = e.eventComponent;
    if (e.mods.isRightButtonDown())
        for (auto* c = target; c != nullptr && c != this; c = c->getParentComponent())
            if (auto* view = dynamic_cast<SimpleElementParameterView*>(c); view != nullptr && view->isBound())
            {
                showParameterMenu(*getProxy(), effectPath, *c, view->getParameterId());
                repaint();
                return;
            }
    for (auto* reel : { &leftReel, &rightReel })
        if (target == reel || reel->isParentOf(target))
            reelRunning = !reelRunning;
}

void ReelwarpEditor::showChosenDisplay()
{
    magnetic.setVisible(magneticButton.getToggleState());
    recordResponse.setVisible(responseButton.getToggleState());
}

void ReelwarpEditor::dim(juce::Component& section, Dimmed also, bool on)
{
    section.setEnabled(on);
    section.setAlpha(on ? 1.0f : 0.5f);
    for (auto* c : also)
        c->setAlpha(on ? 1.0f : 0.5f);
}

} // namespace qel
