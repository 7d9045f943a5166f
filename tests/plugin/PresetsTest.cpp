// Preset files: whole and tape presets, locks, old versions, bad files, and
// every factory preset loaded and rendered.
#include "files/VFSHolder.h"
#include "plugin/ReelwarpPlugin.h"
#include "support/ProcessorHarness.h"
#include "support/Signals.h"
#include "support/StateValues.h"
#include "tape/ReelwarpParameters.h"
#include "ui/PresetFiles.h"

#include <gtest/gtest.h>
#include <tinyxml2.h>

#include <cmath>
#include <random>

namespace
{

using qel::PresetKind;
using qel::test::ProcessorHarness;

PresetKind tapeKind()
{
    std::vector<uint32_t> ids;
    for (const auto p : qel::tapePresetParameters)
        ids.push_back(qel::reelwarpParameterId(p));
    return PresetKind::tape(ids);
}

// A preset file in a folder of the test's own.
struct PresetFolder
{
    PresetFolder() { folder.createDirectory(); }
    ~PresetFolder() { folder.deleteRecursively(); }

    qel::Path write(const juce::String& name, const juce::String& text)
    {
        auto file = folder.getChildFile(name);
        file.replaceWithText(text, false, false, nullptr);
        return file.getFullPathName();
    }

    juce::File folder = juce::File::createTempFile("reelwarp-presets");
};

// A fresh effect, named as in the plug-in, with a few values of its own.
struct PresetTarget : ::testing::Test
{
    void SetUp() override
    {
        h.processor.setName("Reelwarp");
        h.set("Feedback", 0.3f);
        h.set("Mix", 0.4f);
        h.set("OutputPad", 2.0f);
        h.set("Drive", 6.0f);
        h.set("Bypass", true);
    }

    bool loadWhole(const juce::String& body, const char* root = "ModulePreset")
    {
        path = folder.write("whole.fxps", juce::String("<") + root + ">" + body + "</" + root + ">");
        return qel::loadPresetFile(&h.processor, path, PresetKind::whole());
    }

    ProcessorHarness h { 2, 48000.0, 64 };
    PresetFolder folder;
    qel::Path path;
};

TEST_F(PresetTarget, AWholePresetSetsWhatItHoldsAndKeepsTheRest)
{
    h.processor.setProperty("TapePresetPath", { juce::String("/t.fxps"), 1 });
    ASSERT_TRUE(loadWhole(R"(<Reelwarp Name="Jet" Bypass="0" Mix="0.9" Drive="12" ReelwarpVersion="1"/>)"));
    EXPECT_FLOAT_EQ(h.number("Mix"), 0.9f);
    EXPECT_FLOAT_EQ(h.number("Drive"), 12.0f);
    EXPECT_FLOAT_EQ(h.number("Feedback"), 0.3f); // absent: unchanged
    EXPECT_EQ(h.processor.getName(), "Reelwarp"); // a preset never renames
    EXPECT_TRUE(h.processor.getParameterBool(h.id("Bypass"))); // nor bypasses
    EXPECT_EQ(h.processor.getProperty("PresetPath").value.value_or(""), path.toString());
    EXPECT_FALSE(h.processor.hasProperty("TapePresetPath"));
    EXPECT_FALSE(h.processor.isModified());
}

TEST_F(PresetTarget, LockedParametersSurviveAPreset)
{
    qel::setParameterLocked(h.processor, h.id("Drive"), true);
    ASSERT_TRUE(loadWhole(R"(<Reelwarp Mix="0.9" Drive="12" ReelwarpVersion="1"/>)"));
    EXPECT_FLOAT_EQ(h.number("Drive"), 6.0f);
    EXPECT_FLOAT_EQ(h.number("Mix"), 0.9f);
    qel::setParameterLocked(h.processor, h.id("Drive"), false);
    ASSERT_TRUE(loadWhole(R"(<Reelwarp Drive="12" ReelwarpVersion="1"/>)"));
    EXPECT_FLOAT_EQ(h.number("Drive"), 12.0f);
}

TEST_F(PresetTarget, ATapePresetTouchesOnlyTheTape)
{
    qel::setParameterLocked(h.processor, h.id("ApplyLowLatency"), true);
    path = folder.write("tape.fxps", R"(<ModulePreset>
    <Reelwarp Name="Tape" Mix="1" Feedback="0.9" OutputPad="-3" Speed="0.5" ApplyLowLatency="1" SpeakerMix="0.5" ReelwarpVersion="1"/>
</ModulePreset>)");
    ASSERT_TRUE(qel::loadPresetFile(&h.processor, path, tapeKind()));
    EXPECT_FLOAT_EQ(h.number("Mix"), 0.4f);
    EXPECT_FLOAT_EQ(h.number("Feedback"), 0.3f);
    EXPECT_FLOAT_EQ(h.number("OutputPad"), -3.0f);
    EXPECT_FLOAT_EQ(h.number("Speed"), 0.5f);
    EXPECT_FALSE(h.processor.getParameterBool(h.id("ApplyLowLatency")));
    EXPECT_EQ(h.processor.getName(), "Reelwarp");
    EXPECT_EQ(h.processor.getProperty("TapePresetPath").value.value_or(""), path.toString());

    // A whole preset afterwards forgets the tape preset.
    ASSERT_TRUE(loadWhole(R"(<Reelwarp ReelwarpVersion="1"/>)"));
    EXPECT_FALSE(h.processor.hasProperty("TapePresetPath"));
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
        EXPECT_EQ(h.state().decks.front().deckB.relativePosition, 0.0) << "load " << load;
        for (int i = 0; i < 20; ++i)
            h.render(block, 64);
        h.set("RelativeDelay", 0.25f); // the musician moves the flange on
    }
}

TEST_F(PresetTarget, OlderPresetsConvertTheResistanceAfterTheClamp)
{
    ASSERT_TRUE(loadWhole(R"(<Reelwarp Hysteresis="1"/>)"));
    EXPECT_FLOAT_EQ(h.number("Hysteresis"), 1.0f);
    ASSERT_TRUE(loadWhole(R"(<Reelwarp Hysteresis="0"/>)"));
    EXPECT_FLOAT_EQ(h.number("Hysteresis"), 0.33333334f);
    ASSERT_TRUE(loadWhole(R"(<Reelwarp Hysteresis="7"/>)"));
    EXPECT_FLOAT_EQ(h.number("Hysteresis"), 1.0f);
    ASSERT_TRUE(loadWhole(R"(<Reelwarp Hysteresis="soft"/>)"));
    EXPECT_FLOAT_EQ(h.number("Hysteresis"), 0.0f); // the default, not converted
}

TEST_F(PresetTarget, BadFilesChangeNothing)
{
    const auto before = qel::test::storedValues(h.processor);
    EXPECT_FALSE(loadWhole(R"(<Reelwarp Mix="0.9"/>)", "FooPreset"));
    EXPECT_FALSE(loadWhole(""));
    EXPECT_FALSE(loadWhole(R"(<Other Mix="0.9"/>)"));
    EXPECT_FALSE(qel::loadPresetFile(&h.processor, folder.write("cut.fxps", "<ModulePreset><Reelwarp Mix=\"0.9\""),
                                     PresetKind::whole()));
    EXPECT_FALSE(qel::loadPresetFile(&h.processor, folder.write("empty.fxps", ""), PresetKind::whole()));
    EXPECT_FALSE(qel::loadPresetFile(&h.processor, folder.folder.getChildFile("missing.fxps").getFullPathName(),
                                     PresetKind::whole()));
    EXPECT_FALSE(qel::loadPresetFile(nullptr, path, PresetKind::whole()));

    juce::String huge("<ModulePreset><Reelwarp Mix=\"0.9\"/>");
    huge += juce::String::repeatedString("<!-- padding -->", 300000);
    huge += "</ModulePreset>";
    EXPECT_FALSE(qel::loadPresetFile(&h.processor, folder.write("huge.fxps", huge), PresetKind::whole()));

    std::mt19937 random(5);
    for (int i = 0; i < 30; ++i)
    {
        juce::MemoryBlock noise(static_cast<size_t>(random() % 400));
        for (size_t b = 0; b < noise.getSize(); ++b)
            noise[b] = static_cast<char>(random());
        auto file = folder.folder.getChildFile("noise.fxps");
        file.replaceWithData(noise.getData(), noise.getSize());
        qel::loadPresetFile(&h.processor, file.getFullPathName(), PresetKind::whole());
    }
    EXPECT_EQ(qel::test::storedValues(h.processor), before);
}

TEST_F(PresetTarget, SavedFilesLoadBackWithBothLineEnds)
{
    std::mt19937 random(9);
    ProcessorHarness source(2, 48000.0, 64);
    source.processor.setName("Reelwarp");
    qel::test::randomiseStoredValues(source.processor, random);
    const auto file = folder.folder.getChildFile("saved.fxps");
    ASSERT_TRUE(qel::savePresetFile(source.processor, file, PresetKind::whole()));
    EXPECT_EQ(source.processor.getProperty("PresetPath").value.value_or(""), file.getFullPathName());

    const auto text = file.loadFileAsString();
    EXPECT_TRUE(text.startsWith("<ModulePreset>\n    <Reelwarp Name=\"Reelwarp\" ")) << text.substring(0, 60);
    h.set("Bypass", source.processor.getParameterBool(source.id("Bypass")));
    ASSERT_TRUE(qel::loadPresetFile(&h.processor, file.getFullPathName(), PresetKind::whole()));
    qel::test::expectSameStoredValues(source.processor, h.processor);

    const auto crlf = folder.write("crlf.fxps", text.replace("\n", "\r\n"));
    h.set("Mix", 0.0f);
    ASSERT_TRUE(qel::loadPresetFile(&h.processor, crlf, PresetKind::whole()));
    qel::test::expectSameStoredValues(source.processor, h.processor);
}

// --- the factory presets, from the archive the binaries carry ---

struct FactoryPreset
{
    qel::Path path;
    bool tape;
};

void collect(const qel::Path& folder, bool tape, std::vector<FactoryPreset>& out)
{
    std::vector<qel::Volume::Entry> entries;
    qel::VFSHolder::getInstance()->listFolder(folder, entries);
    for (const auto& e : entries)
        if (e.isFolder)
            collect(folder.join(e.name), tape, out);
        else if (e.name.endsWith(".fxps"))
            out.push_back({ folder.join(e.name), tape });
}

std::vector<FactoryPreset> factoryPresets()
{
    qel::ReelwarpPlugin mounting; // mounts the archive once per process
    std::vector<FactoryPreset> all;
    collect("$Resource/resource/presets", false, all);
    collect("$Resource/resource/tapepresets", true, all);
    return all;
}

TEST(FactoryPresets, AreAllThereUnderTheirNames)
{
    const auto all = factoryPresets();
    std::set<juce::String> names;
    for (const auto& p : all)
        names.insert(p.path.toString().fromFirstOccurrenceOf("$Resource/resource/", false, false));
    EXPECT_EQ(std::count_if(all.begin(), all.end(), [](auto& p) { return !p.tape; }), 36);
    EXPECT_EQ(std::count_if(all.begin(), all.end(), [](auto& p) { return p.tape; }), 18);
    for (const char* expected : { "presets/01 Classic/Jet Tape.fxps", "presets/02 Guitar/Kenny Lavitz.fxps",
                                  "presets/06 Bass/Rhythm Shake.fxps", "tapepresets/00 Flat.fxps",
                                  "tapepresets/01 Personnal System.fxps", "tapepresets/14 Reel-to-Reel.fxps" })
        EXPECT_EQ(names.count(expected), 1u) << expected;
}

TEST(FactoryPresets, LoadSetTheirValuesAndRenderFiniteBoundedAudio)
{
    const auto tape = tapeKind();
    for (const auto& preset : factoryPresets())
    {
        SCOPED_TRACE(preset.path.toString().toStdString());
        ProcessorHarness h(2, 48000.0, 256);
        h.processor.setName("Reelwarp");
        h.set("Mix", 0.25f);
        const auto& kind = preset.tape ? tape : PresetKind::whole();
        ASSERT_TRUE(qel::loadPresetFile(&h.processor, preset.path, kind));

        tinyxml2::XMLDocument document;
        ASSERT_TRUE(qel::readXmlDocument(preset.path, document));
        const auto& xml = *document.RootElement()->FirstChildElement();
        EXPECT_STREQ(xml.Attribute("ReelwarpVersion"), "1");
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
            EXPECT_FLOAT_EQ(static_cast<float>(qel::test::storedValues(h.processor).at(name.toStdString())), value)
                << name;
        }
        if (preset.tape)
        {
            EXPECT_FLOAT_EQ(h.number("Mix"), 0.25f); // a tape preset keeps the mix
            EXPECT_NE(xml.Attribute("OutputPad"), nullptr);
        }

        // Two seconds of a chord at -12 dBFS: finite, and never far above the input.
        const auto input = qel::test::sineChord(48000.0, 96000, 0.25f);
        const auto output = h.renderSignal(input, 256);
        float peak = 0.0f;
        for (const float s : output)
        {
            ASSERT_TRUE(std::isfinite(s));
            peak = std::max(peak, std::abs(s));
        }
        EXPECT_LT(peak, 2.0f);
        EXPECT_GT(peak, 0.01f);
    }
}

} // namespace
