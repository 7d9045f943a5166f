// Knobs: the filmstrip frame of a position, drag steps, the mouse and its gestures, text, and the sync conversion.
#include "UiTestSupport.h"

#include "element/BeatDivisions.h"
#include "element/Bindings.h"
#include "engine/Engine.h"
#include "ui/widgets/ParamButton.h"
#include "ui/widgets/ParamComboBox.h"
#include "ui/widgets/ParamSlider.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{

using namespace qel;
using namespace qel::test;
using P = ReelwarpParameter;

constexpr int frames = 129;

// Frame n is filled with red n, so that a painted pixel tells its frame.
juce::Image numberedStrip(int pixelsPerPoint)
{
    const int side = 8 * pixelsPerPoint;
    juce::Image strip(juce::Image::ARGB, side, side * frames, true);
    juce::Graphics g(strip);
    for (int n = 0; n < frames; ++n)
        g.setColour(juce::Colour((juce::uint8) n, 200, 50)), g.fillRect(0, n * side, side, side);
    strip.getProperties()->set("scale", pixelsPerPoint);
    return strip;
}

int paintedFrame(juce::Component& slider)
{
    const auto snapshot = slider.createComponentSnapshot(slider.getLocalBounds());
    return snapshot.getPixelAt(snapshot.getWidth() / 2, snapshot.getHeight() / 2).getRed();
}

TEST(Filmstrip, PaintsTheTruncatedFrameOfItsPositionAtItsLogicalSize)
{
    qel::Slider slider;
    slider.setFilmStrip(numberedStrip(2), frames);
    EXPECT_EQ(slider.getBounds(), juce::Rectangle<int>(8, 8)) << "a @2x strip is drawn at its size in points";
    for (const auto& [position, frame] : { std::pair(0.0, 0), std::pair(0.9999, 128), std::pair(1.0, 128) })
    {
        slider.setValue(position, juce::dontSendNotification);
        EXPECT_EQ(paintedFrame(slider), frame) << "at " << position;
    }
}

struct EffectWidgets : ::testing::Test, test::EffectFixture
{
    std::unique_ptr<ParamSlider> knob(P p)
    {
        auto slider = std::make_unique<ParamSlider>(&proxy, ReelwarpPlugin::effectPath, id(p));
        slider->setFilmStrip(numberedStrip(1), frames);
        slider->setConvertsOnSyncChange(false); // the effect converts its rate itself
        return slider;
    }
};

TEST_F(EffectWidgets, ABipolarValueShowsTheFrameOfItsNormalisedPosition)
{
    auto gain = knob(P::InputGain);         // -40..40 dB, default 0
    EXPECT_EQ(paintedFrame(*gain), 64);     // 129 x 0.5
    effect.setParameterFloat(id(P::InputGain), 20.0f);
    deliver();
    EXPECT_EQ(paintedFrame(*gain), 96);     // 129 x 0.75
    EXPECT_NEAR(gain->getValue(), 0.25, 1e-6) << "the slider's 0 is the parameter's 0";
}

// Choices of 2, 3 and 10 steps.
struct StepsElement : Element
{
    struct State : ElementState { using ElementState::ElementState; int two = 0, three = 0, ten = 0; };
    static uint32_t steps(const char* name, int maximum)
    {
        return ParameterRegistry::get().registerInt(ParameterDescription<int>(name, 0, { 0, maximum }));
    }
    static inline const uint32_t twoId = steps("UiTwoSteps", 2), threeId = steps("UiThreeSteps", 3), tenId = steps("UiTenSteps", 10);

    StepsElement() : Element("Steps", "Steps")
    {
        setStates(std::make_unique<State>(this), std::make_unique<State>(this));
        addParameter(bindField<&State::two>(twoId));
        addParameter(bindField<&State::three>(threeId));
        addParameter(bindField<&State::ten>(tenId));
    }
};

TEST(IntSlider, DragsFortyPixelsAStepBetweenOneHundredAndTwoHundredFifty)
{
    auto root = std::make_unique<Element>("Engine", "Engine");
    root->addChild(std::make_unique<StepsElement>());
    EngineProxy proxy(nullptr, root.get(), false);
    const std::pair<uint32_t, int> cases[] = { { StepsElement::twoId, 100 }, { StepsElement::threeId, 120 }, { StepsElement::tenId, 250 } };
    for (const auto& [id, pixels] : cases)
        EXPECT_EQ(ParamSlider(&proxy, "/Steps", id).getMouseDragSensitivity(), pixels);
}

TEST_F(EffectWidgets, AltClickResetsInsideOneGestureAndASyncedRateToItsWholeNote)
{
    auto mix = knob(P::Mix);
    auto rate = knob(P::LFOFreq);
    effect.setParameterFloat(id(P::Mix), 0.3f);
    effect.setParameterBool(FrameworkParameters::get().syncToHost, true);
    deliver();

    test::GestureLog log(proxy);
    float atEnd = -1.0f;
    auto watch = proxy.parameterGestureEnded.connect([&](Element*, uint32_t) { atEnd = number(P::Mix); });
    const juce::ModifierKeys altClick(juce::ModifierKeys::leftButtonModifier | juce::ModifierKeys::altModifier);
    mix->mouseDown(mouseEvent(*mix, altClick));
    mix->mouseUp(mouseEvent(*mix, altClick));
    EXPECT_EQ(number(P::Mix), 1.0f);
    EXPECT_EQ(atEnd, 1.0f) << "the host hears the new value before the gesture ends";
    watch.disconnect();

    rate->mouseDown(mouseEvent(*rate, altClick));
    EXPECT_EQ(rate->getValue(), 10.0) << "the row of 1/1";
    EXPECT_EQ(number(P::LFOFreq), BeatDivisions::ratioOfRow(10));
    const int m = (int) id(P::Mix), r = (int) id(P::LFOFreq);
    EXPECT_EQ(log.events, (std::vector<int> { m, -m, r, -r })) << "one pair each, none for the releases";
}

TEST_F(EffectWidgets, ADragIgnoresTheEchoOfAHostWriteAndShowsTheEngineOnRelease)
{
    auto mix = knob(P::Mix);
    test::GestureLog log(proxy);
    const juce::Point<float> start(4.0f, 4.0f);
    mix->mouseDown(mouseEvent(*mix, start, leftButton, start));
    mix->mouseDrag(mouseEvent(*mix, start + juce::Point<float>(0.0f, 100.0f), leftButton, start));
    ASSERT_NEAR(mix->getValue(), 0.6, 1e-6) << "100 of 250 pixels down from 1.0";

    plugin.getSlot(plugin.findSlot(ReelwarpPlugin::effectPath, id(P::Mix)).value())->setValue(0.1f);
    deliver();
    EXPECT_NEAR(mix->getValue(), 0.6, 1e-6) << "the drag is not disturbed";

    mix->mouseUp(mouseEvent(*mix, start, leftButton, start));
    EXPECT_NEAR(mix->getValue(), 0.1, 1e-6) << "the engine's value arrives once the button is up";
    EXPECT_EQ(log.events, (std::vector<int> { (int) id(P::Mix), -(int) id(P::Mix) }));
}

TEST_F(EffectWidgets, AWheelOpensOneGestureThatLeavingCloses)
{
    auto drive = knob(P::Drive);
    test::GestureLog log(proxy);
    const juce::MouseWheelDetails notch { 0.0f, 0.25f, false, false, false };
    drive->mouseWheelMove(mouseEvent(*drive, {}), notch);
    drive->mouseWheelMove(mouseEvent(*drive, {}), notch);
    EXPECT_GT(number(P::Drive), 0.0f);
    drive->mouseExit(mouseEvent(*drive, {}));
    EXPECT_EQ(log.events, (std::vector<int> { (int) id(P::Drive), -(int) id(P::Drive) }));
}

TEST_F(EffectWidgets, TextEnteredReadsInTheParameterUnitsAndBadTextLeavesTheValue)
{
    auto gain = knob(P::OutputGain);
    juce::Component window;
    window.setSize(200, 100);
    window.addAndMakeVisible(*gain);
    for (const char* text : { "-6 dB", "loud", "90 dB" }) // the last beyond the range
    {
        gain->mouseDoubleClick(mouseEvent(*gain, leftButton));
        ASSERT_NE(gain->getEditBox(), nullptr);
        gain->getEditBox()->setText(text);
        gain->getEditBox()->keyPressed(juce::KeyPress(juce::KeyPress::returnKey));
        test::runMessages();
        EXPECT_FLOAT_EQ(number(P::OutputGain), -6.0f) << text;
    }
    window.removeAllChildren();
}

TEST_F(EffectWidgets, ASwitchAndAChoiceWriteWhatTheyShowInsideAGesture)
{
    ParamButton bypassed(&proxy, ReelwarpPlugin::effectPath, id(P::ApplyCompander), true);
    bypassed.setSize(20, 20);
    EXPECT_TRUE(bypassed.getToggleState()) << "inverted: off shows lit";
    ParamComboBox encoder(&proxy, ReelwarpPlugin::effectPath, id(P::NoiseReductionEncoder));

    test::GestureLog log(proxy);
    bypassed.mouseDown(mouseEvent(bypassed, leftButton));
    bypassed.mouseUp(mouseEvent(bypassed, leftButton)); // not over it for JUCE, whose mouse is elsewhere
    bypassed.triggerClick();
    test::runMessages();
    EXPECT_TRUE(effect.getParameterBool(id(P::ApplyCompander)));
    encoder.setSelectedId(3, juce::sendNotificationSync);
    EXPECT_EQ(effect.getParameterInt(id(P::NoiseReductionEncoder)), 2);
    const int b = (int) id(P::ApplyCompander), c = (int) id(P::NoiseReductionEncoder);
    EXPECT_EQ(log.events, (std::vector<int> { b, -b, c, -c }));
}

// Three times, in seconds, milliseconds and hertz, under a root that holds the tempo as "/" does.
struct TimedElement : Element
{
    struct State : ElementState { using ElementState::ElementState; float seconds = 0.0f, milliseconds = 0.0f, hertz = 0.0f; };
    static uint32_t timed(const char* name, std::pair<float, float> range, uint32_t type)
    {
        return ParameterRegistry::get().registerFloat(ParameterDescription<float>(name, range.first, range, type));
    }
    static inline const uint32_t secondsId = timed("UiSeconds", { 0.01f, 10.0f }, secondsOrBeats),
                                 millisecondsId = timed("UiMilliseconds", { 1.0f, 10000.0f }, millisecondsOrBeats),
                                 hertzId = timed("UiHertz", { 0.01f, 100.0f }, hertzOrBeats);
    bool sync = false;

    TimedElement() : Element("Timed", "Timed")
    {
        setStates(std::make_unique<State>(this), std::make_unique<State>(this));
        addParameter(bindField<&State::seconds>(secondsId));
        addParameter(bindField<&State::milliseconds>(millisecondsId));
        addParameter(bindField<&State::hertz>(hertzId));
        addParameter(bindField<&TimedElement::sync>(FrameworkParameters::get().syncToHost));
    }
};

struct TempoRoot : Element
{
    float tempo = 120.0f;
    TempoRoot() : Element("Engine", "Engine") { addParameter(bindField<&TempoRoot::tempo>(Engine::Ids::get().tempo)); }
};

TEST(SyncChange, TurnsSecondsMillisecondsAndHertzIntoBeatsAndBack)
{
    auto engine = std::make_unique<TempoRoot>();
    engine->setParameterFloat(Engine::Ids::get().tempo, 100.0f);
    engine->addChild(std::make_unique<TimedElement>());
    auto& timed = *engine->findChild("Timed");
    EngineProxy proxy(nullptr, engine.get(), false);
    struct Case { uint32_t id; float value, ratio, back; int row; };
    const Case cases[] = {                                             // a beat lasts 0.6 s
        { TimedElement::secondsId, 0.6f, 1.0f, 0.6f, 16 },             // one beat exactly
        { TimedElement::millisecondsId, 1500.0f, 2.0f, 1200.0f, 13 },  // 2.5 beats: down to the half note
        { TimedElement::hertzId, 2.5f, 0.6666667f, 2.5f, 18 },         // two thirds of a beat a cycle
    };
    std::vector<std::unique_ptr<ParamSlider>> sliders;
    for (const auto& c : cases)
    {
        timed.setParameterFloat(c.id, c.value);
        sliders.push_back(std::make_unique<ParamSlider>(&proxy, "/Timed", c.id));
    }
    timed.setParameterBool(FrameworkParameters::get().syncToHost, true);
    deliver();
    for (size_t i = 0; i < std::size(cases); ++i)
    {
        EXPECT_FLOAT_EQ(timed.getParameterFloat(cases[i].id), cases[i].ratio) << i;
        EXPECT_EQ(sliders[i]->getValue(), cases[i].row) << i;
    }
    timed.setParameterBool(FrameworkParameters::get().syncToHost, false);
    deliver();
    for (size_t i = 0; i < std::size(cases); ++i)
        EXPECT_NEAR(timed.getParameterFloat(cases[i].id), cases[i].back, cases[i].back * 1e-5f) << i;
}

} // namespace
