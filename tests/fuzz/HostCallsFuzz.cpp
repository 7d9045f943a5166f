// A host's calls on one instance, decoded from the bytes: prepares at any rate and block size, layouts, blocks
// up to the prepared size with any samples and MIDI, parameter writes, resets, and restores of mutated states.
// A block whose input was finite (non-finite samples count as silence) must give finite output.
#include "FuzzSupport.h"

#include "plugin/HostState.h"
#include "plugin/ReelwarpPlugin.h"
#include "support/Signals.h"

#include <fuzzer/FuzzedDataProvider.h>
#include <tinyxml2.h>

#include <cfloat>
#include <cstring>

namespace
{

using namespace qel;

// Louder than this (+60 dBFS) may overflow through gains on the way: not checked.
constexpr float loudest = 1000.0f;

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
    explicit Host(FuzzedDataProvider& bytes) : in(bytes) { noteEngine(); }

    FuzzedDataProvider& in;
    ReelwarpPlugin plugin;
    // Each input stays cheap: bounded frames, and a budget in hertz of preparations (prepares, restores), each clearing tape.
    double rate = 0.0, budgetLeft = 400000.0;
    int preparedSize = 0, framesLeft = 1 << 13;
    std::vector<float> storage;
    juce::MemoryBlock saved;
    bool audioTainted = false; // very loud samples went in since the tree was made or reset
    const Engine* engineSeen = nullptr;

    bool prepare(double newRate, int blockSize)
    {
        if (newRate > budgetLeft)
            return false;
        rate = newRate;
        preparedSize = blockSize;
        budgetLeft -= newRate;
        plugin.prepareToPlay(rate, preparedSize);
        storage.assign(2 * (size_t) preparedSize, 0.0f);
        noteEngine();
        return true;
    }

    // A new tree starts clean.
    void noteEngine()
    {
        audioTainted = audioTainted && &plugin.getEngine() == engineSeen;
        engineSeen = &plugin.getEngine();
    }

    void callPrepare()
    {
        static constexpr double common[] = { 8000, 22050, 44100, 48000, 88200, 96000, 192000, 384000 };
        const double newRate = in.ConsumeBool() ? common[in.ConsumeIntegralInRange<size_t>(0, 7)]
                                                : static_cast<double>(in.ConsumeIntegralInRange<int>(8000, 384000));
        prepare(newRate, in.ConsumeBool() ? 1 << in.ConsumeIntegralInRange<int>(0, 13) : in.ConsumeIntegralInRange<int>(1, 8192));
    }

    // As hosts do it: a new layout, then a prepare; no block before the next prepare if none.
    void callLayout()
    {
        using Set = juce::AudioChannelSet;
        const Set sets[] = { Set::mono(), Set::stereo(), Set::disabled() };
        juce::AudioProcessor::BusesLayout layout;
        layout.inputBuses.add(sets[in.ConsumeIntegralInRange<int>(0, 2)]);
        layout.outputBuses.add(sets[in.ConsumeIntegralInRange<int>(0, 1)]);
        plugin.releaseResources();
        plugin.setBusesLayout(layout);
        if (preparedSize == 0 || !prepare(rate, preparedSize))
            preparedSize = 0;
    }

    void callBlock()
    {
        if (preparedSize == 0 && !prepare(48000.0, 256))
            return;
        const int numChannels = std::max(plugin.getTotalNumInputChannels(), plugin.getTotalNumOutputChannels());
        const int frames = std::min(in.ConsumeIntegralInRange<int>(0, preparedSize), framesLeft);
        framesLeft -= frames;
        // Silence, a sine, noise, a constant or denormals; then a few samples of the bytes' choosing.
        const int kind = in.ConsumeIntegralInRange<int>(0, 4);
        const float level = in.ConsumeBool() ? in.ConsumeFloatingPointInRange<float>(-2.0f, 2.0f) : in.ConsumeFloatingPoint<float>();
        const float step = in.ConsumeFloatingPointInRange<float>(0.0f, 3.2f);
        test::Noise noise { in.ConsumeIntegral<uint32_t>() };
        std::vector<float*> channels;
        for (int c = 0; c < numChannels; ++c)
        {
            channels.push_back(storage.data() + (size_t) c * (size_t) preparedSize);
            for (int i = 0; i < frames; ++i)
                channels[(size_t) c][i] = kind == 0   ? 0.0f
                                          : kind == 1 ? level * std::sin(step * static_cast<float>(i + c * 7))
                                          : kind == 2 ? level * static_cast<float>(2.0 * noise.next())
                                          : kind == 3 ? level
                                                      : ((i & 1) != 0 ? FLT_MIN * 0.5f : -FLT_MIN * 0.25f);
        }
        static constexpr float specials[] = { std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                                              -std::numeric_limits<float>::infinity(), FLT_MAX, -FLT_MAX, FLT_MIN * 0.5f, 1e-38f, 1.0f };
        for (int s = in.ConsumeIntegralInRange<int>(0, 3); s > 0 && frames > 0 && numChannels > 0; --s)
        {
            const int c = in.ConsumeIntegralInRange<int>(0, numChannels - 1), i = in.ConsumeIntegralInRange<int>(0, frames - 1);
            channels[(size_t) c][i] = specials[in.ConsumeIntegralInRange<int>(0, 7)];
        }
        for (int c = 0; c < plugin.getTotalNumInputChannels() && c < numChannels; ++c)
            for (int i = 0; i < frames; ++i)
                audioTainted = audioTainted || (std::isfinite(channels[(size_t) c][i]) && std::fabs(channels[(size_t) c][i]) > loudest);

        juce::MidiBuffer midi;
        for (int e = in.ConsumeIntegralInRange<int>(0, 4); e > 0 && frames > 0; --e)
        {
            const uint8_t bytes[3] = { in.ConsumeIntegral<uint8_t>(), in.ConsumeIntegral<uint8_t>(), in.ConsumeIntegral<uint8_t>() };
            midi.addEvent(bytes, in.ConsumeIntegralInRange<int>(1, 3), in.ConsumeIntegralInRange<int>(0, frames - 1));
        }
        juce::AudioBuffer<float> buffer(channels.data(), numChannels, frames);
        plugin.processBlock(buffer, midi);
        for (int c = 0; !audioTainted && c < plugin.getTotalNumOutputChannels() && c < numChannels; ++c)
            fuzz::requireFinite(channels[(size_t) c], frames, "output channel " + std::to_string(c) + " of a finite block of "
                                                                  + std::to_string(frames) + " at " + std::to_string(rate) + " Hz");
    }

    // Any float, NaN too: the slots clamp what hosts send, so it never taints the sound.
    void callParameter()
    {
        auto& parameters = plugin.getParameters();
        auto* parameter = parameters[in.ConsumeIntegralInRange<int>(0, parameters.size() - 1)];
        float value = 0.0f;
        switch (in.ConsumeIntegralInRange<int>(0, 3))
        {
            case 0: value = in.ConsumeProbability<float>(); break;
            case 1: value = in.ConsumeBool() ? 1.0f : 0.0f; break;
            case 2: value = in.ConsumeFloatingPointInRange<float>(-4.0f, 4.0f); break;
            default:
                const auto bits = in.ConsumeIntegral<uint32_t>();
                std::memcpy(&value, &bits, sizeof value);
        }
        in.ConsumeBool() ? parameter->setValueNotifyingHost(value) : parameter->setValue(value);
        (void) parameter->getText(parameter->getValue(), 32);
    }

    // A saved state as it is, with a few bytes of its frame changed, or with one attribute of its text changed.
    void callRestore()
    {
        if (rate > budgetLeft)
            return;
        budgetLeft -= rate;
        if (saved.isEmpty() || in.ConsumeBool())
            plugin.getStateInformation(saved);
        juce::MemoryBlock blob = saved;
        const int change = in.ConsumeIntegralInRange<int>(0, 2);
        for (int f = change == 1 ? in.ConsumeIntegralInRange<int>(1, 4) : 0; f > 0 && blob.getSize() > 0; --f)
            blob[(int) in.ConsumeIntegralInRange<size_t>(0, blob.getSize() - 1)] ^= static_cast<char>(in.ConsumeIntegralInRange<int>(1, 255));
        tinyxml2::XMLDocument document;
        std::vector<tinyxml2::XMLElement*> elements;
        if (change == 2)
        {
            HostState::decode(blob.getData(), blob.getSize(), document);
            collect(document.RootElement(), elements);
        }
        if (!elements.empty())
        {
            auto* element = elements[in.ConsumeIntegralInRange<size_t>(0, elements.size() - 1)];
            std::vector<std::string> names;
            for (auto* a = element->FirstAttribute(); a != nullptr; a = a->Next())
                names.push_back(a->Name());
            const auto text = in.ConsumeRandomLengthString(24);
            if (!names.empty())
                element->SetAttribute(names[in.ConsumeIntegralInRange<size_t>(0, names.size() - 1)].c_str(), text.c_str());
            blob = HostState::encode(document);
        }
        plugin.setStateInformation(blob.getData(), static_cast<int>(blob.getSize()));
        fuzz::pumpMessages();
        noteEngine();
    }
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) { return fuzz::startJuce(); }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider in(data, size);
    Host host(in);
    for (int call = 0; call < 48 && in.remaining_bytes() > 0 && host.framesLeft > 0; ++call)
    {
        switch (in.ConsumeIntegralInRange<int>(0, 7))
        {
            case 0: host.callPrepare(); break;
            case 1: host.callLayout(); break;
            case 5: host.callParameter(); break;
            case 6: host.callRestore(); break;
            case 7:
                host.plugin.reset();
                host.audioTainted = false;
                break;
            default: host.callBlock(); break; // three in eight calls
        }
        fuzz::pumpMessages();
    }
    return 0;
}
