// Elements written to XML and read back: values, ranges, versions, properties, links.
#include "element/SignalConnection.h"
#include "support/ProcessorHarness.h"

#include <gtest/gtest.h>
#include <tinyxml2.h>

#include <cstring>
#include <string>
#include <utility>

namespace
{

using qel::ReelwarpProcessor;
using qel::test::ProcessorHarness;

// A document holding "ModulePreset" with the element saved below it.
struct Saved
{
    explicit Saved(qel::Element& element)
    {
        root = document.NewElement("ModulePreset");
        document.InsertEndChild(root);
        element.save(*root, {});
    }
    tinyxml2::XMLElement& xml() { return *root->FirstChildElement(); }
    std::string text()
    {
        tinyxml2::XMLPrinter printer;
        document.Print(&printer);
        return printer.CStr();
    }
    tinyxml2::XMLDocument document;
    tinyxml2::XMLElement* root = nullptr;
};

// Persistent properties in their own child, no wrapper for links when there are none, floats in the "%.8g" form.
TEST(ElementPersistence, WritesTheFileForm)
{
    ProcessorHarness h(2, 48000.0, 64);
    h.processor.setName("Reelwarp");
    h.set("Fade", 0.1f);
    h.set("Hysteresis", 1.0f / 3.0f);
    h.processor.setProperty("PresetPath", { juce::String("/presets/a.fxps"), 1 });
    h.processor.setProperty("Scratch", { juce::String("not kept"), 0 });
    Saved saved(h.processor);
    const auto text = saved.text();
    EXPECT_EQ(text.rfind("<ModulePreset>\n    <Reelwarp Name=\"Reelwarp\" ", 0), 0u) << text;
    EXPECT_NE(text.find("        <Properties PresetPath=\"/presets/a.fxps\"/>"), std::string::npos) << text;
    EXPECT_EQ(text.find("Connections"), std::string::npos);
    EXPECT_EQ(text.find("Scratch"), std::string::npos); // not a persistent property
    EXPECT_STREQ(saved.xml().Attribute("Fade"), "0.1");
    EXPECT_STREQ(saved.xml().Attribute("Hysteresis"), "0.33333334");
    EXPECT_STREQ(saved.xml().Attribute("ReelwarpVersion"), "1");
}

// Loads the attribute text into a fresh effect and answers the loaded value.
struct Loading : ::testing::Test
{
    void load(const char* attributes, uint32_t version = qel::currentLayoutVersion)
    {
        const auto text = std::string("<Reelwarp Name=\"Reelwarp\" ") + attributes + "/>";
        document.Parse(text.c_str());
        ASSERT_NE(document.RootElement(), nullptr) << text;
        loaded = h.processor.load(*document.RootElement(), {}, version);
    }
    tinyxml2::XMLDocument document;
    ProcessorHarness h { 2, 48000.0, 64 };
    bool loaded = false;
};

// The switches load first, so a synced value knows whether SyncToHost is on.
TEST_F(Loading, SyncedValuesKeepTheirRatioOnlyUnderSyncToHost)
{
    load("SyncToHost=\"1\" LFOFreq=\"4\"");
    EXPECT_TRUE(loaded);
    EXPECT_FLOAT_EQ(h.number("LFOFreq"), 4.0f); // a ratio, not converted from hertz
    load("SyncToHost=\"0\" LFOFreq=\"400\"");
    EXPECT_FLOAT_EQ(h.number("LFOFreq"), 10.0f);
    load("SyncToHost=\"0\" Delay=\"4\"");
    EXPECT_FLOAT_EQ(h.number("Delay"), 1.0f); // not a synced display: always clamped
}

TEST_F(Loading, MissingOrBadValuesTakeTheDefaultAndNanTheMinimum)
{
    h.set("Feedback", 0.7f);
    h.set("Drive", 20.0f);
    h.set("ApplyCompander", true);
    load("Drive=\"loud\" ApplyCompander=\"yes\" Mix=\"nan\" OutputPad=\"-99\" NoiseReductionDecoder=\"9\"");
    EXPECT_FLOAT_EQ(h.number("Feedback"), 0.0f); // absent: default, not the former value
    EXPECT_FLOAT_EQ(h.number("Drive"), 0.0f);
    EXPECT_FALSE(h.processor.getParameterBool(h.id("ApplyCompander")));
    EXPECT_FLOAT_EQ(h.number("Mix"), 0.0f);
    EXPECT_FLOAT_EQ(h.number("OutputPad"), -15.0f);
    EXPECT_EQ(h.choice("NoiseReductionDecoder"), 3);

    // A malformed name loads with its bad bytes replaced, and the rest loads too.
    document.Parse("<Reelwarp Name=\"\xC0\x80\xE2\x89 Tape\" Feedback=\"0.5\"/>");
    ASSERT_NE(document.RootElement(), nullptr);
    EXPECT_TRUE(h.processor.load(*document.RootElement(), {}, qel::currentLayoutVersion));
    EXPECT_EQ(h.processor.getName().toStdString(), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD Tape");
    EXPECT_FLOAT_EQ(h.number("Feedback"), 0.5f);
}

TEST_F(Loading, OlderFilesConvertTheMagneticResistance)
{
    load("Hysteresis=\"0.5\"");
    EXPECT_FLOAT_EQ(h.number("Hysteresis"), 0.6666667f);
    load("Hysteresis=\"0.5\" ReelwarpVersion=\"1\"");
    EXPECT_FLOAT_EQ(h.number("Hysteresis"), 0.5f);
    load("Hysteresis=\"0.5\" ReelwarpVersion=\"7\""); // newer files read alike
    EXPECT_FLOAT_EQ(h.number("Hysteresis"), 0.5f);
}

// Documents may hold any bytes: well-formed UTF-8 reads as it stands, each byte outside a well-formed sequence as U+FFFD.
TEST(DocumentText, KeepsWellFormedUtf8AndReplacesEachMalformedByte)
{
    const std::string wellFormed = "Tape \xC3\xA9 \xE2\x89\x88 \xF0\x9F\x8E\xB8 \xF4\x8F\xBF\xBF \xEF\xBF\xBD";
    EXPECT_EQ(qel::textFromUtf8(wellFormed.c_str()).toStdString(), wellFormed);

    const std::string r = "\xEF\xBF\xBD";
    const std::pair<const char*, std::string> malformed[] = {
        { "\xE0\x80\xAF", r + r + r },         // overlong '/'
        { "\xE2\x89" "z", r + r + "z" },       // cut short by a plain character
        { "\xF4\x90\x80\x80", r + r + r + r }, // above U+10FFFF
        { "\xFF\xFE", r + r },
    };
    for (const auto& [bytes, expected] : malformed)
        EXPECT_EQ(qel::textFromUtf8(bytes).toStdString(), expected) << juce::String::toHexString(bytes, (int) std::strlen(bytes));
}

TEST(ElementPersistence, MidiLearnLinksComeBackOnlyWithTheHostState)
{
    ReelwarpProcessor source;
    tinyxml2::XMLDocument link;
    link.Parse(R"(<SignalConnection Source="@MIDI CC 74" Destination="Mix" Ratio="0.5"/>)");
    ASSERT_TRUE(source.addModulationSource(*link.RootElement(), true));
    Saved saved(source);
    ASSERT_NE(saved.xml().FirstChildElement("Connections"), nullptr) << saved.text();

    auto linksOf = [](qel::Element& e) {
        juce::StringArray sources;
        e.listModulationSources(e.findParameterId("Mix"), sources);
        return sources;
    };
    ReelwarpProcessor preset;
    ASSERT_TRUE(preset.load(saved.xml(), {}, qel::currentLayoutVersion));
    EXPECT_TRUE(linksOf(preset).isEmpty());

    qel::ElementLoadOptions hostState;
    hostState.loadConnections = 1;
    ReelwarpProcessor restored;
    ASSERT_TRUE(restored.load(saved.xml(), hostState, qel::currentLayoutVersion));
    ASSERT_TRUE(restored.load(saved.xml(), hostState, qel::currentLayoutVersion)); // replaced, not doubled
    EXPECT_EQ(linksOf(restored), juce::StringArray { "@MIDI CC 74" });
    EXPECT_EQ(Saved(restored).text(), saved.text()); // the link whole: ratio, mode and all
}

} // namespace
