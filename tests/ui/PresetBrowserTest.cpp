// The preset browsers against the archive the binaries carry and a user folder of the test's own: the menu, the
// walk through the tree, the labels, saving, and the A/B memory.
#include "UiTestSupport.h"

#include "../support/StateValues.h"
#include "ui/PresetFiles.h"
#include "ui/presets/ABToolBar.h"

#include <gtest/gtest.h>

namespace
{

using namespace qel;
using P = ReelwarpParameter;

struct PresetBrowser : ::testing::Test, test::EffectFixture
{
    PresetBrowser()
    {
        whole.setRoots(factoryRoot, userRoot.getFullPathName());
        test::deliver();
    }
    ~PresetBrowser() override { userRoot.getParentDirectory().deleteRecursively(); }

    juce::String property(const char* key) const { return effect.getProperty(key).value.value_or("(none)"); }
    juce::File userPreset(const juce::String& relative)
    {
        auto file = userRoot.getChildFile(relative);
        file.getParentDirectory().createDirectory();
        EXPECT_TRUE(savePresetFile(effect, file, PresetKind::whole()));
        return file;
    }

    const Path factoryRoot { "$Resource/resource/presets" };
    juce::File userRoot = juce::File::createTempFile("browser").getChildFile("User Presets");
    ModulePresetDisplay whole { &proxy, ReelwarpPlugin::effectPath };
    TapeModulePresetDisplay tape { &proxy, ReelwarpPlugin::effectPath };
};

struct MenuItem
{
    juce::String text;
    int id = 0;
    bool header = false, ticked = false;
    std::vector<MenuItem> sub;
};

std::vector<MenuItem> itemsOf(const juce::PopupMenu& menu)
{
    std::vector<MenuItem> out;
    for (juce::PopupMenu::MenuItemIterator it(menu); it.next();)
    {
        const auto& item = it.getItem();
        out.push_back({ item.text, item.itemID, item.isSectionHeader, item.isTicked,
                        item.subMenu != nullptr ? itemsOf(*item.subMenu) : std::vector<MenuItem>() });
    }
    return out;
}

juce::StringArray textsOf(const std::vector<MenuItem>& items)
{
    juce::StringArray texts;
    for (const auto& item : items)
        texts.add(item.text);
    return texts;
}

TEST_F(PresetBrowser, TheMenuListsTheArchiveThenTheUserTreeInNaturalOrderWithTheCurrentTicked)
{
    std::map<int, Path> paths;
    auto items = itemsOf(whole.buildMenu(paths));
    EXPECT_EQ(textsOf(items).joinIntoString("|"), "Load|Save|Factory Presets|Default|01 Classic|02 Guitar|03 Keys|04 Drums|"
                                                  "05 Vocal|06 Bass");
    EXPECT_TRUE(items[2].header);
    for (size_t folder = 4; folder < items.size(); ++folder)
        EXPECT_EQ(items[folder].sub.size(), 6u) << items[folder].text;
    EXPECT_EQ(textsOf(items[4].sub).joinIntoString("|"), "Classic Drive|Flutter Phase|Jet Tape|Simple Flange|Speed Reel|Stereo Drive");
    EXPECT_TRUE(userRoot.isDirectory()) << "the user folder is made on demand";
    EXPECT_EQ(paths.size(), 36u);

    // Case and numbers: a plain or case-sensitive sort would put "Take 10" first.
    userPreset("Songs/take 9.fxps");
    const auto ten = userPreset("Songs/Take 10.fxps");
    userRoot.getChildFile("Songs/notes.txt").replaceWithText("not a preset");
    userRoot.getChildFile("Empty").createDirectory();
    items = itemsOf(whole.buildMenu(paths));
    ASSERT_EQ(items.size(), 12u);
    EXPECT_TRUE(items[10].header && items[10].text == "User Presets");
    EXPECT_EQ(items[11].text, "Songs") << "an empty folder is left out";
    ASSERT_EQ(textsOf(items[11].sub).joinIntoString("|"), "take 9|Take 10");
    EXPECT_TRUE(items[11].sub[1].ticked && !items[11].sub[0].ticked);
    EXPECT_EQ(paths.at(items[11].sub[1].id).toString(), ten.getFullPathName());

    effect.setParameterFloat(id(P::Mix), 0.25f);
    whole.menuItemChosen(items[4].sub[2].id, paths);
    EXPECT_EQ(property("PresetPath"), "$Resource/resource/presets/01 Classic/Jet Tape.fxps");
    EXPECT_EQ(whole.getNameLabel().getText(), "Jet Tape");
    EXPECT_NE(number(P::Mix), 0.25f);
}

TEST_F(PresetBrowser, StepsFolderByFolderFromDefaultAndStopsAtEitherEnd)
{
    const juce::String root = "$Resource/resource/presets/";
    whole.stepPreset({}, true);
    EXPECT_EQ(property("PresetPath"), root + "01 Classic/Classic Drive.fxps");
    whole.stepPreset(root + "01 Classic/Stereo Drive.fxps", true);
    EXPECT_EQ(property("PresetPath"), root + "02 Guitar/Cowboy Flange.fxps");
    whole.stepPreset(root + "02 Guitar/Cowboy Flange.fxps", false);
    EXPECT_EQ(property("PresetPath"), root + "01 Classic/Stereo Drive.fxps");
    whole.stepPreset(root + "06 Bass/Rhythm Shake.fxps", true);
    whole.stepPreset(root + "01 Classic/Classic Drive.fxps", false);
    EXPECT_EQ(property("PresetPath"), root + "01 Classic/Stereo Drive.fxps") << "the walk does not wrap";

    // A user preset steps within the user tree.
    const auto first = userPreset("A/one.fxps"), second = userPreset("B/two.fxps");
    whole.stepPreset(first.getFullPathName(), true);
    EXPECT_EQ(property("PresetPath"), second.getFullPathName());
}

TEST_F(PresetBrowser, LabelsFollowTheLoadsAndDefaultRestoresAFreshEffect)
{
    ASSERT_TRUE(tape.loadPreset("$Resource/resource/tapepresets/07 Cassette Type II.fxps"));
    EXPECT_EQ(tape.getNameLabel().getText(), "07 Cassette Type II");
    ASSERT_TRUE(whole.loadPreset("$Resource/resource/presets/03 Keys/Twangy.fxps"));
    EXPECT_EQ(whole.getNameLabel().getText(), "Twangy");
    EXPECT_EQ(tape.getNameLabel().getText(), "default") << "a whole preset forgets the tape preset";

    effect.setParameterBool(FrameworkParameters::get().bypass, true);
    whole.menuItemChosen(ModulePresetDisplay::menuDefault, {});
    EXPECT_EQ(whole.getNameLabel().getText(), "default");
    ReelwarpPlugin fresh;
    auto& freshEffect = *fresh.getEngine().findChild(ReelwarpPlugin::effectName);
    freshEffect.setParameterBool(FrameworkParameters::get().bypass, true); // "Default" keeps the bypass as it is
    test::expectSameStoredValues(freshEffect, effect);
}

TEST_F(PresetBrowser, SavesAddTheExtensionAndAFailedSaveChangesNothing)
{
    effect.setParameterFloat(id(P::Feedback), 0.45f);
    ASSERT_TRUE(whole.saveTo(userRoot.getChildFile("My Sound")));
    const auto saved = userRoot.getChildFile("My Sound.fxps");
    EXPECT_TRUE(saved.existsAsFile());
    EXPECT_EQ(whole.getNameLabel().getText(), "My Sound");
    EXPECT_FALSE(saved.loadFileAsString().contains(abStateProperty));

    EXPECT_FALSE(whole.saveTo(saved.getChildFile("under a file")));
    EXPECT_EQ(property("PresetPath"), saved.getFullPathName());
    effect.setParameterFloat(id(P::Feedback), 0.0f);
    ASSERT_TRUE(whole.loadPreset(saved.getFullPathName()));
    EXPECT_FLOAT_EQ(number(P::Feedback), 0.45f);
}

TEST_F(PresetBrowser, ABSwapsTwoStatesLockedValuesTooAndTheMemoryDoesNotNest)
{
    ABToolBar bar(&proxy, ReelwarpPlugin::effectPath);
    auto click = [&] { bar.buttonClicked(&bar.getABButton()); };
    setParameterLocked(effect, id(P::Drive), true);
    effect.setParameterFloat(id(P::Mix), 0.2f);
    effect.setParameterFloat(id(P::Drive), 3.0f);
    const auto first = test::storedValues(effect);

    click();
    EXPECT_EQ(bar.getABState(), 1);
    EXPECT_EQ(bar.getABButton().getTooltip(), "Store Current State to Memory B and restore Memory A");
    EXPECT_EQ(test::storedValues(effect), first) << "the first click only stores";
    const auto memorySize = property(abStateProperty).length();

    effect.setParameterFloat(id(P::Mix), 0.7f);
    effect.setParameterFloat(id(P::Drive), 9.0f);
    const auto second = test::storedValues(effect);
    click();
    EXPECT_EQ(bar.getABState(), 2);
    EXPECT_EQ(bar.getABButton().getTooltip(), "Store Current State to Memory A and restore Memory B");
    EXPECT_EQ(test::storedValues(effect), first) << "locked Drive comes back too";
    for (int i = 0; i < 9; ++i)
        click();
    EXPECT_EQ(bar.getABState(), 1);
    EXPECT_EQ(test::storedValues(effect), second);
    EXPECT_LT(property(abStateProperty).length(), memorySize + 100) << "the memory holds no memory of its own";
    EXPECT_TRUE(isParameterLocked(effect, id(P::Drive)));

    ABToolBar reopened(&proxy, ReelwarpPlugin::effectPath);
    EXPECT_EQ(reopened.getABState(), 0) << "the state is the window's";
}

} // namespace
