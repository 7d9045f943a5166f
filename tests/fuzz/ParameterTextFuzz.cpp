// Text into every parameter of the effect, as an editor's field and a host's
// text entry give it.
//
// Input: byte 0 picks the parameter (modulo the effect's parameters), byte 1
// bit 0 turns SyncToHost on, the rest is the text (UTF-8, maybe broken).
// Checks, for the element's own parser: a value that reads inside the range
// prints and reads back to itself within the display's precision. For the
// host's slot of that parameter: the position read from any text is finite
// and in 0..1, and the position's text reads back to the same position.
// REELWARP_FUZZ_LIST_PARAMETERS=1 prints which parameter each first byte picks.

#include "FuzzSupport.h"

#include "element/BeatDivisions.h"
#include "plugin/ReelwarpPlugin.h"

namespace
{

using namespace qel;

std::unique_ptr<ReelwarpPlugin> plugin;
Element* effect = nullptr;

std::string describe(const String& name, const String& text)
{
    return (name + " <- \"" + text + "\"").toStdString();
}

// Printing keeps three significant digits at least, two decimals of the unit
// at worst: half a percent of the value or of the range covers both.
bool closeEnough(double a, double b, double span)
{
    return std::fabs(a - b) <= 0.006 * std::max(std::fabs(a), std::fabs(b)) + 0.005 * span;
}

void checkFloat(const ParameterDescription<float>& d, const String& text)
{
    float value = 0.0f;
    if (!d.fromString(effect, text, value))
        return;
    // Synchronised, the parser answers a division's row and the printer takes a ratio.
    if (isSyncedDisplayType(d.displayType) && effect->isSyncedToHost())
        return;
    if (!std::isfinite(value) || !d.hasRange() || value < d.minimum || value > d.maximum)
        return;
    const auto printed = d.toString(effect, value);
    float again = 0.0f;
    fuzz::check(d.fromString(effect, printed, again),
                describe(d.name, text) + ": " + std::to_string(value) + " prints as \"" + printed.toStdString() + "\", which does not read");
    fuzz::check(closeEnough(value, again, d.maximum - d.minimum),
                describe(d.name, text) + ": " + std::to_string(value) + " -> \"" + printed.toStdString() + "\" -> " + std::to_string(again));
}

void checkInt(const ParameterDescription<int>& d, const String& text)
{
    int value = 0;
    if (!d.fromString(effect, text, value) || !d.hasRange() || value < d.minimum || value > d.maximum)
        return;
    const auto printed = d.toString(effect, value);
    int again = 0;
    fuzz::check(d.fromString(effect, printed, again) && again == value,
                describe(d.name, text) + ": " + std::to_string(value) + " -> \"" + printed.toStdString() + "\" -> " + std::to_string(again));
}

void checkBool(const ParameterDescription<bool>& d, const String& text)
{
    bool value = false;
    d.fromString(effect, text, value);
}

// The host's view: positions 0..1 and their texts.
void checkSlot(juce::AudioProcessorParameter& slot, const String& name, const String& text)
{
    const float position = slot.getValueForText(text);
    fuzz::check(std::isfinite(position) && position >= 0.0f && position <= 1.0f,
                describe(name, text) + ": the host gets position " + std::to_string(position));
    const auto printed = slot.getText(position, 0);
    const float again = slot.getValueForText(printed);
    const bool discrete = slot.isDiscrete();
    const float tolerance = discrete ? 1e-6f : 0.02f;
    fuzz::check(std::fabs(again - position) <= tolerance,
                describe(name, text) + ": position " + std::to_string(position) + " prints as \"" + printed.toStdString()
                    + "\", which reads as " + std::to_string(again));
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    fuzz::startJuce();
    plugin = std::make_unique<ReelwarpPlugin>();
    plugin->prepareToPlay(44100.0, 64);
    effect = plugin->getEngine().findChild(ReelwarpPlugin::effectName);
    fuzz::check(effect != nullptr, "no effect in a new instance");
    // For writing seeds: the parameter that each first byte picks.
    if (std::getenv("REELWARP_FUZZ_LIST_PARAMETERS") != nullptr)
    {
        const auto& bindings = effect->getParameters();
        for (size_t i = 0; i < bindings.size(); ++i)
            std::printf("%zu %s\n", i, bindings[i]->description().name.toRawUTF8());
        std::fflush(stdout);
        std::_Exit(0);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2)
        return 0;
    // JUCE's strings hold valid UTF-8 only (fromUTF8 reads past a broken
    // sequence): what a host hands over is text already.
    const auto* chars = reinterpret_cast<const char*>(data + 2);
    if (!juce::CharPointer_UTF8::isValidString(chars, static_cast<int>(size - 2)))
        return 0;
    const auto& bindings = effect->getParameters();
    const auto& binding = *bindings[data[0] % bindings.size()];
    effect->setParameterBool(FrameworkParameters::get().syncToHost, (data[1] & 1) != 0);
    const auto text = String::fromUTF8(chars, static_cast<int>(size - 2));

    switch (binding.valueType())
    {
        case ValueType::floatValue: checkFloat(static_cast<const ParameterInfo<float>&>(binding).typedDescription(), text); break;
        case ValueType::intValue: checkInt(static_cast<const ParameterInfo<int>&>(binding).typedDescription(), text); break;
        case ValueType::boolValue: checkBool(static_cast<const ParameterInfo<bool>&>(binding).typedDescription(), text); break;
        default: break;
    }
    if (const auto slot = plugin->findSlot(ReelwarpPlugin::effectPath, binding.id()))
        checkSlot(*plugin->getSlot(*slot), binding.description().name, text);
    fuzz::pumpMessages();
    return 0;
}
