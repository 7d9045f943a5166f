// Bytes as a host's saved state: the frame's decode alone, then the full
// restore into an instance, a few blocks that must stay finite, and
// a save of what was restored that must restore to the same values.
//
// REELWARP_FUZZ_WRITE_SEED=FILE writes a fresh instance's state and exits:
// the seed corpus is made from it.

#include "FuzzSupport.h"

#include "plugin/HostState.h"
#include "plugin/ReelwarpPlugin.h"

#include <tinyxml2.h>

#include <cstring>

namespace
{

using namespace qel;

// The lowest rate hosts use: the decks' tape rings scale with it, and a run makes two instances per input.
constexpr double sampleRate = 8000.0;
constexpr int blockSize = 64;

juce::MemoryBlock stateOf(ReelwarpPlugin& plugin)
{
    juce::MemoryBlock blob;
    plugin.getStateInformation(blob);
    return blob;
}

void render(ReelwarpPlugin& plugin, const char* what)
{
    juce::AudioBuffer<float> buffer(2, blockSize);
    juce::MidiBuffer midi;
    for (int block = 0; block < 3; ++block)
    {
        for (int c = 0; c < 2; ++c)
            for (int i = 0; i < blockSize; ++i)
                buffer.setSample(c, i, 0.5f * std::sin(0.05f * static_cast<float>(block * blockSize + i) + static_cast<float>(c)));
        plugin.processBlock(buffer, midi);
        for (int c = 0; c < 2; ++c)
            fuzz::requireFinite(buffer.getReadPointer(c), blockSize, what);
    }
}

bool sameNumberOrText(const char* a, const char* b)
{
    if (std::strcmp(a, b) == 0)
        return true;
    char* endA = nullptr;
    char* endB = nullptr;
    const double x = std::strtod(a, &endA);
    const double y = std::strtod(b, &endB);
    if (endA == a || endB == b || *endA != '\0' || *endB != '\0')
        return false;
    // A getter that reads back through the DSP (a log of a power) may move the last digits.
    return std::fabs(x - y) <= 1e-4 * std::max(1.0, std::max(std::fabs(x), std::fabs(y)));
}

// The same elements and attributes, numbers within a hair.
void requireSameTree(const tinyxml2::XMLElement* a, const tinyxml2::XMLElement* b, const std::string& where)
{
    for (; a != nullptr || b != nullptr; a = a->NextSiblingElement(), b = b->NextSiblingElement())
    {
        fuzz::check(a != nullptr && b != nullptr, "a saved state lost or gained an element after " + where);
        const std::string here = where + "/" + a->Name();
        fuzz::check(std::strcmp(a->Name(), b->Name()) == 0, std::string("element ") + a->Name() + " became " + b->Name());
        const auto* x = a->FirstAttribute();
        const auto* y = b->FirstAttribute();
        for (; x != nullptr || y != nullptr; x = x->Next(), y = y->Next())
        {
            fuzz::check(x != nullptr && y != nullptr, "attributes differ in number at " + here);
            fuzz::check(std::strcmp(x->Name(), y->Name()) == 0 && sameNumberOrText(x->Value(), y->Value()),
                        here + ": " + x->Name() + "=\"" + x->Value() + "\" restored as " + y->Name() + "=\"" + y->Value() + "\"");
        }
        requireSameTree(a->FirstChildElement(), b->FirstChildElement(), here);
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    fuzz::startJuce();
    if (const char* seed = std::getenv("REELWARP_FUZZ_WRITE_SEED"))
    {
        ReelwarpPlugin plugin;
        const auto blob = stateOf(plugin);
        juce::File(juce::String::fromUTF8(seed)).replaceWithData(blob.getData(), blob.getSize());
        std::_Exit(0); // no leak report for what JUCE still holds
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    {
        tinyxml2::XMLDocument document;
        HostState::decode(data, size, document);
    }
    if (size > static_cast<size_t>(std::numeric_limits<int>::max()))
        return 0;

    // Restored before the first prepare, as hosts load a project: one
    // preparation of the tape per input instead of two (a restore into a
    // prepared instance is the host calls target's work).
    ReelwarpPlugin plugin;
    // The fuzzer's thread is the message thread: the restore runs inside this call.
    plugin.setStateInformation(data, static_cast<int>(size));
    fuzz::pumpMessages();
    fuzz::check(plugin.getPendingState() == nullptr, "a restore was left pending");
    plugin.prepareToPlay(sampleRate, blockSize);
    render(plugin, "output after a restore");

    // What was restored saves, and that restores to the same values.
    const auto first = stateOf(plugin);
    ReelwarpPlugin again;
    again.setStateInformation(first.getData(), static_cast<int>(first.getSize()));
    fuzz::pumpMessages();
    const auto second = stateOf(again);
    tinyxml2::XMLDocument a, b;
    HostState::decode(first.getData(), first.getSize(), a);
    HostState::decode(second.getData(), second.getSize(), b);
    fuzz::check(a.RootElement() != nullptr, "a saved state does not decode");
    requireSameTree(a.RootElement(), b.RootElement(), "");
    return 0;
}
