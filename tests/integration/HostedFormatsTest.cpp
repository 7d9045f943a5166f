// The built plug-in binaries, loaded the way a host loads them, against the product run in-process.
#include "integration/HostedPlugin.h"
#include "plugin/ReelwarpPlugin.h"

#include <pluginterfaces/vst2.x/aeffectx.h>

#include <gtest/gtest.h>

// The VST2 headers as built: eight speakers in an arrangement, and room for shortLabel's terminator after it.
static_assert(sizeof(VstSpeakerArrangement) == 2 * sizeof(int) + 8 * sizeof(VstSpeakerProperties), "eight speakers");
static_assert(sizeof(VstPinProperties) == 64 + 2 * sizeof(int) + 8 + 48, "VstPinProperties keeps its reserved tail");

namespace
{

using namespace qel::test;
using Set = juce::AudioChannelSet;

// What a VST3 or LV2 host shows; vst2_host_tests checks the VST2 binary's identity.
TEST_P(HostedFormat, DescribesTheProduct)
{
    if (vst2())
        GTEST_SKIP() << "vst2_host_tests checks the VST2 identity";
    EXPECT_TRUE(description.manufacturerName == "QEL" && description.name == "Reel Warp" && !description.isInstrument)
        << description.manufacturerName << ", " << description.name;
    if (vst3())
        EXPECT_EQ(description.version, "1.0.0");
    if (!lv2())
        return;
    // JUCE reads no LV2 version, LV2 hosts do: an odd number, or a minor of zero, marks an unreleased plug-in.
    const auto manifest = juce::File(GetParam().path).getParentDirectory().getChildFile("dsp.ttl").loadFileAsString();
    auto number = [&](const char* key) { return manifest.fromFirstOccurrenceOf(key, false, false).upToFirstOccurrenceOf(";", false, false).trim(); };
    const auto minor = number("lv2:minorVersion"), micro = number("lv2:microVersion");
    EXPECT_TRUE(minor.containsOnly("0123456789") && micro.containsOnly("0123456789") && minor.getIntValue() > 0
                && minor.getIntValue() % 2 == 0 && micro.getIntValue() % 2 == 0) << minor << "." << micro;
    EXPECT_TRUE(manifest.contains("doap:revision \"1.0.0\""));
}

// A host standing at the start: the transport both sides of a comparison see.
struct StoppedAtTheStart : juce::AudioPlayHead
{
    juce::Optional<PositionInfo> getPosition() const override
    {
        PositionInfo info;
        info.setBpm(120.0);
        info.setTimeSignature(TimeSignature { 4, 4 });
        info.setTimeInSamples(0);
        info.setTimeInSeconds(0.0);
        info.setPpqPosition(0.0);
        return info;
    }
};

// The wrapper passes audio and transport through untouched.
TEST_P(HostedFormat, MatchesTheInProcessChainAcrossRatesAndBlockSizes)
{
    StoppedAtTheStart head;
    for (const auto [rate, block] : { std::pair { 44100.0, 512 }, std::pair { 48000.0, 128 }, std::pair { 96000.0, 1000 },
                                       std::pair { 22050.0, 33 } })
    {
        auto hosted = load(rate, block);
        ASSERT_NE(hosted, nullptr);
        hosted->enableAllBuses();
        hosted->setPlayHead(&head);
        hosted->prepareToPlay(rate, block);
        awaitPostedRestore();
        qel::ReelwarpPlugin local;
        local.setPlayHead(&head);
        local.prepareToPlay(rate, block);
        double worst = 0.0;
        for (int64_t frame = 0; frame < static_cast<int64_t>(rate / 2); frame += block)
        {
            juce::AudioBuffer<float> a(2, block), b(2, block);
            ASSERT_TRUE(playTestSignal(*hosted, a, frame, rate));
            playTestSignal(local, b, frame, rate);
            for (int c = 0; c < 2; ++c)
                for (int i = 0; i < block; ++i)
                    worst = std::max(worst, (double) std::fabs(a.getSample(c, i) - b.getSample(c, i)));
        }
        // The two differ only by the tape hiss of differently seeded decks; HostMatrix checks the latency.
        EXPECT_LT(worst, 2e-4) << rate << " Hz, " << block << " frames";
    }
}

// Mono in, stereo out too, beside the mono and stereo that HostMatrix plays.
TEST_P(HostedFormat, OffersMonoInStereoOut)
{
    if (lv2())
        GTEST_SKIP() << "an LV2 plug-in has fixed ports";
    auto hosted = load(48000.0, 256);
    ASSERT_NE(hosted, nullptr);
    EXPECT_TRUE(hosted->checkBusesLayoutSupported(layoutOf(Set::mono(), Set::stereo())));
    if (vst3())
        EXPECT_FALSE(hosted->checkBusesLayoutSupported(layoutOf(Set::stereo(), Set::mono())));
    ASSERT_TRUE(hosted->setBusesLayout(layoutOf(Set::mono(), Set::stereo())));
    hosted->prepareToPlay(48000.0, 256);
    juce::AudioBuffer<float> buffer(2, 256);
    for (int block = 0; block < 20; ++block)
        playTestSignal(*hosted, buffer, block * 256, 48000.0);
    // Both outputs carry the mono input through the tape: the right less the left is all but silent.
    buffer.addFrom(1, 0, buffer, 0, 0, 256, -1.0f);
    EXPECT_GT(buffer.getMagnitude(0, 0, 256), 0.1f);
    EXPECT_LT(buffer.getMagnitude(1, 0, 256), 2e-4f);
}

// The 45 slots in the product's order (vst2_host_tests checks VST2's); writes read back and print its text.
TEST_P(HostedFormat, SeesTheFortyFiveSlotsInOrderAndWritesReadBack)
{
    auto hosted = prepared();
    ASSERT_NE(hosted, nullptr);
    qel::ReelwarpPlugin local;
    juce::StringArray seen, expected;
    for (auto* parameter : hosted->getParameters())
        seen.add(parameter->getName(100));
    for (auto* parameter : local.getParameters())
        expected.add(parameter->getName(100));
    expected.add("Bypass"); // the host's own, in VST3 and LV2
    if (lv2()) // whose hosts list parameters by identifier, not by slot
        for (auto* names : { &seen, &expected })
            names->sort(false);
    if (!vst2())
        EXPECT_EQ(seen, expected);
    // A float, an integer at its top and a switch.
    for (const auto [slot, value] : { std::pair { 29, 0.25f }, std::pair { 41, 1.0f }, std::pair { 33, 1.0f }, std::pair { 23, 0.0f } })
    {
        auto* mine = local.getParameters()[slot];
        auto* theirs = named(*hosted, mine->getName(100));
        ASSERT_NE(theirs, nullptr) << mine->getName(100);
        theirs->setValue(value);
        settle(*hosted);
        EXPECT_NEAR(theirs->getValue(), value, 1e-6) << mine->getName(100);
        mine->setValue(value);
        // An LV2 host prints numbers from the port's range; the others print the product's text.
        if (!lv2())
            EXPECT_EQ(theirs->getCurrentValueAsText(), mine->getCurrentValueAsText());
    }
}

// Which parameters the host's listeners heard change, from any thread.
struct Heard : juce::AudioProcessorParameter::Listener
{
    std::mutex lock;
    std::vector<int> indices;
    void parameterValueChanged(int index, float) override
    {
        const std::lock_guard<std::mutex> guard(lock);
        indices.push_back(index);
    }
    void parameterGestureChanged(int index, bool) override { parameterValueChanged(index, 0.0f); }
    void listenTo(juce::AudioPluginInstance& instance)
    {
        for (auto* parameter : instance.getParameters())
            parameter->addListener(this);
    }
    std::vector<int> take()
    {
        const std::lock_guard<std::mutex> guard(lock);
        return std::exchange(indices, {});
    }
};

TEST_P(HostedFormat, HostStateCarriesEveryParameterIntoAFreshInstance)
{
    Heard heard; // outlives the instances it listens to
    auto source = prepared(), target = prepared();
    ASSERT_TRUE(source != nullptr && target != nullptr);
    awaitPostedRestore(); // what the prepares posted is not heard as an edit below
    std::mt19937 random(static_cast<uint32_t>(juce::String(GetParam().name).hashCode()));
    setRandomValues(*source, random, 0.0f, 1.0f, { "Bypass" }); // Bypass: the host's own switch
    named(*source, "Low Latency Mode")->setValue(0.0f); // it caps the depth that the effect reports
    settle(*source, 2); // a value the effect moves (a rate put on a division) reaches an LV2 host a block later
    juce::MemoryBlock state;
    source->getStateInformation(state);
    ASSERT_GT(state.getSize(), 12u);

    auto expectRestored = [&](const char* when) {
        for (int i = 0; i < source->getParameters().size(); ++i)
            EXPECT_NEAR(target->getParameters()[i]->getValue(), source->getParameters()[i]->getValue(), 1e-5)
                << source->getParameters()[i]->getName(100) << ", " << when;
    };
    // VST2 and VST3 hosts read the restored values as the call returns, and hear of no edit after it, which
    // they would record as automation. An LV2 host learns a value only from the plug-in's message of it.
    heard.listenTo(*target);
    target->setStateInformation(state.getData(), static_cast<int>(state.getSize()));
    if (!lv2())
        expectRestored("as the restore returns");
    heard.take();
    pumpMessages();
    settle(*target);
    if (!lv2())
        EXPECT_EQ(heard.take().size(), 0u) << "edits heard after a restore";
    expectRestored("once the restore has run");
}

// A host's write of one parameter is heard as no change of another whose value stayed.
TEST_P(HostedFormat, AWriteOfOneParameterMovesNoUnchangedOther)
{
    if (vst2())
        GTEST_SKIP() << "vst2_host_tests checks the VST2 binary in a host that knows only the published numbers";
    Heard heard; // outlives the instance it listens to
    auto hosted = prepared();
    ASSERT_NE(hosted, nullptr);
    heard.listenTo(*hosted);
    const auto& parameters = hosted->getParameters();
    for (int written = 0; written < parameters.size(); ++written)
    {
        std::vector<float> before;
        for (auto* parameter : parameters)
            before.push_back(parameter->getValue());
        heard.take();
        parameters[written]->setValue(before[(size_t) written] < 0.5f ? 1.0f : 0.0f);
        settle(*hosted, 4);
        for (const int index : heard.take())
            if (index != written)
                EXPECT_NE(parameters[index]->getValue(), before[(size_t) index])
                    << parameters[written]->getName(100) << " echoed as a change of " << parameters[index]->getName(100);
    }
}

INSTANTIATE_TEST_SUITE_P(Binaries, HostedFormat, builtFormats(), formatName);

} // namespace
