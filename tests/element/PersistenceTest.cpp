// Elements written to XML and read back: values, ranges, versions, properties, links.
#include "element/ElementFileValues.h"
#include "element/ElementRegistry.h"
#include "element/SignalConnection.h"
#include "engine/Engine.h"
#include "plugin/ReelwarpPlugin.h"
#include "support/ProcessorHarness.h"
#include "support/StateValues.h"
#include "tape/ReelwarpParameters.h"

#include <gtest/gtest.h>
#include <tinyxml2.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

namespace
{

namespace ParameterFlags = qel::ParameterFlags;
using qel::ReelwarpProcessor;
using qel::ValueType;
using qel::test::ProcessorHarness;
using qel::test::expectSameStoredValues;
using qel::test::randomiseStoredValues;

// A document holding "ModulePreset" with the element saved below it.
struct Saved
{
    explicit Saved(qel::Element& element, qel::ElementSaveOptions options = {})
    {
        root = document.NewElement("ModulePreset");
        document.InsertEndChild(root);
        ok = element.save(*root, options);
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
    bool ok = false;
};

TEST(ElementPersistence, RandomValuesSurviveSaveAndLoad)
{
    std::mt19937 random(7);
    for (int round = 0; round < 20; ++round)
    {
        ProcessorHarness source(2, 48000.0, 64), target(2, 48000.0, 64);
        randomiseStoredValues(source.processor, random);
        source.processor.setProperty("MixLocked", { juce::String("1"), 1 });
        source.processor.setProperty("Scratch", { juce::String("not kept"), 0 });
        Saved saved(source.processor);
        ASSERT_TRUE(saved.ok);
        ASSERT_TRUE(target.processor.load(saved.xml(), {}, qel::currentLayoutVersion));
        expectSameStoredValues(source.processor, target.processor);
        EXPECT_EQ(target.processor.getProperty("MixLocked").value.value_or(""), "1");
        EXPECT_FALSE(target.processor.hasProperty("Scratch"));
    }
}

TEST(ElementPersistence, WritesTheFileFormInIdentifierOrder)
{
    ProcessorHarness h(2, 48000.0, 64);
    h.processor.setName("Reelwarp");
    h.set("Fade", 0.1f);
    h.processor.setProperty("PresetPath", { juce::String("/presets/a.fxps"), 1 });
    Saved saved(h.processor);
    const auto text = saved.text();
    EXPECT_EQ(text.rfind("<ModulePreset>\n    <Reelwarp Name=\"Reelwarp\" ", 0), 0u) << text;
    EXPECT_NE(text.find("Fade=\"0.1\""), std::string::npos);
    EXPECT_STREQ(saved.xml().Attribute("ReelwarpVersion"), "1");
    EXPECT_NE(text.find("        <Properties PresetPath=\"/presets/a.fxps\"/>"), std::string::npos) << text;
    EXPECT_EQ(text.find("Connections"), std::string::npos); // no links: no wrapper

    // Attributes follow the identifiers of the bindings, the version last.
    std::vector<std::string> names;
    for (auto* a = saved.xml().FirstAttribute(); a != nullptr; a = a->Next())
        names.emplace_back(a->Name());
    std::vector<std::string> expected { "Name" };
    for (const auto& b : h.processor.getParameters())
        if (b->description().has(ParameterFlags::persistent))
            expected.emplace_back(b->description().name.toStdString());
    expected.emplace_back("ReelwarpVersion");
    EXPECT_EQ(names, expected);

    // Floats in the "%.8g" form.
    h.set("Hysteresis", 0.1f);
    Saved again(h.processor);
    EXPECT_STREQ(again.xml().Attribute("Hysteresis"), "0.1");
    h.set("Hysteresis", 1.0f / 3.0f);
    Saved third(h.processor);
    EXPECT_STREQ(third.xml().Attribute("Hysteresis"), "0.33333334");
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

TEST_F(Loading, SyncedValuesKeepTheirRatioOnlyUnderSyncToHost)
{
    load("SyncToHost=\"1\" LFOFreq=\"4\"");
    EXPECT_TRUE(loaded);
    EXPECT_FLOAT_EQ(h.number("LFOFreq"), 4.0f); // a ratio outside the hertz range
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
    EXPECT_EQ(h.processor.getName(), "Reelwarp");
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

TEST_F(Loading, AVisitorCanRefuseAnElement)
{
    document.Parse("<Reelwarp Name=\"Other\" Feedback=\"0.5\"/>");
    qel::ElementLoadOptions options;
    int asked = 0;
    options.visitor = [&](qel::Element&, const tinyxml2::XMLElement&) { return ++asked > 1; };
    EXPECT_FALSE(h.processor.load(*document.RootElement(), options, qel::currentLayoutVersion));
    EXPECT_FLOAT_EQ(h.number("Feedback"), 0.0f);
    EXPECT_TRUE(h.processor.load(*document.RootElement(), options, qel::currentLayoutVersion));
    EXPECT_FLOAT_EQ(h.number("Feedback"), 0.5f);
    EXPECT_EQ(h.processor.getName(), "Other");
}

// Documents may hold any bytes: well-formed UTF-8 reads as it stands, and
// each byte outside a well-formed sequence reads as U+FFFD.
TEST(DocumentText, KeepsWellFormedUtf8AndReplacesEachMalformedByte)
{
    const std::string wellFormed = "Tape \xC3\xA9 \xE2\x89\x88 \xF0\x9F\x8E\xB8 \xF4\x8F\xBF\xBF \xEF\xBF\xBD";
    EXPECT_EQ(qel::textFromUtf8(wellFormed.c_str()).toStdString(), wellFormed);
    EXPECT_TRUE(qel::textFromUtf8(nullptr).isEmpty());

    const std::string r = "\xEF\xBF\xBD";
    const std::pair<const char*, std::string> malformed[] = {
        { "a\xC0\x80", "a" + r + r },                  // overlong NUL
        { "\xE0\x80\xAF", r + r + r },                 // overlong '/'
        { "\xE2\x89", r + r },                         // cut short by the end
        { "\xE2\x89" "z", r + r + "z" },               // cut short by a plain character
        { "\x80" "x", r + "x" },                       // stray continuation byte
        { "\xF8\x88\x80\x80\x80", r + r + r + r + r }, // five-byte form
        { "\xED\xA0\x80", r + r + r },                 // surrogate
        { "\xF4\x90\x80\x80", r + r + r + r },         // above U+10FFFF
        { "\xFF\xFE", r + r },
    };
    for (const auto& [bytes, expected] : malformed)
        EXPECT_EQ(qel::textFromUtf8(bytes).toStdString(), expected) << juce::String::toHexString(bytes, (int) std::strlen(bytes));
}

TEST_F(Loading, MalformedUtf8InTheNameLoadsReplaced)
{
    document.Parse("<Reelwarp Name=\"\xC0\x80\xE2\x89 Tape\" Feedback=\"0.5\"/>");
    ASSERT_NE(document.RootElement(), nullptr);
    EXPECT_TRUE(h.processor.load(*document.RootElement(), {}, qel::currentLayoutVersion));
    EXPECT_EQ(h.processor.getName().toStdString(), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD Tape");
    EXPECT_FLOAT_EQ(h.number("Feedback"), 0.5f);
}

TEST(ElementPersistence, MidiLearnLinksComeBackOnlyWhenAsked)
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
    EXPECT_EQ(linksOf(restored), juce::StringArray { "@MIDI CC 74" });
    ASSERT_TRUE(restored.load(saved.xml(), hostState, qel::currentLayoutVersion)); // replaced, not doubled
    EXPECT_EQ(linksOf(restored), juce::StringArray { "@MIDI CC 74" });

    // The flat layout keeps links directly under the element.
    Saved flat(source, { 1 });
    EXPECT_EQ(flat.xml().FirstChildElement("Connections"), nullptr);
    ASSERT_NE(flat.xml().FirstChildElement("SignalConnection"), nullptr);
    ReelwarpProcessor old;
    ASSERT_TRUE(old.load(flat.xml(), hostState, qel::legacyFlatLayoutVersion));
    EXPECT_EQ(linksOf(old), juce::StringArray { "@MIDI CC 74" });
}

TEST(ElementPersistence, TheEngineRebuildsItsChildrenThroughTheRegistry)
{
    qel::ReelwarpPlugin::registerElementType();
    qel::Engine source;
    auto effect = std::make_unique<ReelwarpProcessor>();
    effect->setName("Reelwarp");
    effect->setParameterFloat(effect->findParameterId("Feedback"), 0.625f);
    source.addChild(std::move(effect));
    Saved saved(source);
    ASSERT_STREQ(saved.xml().Name(), "Engine");
    ASSERT_NE(saved.xml().FirstChildElement("Reelwarp"), nullptr);
    // A type this build lacks fails that child's load, names it on the engine, and stops nothing else.
    saved.xml().InsertFirstChild(saved.document.NewElement("NoSuchElement"));

    qel::Engine target;
    target.addChild(std::make_unique<ReelwarpProcessor>()); // replaced by the load
    EXPECT_FALSE(target.load(saved.xml(), {}, qel::currentLayoutVersion));
    ASSERT_EQ(target.getErrors().size(), 1u);
    EXPECT_EQ(target.getErrors()[0].path, "Engine/NoSuchElement");
    EXPECT_TRUE(target.getErrors()[0].message.contains("NoSuchElement"));
    ASSERT_EQ(target.getNumProcessingChildren(), 1);
    auto* loaded = target.findChild("Reelwarp");
    ASSERT_NE(loaded, nullptr);
    EXPECT_FLOAT_EQ(loaded->getParameterFloat(loaded->findParameterId("Feedback")), 0.625f);
}

} // namespace
