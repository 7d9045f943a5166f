// The parameter menu and the MIDI panel on the real effect, and the scaled images.
#include "UiTestSupport.h"

#include "ui/ParameterMenu.h"
#include "ui/PresetFiles.h"
#include "ui/widgets/ScaledImage.h"
#include "ui/widgets/SimpleEditionSettingsPanel.h"

#include <gtest/gtest.h>
#include <tinyxml2.h>

namespace
{

using namespace qel;
using P = ReelwarpParameter;

struct ParameterMenuTest : ::testing::Test, test::EffectFixture
{
    const Path path { ReelwarpPlugin::effectPath };
    juce::Component editor;

    void choose(int item, P p) { ParameterMenu::apply(item, proxy, path, editor, id(p)); }
    juce::PopupMenu::Item item(int item, P p)
    {
        const auto menu = ParameterMenu::build(effect, id(p)); // the iterator holds a reference
        for (juce::PopupMenu::MenuItemIterator it(menu); it.next();)
            if (it.getItem().itemID == item)
                return it.getItem();
        return {};
    }
};

TEST_F(ParameterMenuTest, MidiUnlearnIsGreyWithoutALinkAndNamesTheLearnedController)
{
    EXPECT_EQ(item(ParameterMenu::midiUnlearn, P::Feedback).text, "MIDI Unlearn");
    EXPECT_FALSE(item(ParameterMenu::midiUnlearn, P::Feedback).isEnabled);

    SimpleEditionSettingsPanel panel(proxy, path, id(P::Feedback), false, true, true);
    panel.chooseController(75);
    panel.chooseController(12); // ids are controller + 1; a second choice replaces the first
    juce::StringArray sources;
    effect.listModulationSources(id(P::Feedback), sources);
    EXPECT_EQ(sources, juce::StringArray { "@MIDI CC 11" });
    EXPECT_EQ(item(ParameterMenu::midiUnlearn, P::Feedback).text, "MIDI Unlearn (CC #11)");
    EXPECT_TRUE(item(ParameterMenu::midiUnlearn, P::Feedback).isEnabled);
    EXPECT_EQ(SimpleEditionSettingsPanel(proxy, path, id(P::Feedback), true, false, false).getValueText(),
              "MIDI CC 11 (Expression (coarse))");

    choose(ParameterMenu::midiUnlearn, P::Feedback);
    EXPECT_FALSE(item(ParameterMenu::midiUnlearn, P::Feedback).isEnabled);
}

TEST_F(ParameterMenuTest, ALockedMixOutlastsAPresetAndUnlockAllClearsTheFiveAlone)
{
    choose(ParameterMenu::locked, P::Mix);
    EXPECT_TRUE(item(ParameterMenu::locked, P::Mix).isTicked);
    effect.setParameterFloat(id(P::Mix), 0.3f);
    tinyxml2::XMLDocument preset;
    preset.Parse(R"(<Reelwarp Mix="0.8" Feedback="0.5"/>)");
    ASSERT_TRUE(applyPreset(effect, *preset.RootElement(), 1, "test.fxps", PresetKind::whole()));
    EXPECT_EQ(number(P::Mix), 0.3f);
    EXPECT_EQ(number(P::Feedback), 0.5f);

    for (const auto p : { P::InputGain, P::OutputGain, P::Drive, P::ApplyLowLatency, P::Feedback })
        setParameterLocked(effect, id(p), true);
    choose(ParameterMenu::unlockAll, P::Drive);
    for (const auto p : { P::Mix, P::InputGain, P::OutputGain, P::Drive, P::ApplyLowLatency })
        EXPECT_FALSE(isParameterLocked(effect, id(p))) << ParameterRegistry::get().nameOf(id(p));
    EXPECT_TRUE(isParameterLocked(effect, id(P::Feedback))) << "only the face's five are unlocked";
}

TEST(ScaledImage, TakesTheLargestTwinNotAboveTheDisplayScale)
{
    for (const auto& [scale, twin] : { std::pair(1.0, 1), std::pair(2.0, 2), std::pair(3.0, 2) })
    {
        setDisplayScaleSource([scale = scale] { return scale; });
        const auto image = loadScaledImage(assetPath("k_black-small_28x28x129.png"));
        EXPECT_EQ(image.getWidth(), 28 * twin) << scale;
        EXPECT_EQ((int) image.getProperties()->getWithDefault("scale", 0), twin) << scale;
    }
    setDisplayScaleSource({});
}

} // namespace
