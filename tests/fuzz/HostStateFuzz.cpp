// Bytes as a host's saved state: decoded alone, then restored into an instance, whose blocks stay finite
// and whose save restores to the same values.
#include "FuzzSupport.h"

#include "plugin/HostState.h"
#include "plugin/ReelwarpPlugin.h"

#include <tinyxml2.h>

#include <cstring>

namespace
{

using namespace qel;

// Numbers within a hair: a getter that reads back through the DSP (a log of a power) may move the last digits.
bool sameNumberOrText(const char* a, const char* b)
{
    char *endA = nullptr, *endB = nullptr;
    const double x = std::strtod(a, &endA), y = std::strtod(b, &endB);
    return std::strcmp(a, b) == 0
        || (endA != a && endB != b && *endA == '\0' && *endB == '\0'
            && std::fabs(x - y) <= 1e-4 * std::max(1.0, std::max(std::fabs(x), std::fabs(y))));
}

// The same elements and attributes, numbers within a hair.
void requireSameTree(const tinyxml2::XMLElement* a, const tinyxml2::XMLElement* b, const std::string& where)
{
    for (; a != nullptr || b != nullptr; a = a->NextSiblingElement(), b = b->NextSiblingElement())
    {
        fuzz::check(a != nullptr && b != nullptr, "a saved state lost or gained an element after " + where);
        const std::string here = where + "/" + a->Name();
        fuzz::check(std::strcmp(a->Name(), b->Name()) == 0, std::string("element ") + a->Name() + " became " + b->Name());
        for (auto *x = a->FirstAttribute(), *y = b->FirstAttribute(); x != nullptr || y != nullptr; x = x->Next(), y = y->Next())
        {
            fuzz::check(x != nullptr && y != nullptr, "attributes differ in number at " + here);
            fuzz::check(std::strcmp(x->Name(), y->Name()) == 0 && sameNumberOrText(x->Value(), y->Value()),
                        here + ": " + x->Name() + "=\"" + x->Value() + "\" restored as " + y->Name() + "=\"" + y->Value() + "\"");
        }
        requireSameTree(a->FirstChildElement(), b->FirstChildElement(), here);
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) { return fuzz::startJuce(); }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    tinyxml2::XMLDocument alone;
    HostState::decode(data, size, alone);
    if (size > static_cast<size_t>(std::numeric_limits<int>::max()))
        return 0;

    // Restored before the first prepare, as hosts load a project; played at 8 kHz, as the tape rings scale with the rate.
    ReelwarpPlugin plugin;
    plugin.setStateInformation(data, static_cast<int>(size));
    fuzz::pumpMessages();
    fuzz::check(plugin.getPendingState() == nullptr, "a restore was left pending");
    plugin.prepareToPlay(8000.0, 64);
    juce::AudioBuffer<float> buffer(2, 64);
    juce::MidiBuffer midi;
    for (int block = 0; block < 3; ++block)
    {
        for (int c = 0; c < 2; ++c)
            for (int i = 0; i < 64; ++i)
                buffer.setSample(c, i, 0.5f * std::sin(0.05f * static_cast<float>(block * 64 + i) + static_cast<float>(c)));
        plugin.processBlock(buffer, midi);
        for (int c = 0; c < 2; ++c)
            fuzz::requireFinite(buffer.getReadPointer(c), 64, "output after a restore");
    }

    juce::MemoryBlock first, second;
    plugin.getStateInformation(first);
    ReelwarpPlugin again;
    again.setStateInformation(first.getData(), static_cast<int>(first.getSize()));
    fuzz::pumpMessages();
    again.getStateInformation(second);
    tinyxml2::XMLDocument a, b;
    HostState::decode(first.getData(), first.getSize(), a);
    HostState::decode(second.getData(), second.getSize(), b);
    fuzz::check(a.RootElement() != nullptr, "a saved state does not decode");
    requireSameTree(a.RootElement(), b.RootElement(), "");
    return 0;
}
