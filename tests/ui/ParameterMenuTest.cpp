// The parameter menu and the MIDI panel on the real effect and the scaled images.
#include "UiTestSupport.h"

#include "ui/ParameterMenu.h"
#include "ui/PresetFiles.h"
#include "ui/look/ReelwarpLookAndFeel.h"
#include "ui/widgets/ParamSlider.h"
#include "ui/widgets/ScaledImage.h"
#include "ui/widgets/SimpleEditionSettingsPanel.h"

#include <gtest/gtest.h>
#include <tinyxml2.h>

namespace
{

using namespace qel;
using P = ReelwarpParameter;

struct MenuItem
{
    juce::String text;
    bool enabled = false, ticked = false;
};

MenuItem itemOf(const juce::PopupMenu& menu, int id)
{
    for (juce::PopupMenu::MenuItemIterator it(menu); it.next();)
        if (it.getItem().itemID == id)
            return { it.getItem().text, it.getItem().isEnabled, it.getItem().isTicked };
    return {};
}

struct ParameterMenuTest : ::testing::Test, test::EffectFixture
{
    const Path path { ReelwarpPlugin::effectPath };
    juce::Component editor;

    void choose(int item, P p) { ParameterMenu::apply(item, proxy, path, editor, id(p)); }
    MenuItem item(int item, P p) { return itemOf(ParameterMenu::build(effect, id(p)), item); }
};

TEST_F(ParameterMenuTest, MidiUnlearnIsGreyWithoutALinkAndNamesTheLearnedController)
{
    EXPECT_EQ(item(ParameterMenu::midiUnlearn, P::Feedback).text, "MIDI Unlearn");
    EXPECT_FALSE(item(ParameterMenu::midiUnlearn, P::Feedback).enabled);

    SimpleEditionSettingsPanel panel(proxy, path, id(P::Feedback), false, true, true);
    EXPECT_EQ(panel.getBounds(), juce::Rectangle<int>(400, 150));
    EXPECT_EQ(panel.getCaption(), "MIDI/Automation Control: ");
    EXPECT_EQ(panel.getValueText(), "Host Automation");
    const auto controllers = SimpleEditionSettingsPanel::controllerMenu();
    EXPECT_EQ(itemOf(controllers, 8).text, "MIDI CC 7 (Volume (coarse))");
    EXPECT_TRUE(itemOf(controllers, 4).text.isEmpty()) << "controller 3 has no standard name";
    EXPECT_LT(controllers.getNumItems(), 128);

    panel.chooseController(75);
    panel.chooseController(12); // a second choice replaces the first
    juce::StringArray sources;
    effect.listModulationSources(id(P::Feedback), sources);
    EXPECT_EQ(sources, juce::StringArray { "@MIDI CC 11" });
    const auto unlearn = item(ParameterMenu::midiUnlearn, P::Feedback);
    EXPECT_EQ(unlearn.text, "MIDI Unlearn (CC #11)");
    EXPECT_TRUE(unlearn.enabled);
    EXPECT_EQ(SimpleEditionSettingsPanel(proxy, path, id(P::Feedback), true, false, false).getValueText(),
              "MIDI CC 11 (Expression (coarse))");

    choose(ParameterMenu::midiUnlearn, P::Feedback);
    sources.clear();
    effect.listModulationSources(id(P::Feedback), sources);
    EXPECT_TRUE(sources.isEmpty());
    EXPECT_FALSE(item(ParameterMenu::midiUnlearn, P::Feedback).enabled);
}

TEST_F(ParameterMenuTest, ALockedMixOutlastsAPresetAndUnlockAllClearsTheFiveAlone)
{
    choose(ParameterMenu::locked, P::Mix);
    EXPECT_TRUE(item(ParameterMenu::locked, P::Mix).ticked);
    effect.setParameterFloat(id(P::Mix), 0.3f);
    tinyxml2::XMLDocument preset;
    preset.Parse(R"(<Reelwarp Mix="0.8" Feedback="0.5"/>)");
    ASSERT_TRUE(applyPreset(effect, *preset.RootElement(), 1, "test.fxps", PresetKind::whole()));
    EXPECT_EQ(number(P::Mix), 0.3f);
    EXPECT_EQ(number(P::Feedback), 0.5f);

    for (const auto p : { P::InputGain, P::OutputGain, P::Drive, P::ApplyLowLatency, P::Feedback })
        setParameterLocked(effect, id(p), true);
    for (int call = 0; call < 2; ++call)
    {
        choose(ParameterMenu::unlockAll, P::Drive);
        for (const auto p : { P::Mix, P::InputGain, P::OutputGain, P::Drive, P::ApplyLowLatency })
            EXPECT_FALSE(isParameterLocked(effect, id(p))) << ParameterRegistry::get().nameOf(id(p));
        EXPECT_TRUE(isParameterLocked(effect, id(P::Feedback))) << "only the face's five are unlocked";
    }
    EXPECT_FALSE(item(ParameterMenu::locked, P::Mix).ticked);
}

TEST(ScaledImage, TakesTheLargestTwinNotAboveTheDisplayScale)
{
    const auto knob = assetPath("k_black-small_28x28x129.png");
    auto at = [&](double scale) {
        setDisplayScaleSource([scale] { return scale; });
        return loadScaledImage(knob);
    };
    const std::pair<double, int> cases[] = { { 1.0, 1 }, { 1.5, 1 }, { 2.0, 2 }, { 3.0, 2 } };
    for (const auto& [scale, twin] : cases)
    {
        const auto image = at(scale);
        EXPECT_EQ(image.getWidth(), 28 * twin) << scale;
        EXPECT_EQ((int) image.getProperties()->getWithDefault("scale", 0), twin) << scale;
    }
    EXPECT_EQ(loadScaledImage(knob, false).getWidth(), 28);
    EXPECT_FALSE(loadScaledImage(assetPath("k_none.png")).isValid());
    setDisplayScaleSource({});
}

} // namespace
