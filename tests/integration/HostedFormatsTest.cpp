// The built plug-in binaries, loaded the way a host loads them, against the
// same product run in-process.
#include "integration/HostedPlugin.h"
#include "plugin/ReelwarpPlugin.h"
#include "support/Signals.h"

#include <juce_audio_processors/juce_audio_processors.h>
#include <pluginterfaces/vst2.x/aeffectx.h>

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <memory>
#include <mutex>
#include <random>

// The wrapper and JUCE's host both size a speaker arrangement with eight
// entries; the interface headers must agree with them.
static_assert(sizeof(VstSpeakerArrangement) == 2 * sizeof(int) + 8 * sizeof(VstSpeakerProperties),
              "VstSpeakerArrangement must hold eight speakers");
// The wrapper writes shortLabel's terminator into the reserved bytes after it.
static_assert(sizeof(VstPinProperties) == 64 + 2 * sizeof(int) + 8 + 48, "VstPinProperties keeps its reserved tail");

namespace
{

using namespace qel::test;
using Set = juce::AudioChannelSet;

TEST_P(HostedFormat, DescribesTheProduct)
{
    EXPECT_EQ(description->manufacturerName, "QEL");
    EXPECT_FALSE(description->isInstrument);
    if (isVst2(GetParam()))
    {
        // JUCE's VST2 host names the plug-in by its file and shows the effect name beside it.
        EXPECT_EQ(description->descriptiveName, "Reel Warp");
        EXPECT_EQ(description->uniqueId, 0x51527770);
        EXPECT_EQ(description->version, "1.0.0.0"); // vendor version 0x10000
    }
    else
    {
        EXPECT_EQ(description->name, "Reel Warp");
        if (juce::String(GetParam().name) == "VST3")
            EXPECT_EQ(description->version, "1.0.0");
    }
    if (lv2())
    {
        // JUCE reads no LV2 version, LV2 hosts do: an odd number, or a minor
        // of zero, marks an unreleased plug-in.
        const auto manifest = juce::File(GetParam().path).getParentDirectory().getChildFile("dsp.ttl").loadFileAsString();
        auto number = [&](const char* key) {
            return manifest.fromFirstOccurrenceOf(key, false, false).upToFirstOccurrenceOf(";", false, false).trim();
        };
        const auto minor = number("lv2:minorVersion"), micro = number("lv2:microVersion");
        ASSERT_TRUE(minor.isNotEmpty() && minor.containsOnly("0123456789") && micro.containsOnly("0123456789")) << minor << " " << micro;
        EXPECT_GT(minor.getIntValue(), 0);
        EXPECT_EQ(minor.getIntValue() % 2, 0);
        EXPECT_EQ(micro.getIntValue() % 2, 0);
        EXPECT_TRUE(manifest.contains("doap:revision \"1.0.0\""));
    }
}

// Every Reel Warp library in this process is this build's: a copy installed
// on a host's default search path must not stand in for it, nor load beside it.
TEST_P(HostedFormat, LoadsThisBuildsBinaryAndNoOther)
{
    auto hosted = load(48000.0, 256);
    ASSERT_NE(hosted, nullptr);
    const auto artefacts = juce::File(REELWARP_VST2_BINARY).getParentDirectory().getParentDirectory().getFullPathName();
    std::ifstream maps("/proc/self/maps");
    int mapped = 0;
    for (std::string line; std::getline(maps, line);)
    {
        const auto path = juce::String(line).fromFirstOccurrenceOf("/", true, false);
        if (!path.containsIgnoreCase("ReelWarp") || !path.endsWith(".so"))
            continue;
        ++mapped;
        EXPECT_TRUE(path.startsWith(artefacts)) << path << " is not of this build";
    }
    EXPECT_GT(mapped, 0);
}

// A host standing at the start: the transport both sides of a comparison see.
struct StoppedAtTheStart : juce::AudioPlayHead
{
    juce::Optional<PositionInfo> getPosition() const override
    {
        PositionInfo info;
        info.setBpm(120.0);
        info.setTimeSignature(TimeSignature { 4, 4 });
        info.setIsPlaying(false);
        info.setTimeInSamples(0);
        info.setTimeInSeconds(0.0);
        info.setPpqPosition(0.0);
        return info;
    }
};

TEST_P(HostedFormat, MatchesTheInProcessChainAcrossRatesAndBlockSizes)
{
    StoppedAtTheStart head;
    struct Setting
    {
        double sampleRate;
        int blockSize;
    };
    for (const auto s : { Setting { 44100.0, 512 }, Setting { 48000.0, 128 }, Setting { 96000.0, 1000 },
                          Setting { 22050.0, 33 } })
    {
        auto hosted = load(s.sampleRate, s.blockSize);
        ASSERT_NE(hosted, nullptr);
        hosted->enableAllBuses();
        hosted->setPlayHead(&head);
        hosted->prepareToPlay(s.sampleRate, s.blockSize);
        awaitPostedRestore();
        qel::ReelwarpPlugin local;
        local.setPlayHead(&head);
        local.prepareToPlay(s.sampleRate, s.blockSize);

        juce::MidiBuffer midi;
        double worst = 0.0;
        for (int64_t frame = 0; frame < static_cast<int64_t>(s.sampleRate / 2); frame += s.blockSize)
        {
            juce::AudioBuffer<float> a(2, s.blockSize);
            qel::test::fillTestSignal(a, frame, s.sampleRate);
            juce::AudioBuffer<float> b(a);
            hosted->processBlock(a, midi);
            local.processBlock(b, midi);
            for (int c = 0; c < 2; ++c)
                for (int i = 0; i < s.blockSize; ++i)
                {
                    ASSERT_TRUE(std::isfinite(a.getSample(c, i)));
                    worst = std::max(worst, (double) std::fabs(a.getSample(c, i) - b.getSample(c, i)));
                }
        }
        // The two differ only by the tape hiss of differently seeded decks.
        EXPECT_LT(worst, 2e-4) << s.sampleRate << " Hz, " << s.blockSize << " frames";
        pumpMessages();
        EXPECT_EQ(hosted->getLatencySamples(), qel::ReelwarpPlugin::latencyForSampleRate(s.sampleRate, false));
        hosted->releaseResources();
    }
}

TEST_P(HostedFormat, OffersTheProductsLayouts)
{
    auto hosted = load(48000.0, 256);
    ASSERT_NE(hosted, nullptr);
    auto layout = [](const Set& in, const Set& out) {
        juce::AudioProcessor::BusesLayout l;
        l.inputBuses.add(in);
        l.outputBuses.add(out);
        return l;
    };
    EXPECT_TRUE(hosted->checkBusesLayoutSupported(layout(Set::stereo(), Set::stereo())));
    if (isVst2(GetParam()))
    {
        // JUCE's VST2 host only compares channel counts, so ask the plug-in itself.
        struct FindEffect : juce::ExtensionsVisitor
        {
            AEffect* effect = nullptr;
            void visitVSTClient(const VSTClient& client) override { effect = client.getAEffectPtr(); }
        } find;
        hosted->getExtensions(find);
        auto* effect = find.effect;
        ASSERT_NE(effect, nullptr);
        auto offer = [effect](int inType, int inChannels, int outType, int outChannels) {
            VstSpeakerArrangement in {}, out {};
            in.type = inType;
            in.numChannels = inChannels;
            out.type = outType;
            out.numChannels = outChannels;
            return effect->dispatcher(effect, effSetSpeakerArrangement, 0, (intptr_t) &in, &out, 0.0f);
        };
        EXPECT_NE(offer(kSpeakerArrMono, 1, kSpeakerArrMono, 1), 0);
        EXPECT_NE(offer(kSpeakerArrMono, 1, kSpeakerArrStereo, 2), 0);
        EXPECT_EQ(offer(kSpeakerArrStereo, 2, kSpeakerArrMono, 1), 0);
        EXPECT_NE(offer(kSpeakerArrStereo, 2, kSpeakerArrStereo, 2), 0);
    }
    // An LV2 plug-in has fixed ports; the other formats negotiate.
    if (juce::String(GetParam().name) != "LV2")
    {
        EXPECT_TRUE(hosted->checkBusesLayoutSupported(layout(Set::mono(), Set::mono())));
        EXPECT_TRUE(hosted->checkBusesLayoutSupported(layout(Set::mono(), Set::stereo())));
        if (!isVst2(GetParam()))
            EXPECT_FALSE(hosted->checkBusesLayoutSupported(layout(Set::stereo(), Set::mono())));

        ASSERT_TRUE(hosted->setBusesLayout(layout(Set::mono(), Set::stereo())));
        hosted->prepareToPlay(48000.0, 256);
        juce::AudioBuffer<float> buffer(2, 256);
        juce::MidiBuffer midi;
        for (int block = 0; block < 20; ++block)
        {
            qel::test::fillTestSignal(buffer, block * 256, 48000.0);
            hosted->processBlock(buffer, midi);
        }
        // Both outputs carry the mono input through the tape.
        double difference = 0.0, level = 0.0;
        for (int i = 0; i < 256; ++i)
        {
            difference = std::max(difference, (double) std::fabs(buffer.getSample(0, i) - buffer.getSample(1, i)));
            level = std::max(level, (double) std::fabs(buffer.getSample(0, i)));
        }
        EXPECT_GT(level, 0.1);
        EXPECT_LT(difference, 2e-4);
    }
}

juce::AudioProcessorParameter* named(juce::AudioPluginInstance& instance, const juce::String& name)
{
    for (auto* parameter : instance.getParameters())
        if (parameter->getName(100) == name)
            return parameter;
    return nullptr;
}

TEST_P(HostedFormat, SeesTheFortyFiveSlotsInOrderAndWritesReadBack)
{
    auto hosted = load(48000.0, 256);
    ASSERT_NE(hosted, nullptr);
    hosted->prepareToPlay(48000.0, 256);
    qel::ReelwarpPlugin local;
    const auto& parameters = hosted->getParameters();
    // VST3 and LV2 hosts add their bypass switch behind the product's own.
    ASSERT_EQ(parameters.size(), isVst2(GetParam()) ? 45 : 46);
    const bool lv2 = juce::String(GetParam().name) == "LV2";
    if (lv2)
    {
        // An LV2 host lists parameters by their identifiers, not by slot.
        juce::StringArray seen, expected { "Bypass" };
        for (auto* parameter : parameters)
            seen.add(parameter->getName(100));
        for (auto* parameter : local.getParameters())
            expected.add(parameter->getName(100));
        seen.sort(false);
        expected.sort(false);
        EXPECT_EQ(seen, expected);
    }
    else
    {
        for (int i = 0; i < 45; ++i)
            EXPECT_EQ(parameters[i]->getName(100), local.getParameters()[i]->getName(100)) << i;
    }

    juce::AudioBuffer<float> buffer(2, 256);
    juce::MidiBuffer midi;
    auto settle = [&] {
        buffer.clear();
        hosted->processBlock(buffer, midi);
        pumpMessages();
    };
    // A float, an integer at its top and a switch read back as written, and
    // print what the product prints for them.
    struct Write
    {
        int slot;
        float value;
    };
    for (const auto w : { Write { 29, 0.25f }, Write { 41, 1.0f }, Write { 33, 1.0f }, Write { 23, 0.0f } })
    {
        auto* mine = local.getParameters()[w.slot];
        auto* theirs = named(*hosted, mine->getName(100));
        ASSERT_NE(theirs, nullptr) << mine->getName(100);
        theirs->setValue(w.value);
        settle();
        EXPECT_NEAR(theirs->getValue(), w.value, 1e-6) << mine->getName(100);
        mine->setValue(w.value);
        // An LV2 host prints numbers from the port's range; the others print the product's text.
        if (!lv2)
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
    void clear()
    {
        const std::lock_guard<std::mutex> guard(lock);
        indices.clear();
    }
};

TEST_P(HostedFormat, HostStateCarriesEveryParameterIntoAFreshInstance)
{
    auto source = load(48000.0, 256);
    auto target = load(48000.0, 256);
    ASSERT_NE(source, nullptr);
    ASSERT_NE(target, nullptr);
    source->prepareToPlay(48000.0, 256);
    target->prepareToPlay(48000.0, 256);
    awaitPostedRestore(); // else an LV2 prepare's own restore may land after the values below
    juce::AudioBuffer<float> buffer(2, 256);
    juce::MidiBuffer midi;
    auto settle = [&](juce::AudioPluginInstance& instance) {
        buffer.clear();
        instance.processBlock(buffer, midi);
        pumpMessages();
    };

    std::mt19937 random(static_cast<uint32_t>(juce::String(GetParam().name).hashCode()));
    setRandomValues(*source, random, 0.0f, 1.0f, { "Bypass" }); // Bypass: the host's own switch
    named(*source, "Low Latency Mode")->setValue(0.0f); // it caps the depth that the effect reports
    settle(*source);
    juce::MemoryBlock state;
    source->getStateInformation(state);
    ASSERT_GT(state.getSize(), 12u);

    auto expectRestored = [&](const char* when) {
        for (auto* parameter : source->getParameters())
        {
            const auto name = parameter->getName(100);
            auto* restored = named(*target, name);
            ASSERT_NE(restored, nullptr) << name;
            EXPECT_NEAR(restored->getValue(), parameter->getValue(), 1e-5) << name << ", " << when;
        }
    };
    // VST2 and VST3 hosts read the restored values as the call returns, and
    // hear of no edit after it, which they would record as automation. An LV2
    // host learns a value only from the plug-in's message of it.
    const bool lv2 = juce::String(GetParam().name) == "LV2";
    Heard heard;
    for (auto* parameter : target->getParameters())
        parameter->addListener(&heard);
    target->setStateInformation(state.getData(), static_cast<int>(state.getSize()));
    if (!lv2)
        expectRestored("as the restore returns");
    heard.clear();
    pumpMessages();
    settle(*target);
    if (!lv2)
        EXPECT_TRUE(heard.indices.empty()) << heard.indices.size() << " edits heard after a restore";
    expectRestored("once the restore has run");
    for (auto* parameter : target->getParameters())
        parameter->removeListener(&heard);
    auto* mix = named(*target, "Mix");
    mix->setValue(0.125f);
    settle(*target);
    EXPECT_NEAR(mix->getValue(), 0.125f, 1e-6);
}

// A host's write of one parameter reaches the host's listeners as a change of
// no other whose value stayed where it was.
TEST_P(HostedFormat, AWriteOfOneParameterMovesNoUnchangedOther)
{
    if (isVst2(GetParam()))
        GTEST_SKIP() << "vst2_host_tests checks the VST2 binary in a host that knows only the published numbers";
    auto hosted = load(48000.0, 256);
    ASSERT_NE(hosted, nullptr);
    hosted->prepareToPlay(48000.0, 256);
    awaitRestore(*hosted, 2);
    Heard heard;
    const auto& parameters = hosted->getParameters();
    for (auto* parameter : parameters)
        parameter->addListener(&heard);
    juce::AudioBuffer<float> buffer(2, 256);
    juce::MidiBuffer midi;
    for (int written = 0; written < parameters.size(); ++written)
    {
        std::vector<float> before;
        for (auto* parameter : parameters)
            before.push_back(parameter->getValue());
        heard.clear();
        parameters[written]->setValue(before[(size_t) written] < 0.5f ? 1.0f : 0.0f);
        for (int block = 0; block < 4; ++block)
        {
            buffer.clear();
            hosted->processBlock(buffer, midi);
            pumpMessages();
        }
        const std::lock_guard<std::mutex> guard(heard.lock);
        for (const int index : heard.indices)
            if (index != written)
                EXPECT_NE(parameters[index]->getValue(), before[(size_t) index])
                    << parameters[written]->getName(100) << " echoed as a change of " << parameters[index]->getName(100);
    }
    for (auto* parameter : parameters)
        parameter->removeListener(&heard);
}

INSTANTIATE_TEST_SUITE_P(Binaries, HostedFormat, builtFormats(), formatName);

} // namespace
