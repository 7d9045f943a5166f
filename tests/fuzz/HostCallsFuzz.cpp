// A host's calls on one instance, decoded from the bytes: prepares at any
// rate and block size, bus layouts, blocks of any length up to the prepared
// size with any samples and MIDI, parameter writes through the host's
// parameter objects, resets, and restores of mutated saved states.
// After each block whose samples were finite (parameter values may be
// anything, NaN too), the output must be finite.

#include "FuzzSupport.h"

#include "plugin/HostState.h"
#include "plugin/ReelwarpPlugin.h"

#include <fuzzer/FuzzedDataProvider.h>
#include <tinyxml2.h>

#include <cfloat>
#include <cstring>

// Non-finite samples among the input (NaN, infinities): the block's edge
// takes them as silence, so every block's output must still be finite.
#ifndef REELWARP_FUZZ_NONFINITE_INPUT
#define REELWARP_FUZZ_NONFINITE_INPUT 1
#endif

namespace
{

using namespace qel;

// Each input stays cheap: a bounded number of calls and of frames.
constexpr int maximumCalls = 48;
constexpr int maximumFrames = 1 << 13;
// Each preparation clears seconds of tape per deck: a budget in hertz of
// preparations (a prepare, a restore into a prepared instance) per input.
constexpr double preparationBudget = 400000.0;
// Louder than this (+60 dBFS) may overflow through gains on the way: not checked.
constexpr float loudest = 1000.0f;

enum class Call : uint8_t
{
    prepare,
    layout,
    block,
    block2,
    block3,
    parameter,
    restore,
    reset,
    count
};

void collect(tinyxml2::XMLElement* e, std::vector<tinyxml2::XMLElement*>& out)
{
    for (; e != nullptr; e = e->NextSiblingElement())
    {
        out.push_back(e);
        collect(e->FirstChildElement(), out);
    }
}

struct Host
{
    explicit Host(FuzzedDataProvider& in) : in(in) {}

    FuzzedDataProvider& in;
    ReelwarpPlugin plugin;
    double rate = 0.0;
    int preparedSize = 0;
    double budgetLeft = preparationBudget;
    int framesLeft = maximumFrames;
    std::vector<float> storage;
    std::vector<float*> channels;
    juce::MemoryBlock saved;
    bool audioTainted = false; // non-finite or very loud samples went in
    const Engine* engineSeen = nullptr;

    bool canPrepare(double atRate) const { return atRate <= budgetLeft; }

    void prepare(double newRate, int blockSize)
    {
        rate = newRate;
        preparedSize = blockSize;
        budgetLeft -= newRate;
        plugin.prepareToPlay(rate, preparedSize);
        storage.assign(2 * (size_t) preparedSize, 0.0f);
        noteEngine();
    }

    // A new tree starts clean.
    void noteEngine()
    {
        if (&plugin.getEngine() != engineSeen)
        {
            engineSeen = &plugin.getEngine();
            audioTainted = false;
        }
    }

    void callPrepare()
    {
        static constexpr double common[] = { 8000, 22050, 44100, 48000, 88200, 96000, 192000, 384000 };
        const double newRate = in.ConsumeBool() ? common[in.ConsumeIntegralInRange<size_t>(0, 7)]
                                                : static_cast<double>(in.ConsumeIntegralInRange<int>(8000, 384000));
        const int blockSize = in.ConsumeBool() ? 1 << in.ConsumeIntegralInRange<int>(0, 13) : in.ConsumeIntegralInRange<int>(1, 8192);
        if (canPrepare(newRate))
            prepare(newRate, blockSize);
    }

    // As hosts do it: a new layout, then a prepare.
    void callLayout()
    {
        using Set = juce::AudioChannelSet;
        const Set sets[] = { Set::mono(), Set::stereo(), Set::disabled() };
        juce::AudioProcessor::BusesLayout layout;
        layout.inputBuses.add(sets[in.ConsumeIntegralInRange<int>(0, 2)]);
        layout.outputBuses.add(sets[in.ConsumeIntegralInRange<int>(0, 1)]);
        plugin.releaseResources();
        plugin.setBusesLayout(layout);
        if (preparedSize > 0 && canPrepare(rate))
            prepare(rate, preparedSize);
        else
            preparedSize = 0; // no block before the next prepare
    }

    float sampleOf(int kind, int i, float level, float step, uint32_t& seed) const
    {
        switch (kind)
        {
            case 0: return 0.0f;
            case 1: return level * std::sin(step * static_cast<float>(i));
            case 2:
                seed = seed * 1664525u + 1013904223u;
                return level * (static_cast<float>(seed >> 8) / 8388608.0f - 1.0f);
            case 3: return level;
            default: return (i & 1) != 0 ? FLT_MIN * 0.5f : -FLT_MIN * 0.25f; // denormals
        }
    }

    void callBlock()
    {
        if (preparedSize == 0)
        {
            if (!canPrepare(48000.0))
                return;
            prepare(48000.0, 256);
        }
        const int numChannels = std::max(plugin.getTotalNumInputChannels(), plugin.getTotalNumOutputChannels());
        const int frames = std::min(in.ConsumeIntegralInRange<int>(0, preparedSize), framesLeft);
        framesLeft -= frames;

        const int kind = in.ConsumeIntegralInRange<int>(0, 4);
        const float level = in.ConsumeBool() ? in.ConsumeFloatingPointInRange<float>(-2.0f, 2.0f) : in.ConsumeFloatingPoint<float>();
        const float step = in.ConsumeFloatingPointInRange<float>(0.0f, 3.2f);
        uint32_t seed = in.ConsumeIntegral<uint32_t>();
        channels.resize((size_t) numChannels);
        for (int c = 0; c < numChannels; ++c)
        {
            channels[(size_t) c] = storage.data() + (size_t) c * (size_t) preparedSize;
            for (int i = 0; i < frames; ++i)
                channels[(size_t) c][i] = sampleOf(kind, i + c * 7, level, step, seed);
        }
        // A few samples set to values of the bytes' choosing.
        const int specials = in.ConsumeIntegralInRange<int>(0, 3);
        for (int s = 0; s < specials && frames > 0 && numChannels > 0; ++s)
        {
            static constexpr float values[] = { std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                                                -std::numeric_limits<float>::infinity(), FLT_MAX, -FLT_MAX, FLT_MIN * 0.5f, 1e-38f, 1.0f };
            const auto c = in.ConsumeIntegralInRange<int>(0, numChannels - 1);
            const auto i = in.ConsumeIntegralInRange<int>(0, frames - 1);
            float v = values[in.ConsumeIntegralInRange<int>(0, 7)];
            if (!REELWARP_FUZZ_NONFINITE_INPUT && !std::isfinite(v))
                v = 0.0f;
            channels[(size_t) c][i] = v;
        }

        // Non-finite samples count as silence; only the very loud finite ones may overflow.
        bool quietInput = true;
        for (int c = 0; c < plugin.getTotalNumInputChannels() && c < numChannels; ++c)
            for (int i = 0; i < frames; ++i)
            {
                const float x = channels[(size_t) c][i];
                quietInput = quietInput && (!std::isfinite(x) || std::fabs(x) <= loudest);
            }

        juce::MidiBuffer midi;
        const int events = in.ConsumeIntegralInRange<int>(0, 4);
        for (int e = 0; e < events && frames > 0; ++e)
        {
            const uint8_t bytes[3] = { in.ConsumeIntegral<uint8_t>(), in.ConsumeIntegral<uint8_t>(), in.ConsumeIntegral<uint8_t>() };
            midi.addEvent(bytes, in.ConsumeIntegralInRange<int>(1, 3), in.ConsumeIntegralInRange<int>(0, frames - 1));
        }

        juce::AudioBuffer<float> buffer(channels.data(), numChannels, frames);
        plugin.processBlock(buffer, midi);

        if (!quietInput)
            audioTainted = true;
        if (!audioTainted)
            for (int c = 0; c < plugin.getTotalNumOutputChannels() && c < numChannels; ++c)
                fuzz::requireFinite(channels[(size_t) c], frames,
                                    "output channel " + std::to_string(c) + " of a finite block of " + std::to_string(frames)
                                        + " at " + std::to_string(rate) + " Hz");
    }

    void callParameter()
    {
        auto& parameters = plugin.getParameters();
        if (parameters.isEmpty())
            return;
        const int index = in.ConsumeIntegralInRange<int>(0, parameters.size() - 1);
        float value;
        switch (in.ConsumeIntegralInRange<int>(0, 3))
        {
            case 0: value = in.ConsumeProbability<float>(); break;
            case 1: value = in.ConsumeBool() ? 1.0f : 0.0f; break;
            case 2: value = in.ConsumeFloatingPointInRange<float>(-4.0f, 4.0f); break;
            default:
            {
                const auto bits = in.ConsumeIntegral<uint32_t>();
                std::memcpy(&value, &bits, sizeof value);
                break;
            }
        }
        // Any float, NaN too: the slots clamp what hosts send, so it never taints the sound.
        if (in.ConsumeBool())
            parameters[index]->setValueNotifyingHost(value);
        else
            parameters[index]->setValue(value);
        (void) parameters[index]->getValue();
        (void) parameters[index]->getText(parameters[index]->getValue(), 32);
    }

    // A saved state with a few bytes of its frame, or one attribute of its
    // text, changed.
    void callRestore()
    {
        if (!canPrepare(rate))
            return;
        budgetLeft -= rate;
        if (saved.isEmpty() || in.ConsumeBool())
            plugin.getStateInformation(saved);
        juce::MemoryBlock blob = saved;
        switch (in.ConsumeIntegralInRange<int>(0, 2))
        {
            case 0: break;
            case 1:
            {
                const int flips = in.ConsumeIntegralInRange<int>(1, 4);
                for (int f = 0; f < flips && blob.getSize() > 0; ++f)
                    blob[(int) in.ConsumeIntegralInRange<size_t>(0, blob.getSize() - 1)] ^= static_cast<char>(in.ConsumeIntegralInRange<int>(1, 255));
                break;
            }
            default:
            {
                tinyxml2::XMLDocument document;
                HostState::decode(blob.getData(), blob.getSize(), document);
                std::vector<tinyxml2::XMLElement*> elements;
                collect(document.RootElement(), elements);
                if (elements.empty())
                    break;
                auto* element = elements[in.ConsumeIntegralInRange<size_t>(0, elements.size() - 1)];
                std::vector<const char*> names;
                for (auto* a = element->FirstAttribute(); a != nullptr; a = a->Next())
                    names.push_back(a->Name());
                const auto text = in.ConsumeRandomLengthString(24);
                if (!names.empty())
                {
                    const std::string name = names[in.ConsumeIntegralInRange<size_t>(0, names.size() - 1)];
                    element->SetAttribute(name.c_str(), text.c_str());
                }
                blob = HostState::encode(document);
                break;
            }
        }
        plugin.setStateInformation(blob.getData(), static_cast<int>(blob.getSize()));
        fuzz::pumpMessages();
        noteEngine();
    }

    void callReset()
    {
        plugin.reset();
        audioTainted = false;
    }
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    fuzz::startJuce();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider in(data, size);
    Host host(in);
    host.noteEngine();
    for (int call = 0; call < maximumCalls && in.remaining_bytes() > 0 && host.framesLeft > 0; ++call)
    {
        switch (static_cast<Call>(in.ConsumeIntegralInRange<int>(0, static_cast<int>(Call::count) - 1)))
        {
            case Call::prepare: host.callPrepare(); break;
            case Call::layout: host.callLayout(); break;
            case Call::block:
            case Call::block2:
            case Call::block3: host.callBlock(); break;
            case Call::parameter: host.callParameter(); break;
            case Call::restore: host.callRestore(); break;
            case Call::reset: host.callReset(); break;
            default: break;
        }
        fuzz::pumpMessages();
    }
    return 0;
}
