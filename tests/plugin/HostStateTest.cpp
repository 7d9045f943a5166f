// The host's blob: its frame, what survives it, what bad blobs leave alone,
// and the restore that runs on the message thread into a new engine.
#include "plugin/HostState.h"
#include "plugin/ReelwarpPlugin.h"
#include "support/HostStateText.h"
#include "support/StateValues.h"

#include <gtest/gtest.h>
#include <tinyxml2.h>

#include <random>
#include <thread>

namespace
{

using qel::ReelwarpPlugin;
using qel::test::randomiseStoredValues;
using qel::test::expectSameStoredValues;
using qel::test::decodedText;

void pumpMessages()
{
    juce::MessageManager::getInstance()->runDispatchLoopUntil(30);
}

juce::MemoryBlock stateOf(ReelwarpPlugin& plugin)
{
    juce::MemoryBlock blob;
    plugin.getStateInformation(blob);
    return blob;
}

qel::Element& effectOf(ReelwarpPlugin& plugin)
{
    return *plugin.getEngine().findChild(ReelwarpPlugin::effectName);
}

TEST(HostState, TheFrameHoldsMagicVersionLengthAndZlibText)
{
    ReelwarpPlugin plugin;
    const auto blob = stateOf(plugin);
    ASSERT_GT(blob.getSize(), 12u);
    EXPECT_EQ(std::memcmp(blob.getData(), "QEL4", 4), 0);
    juce::MemoryInputStream in(blob, false);
    in.skipNextBytes(4);
    EXPECT_EQ(in.readInt(), 1);
    const int length = in.readInt();

    // An independent inflate of the rest: the text, with the length of the field.
    juce::GZIPDecompressorInputStream unzipped(in);
    const auto text = unzipped.readEntireStreamAsString().toStdString();
    EXPECT_EQ(static_cast<int>(text.size()), length);
    EXPECT_EQ(text.rfind("<QEL4>\n    <Engine Name=\"Engine\"", 0), 0u) << text.substr(0, 80);
    EXPECT_NE(text.find("\n        <Reelwarp Name=\"Reelwarp\" "), std::string::npos);
    EXPECT_EQ(text.find("Automation"), std::string::npos);
    EXPECT_EQ(text.find("<?xml"), std::string::npos);
}

TEST(HostState, RandomValuesSurviveARoundTripIntoANewEngine)
{
    std::mt19937 random(11);
    for (int round = 0; round < 8; ++round)
    {
        ReelwarpPlugin source, target;
        target.prepareToPlay(48000.0, 256);
        randomiseStoredValues(effectOf(source), random);
        effectOf(source).setProperty("PresetPath", { juce::String("/p/Jet Tape.fxps"), 1 });
        const auto blob = stateOf(source);

        const auto* formerEngine = &target.getEngine();
        target.setStateInformation(blob.getData(), static_cast<int>(blob.getSize()));
        EXPECT_NE(&target.getEngine(), formerEngine); // a new tree, not the old one edited
        EXPECT_TRUE(target.getEngine().isPrepared());
        EXPECT_EQ(target.getPendingState(), nullptr);
        expectSameStoredValues(effectOf(source), effectOf(target));
        EXPECT_EQ(effectOf(target).getProperty("PresetPath").value.value_or(""), "/p/Jet Tape.fxps");
        for (int i = 0; i < target.getNumSlots(); ++i)
            EXPECT_TRUE(target.getSlot(i)->isResolved()) << i;
    }
}

TEST(HostState, APlainXmlBlobIsAccepted)
{
    ReelwarpPlugin source, target;
    source.getEngine().findChild("Reelwarp")->setParameterFloat(effectOf(source).findParameterId("Feedback"), 0.375f);
    const auto text = decodedText(stateOf(source));
    target.setStateInformation(text.data(), static_cast<int>(text.size()));
    EXPECT_FLOAT_EQ(effectOf(target).getParameterFloat(effectOf(target).findParameterId("Feedback")), 0.375f);
}

// The engine of a state: SyncToHost, when absent, follows the host; a child
// of a type this build lacks is an error on the engine, and the rest is restored.
TEST(HostState, AnEngineStateLoadsAroundWhatItLacks)
{
    ReelwarpPlugin plugin;
    const std::string text = R"(<QEL4><Engine Name="Engine"><Chorus Name="Wide"/><Reelwarp Name="Reelwarp" Mix="0.25"/></Engine></QEL4>)";
    const auto sync = qel::FrameworkParameters::get().syncToHost;
    plugin.getEngine().setParameterBool(sync, false);
    plugin.setStateInformation(text.data(), static_cast<int>(text.size()));
    ASSERT_NE(plugin.getEngine().findChild("Reelwarp"), nullptr);
    EXPECT_FLOAT_EQ(effectOf(plugin).getParameterFloat(effectOf(plugin).findParameterId("Mix")), 0.25f);
    EXPECT_TRUE(plugin.getEngine().getParameterBool(sync));
    EXPECT_FALSE(effectOf(plugin).getParameterBool(sync)); // the effect's own stays off
    EXPECT_EQ(plugin.getEngine().getErrors().size(), 1u);
}

// Each of these leaves the plug-in as it was, and the next state is the live one.
TEST(HostState, BadBlobsKeepTheFormerState)
{
    ReelwarpPlugin plugin;
    auto& effect = effectOf(plugin);
    const auto feedback = effect.findParameterId("Feedback");
    effect.setParameterFloat(feedback, 0.25f);
    const auto good = stateOf(plugin);
    const auto* engine = &plugin.getEngine();

    auto framed = [](int version, int length, const std::string& text) {
        juce::MemoryOutputStream out;
        out.write("QEL4", 4);
        out.writeInt(version);
        out.writeInt(length);
        juce::GZIPCompressorOutputStream zipped(out);
        zipped.write(text.data(), text.size());
        zipped.flush();
        return out.getMemoryBlock();
    };
    const std::string foreignRoot = "<Other><Engine Name=\"Engine\"/></Other>";
    const std::string unknownType = "<QEL4><NoEngine/></QEL4>";
    std::vector<juce::MemoryBlock> bad {
        framed(2, 10, "<QEL4/>"),
        framed(1, static_cast<int>(foreignRoot.size()), foreignRoot),
        framed(1, static_cast<int>(unknownType.size()), unknownType),
        framed(1, -5, "<QEL4/>"),
        framed(1, 0x7fffffff, "<QEL4/>"),
        juce::MemoryBlock(good.getData(), good.getSize() / 2),
        juce::MemoryBlock(good.getData(), 6),
        juce::MemoryBlock(),
    };
    auto corrupt = good;
    for (size_t i = 20; i < corrupt.getSize(); i += 7)
        corrupt[i] = static_cast<char>(corrupt[i] ^ 0x5a);
    bad.push_back(corrupt);
    std::mt19937 random(3);
    for (int i = 0; i < 50; ++i)
    {
        juce::MemoryBlock noise(static_cast<size_t>(random() % 300));
        for (size_t b = 0; b < noise.getSize(); ++b)
            noise[b] = static_cast<char>(random());
        if (i % 2 == 0 && noise.getSize() >= 4)
            noise.copyFrom("QEL4", 0, 4);
        bad.push_back(noise);
    }

    for (size_t i = 0; i < bad.size(); ++i)
    {
        plugin.setStateInformation(bad[i].getData(), static_cast<int>(bad[i].getSize()));
        ASSERT_EQ(&plugin.getEngine(), engine) << "blob " << i;
        EXPECT_FLOAT_EQ(effectOf(plugin).getParameterFloat(feedback), 0.25f) << "blob " << i;
        EXPECT_EQ(decodedText(stateOf(plugin)), decodedText(good)) << "blob " << i;
    }
}

TEST(HostState, OnlyTheLastOfTwoStatesFromAWorkerIsRestored)
{
    ReelwarpPlugin source, target;
    auto& effect = effectOf(source);
    const auto feedback = effect.findParameterId("Feedback");
    effect.setParameterFloat(feedback, 0.5f);
    const auto first = stateOf(source);
    effect.setParameterFloat(feedback, 0.75f);
    const auto second = stateOf(source);

    // Elements count their births: the engine of the first state is the first element it makes.
    const auto before = qel::Element("probe").getElementId();
    std::thread worker([&] {
        target.setStateInformation(first.getData(), static_cast<int>(first.getSize()));
        target.setStateInformation(second.getData(), static_cast<int>(second.getSize()));
        // Asked at once, the host gets back what it gave, restored or not.
        EXPECT_EQ(decodedText(stateOf(target)), decodedText(second));
    });
    worker.join();
    EXPECT_NE(target.getPendingState(), nullptr);
    pumpMessages();
    EXPECT_EQ(target.getPendingState(), nullptr);
    EXPECT_FLOAT_EQ(effectOf(target).getParameterFloat(feedback), 0.75f);
    EXPECT_NE(target.getEngine().getElementId(), static_cast<uint16_t>(before + 1)); // not the first state's engine
}

TEST(HostState, ARestoreBeforeTheFirstPrepareLoadsWithoutPreparing)
{
    ReelwarpPlugin source, target;
    effectOf(source).setParameterFloat(effectOf(source).findParameterId("Mix"), 0.5f);
    const auto blob = stateOf(source);
    target.setStateInformation(blob.getData(), static_cast<int>(blob.getSize()));
    EXPECT_FALSE(target.getEngine().isPrepared());
    EXPECT_FLOAT_EQ(effectOf(target).getParameterFloat(effectOf(target).findParameterId("Mix"), nullptr), 0.5f);

    target.prepareToPlay(44100.0, 128);
    EXPECT_TRUE(target.getEngine().isPrepared());
    juce::AudioBuffer<float> buffer(2, 128);
    for (int i = 0; i < 128; ++i)
        buffer.setSample(0, i, std::sin(0.05f * static_cast<float>(i))), buffer.setSample(1, i, 0.0f);
    juce::MidiBuffer midi;
    for (int b = 0; b < 20; ++b)
        target.processBlock(buffer, midi);
    for (int c = 0; c < 2; ++c)
        for (int i = 0; i < 128; ++i)
            ASSERT_TRUE(std::isfinite(buffer.getSample(c, i)));
}

} // namespace
