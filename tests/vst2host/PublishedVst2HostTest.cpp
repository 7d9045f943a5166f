// The built VST2 binary in a host that knows VST2 only by its published
// numbers, as every DAW does: no JUCE and no fst on this side.
#include "vst2host/Vst2Abi.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace
{

using namespace vst2abi;

// What the plug-in told the host, from whichever thread it called.
struct CallbackLog
{
    std::mutex lock;
    std::vector<int32_t> opcodes;
    std::vector<int32_t> automated; // the parameter of each audioMasterAutomate
    std::vector<int32_t> delaysAtIOChanged;
    std::atomic<double> sampleRate { 44100.0 };
    std::atomic<int> blockSize { 512 };

    void clear()
    {
        std::lock_guard<std::mutex> guard(lock);
        opcodes.clear();
        automated.clear();
        delaysAtIOChanged.clear();
    }
};

CallbackLog& log()
{
    static CallbackLog instance;
    return instance;
}

intptr_t hostCallback(Effect* effect, int32_t opcode, int32_t index, intptr_t, void*, float)
{
    auto& l = log();
    {
        std::lock_guard<std::mutex> guard(l.lock);
        l.opcodes.push_back(opcode);
        if (opcode == audioMasterAutomate)
            l.automated.push_back(index);
        if (opcode == audioMasterIOChanged && effect != nullptr)
            l.delaysAtIOChanged.push_back(effect->initialDelay);
    }
    switch (opcode)
    {
        case audioMasterVersion: return 2400;
        case audioMasterGetSampleRate: return (intptr_t) l.sampleRate.load();
        case audioMasterGetBlockSize: return l.blockSize.load();
        case audioMasterIOChanged:
        case audioMasterUpdateDisplay: return 1;
        default: return 0;
    }
}

EntryPoint loadEntryPoint()
{
    // Loaded once and kept: hosts often keep a module for the session.
    static void* module = dlopen(REELWARP_VST2_BINARY, RTLD_NOW | RTLD_LOCAL);
    return module == nullptr ? nullptr : reinterpret_cast<EntryPoint>(dlsym(module, "VSTPluginMain"));
}

class PublishedVst2Host : public ::testing::Test
{
protected:
    void SetUp() override
    {
        auto entry = loadEntryPoint();
        ASSERT_NE(entry, nullptr) << dlerror();
        log().clear();
        effect = entry(&hostCallback);
        ASSERT_NE(effect, nullptr);
        call(effOpen);
    }

    void TearDown() override
    {
        if (effect == nullptr)
            return;
        if (running)
            stop();
        call(effClose);
        // Every call the plug-in made must be one a host understands.
        std::lock_guard<std::mutex> guard(log().lock);
        for (auto opcode : log().opcodes)
            EXPECT_LE(opcode, audioMasterGetInputSpeakerArrangement) << "a host opcode no host knows";
    }

    intptr_t call(int32_t opcode, int32_t index = 0, intptr_t value = 0, void* ptr = nullptr, float opt = 0.0f)
    {
        return effect->dispatcher(effect, opcode, index, value, ptr, opt);
    }

    std::string text(int32_t opcode, int32_t index = 0)
    {
        char buffer[256] = {};
        call(opcode, index, 0, buffer);
        return buffer;
    }

    void start(double sampleRate, int blockSize)
    {
        log().sampleRate = sampleRate;
        log().blockSize = blockSize;
        call(effSetSampleRate, 0, 0, nullptr, (float) sampleRate);
        call(effSetBlockSize, 0, blockSize);
        call(effMainsChanged, 0, 1);
        call(effStartProcess);
        running = true;
        input.assign(2, std::vector<float>((size_t) blockSize));
        output = input;
    }

    void stop()
    {
        call(effStopProcess);
        call(effMainsChanged, 0, 0);
        running = false;
    }

    // One block of the signal that starts at frame; the output lands in output.
    void processBlock(const std::function<float(int channel, int64_t frame)>& signal, int64_t frame)
    {
        for (int c = 0; c < 2; ++c)
            for (size_t i = 0; i < input[(size_t) c].size(); ++i)
                input[(size_t) c][i] = signal ? signal(c, frame + (int64_t) i) : 0.0f;
        float* ins[2] = { input[0].data(), input[1].data() };
        float* outs[2] = { output[0].data(), output[1].data() };
        effect->processReplacing(effect, ins, outs, (int32_t) input[0].size());
    }

    // A host's idle: blocks on and the editor idle call on this thread, until done() or a time-out.
    bool idleUntil(const std::function<bool()>& done)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while (!done())
        {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            processBlock(nullptr, 0);
            call(effEditIdle);
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return true;
    }

    void idleFor(int milliseconds)
    {
        const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
        idleUntil([&] { return std::chrono::steady_clock::now() > until; });
    }

    int32_t parameterNamed(const std::string& name)
    {
        for (int32_t i = 0; i < effect->numParams; ++i)
            if (text(effGetParamName, i) == name)
                return i;
        ADD_FAILURE() << "no parameter named " << name;
        return 0;
    }

    Effect* effect = nullptr;
    bool running = false;
    std::vector<std::vector<float>> input, output;
};

TEST_F(PublishedVst2Host, IdentifiesTheProductAndAnswersWhatADawAsks)
{
    EXPECT_EQ(effect->magic, effectMagic);
    EXPECT_EQ(effect->uniqueId, fourCC("QRwp"));
    EXPECT_EQ(effect->numInputs, 2);
    EXPECT_EQ(effect->numOutputs, 2);
    EXPECT_EQ(effect->flags & (flags::canReplacing | flags::programChunks | flags::hasEditor),
              flags::canReplacing | flags::programChunks | flags::hasEditor);
    EXPECT_EQ(text(effGetEffectName), "Reel Warp");
    EXPECT_EQ(text(effGetVendorString), "QEL");
    EXPECT_EQ(call(effGetVendorVersion), 0x10000);
    EXPECT_EQ(call(effGetPlugCategory), plugCategoryEffect);
    EXPECT_EQ(call(effGetVstVersion), 2400);
    EXPECT_EQ(call(effGetNumMidiInputChannels), 16);
    EXPECT_EQ(call(effGetNumMidiOutputChannels), 0);
    auto canDo = [&](const char* what) { return call(effCanDo, 0, 0, const_cast<char*>(what)); };
    EXPECT_EQ(canDo("receiveVstEvents"), 1);
    EXPECT_EQ(canDo("receiveVstMidiEvent"), 1);
    EXPECT_EQ(canDo("sendVstEvents"), -1);
}

TEST_F(PublishedVst2Host, ListsTheFortyFiveParametersInOrderWithinTheirTextLimits)
{
    static const std::array<const char*, 45> names = {
        "Synchronize to host tempo", "Apply Tape Simulation", "Magnetic Hardness", "Magnetic Resistance", "Noise Gain",
        "Apply Noise Gate", "Demagnetization Depth", "Demagnetization Rate", "Apply Playback Filter", "Spacing",
        "Thickness", "Azimuth", "Width", "Tape Speed", "Apply Transport Modulations",
        "Low Latency Mode", "Wow Depth", "Wow Rate", "Flutter Depth", "Flutter Rate",
        "Random Channel Unsync", "Random Depth", "Random Rate", "Delay", "Compensate Feedback",
        "Feedback", "Drive", "Input Gain", "Output Gain", "Mix",
        "Flange Depth", "Manual Flange", "Fade", "Phase Invert", "Flange Mode",
        "LFO Rate", "LFO Phase", "LFO Shape", "LFO Symmetry", "LFO Swing",
        "Apply Compander", "Noise Reduction Encoder", "Noise Reduction Decoder", "Link NR Encoder and Decoder", "Output Pad",
    };
    ASSERT_EQ(effect->numParams, 45);
    // The wrapper writes at most 32 characters of a name and 24 of a text, each with its terminator.
    struct Limit
    {
        int32_t opcode;
        size_t bytes;
    };
    for (int32_t i = 0; i < 45; ++i)
        for (const auto limit : { Limit { effGetParamName, 33 }, Limit { effGetParamDisplay, 25 }, Limit { effGetParamLabel, 25 } })
        {
            char buffer[128];
            std::memset(buffer, 0x7f, sizeof buffer);
            call(limit.opcode, i, 0, buffer);
            const auto length = strnlen(buffer, sizeof buffer);
            ASSERT_LT(length, limit.bytes) << "opcode " << limit.opcode << ", parameter " << i;
            EXPECT_TRUE(std::all_of(buffer + limit.bytes, buffer + sizeof buffer, [](char c) { return c == 0x7f; }))
                << "opcode " << limit.opcode << " wrote past its limit, parameter " << i;
            if (limit.opcode == effGetParamName)
                EXPECT_EQ(std::string(buffer), names[(size_t) i]) << i;
            if (limit.opcode == effGetParamDisplay)
                EXPECT_GT(length, 0u) << i;
        }
}

TEST_F(PublishedVst2Host, ReportsAnUnboundedTailAndTheLatencyOfEachRate)
{
    for (const auto [rate, latency] : { std::pair { 44100.0, 2646 }, std::pair { 48000.0, 2880 }, std::pair { 96000.0, 5760 } })
    {
        start(rate, 512);
        EXPECT_EQ(effect->initialDelay, latency) << rate;
        EXPECT_EQ(call(effGetTailSize), std::numeric_limits<int32_t>::max()) << "a feedback effect rings on";
        stop();
    }
}

TEST_F(PublishedVst2Host, TheLowLatencySwitchTellsTheHostByIOChanged)
{
    start(44100.0, 512);
    ASSERT_EQ(effect->initialDelay, 2646);
    const auto lowLatency = parameterNamed("Low Latency Mode");
    for (const auto [value, latency] : { std::pair { 1.0f, 441 }, std::pair { 0.0f, 2646 } })
    {
        // The notice of this change carries its latency; an earlier one (the
        // start's) may still arrive, but with another.
        const auto seen = [&] {
            std::lock_guard<std::mutex> guard(log().lock);
            return log().delaysAtIOChanged.size();
        }();
        effect->setParameter(effect, lowLatency, value);
        EXPECT_TRUE(idleUntil([&] {
            std::lock_guard<std::mutex> guard(log().lock);
            const auto& delays = log().delaysAtIOChanged;
            return std::find(delays.begin() + (std::ptrdiff_t) seen, delays.end(), latency) != delays.end();
        })) << "the host never heard of the latency change to " << latency;
        EXPECT_EQ(effect->initialDelay, latency);
    }
}

// A restore is no edit: hosts that record automation would write a point for
// every parameter on each project load.
TEST_F(PublishedVst2Host, AChunkRestoresItsValuesAtOnceWithoutAutomatingThem)
{
    start(48000.0, 256);
    const auto mix = parameterNamed("Mix");
    const auto feedback = parameterNamed("Feedback");
    effect->setParameter(effect, mix, 0.25f);
    effect->setParameter(effect, feedback, 0.5f);
    ASSERT_TRUE(idleUntil([&] { return effect->getParameter(effect, mix) == 0.25f; }));

    void* data = nullptr;
    const auto size = call(effGetChunk, 0, 0, &data);
    ASSERT_GT(size, 12);
    ASSERT_NE(data, nullptr);
    const std::vector<char> chunk((const char*) data, (const char*) data + size);
    EXPECT_EQ(std::string(chunk.data(), 4), "QEL4");

    effect->setParameter(effect, mix, 0.75f);
    effect->setParameter(effect, feedback, 0.0f);
    ASSERT_TRUE(idleUntil([&] { return effect->getParameter(effect, mix) == 0.75f; }));
    log().clear();
    call(effSetChunk, 0, (intptr_t) chunk.size(), const_cast<char*>(chunk.data()));
    for (int pass = 0; pass < 2; ++pass) // as the call returns, and once the restore has run
    {
        EXPECT_EQ(effect->getParameter(effect, mix), 0.25f);
        EXPECT_NEAR(effect->getParameter(effect, feedback), 0.5f, 1e-6);
        idleFor(300);
    }
    std::lock_guard<std::mutex> guard(log().lock);
    for (auto opcode : log().opcodes)
        EXPECT_TRUE(opcode != audioMasterAutomate && opcode != audioMasterBeginEdit && opcode != audioMasterEndEdit)
            << "the restore told the host of an edit, opcode " << opcode;
}

// A host's write of one parameter comes back as automation of no other whose
// value stayed where it was.
TEST_F(PublishedVst2Host, AWriteOfOneParameterAutomatesNoUnchangedOther)
{
    start(48000.0, 256);
    idleFor(300);
    for (int32_t written = 0; written < effect->numParams; ++written)
    {
        std::vector<float> before;
        for (int32_t i = 0; i < effect->numParams; ++i)
            before.push_back(effect->getParameter(effect, i));
        log().clear();
        const float value = before[(size_t) written] < 0.5f ? 1.0f : 0.0f;
        effect->setParameter(effect, written, value);
        idleFor(100);
        const auto automated = [] {
            std::lock_guard<std::mutex> guard(log().lock);
            return log().automated;
        }();
        for (const auto index : automated)
            if (index != written && index >= 0 && index < effect->numParams)
                EXPECT_NE(effect->getParameter(effect, index), before[(size_t) index])
                    << text(effGetParamName, written) << " echoed as automation of " << text(effGetParamName, index);
    }
}

TEST_F(PublishedVst2Host, AtMixZeroTheOutputIsTheInputDelayedByTheReportedLatency)
{
    effect->setParameter(effect, parameterNamed("Mix"), 0.0f);
    const int block = 512;
    start(48000.0, block);
    const int latency = effect->initialDelay;
    ASSERT_EQ(latency, 2880);
    auto signal = [](int channel, int64_t frame) {
        return 0.5f * std::sin(0.01f * (float) frame * (channel == 0 ? 1.0f : 1.7f)) + 0.1f * std::sin(0.37f * (float) frame);
    };
    double worst = 0.0;
    int64_t compared = 0;
    for (int64_t frame = 0; frame < 48000; frame += block)
    {
        processBlock(signal, frame);
        if (frame < 12000) // the mix settles from its default
            continue;
        for (int c = 0; c < 2; ++c)
            for (int i = 0; i < block; ++i, ++compared)
                worst = std::max(worst, (double) std::fabs(output[(size_t) c][(size_t) i] - signal(c, frame + i - latency)));
    }
    EXPECT_GT(compared, 50000);
    EXPECT_LT(worst, 1e-6);
}

} // namespace
