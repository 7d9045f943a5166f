// The built VST2 binary in a host that knows VST2 by its published numbers alone, as DAWs do: no JUCE, no fst.
#include "vst2host/Vst2Abi.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <chrono>
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

// What the plug-in told the host, from any thread: every opcode, each automated parameter, the latency at each IOChanged.
std::mutex logLock;
std::vector<int32_t> opcodes, automated, delaysAtIOChanged;

std::vector<int32_t> copyOf(const std::vector<int32_t>& log)
{
    const std::lock_guard<std::mutex> guard(logLock);
    return log;
}

void clearLog()
{
    const std::lock_guard<std::mutex> guard(logLock);
    opcodes.clear(), automated.clear(), delaysAtIOChanged.clear();
}

intptr_t hostCallback(Effect* effect, int32_t opcode, int32_t index, intptr_t, void*, float)
{
    {
        const std::lock_guard<std::mutex> guard(logLock);
        opcodes.push_back(opcode);
        if (opcode == audioMasterAutomate)
            automated.push_back(index);
        if (opcode == audioMasterIOChanged && effect != nullptr)
            delaysAtIOChanged.push_back(effect->initialDelay);
    }
    // A 2.4 host that takes the notices it is sent.
    return opcode == audioMasterVersion ? 2400 : opcode == audioMasterIOChanged || opcode == audioMasterUpdateDisplay ? 1 : 0;
}

struct PublishedVst2Host : ::testing::Test
{
    void SetUp() override
    {
        // Loaded once and kept: hosts often keep a module for the session.
        static void* module = dlopen(REELWARP_VST2_BINARY, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(module, nullptr) << dlerror();
        auto entry = reinterpret_cast<EntryPoint>(dlsym(module, "VSTPluginMain"));
        ASSERT_NE(entry, nullptr) << dlerror();
        clearLog();
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
        for (auto opcode : copyOf(opcodes))
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

    // A host's idle, silent blocks and the editor's idle call, until done() or for `milliseconds`; false on timeout.
    bool idle(const std::function<bool()>& done, int milliseconds = 5000)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
        for (; !done(); std::this_thread::sleep_for(std::chrono::milliseconds(5)))
        {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            float* ins[2] = { input[0].data(), input[1].data() };
            float* outs[2] = { output[0].data(), output[1].data() };
            effect->processReplacing(effect, ins, outs, (int32_t) input[0].size());
            call(effEditIdle);
        }
        return true;
    }
    void idleFor(int milliseconds) { idle([] { return false; }, milliseconds); }

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

TEST_F(PublishedVst2Host, IdentifiesTheProductAndReportsAnUnboundedTailAndTheLatencyOfEachRate)
{
    EXPECT_EQ(effect->magic, effectMagic);
    EXPECT_EQ(effect->uniqueId, fourCC("QRwp"));
    EXPECT_TRUE(effect->numInputs == 2 && effect->numOutputs == 2);
    const int32_t flags = flagCanReplacing | flagProgramChunks | flagHasEditor;
    EXPECT_EQ(effect->flags & flags, flags);
    EXPECT_EQ(text(effGetEffectName), "Reel Warp");
    EXPECT_EQ(text(effGetVendorString), "QEL");
    EXPECT_EQ(call(effGetVendorVersion), 0x10000);
    EXPECT_EQ(call(effGetPlugCategory), plugCategoryEffect);
    EXPECT_EQ(call(effGetVstVersion), 2400);
    EXPECT_TRUE(call(effGetNumMidiInputChannels) == 16 && call(effGetNumMidiOutputChannels) == 0);
    auto canDo = [&](const char* what) { return call(effCanDo, 0, 0, const_cast<char*>(what)); };
    EXPECT_TRUE(canDo("receiveVstEvents") == 1 && canDo("receiveVstMidiEvent") == 1 && canDo("sendVstEvents") == -1);
    for (const auto [rate, latency] : { std::pair { 44100.0, 2646 }, std::pair { 48000.0, 2880 }, std::pair { 96000.0, 5760 } })
    {
        start(rate, 512);
        EXPECT_EQ(effect->initialDelay, latency) << rate;
        EXPECT_EQ(call(effGetTailSize), std::numeric_limits<int32_t>::max()) << "a feedback effect rings on";
        stop();
    }
}

TEST_F(PublishedVst2Host, ListsTheFortyFiveParametersInOrderWithinTheirTextLimits)
{
    static const std::array<const char*, 45> names = {
        "Synchronize to host tempo", "Apply Tape Simulation", "Magnetic Hardness", "Magnetic Resistance", "Noise Gain",
        "Apply Noise Gate", "Demagnetization Depth", "Demagnetization Rate", "Apply Playback Filter", "Spacing", "Thickness",
        "Azimuth", "Width", "Tape Speed", "Apply Transport Modulations", "Low Latency Mode", "Wow Depth", "Wow Rate",
        "Flutter Depth", "Flutter Rate", "Random Channel Unsync", "Random Depth", "Random Rate", "Delay", "Compensate Feedback",
        "Feedback", "Drive", "Input Gain", "Output Gain", "Mix", "Flange Depth", "Manual Flange", "Fade", "Phase Invert",
        "Flange Mode", "LFO Rate", "LFO Phase", "LFO Shape", "LFO Symmetry", "LFO Swing", "Apply Compander",
        "Noise Reduction Encoder", "Noise Reduction Decoder", "Link NR Encoder and Decoder", "Output Pad",
    };
    ASSERT_EQ(effect->numParams, 45);
    // The wrapper writes at most 32 characters of a name and 24 of a text, each with its terminator.
    for (int32_t i = 0; i < 45; ++i)
        for (const auto [opcode, limit] : { std::pair { effGetParamName, 33 }, std::pair { effGetParamDisplay, 25 },
                                            std::pair { effGetParamLabel, 25 } })
        {
            char buffer[128];
            std::memset(buffer, 0x7f, sizeof buffer);
            call(opcode, i, 0, buffer);
            const auto length = strnlen(buffer, sizeof buffer);
            ASSERT_LT(length, (size_t) limit) << "opcode " << opcode << ", parameter " << i;
            EXPECT_TRUE(std::all_of(buffer + limit, buffer + sizeof buffer, [](char c) { return c == 0x7f; }))
                << "opcode " << opcode << " wrote past its limit, parameter " << i;
            if (opcode == effGetParamName)
                EXPECT_EQ(std::string(buffer), names[(size_t) i]) << i;
            if (opcode == effGetParamDisplay)
                EXPECT_GT(length, 0u) << i;
        }
}

TEST_F(PublishedVst2Host, TheLowLatencySwitchTellsTheHostByIOChanged)
{
    start(44100.0, 512);
    ASSERT_EQ(effect->initialDelay, 2646);
    const auto lowLatency = parameterNamed("Low Latency Mode");
    for (const auto [value, latency] : { std::pair { 1.0f, 441 }, std::pair { 0.0f, 2646 } })
    {
        // The notice of this change carries its latency; the start's may still arrive, with another.
        const auto seen = copyOf(delaysAtIOChanged).size();
        effect->setParameter(effect, lowLatency, value);
        EXPECT_TRUE(idle([&, wanted = latency] {
            const auto delays = copyOf(delaysAtIOChanged);
            return std::find(delays.begin() + (std::ptrdiff_t) seen, delays.end(), wanted) != delays.end();
        })) << "the host never heard of the latency change to " << latency;
        EXPECT_EQ(effect->initialDelay, latency);
    }
}

// A restore is no edit: hosts that record automation would write a point per parameter on each project load.
TEST_F(PublishedVst2Host, AChunkRestoresItsValuesAtOnceWithoutAutomatingThem)
{
    start(48000.0, 256);
    const auto mix = parameterNamed("Mix"), feedback = parameterNamed("Feedback");
    effect->setParameter(effect, mix, 0.25f);
    effect->setParameter(effect, feedback, 0.5f);
    ASSERT_TRUE(idle([&] { return effect->getParameter(effect, mix) == 0.25f; }));

    void* data = nullptr;
    const auto size = call(effGetChunk, 0, 0, &data);
    ASSERT_TRUE(size > 12 && data != nullptr) << size;
    const std::vector<char> chunk((const char*) data, (const char*) data + size);

    effect->setParameter(effect, mix, 0.75f);
    effect->setParameter(effect, feedback, 0.0f);
    ASSERT_TRUE(idle([&] { return effect->getParameter(effect, mix) == 0.75f; }));
    clearLog();
    call(effSetChunk, 0, (intptr_t) chunk.size(), const_cast<char*>(chunk.data()));
    for (int pass = 0; pass < 2; ++pass) // as the call returns, and once the restore has run
    {
        EXPECT_EQ(effect->getParameter(effect, mix), 0.25f);
        EXPECT_NEAR(effect->getParameter(effect, feedback), 0.5f, 1e-6);
        idleFor(300);
    }
    for (auto opcode : copyOf(opcodes))
        EXPECT_TRUE(opcode != audioMasterAutomate && opcode != audioMasterBeginEdit && opcode != audioMasterEndEdit)
            << "the restore told the host of an edit, opcode " << opcode;
}

// A host's write of one parameter comes back as automation of no other whose value stayed.
TEST_F(PublishedVst2Host, AWriteOfOneParameterAutomatesNoUnchangedOther)
{
    start(48000.0, 256);
    idleFor(300);
    for (int32_t written = 0; written < effect->numParams; ++written)
    {
        std::vector<float> before;
        for (int32_t i = 0; i < effect->numParams; ++i)
            before.push_back(effect->getParameter(effect, i));
        clearLog();
        effect->setParameter(effect, written, before[(size_t) written] < 0.5f ? 1.0f : 0.0f);
        idleFor(100);
        for (const auto index : copyOf(automated))
            if (index != written && index >= 0 && index < effect->numParams)
                EXPECT_NE(effect->getParameter(effect, index), before[(size_t) index])
                    << text(effGetParamName, written) << " echoed as automation of " << text(effGetParamName, index);
    }
}

} // namespace
