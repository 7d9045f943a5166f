// The window: its two heights and stored keys, the panels of each flange mode,
// the reels, every control at its place, the host's question of the slot
// under the mouse, and the LFO curve's drawing.
#include "UiTestSupport.h"

#include "plugin/ExportTable.h"
#include "ui/face/ReelwarpPluginUI.h"
#include "ui/look/ReelwarpLookAndFeel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <thread>

namespace
{

using namespace qel;
using P = ReelwarpParameter;
using test::deliver;

struct FaceTest : ::testing::Test, test::EffectFixture
{
    juce::TemporaryFile storeFile { ".xml" };
    Settings settings { "SOFTWARE\\net.qel\\Face Test", storeFile.getFile() };

    std::unique_ptr<ReelwarpPluginUI> open()
    {
        auto ui = std::make_unique<ReelwarpPluginUI>(plugin, settings);
        deliver();
        return ui;
    }
};

TEST_F(FaceTest, OpensAtTheStoredHeightAndStoresItsKeysOnClose)
{
    {
        auto ui = open();
        EXPECT_EQ(ui->getBounds(), juce::Rectangle<int>(1130, 435)) << "a fresh store opens collapsed";
        EXPECT_EQ(ui->getEditor().getBounds(), juce::Rectangle<int>(0, 45, 1130, 435 - 65));
        EXPECT_EQ(ui->getFooter().getBounds(), juce::Rectangle<int>(0, 415, 1130, 20));
        EXPECT_TRUE(ui->getEditor().isReelRunning());
        EXPECT_EQ(ui->getEditor().getReelTime(), 15.0f);
        ui->getExpandButton().triggerClick();
        test::runMessages();
        EXPECT_EQ(ui->getHeight(), 656);
        ui->getEditor().setReelTime(42.5f);
    }
    EXPECT_TRUE(settings.getBool("ui.expanded", false) && settings.getBool("ui.reel", false));
    EXPECT_EQ(settings.getFloat("ui.reelTime", 0.0f), 42.5f);

    auto ui = open();
    EXPECT_EQ(ui->getBounds(), juce::Rectangle<int>(1130, 656));
    EXPECT_EQ(ui->getFooter().getY(), 636);
    EXPECT_EQ(ui->getEditor().getReelTime(), 42.5f) << "a reopened window goes on where the reels stood";
}

TEST_F(FaceTest, TheFlangeModeSwapsThePanelsAndTheBackgroundFollowsItsTable)
{
    auto ui = open();
    struct Row { int mode; bool settingsOn, expanded; const char* background; };
    const Row table[] = {
        { 1, false, true, "_flanger/_bkg_lfo_max.png" },       { 1, false, false, "_flanger/_bkg_lfo_min.png" },
        { 1, true, true, "_flanger/_bkg_lfo-edit_max.png" },   { 1, true, false, "_flanger/_bkg_lfo-edit_min.png" },
        { 0, false, true, "_flanger/_bkg_manual_max.png" },    { 0, true, false, "_flanger/_bkg_manual_min.png" },
    };
    for (const auto& row : table)
    {
        effect.setParameterInt(id(P::FlangeMode), row.mode);
        deliver();
        ui->getLFOSettingsButton().setToggleState(row.settingsOn, juce::sendNotificationSync);
        ui->getExpandButton().setToggleState(row.expanded, juce::sendNotificationSync);
        ui->updateLayout();
        EXPECT_EQ(ui->getBackground().getImageName(), row.background) << row.mode << row.settingsOn << row.expanded;
        const bool lfo = row.mode == 1;
        const std::vector<bool> shown { ui->getLFOModeUI().isVisible(), ui->getLFOSettingsButton().isVisible(),
                                        ui->getWaveform().isVisible(), ui->getManualModeUI().isVisible() };
        EXPECT_EQ(shown, (std::vector<bool> { lfo, lfo, lfo, !lfo })) << "mode " << row.mode;
        if (lfo)
            EXPECT_EQ(ui->getLFOModeUI().getEditMenu().isVisible(), row.settingsOn);
    }
    EXPECT_TRUE(ui->getLFOSettingsButton().getToggleState()) << "the settings button keeps its state for the return";
}

TEST_F(FaceTest, AClickOnAReelStopsBothAndTheNextStartsBothFromTheSameTime)
{
    auto ui = open();
    auto& editor = ui->getEditor();
    auto bothAt = [&](double t) { return editor.getReel(0).getValue() == t && editor.getReel(1).getValue() == t; };
    effect.setParameterFloat(id(P::Speed), 0.0f);
    deliver();
    editor.setReelTime(20.0f);
    editor.tick();
    EXPECT_FLOAT_EQ(editor.getReelTime(), 20.5f) << "speed 0 turns the reels by half a frame a tick";
    EXPECT_TRUE(bothAt(20.0));

    editor.getMouseListener().mouseDown(test::mouseEvent(editor.getReel(1), test::leftButton));
    editor.tick();
    EXPECT_FLOAT_EQ(editor.getReelTime(), 20.5f) << "stopped reels keep their time";
    editor.getMouseListener().mouseDown(test::mouseEvent(editor.getReel(0), test::leftButton));
    editor.tick();
    EXPECT_TRUE(bothAt(20.5));

    EXPECT_FLOAT_EQ(ReelwarpEditor::reelStep(1.0f), 5.0f);
    for (const float time : { 178.9f, 179.0f, 1234.5f, 1.0e6f }) // the reel's range is 0..179
    {
        editor.setReelTime(time);
        editor.tick();
        EXPECT_NEAR(editor.getReel(0).getValue(), std::fmod(time, 179.0f), 1e-3) << time;
    }
}

TEST_F(FaceTest, EachTickTurnsTheRingsWhole10MsIntoPointsOfTheSpeedCurve)
{
    auto ui = open();
    auto& editor = ui->getEditor();
    editor.tick();
    EXPECT_TRUE(editor.getSpeedCurve().getValues(0).empty()) << "no audio, no points";

    plugin.prepareToPlay(48000.0, 400);
    juce::AudioBuffer<float> buffer(2, 400);
    juce::MidiBuffer midi;
    for (int block = 0; block < 6; ++block) // 2400 frames: five whole 10 ms
        buffer.clear(), plugin.processBlock(buffer, midi);
    editor.tick();
    EXPECT_EQ(editor.getSpeedCurve().getValues(0).size(), 5u);
    editor.tick();
    EXPECT_EQ(editor.getSpeedCurve().getValues(0).size(), 5u) << "nothing more until the next block";
}

TEST_F(FaceTest, SectionSwitchesDimTheirSectionsAndTheDisplayButtonsChooseOneDisplay)
{
    auto ui = open();
    auto& editor = ui->getEditor();
    effect.setParameterBool(id(P::ApplyRecordHead), false);
    effect.setParameterBool(id(P::ApplyTransport), false);
    deliver();
    EXPECT_EQ((std::vector<bool> { editor.getTapeSection().isEnabled(), editor.getTransportSection().isEnabled(),
                                   editor.getPlaybackSection().isEnabled() }), (std::vector<bool> { false, false, true }));
    EXPECT_NEAR(editor.getMagneticDisplay().getAlpha(), 0.5f, 0.01f) << "opacity is kept in eight bits";
    effect.setParameterBool(id(P::ApplyRecordHead), true);
    deliver();
    EXPECT_TRUE(editor.getTapeSection().isEnabled() && editor.getRecordDisplay().getAlpha() == 1.0f);

    const auto shown = [&] { return std::pair { editor.getMagneticDisplay().isVisible(), editor.getRecordDisplay().isVisible() }; };
    EXPECT_EQ(shown(), std::pair(true, false));
    editor.getDisplayButton(1).triggerClick();
    test::runMessages();
    EXPECT_FALSE(editor.getDisplayButton(0).getToggleState());
    EXPECT_EQ(shown(), std::pair(false, true));
}

TEST_F(FaceTest, TheFooterShowsTheTooltipOfTheControlUnderTheMouseAndNothingOverTheBackground)
{
    auto ui = open();
    auto& footer = ui->getFooter();
    EXPECT_EQ(footer.tipFor(&ui->getBackground()), "");
    EXPECT_EQ(footer.tipFor(&ui->getExpandButton()), "Show tape settings");
    EXPECT_EQ(footer.tipFor(&ui->getEditor().getReel(0)), "Click to start/stop");
}

TEST_F(FaceTest, TheShapeMenuWritesPhaseShapeAndSymmetryEachInItsGesture)
{
    auto ui = open();
    effect.setParameterFloat(id(P::LFOSwing), 0.4f);
    deliver();
    test::GestureLog log(proxy);
    ui->getWaveform().applyPreset(5); // "Ramp"
    const int phase = (int) id(P::LFOPhase), shape = (int) id(P::LFOShape), symmetry = (int) id(P::LFOSymmetry);
    EXPECT_EQ(log.events, (std::vector<int> { phase, -phase, shape, -shape, symmetry, -symmetry }));
    EXPECT_EQ((std::vector<float> { number(P::LFOPhase), number(P::LFOShape), number(P::LFOSymmetry), number(P::LFOSwing) }),
              (std::vector<float> { -0.5f, 0.0f, 1.0f, 0.4f })) << "a swing is left as it is";
    ui->getWaveform().applyPreset(3); // "Square"
    EXPECT_EQ((std::pair { number(P::LFOShape), number(P::LFOSymmetry) }), (std::pair { 0.99f, 0.0f }));
}

// Where each control stands in the window, by the design of the face.
enum class Kind { knob, label, toggle, combo };
struct Place { uint32_t id; Kind kind; juce::Rectangle<int> at; };

std::vector<Place> designedPlaces()
{
    std::vector<Place> places;
    auto add = [&](P p, Kind k, int x, int y, int w, int h) { places.push_back({ reelwarpParameterId(p), k, { x, y, w, h } }); };
    constexpr int face = 45; // the editor's top in the window
    for (const auto& [p, kx, ky, lx, ly] : { std::tuple { P::InputGain, 76, 83, 58, 160 }, { P::Drive, 76, 228, 58, 305 },
                                              { P::OutputGain, 1010, 83, 992, 160 }, { P::Mix, 1010, 228, 992, 305 } })
    {
        add(p, Kind::knob, kx, ky + face, 44, 44);
        add(p, Kind::label, lx, ly + face, 80, 18);
    }
    for (const auto& [p, x, w] : { std::tuple { P::ApplyRecordHead, 18, 138 }, { P::ApplyCompander, 299, 116 },
                                   { P::ApplyPlayheadFilter, 473, 154 }, { P::ApplyTransport, 777, 120 } })
        add(p, Kind::toggle, x, 381 + face, w, 18);
    add(P::ApplyLowLatency, Kind::toggle, 895, 377 + face, 24, 24);
    add(P::PhaseInvert, Kind::toggle, 556, 197 + face, 18, 18);
    add(P::OutputPad, Kind::knob, 794, 345 + face, 17, 17);

    auto section = [&](int ox, int oy, int y, std::initializer_list<std::pair<P, int>> knobs) {
        for (const auto& [p, x] : knobs)
            add(p, Kind::knob, ox + x, oy + face + y, 26, 26);
    };
    section(28, 511, 18, { { P::MagneticHardness, 0 }, { P::Hysteresis, 65 }, { P::DegradeDepth, 126 }, { P::DegradeRate, 173 },
                           { P::NoiseGain, 220 } });
    add(P::ApplyNoiseGate, Kind::toggle, 28 + 244, 511 + face, 24, 24);
    section(503, 529, 0, { { P::Speed, 0 }, { P::Spacing, 56 }, { P::Thickness, 111 }, { P::Azimuth, 166 }, { P::TrackWidthRatio, 221 } });
    section(807, 498, 31, { { P::WowMod, 0 }, { P::WowRate, 47 }, { P::FlutterMod, 112 }, { P::FlutterRate, 159 }, { P::NoiseMod, 225 },
                            { P::NoiseRate, 272 } });
    add(P::NoiseSync, Kind::toggle, 807 + 290, 498 + face, 24, 24);
    for (const auto& [p, y] : { std::pair { P::NoiseReductionEncoder, 1 }, { P::NoiseReductionDecoder, 92 } })
        add(p, Kind::combo, 314 + 15, 441 + face + y, 119, 24);
    add(P::NRLink, Kind::toggle, 314 + 54, 441 + face + 41, 41, 41);

    add(P::FlangeMode, Kind::combo, 448, 248, 74, 18);
    auto panel = [&](int ox, int labelWidth, std::initializer_list<std::tuple<P, int, int>> knobs) {
        for (const auto& [p, kx, lx] : knobs)
        {
            add(p, Kind::knob, ox + kx, 262 + 25, 28, 28);
            add(p, Kind::label, ox + lx, 262 + 79, labelWidth, 18);
        }
    };
    panel(416, 74, { { P::LFOFreq, 23, 0 }, { P::MaxRelativeDelay, 98, 75 }, { P::Delay, 172, 149 }, { P::Feedback, 247, 224 } });
    add(P::ApplyFeedbackCompensation, Kind::toggle, 416 + 276, 262, 24, 24);
    panel(416, 74, { { P::LFOShape, 23, 0 }, { P::LFOSymmetry, 98, 75 }, { P::LFOPhase, 172, 149 }, { P::LFOSwing, 247, 224 } });
    panel(403, 64, { { P::RelativeDelay, 18, 0 }, { P::MaxRelativeDelay, 83, 65 }, { P::Fade, 148, 130 }, { P::Delay, 213, 195 },
                     { P::Feedback, 278, 260 } });
    add(P::ApplyFeedbackCompensation, Kind::toggle, 403 + 305, 262, 24, 24);
    return places;
}

Kind kindOf(juce::Component& c)
{
    return dynamic_cast<ParamSlider*>(&c) ? Kind::knob : dynamic_cast<ParamLabel*>(&c) ? Kind::label
         : dynamic_cast<ParamComboBox*>(&c) ? Kind::combo : Kind::toggle;
}

void collectWidgets(juce::Component& c, std::vector<juce::Component*>& out)
{
    for (auto* child : c.getChildren())
    {
        if (dynamic_cast<ParameterWidget*>(child) != nullptr)
            out.push_back(child);
        collectWidgets(*child, out);
    }
}

TEST_F(FaceTest, EveryControlIsBoundToItsParameterAtItsPlaceAndAnswersItsHostSlot)
{
    auto ui = open();
    ui->getExpandButton().setToggleState(true, juce::sendNotificationSync);
    std::vector<juce::Component*> widgets;
    collectWidgets(*ui, widgets);

    auto places = designedPlaces();
    places.push_back({ FrameworkParameters::get().syncToHost, Kind::toggle, { 914, 16, 27, 26 } });
    const auto& exported = exportedParameterIds();
    for (auto* w : widgets)
    {
        auto& view = *dynamic_cast<ParameterWidget*>(w);
        const auto at = ui->getLocalArea(w->getParentComponent(), w->getBounds());
        EXPECT_TRUE(view.isBound()) << w->getName();
        const auto match = std::find_if(places.begin(), places.end(), [&](const Place& p) {
            return p.id == view.getParameterId() && p.kind == kindOf(*w) && p.at == at;
        });
        if (match == places.end())
            ADD_FAILURE() << "a control of parameter " << view.getParameterId() << " stands at " << at.toString();
        else
            places.erase(match);

        const auto slot = std::find(exported.begin(), exported.end(), view.getParameterId());
        EXPECT_EQ(ui->getControlParameterIndex(*w), slot == exported.end() ? -1 : (int) (slot - exported.begin()))
            << "parameter " << view.getParameterId();
    }
    for (const auto& p : places)
        ADD_FAILURE() << "no control of parameter " << p.id << " at " << p.at.toString();
    EXPECT_EQ(ui->getControlParameterIndex(ui->getEditor().getReel(0)), -1) << "a reel has no slot";
    EXPECT_EQ(ui->getControlParameterIndex(ui->getExpandButton()), -1);
}

TEST_F(FaceTest, TheDepthKnobEndsWhereTheLowLatencyTapeEnds)
{
    auto ui = open();
    for (const auto& [lowLatency, end] : { std::pair { true, 0.009 }, { false, 0.015 } })
    {
        effect.setParameterBool(id(P::ApplyLowLatency), lowLatency);
        deliver();
        for (auto* knob : { &ui->getLFOModeUI().getMainMenu().getMaxRelativeDelay(), &ui->getManualModeUI().getMaxRelativeDelay() })
            EXPECT_NEAR(knob->parameterValueOf(knob->getMaximum()), end, 1e-6) << lowLatency;
    }
}

TEST(LFOShape, DrawsTheEffectsCurveAtEveryEdgeOfItsParameters)
{
    int nearEdge = 0, samples = 0;
    for (float x = 0.0f; x < 2.0f; x += 0.01f, ++samples)
    {
        // Shape 0 is the triangle 0.99 - 1.98 |u|, u the phase folded into -1..1.
        const float u = std::fmod(0.5f + 2.0f * (std::fmod(2.0f * x, 4.0f) * 0.5f - 1.0f) + 4.0f, 2.0f) - 1.0f;
        EXPECT_NEAR(lfoShape(x, 0.0f, 0.0f, 0.0f, 0.0f), 0.99f - 1.98f * std::abs(u), 1e-5f) << x;
        for (const float phase : { 1.0f, -1.0f })
            EXPECT_NEAR(lfoShape(x, phase, 0.3f, 0.2f, 0.1f), lfoShape(x, 0.0f, 0.3f, 0.2f, 0.1f), 1e-4f)
                << "a whole period of phase at " << x;
        for (const float symmetry : { 1.0f, -1.0f })
            EXPECT_LE(std::abs(lfoShape(x, 0.0f, 0.0f, symmetry, 0.0f)), 1.0f) << symmetry << " at " << x; // NaN fails too
        nearEdge += std::abs(lfoShape(x, 0.0f, 0.99f, 0.0f, 0.0f)) > 0.95f;
    }
    EXPECT_GT(nearEdge, samples * 9 / 10) << "shape 0.99 is near-square";
    // The ramp's special branch, by hand: at x 0.5, u folds to -1, then (u - 1) / 2 = -1;
    // at x 1, u is 0, then -0.5.
    EXPECT_NEAR(lfoShape(0.5f, 0.0f, 0.0f, 1.0f, 0.0f), -0.99f, 1e-5f);
    EXPECT_NEAR(lfoShape(1.0f, 0.0f, 0.0f, 1.0f, 0.0f), 0.0f, 1e-5f);
    for (const float shape : { -0.5f, 0.0f, 0.2f, 0.9f })
        EXPECT_NEAR(lfoShape(0.25f, 0.0f, shape, 0.0f, 0.0f) * lfoShapeNormaliser(shape), 1.0f, 1e-6f)
            << "every shape reaches the same height";
}

TEST_F(FaceTest, ThePluginOpensTheFaceInTheProductsLookAndFont)
{
    std::unique_ptr<juce::AudioProcessorEditor> editor(plugin.createEditor());
    ASSERT_NE(dynamic_cast<ReelwarpPluginUI*>(editor.get()), nullptr);
    auto& lookAndFeel = ReelwarpLookAndFeel::getInstance();
    EXPECT_EQ(&juce::Desktop::getInstance().getDefaultLookAndFeel(), &lookAndFeel);
    ASSERT_NE(lookAndFeel.getProductTypeface(), nullptr);
    EXPECT_EQ(lookAndFeel.getProductTypeface()->getName(), "Lato");
}

// The face ticks and paints with the locks of the audio path held by another
// thread: a paint that waited on one would stall a block, or stall here.
TEST_F(FaceTest, PaintsWhileTheAudioPathsLocksAreHeldElsewhere)
{
    auto ui = open();
    ui->getExpandButton().setToggleState(true, juce::sendNotificationSync);
    plugin.prepareToPlay(48000.0, 512);
    juce::AudioBuffer<float> buffer(2, 512);
    juce::MidiBuffer midi;
    for (int block = 0; block < 10; ++block)
    {
        for (int i = 0; i < 512; ++i)
            buffer.setSample(0, i, std::sin(0.05f * (float) (block * 512 + i))), buffer.setSample(1, i, 0.0f);
        plugin.processBlock(buffer, midi);
    }
    std::atomic<bool> held { false }, done { false };
    std::thread holder([&] {
        const juce::ScopedLock engine(plugin.getEngine().getLock()), element(effect.getLock());
        held = true;
        for (int waited = 0; !done && waited < 5000; waited += 5)
            juce::Thread::sleep(5);
    });
    while (!held)
        juce::Thread::yield();
    const auto start = juce::Time::getMillisecondCounterHiRes();
    ui->getEditor().tick();
    test::runMessages();
    const auto picture = ui->createComponentSnapshot(ui->getLocalBounds());
    const auto elapsed = juce::Time::getMillisecondCounterHiRes() - start;
    done = true;
    holder.join();
    EXPECT_TRUE(picture.isValid());
    EXPECT_LT(elapsed, 4000.0) << "the face waited for a lock of the audio path";
}

// Writes the face beside the test binary, for a person to look at.
TEST_F(FaceTest, DrawsTheFaceInBothModes)
{
    auto ui = open();
    const auto write = [&](const char* name) {
        const auto file = juce::File(REELWARP_UI_SNAPSHOT_DIR).getChildFile(name);
        file.deleteFile();
        juce::FileOutputStream out(file);
        return juce::PNGImageFormat().writeImageToStream(ui->createComponentSnapshot(ui->getLocalBounds()), out);
    };
    ui->getExpandButton().setToggleState(true, juce::sendNotificationSync);
    ui->updateLayout();
    EXPECT_TRUE(write("face-lfo-expanded.png"));
    ui->getLFOSettingsButton().setToggleState(true, juce::sendNotificationSync);
    EXPECT_TRUE(write("face-lfo-settings-expanded.png"));
    effect.setParameterInt(id(P::FlangeMode), 0);
    deliver();
    ui->getExpandButton().setToggleState(false, juce::sendNotificationSync);
    ui->updateLayout();
    EXPECT_TRUE(write("face-manual-collapsed.png"));
}

} // namespace
