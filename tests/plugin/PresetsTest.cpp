// Preset files: whole and tape presets, locks, old versions, bad files, and every factory preset loaded and rendered.
#include "element/ParameterRegistry.h"
#include "files/VFSHolder.h"
#include "plugin/ReelwarpPlugin.h"
#include "support/ProcessorHarness.h"
#include "support/Signals.h"
#include "support/StateValues.h"
#include "tape/ReelwarpParameters.h"
#include "ui/PresetFiles.h"

#include <gtest/gtest.h>
#include <tinyxml2.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <utility>

namespace
{

using qel::PresetKind;
using qel::test::ProcessorHarness;

// A fresh effect, named as in the plug-in, with a few values of its own, and a folder of the test's own for preset files.
struct PresetTarget : ::testing::Test
{
    void SetUp() override
    {
        folder.createDirectory();
        h.processor.setName("Reelwarp");
        h.set("Feedback", 0.3f);
        h.set("Mix", 0.4f);
        h.set("OutputPad", 2.0f);
        h.set("Drive", 6.0f);
        h.set("Bypass", true);
    }
    void TearDown() override { folder.deleteRecursively(); }

    qel::Path write(const juce::String& name, const juce::String& text)
    {
        folder.getChildFile(name).replaceWithText(text, false, false, nullptr);
        return folder.getChildFile(name).getFullPathName();
    }

    bool loadWhole(const juce::String& body, const char* root = "ModulePreset")
    {
        path = write("whole.fxps", juce::String("<") + root + ">" + body + "</" + root + ">");
        return qel::loadPresetFile(&h.processor, path, PresetKind::whole());
    }

    ProcessorHarness h { 2, 48000.0, 64 };
    juce::File folder = juce::File::createTempFile("reelwarp-presets");
    qel::Path path;
};

TEST_F(PresetTarget, WholeAndTapePresetsSetWhatTheyHoldAndKeepTheRestAndTheLocked)
{
    qel::setParameterLocked(h.processor, h.id("Drive"), true);
    qel::setParameterLocked(h.processor, h.id("ApplyLowLatency"), true);
    path = write("tape.fxps", R"(<ModulePreset>
    <Reelwarp Name="Tape" Mix="1" Feedback="0.9" OutputPad="-3" Speed="0.5" ApplyLowLatency="1" SpeakerMix="0.5" ReelwarpVersion="1"/>
</ModulePreset>)");
    ASSERT_TRUE(qel::loadPresetFile(&h.processor, path, PresetKind::reelwarpTape()));
    EXPECT_FLOAT_EQ(h.number("Mix"), 0.4f); // the flanging, gains and mix stay
    EXPECT_FLOAT_EQ(h.number("Feedback"), 0.3f);
    EXPECT_FLOAT_EQ(h.number("OutputPad"), -3.0f);
    EXPECT_FLOAT_EQ(h.number("Speed"), 0.5f);
    EXPECT_FALSE(h.processor.getParameterBool(h.id("ApplyLowLatency"))); // locked
    EXPECT_EQ(h.processor.getProperty("TapePresetPath").value.value_or(""), path.toString());

    ASSERT_TRUE(loadWhole(R"(<Reelwarp Name="Jet" Bypass="0" Mix="0.9" Drive="12" ReelwarpVersion="1"/>)"));
    EXPECT_FLOAT_EQ(h.number("Mix"), 0.9f);
    EXPECT_FLOAT_EQ(h.number("Drive"), 6.0f); // locked: unchanged
    EXPECT_FLOAT_EQ(h.number("Speed"), qel::ParameterRegistry::get().floatDescription(h.id("Speed")).defaultValue); // absent: the default
    EXPECT_EQ(h.processor.getName(), "Reelwarp"); // a preset never renames
    EXPECT_TRUE(h.processor.getParameterBool(h.id("Bypass"))); // nor bypasses
    EXPECT_EQ(h.processor.getProperty("PresetPath").value.value_or(""), path.toString());
    EXPECT_FALSE(h.processor.hasProperty("TapePresetPath")); // a whole preset supersedes the tape's
    EXPECT_FALSE(h.processor.isModified());

    qel::setParameterLocked(h.processor, h.id("Drive"), false);
    ASSERT_TRUE(loadWhole(R"(<Reelwarp Drive="12" ReelwarpVersion="1"/>)"));
    EXPECT_FLOAT_EQ(h.number("Drive"), 12.0f);
}

// Choosing Manual puts deck B level with deck A, after the preset's own
// position, whichever mode the effect was in.
TEST_F(PresetTarget, AManualPresetStartsItsFlangeFromDeckAEveryTimeItLoads)
{
    std::vector<std::vector<float>> block(2, std::vector<float>(64, 0.1f));
    for (int load = 0; load < 2; ++load)
    {
        ASSERT_TRUE(loadWhole(R"(<Reelwarp FlangeMode="0" RelativeDelay="0.5" ReelwarpVersion="1"/>)"));
        EXPECT_FLOAT_EQ(h.number("RelativeDelay"), -1.0f) << "load " << load;
        EXPECT_EQ(h.state().decks.front().deckB.getRelativePosition(), 0.0) << "load " << load;
        for (int i = 0; i < 20; ++i)
            h.render(block, 64);
        h.set("RelativeDelay", 0.25f); // the musician moves the flange on
    }
}

TEST_F(PresetTarget, OlderPresetsConvertTheResistanceAfterTheClamp)
{
    // Text that reads as no number gives the default, which is not converted.
    const std::pair<const char*, float> cases[] = { { "1", 1.0f }, { "0", 0.33333334f }, { "7", 1.0f }, { "soft", 0.0f } };
    for (const auto& [text, expected] : cases)
    {
        ASSERT_TRUE(loadWhole(juce::String("<Reelwarp Hysteresis=\"") + text + "\"/>"));
        EXPECT_FLOAT_EQ(h.number("Hysteresis"), expected) << text;
    }
}

TEST_F(PresetTarget, BadFilesChangeNothing)
{
    const auto before = qel::test::storedValues(h.processor);
    EXPECT_FALSE(loadWhole(R"(<Reelwarp Mix="0.9"/>)", "FooPreset"));
    EXPECT_FALSE(loadWhole(""));
    EXPECT_FALSE(loadWhole(R"(<Other Mix="0.9"/>)"));
    const auto huge = "<ModulePreset><Reelwarp Mix=\"0.9\"/>" + juce::String::repeatedString("<!-- padding -->", 300000) + "</ModulePreset>";
    for (const auto& file : { write("cut.fxps", "<ModulePreset><Reelwarp Mix=\"0.9\""), write("empty.fxps", ""),
                              write("huge.fxps", huge), qel::Path(folder.getChildFile("missing.fxps").getFullPathName()) })
        EXPECT_FALSE(qel::loadPresetFile(&h.processor, file, PresetKind::whole())) << file.toString();
    EXPECT_FALSE(qel::loadPresetFile(nullptr, path, PresetKind::whole()));
    EXPECT_EQ(qel::test::storedValues(h.processor), before);
}

TEST_F(PresetTarget, SavedFilesLoadBackWithBothLineEnds)
{
    std::mt19937 random(9);
    ProcessorHarness source(2, 48000.0, 64);
    source.processor.setName("Reelwarp");
    qel::test::randomiseStoredValues(source.processor, random);
    const auto file = folder.getChildFile("saved.fxps");
    ASSERT_TRUE(qel::savePresetFile(source.processor, file, PresetKind::whole()));
    EXPECT_EQ(source.processor.getProperty("PresetPath").value.value_or(""), file.getFullPathName());

    const auto text = file.loadFileAsString();
    EXPECT_TRUE(text.startsWith("<ModulePreset>\n    <Reelwarp Name=\"Reelwarp\" ")) << text.substring(0, 60);
    h.set("Bypass", source.processor.getParameterBool(source.id("Bypass")));
    ASSERT_TRUE(qel::loadPresetFile(&h.processor, file.getFullPathName(), PresetKind::whole()));
    qel::test::expectSameStoredValues(source.processor, h.processor);

    const auto crlf = write("crlf.fxps", text.replace("\n", "\r\n"));
    h.set("Mix", 0.0f);
    ASSERT_TRUE(qel::loadPresetFile(&h.processor, crlf, PresetKind::whole()));
    qel::test::expectSameStoredValues(source.processor, h.processor);
}

// Every factory preset of the archive the binaries carry loads its values and plays finite audio near the input's level.
TEST(FactoryPresets, AreAllThereAndLoadTheirValuesAndRenderFiniteBoundedAudio)
{
    const qel::ReelwarpPlugin mounting; // mounts the archive once per process
    std::vector<std::pair<qel::Path, bool>> all; // and whether a tape preset
    std::function<void(const qel::Path&, bool)> collect = [&](const qel::Path& folder, bool tape) {
        std::vector<qel::Volume::Entry> entries;
        qel::VFSHolder::getInstance()->listFolder(folder, entries);
        for (const auto& e : entries)
            if (e.isFolder)
                collect(folder.join(e.name), tape);
            else if (e.name.endsWith(".fxps"))
                all.emplace_back(folder.join(e.name), tape);
    };
    collect("$Resource/resource/presets", false);
    collect("$Resource/resource/tapepresets", true);
    EXPECT_EQ(std::count_if(all.begin(), all.end(), [](auto& p) { return p.second; }), 18);
    EXPECT_EQ(all.size(), 36u + 18u);

    const auto tapeOnly = PresetKind::reelwarpTape();
    const auto input = qel::test::sineChord(48000.0, 96000, 0.25f);
    for (const auto& [path, tape] : all)
    {
        SCOPED_TRACE(path.toString().toStdString());
        ProcessorHarness h(2, 48000.0, 256);
        h.processor.setName("Reelwarp");
        h.set("Mix", 0.25f);
        const auto& kind = tape ? tapeOnly : PresetKind::whole();
        ASSERT_TRUE(qel::loadPresetFile(&h.processor, path, kind));
        tinyxml2::XMLDocument document;
        ASSERT_TRUE(qel::readXmlDocument(path, document));
        const auto& xml = *document.RootElement()->FirstChildElement();
        const auto loaded = qel::test::storedValues(h.processor);
        for (const auto& b : h.processor.getParameters())
        {
            const auto& name = b->description().name;
            float value = 0.0f;
            if (!qel::test::isStored(*b) || name == "Bypass" || !kind.takes(b->id())
                || xml.QueryFloatAttribute(name.toRawUTF8(), &value) != tinyxml2::XML_SUCCESS)
                continue;
            // Manual, chosen after the values, starts the flange from deck A.
            if (name == "RelativeDelay" && xml.IntAttribute("FlangeMode", 1) == 0)
                value = -1.0f;
            EXPECT_FLOAT_EQ(static_cast<float>(loaded.at(name.toStdString())), value) << name;
        }
        if (tape) // a tape preset keeps the mix, and sets its level
            EXPECT_TRUE(h.number("Mix") == 0.25f && xml.Attribute("OutputPad") != nullptr);

        // Two seconds of a chord at -12 dBFS: finite, and never far above the input.
        float peak = 0.0f;
        for (const float s : h.renderSignal(input, 256))
            peak = std::isfinite(s) ? std::max(peak, std::abs(s)) : INFINITY;
        EXPECT_LT(peak, 2.0f);
        EXPECT_GT(peak, 0.01f);
    }
}

} // namespace
