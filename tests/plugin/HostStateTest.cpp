// The host's blob: its frame, what survives it, what bad blobs leave alone, and the restore into a new engine.
#include "plugin/ReelwarpPlugin.h"
#include "support/HostStateText.h"
#include "support/Signals.h"
#include "support/StateValues.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

namespace
{

using qel::ReelwarpPlugin;
using qel::test::decodedText;

juce::MemoryBlock stateOf(ReelwarpPlugin& plugin)
{
    juce::MemoryBlock blob;
    plugin.getStateInformation(blob);
    return blob;
}

qel::Element& effectOf(ReelwarpPlugin& plugin) { return *plugin.getEngine().findChild(ReelwarpPlugin::effectName); }

// The frame read by hand: magic, version, length and zlib text; the text alone is a state too. A damaged blob leaves
// the plug-in as it was.
TEST(HostState, TheFrameHoldsZlibTextThePlainTextLoadsAndBadBlobsKeepTheFormerState)
{
    ReelwarpPlugin plugin, target;
    const auto feedback = effectOf(plugin).findParameterId("Feedback");
    effectOf(plugin).setParameterFloat(feedback, 0.375f);
    const auto good = stateOf(plugin);
    ASSERT_GT(good.getSize(), 12u);
    EXPECT_EQ(std::memcmp(good.getData(), "QEL4", 4), 0);
    juce::MemoryInputStream in(good, false);
    in.skipNextBytes(4);
    EXPECT_EQ(in.readInt(), 1);
    const int length = in.readInt();
    juce::GZIPDecompressorInputStream unzipped(in);
    const auto text = unzipped.readEntireStreamAsString().toStdString();
    EXPECT_EQ(static_cast<int>(text.size()), length);
    EXPECT_EQ(text.rfind("<QEL4>\n    <Engine Name=\"Engine\"", 0), 0u) << text.substr(0, 80);
    EXPECT_NE(text.find("\n        <Reelwarp Name=\"Reelwarp\" "), std::string::npos);
    EXPECT_EQ(text.find("Automation"), std::string::npos);
    EXPECT_EQ(text.find("<?xml"), std::string::npos);
    target.setStateInformation(text.data(), static_cast<int>(text.size()));
    EXPECT_FLOAT_EQ(effectOf(target).getParameterFloat(feedback), 0.375f);

    // The length field says the text's length plus `error`.
    auto framed = [](int version, const std::string& text, int error) {
        juce::MemoryOutputStream out;
        out.write("QEL4", 4);
        out.writeInt(version);
        out.writeInt(static_cast<int>(text.size()) + error);
        juce::GZIPCompressorOutputStream zipped(out);
        zipped.write(text.data(), text.size());
        zipped.flush();
        return out.getMemoryBlock();
    };
    auto corrupt = good;
    for (size_t i = 20; i < corrupt.getSize(); i += 7)
        corrupt[i] = static_cast<char>(corrupt[i] ^ 0x5a);
    const auto* engine = &plugin.getEngine();
    int i = 0;
    for (const auto& bad : { framed(2, "<QEL4/>", 0), framed(1, "<Other><Engine Name=\"Engine\"/></Other>", 0),
                             framed(1, "<QEL4><NoEngine/></QEL4>", 0), framed(1, "<QEL4/>", -12), framed(1, "<QEL4/>", 0x7ffffff0),
                             juce::MemoryBlock(good.getData(), good.getSize() / 2), juce::MemoryBlock(good.getData(), 6),
                             juce::MemoryBlock(), corrupt })
    {
        plugin.setStateInformation(bad.getData(), static_cast<int>(bad.getSize()));
        SCOPED_TRACE(++i);
        ASSERT_EQ(&plugin.getEngine(), engine);
        EXPECT_FLOAT_EQ(effectOf(plugin).getParameterFloat(feedback), 0.375f);
        EXPECT_EQ(decodedText(stateOf(plugin)), decodedText(good));
    }
}

TEST(HostState, RandomValuesSurviveARoundTripIntoANewEngine)
{
    std::mt19937 random(11);
    for (int round = 0; round < 8; ++round)
    {
        ReelwarpPlugin source, target;
        target.prepareToPlay(48000.0, 256);
        qel::test::randomiseStoredValues(effectOf(source), random);
        effectOf(source).setProperty("PresetPath", { juce::String("/p/Jet Tape.fxps"), 1 });
        const auto* formerEngine = &target.getEngine();
        const auto blob = stateOf(source);
        target.setStateInformation(blob.getData(), static_cast<int>(blob.getSize()));
        EXPECT_NE(&target.getEngine(), formerEngine); // a new tree, not the old one edited
        EXPECT_TRUE(target.getEngine().isPrepared());
        EXPECT_EQ(target.getPendingState(), nullptr);
        qel::test::expectSameStoredValues(effectOf(source), effectOf(target));
        EXPECT_EQ(effectOf(target).getProperty("PresetPath").value.value_or(""), "/p/Jet Tape.fxps");
        for (int i = 0; i < target.getNumSlots(); ++i)
            ASSERT_TRUE(target.getSlot(i)->isResolved() && target.getSlot(i)->getElement() == &effectOf(target)) << i;
    }
}

TEST(HostState, OnlyTheLastOfTwoStatesFromAWorkerIsRestored)
{
    std::vector<qel::Element*> engines; // each tree the target's views are bound to
    ReelwarpPlugin source, target;
    auto& effect = effectOf(source);
    const auto feedback = effect.findParameterId("Feedback");
    effect.setParameterFloat(feedback, 0.5f);
    const auto first = stateOf(source);
    effect.setParameterFloat(feedback, 0.75f);
    const auto second = stateOf(source);
    target.getProxy()->bindElement("/", { &engines, 0, [&](qel::Element* e) { engines.push_back(e); } });
    ASSERT_EQ(engines.size(), 1u);

    std::thread([&] {
        target.setStateInformation(first.getData(), static_cast<int>(first.getSize()));
        target.setStateInformation(second.getData(), static_cast<int>(second.getSize()));
        // Asked at once, the host gets back what it gave, restored or not.
        EXPECT_EQ(decodedText(stateOf(target)), decodedText(second));
    }).join();
    EXPECT_NE(target.getPendingState(), nullptr);
    juce::MessageManager::getInstance()->runDispatchLoopUntil(30);
    EXPECT_EQ(target.getPendingState(), nullptr);
    EXPECT_FLOAT_EQ(effectOf(target).getParameterFloat(feedback), 0.75f);
    // One new tree, the second state's: the superseded restore never ran.
    ASSERT_EQ(engines.size(), 2u);
    EXPECT_EQ(engines.back(), &target.getEngine());
}

// A host may restore before it prepares. SyncToHost, when absent, follows the host; a child of a type this build lacks
// is an error on the engine, and the rest is restored.
TEST(HostState, AStateLoadsAroundWhatItLacksBeforeTheFirstPrepareAndThenPlays)
{
    ReelwarpPlugin plugin;
    const std::string text = R"(<QEL4><Engine Name="Engine"><Chorus Name="Wide"/><Reelwarp Name="Reelwarp" Mix="0.25"/></Engine></QEL4>)";
    const auto sync = qel::FrameworkParameters::get().syncToHost;
    plugin.getEngine().setParameterBool(sync, false);
    plugin.setStateInformation(text.data(), static_cast<int>(text.size()));
    EXPECT_FALSE(plugin.getEngine().isPrepared());
    ASSERT_NE(plugin.getEngine().findChild("Reelwarp"), nullptr);
    EXPECT_FLOAT_EQ(effectOf(plugin).getParameterFloat(effectOf(plugin).findParameterId("Mix")), 0.25f);
    EXPECT_TRUE(plugin.getEngine().getParameterBool(sync));
    EXPECT_FALSE(effectOf(plugin).getParameterBool(sync)); // the effect's own stays off
    EXPECT_EQ(plugin.getEngine().getErrors().size(), 1u);

    plugin.prepareToPlay(44100.0, 128);
    EXPECT_TRUE(plugin.getEngine().isPrepared());
    juce::AudioBuffer<float> buffer(2, 128);
    juce::MidiBuffer midi;
    double energy = 0.0; // NaN or infinity anywhere stays in the sum
    for (int b = 0; b < 20; ++b)
    {
        qel::test::fillTestSignal(buffer, b * 128, 44100.0);
        plugin.processBlock(buffer, midi);
        energy += buffer.getRMSLevel(0, 0, 128) + buffer.getRMSLevel(1, 0, 128);
    }
    EXPECT_TRUE(std::isfinite(energy));
}

} // namespace
