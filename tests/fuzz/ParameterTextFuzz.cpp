// Text into every parameter, as editor fields and hosts give it. Input: byte 0 picks the parameter, byte 1 bit 0
// turns SyncToHost on, the rest is the text. A value read inside the range prints and reads back within the display's
// precision; a host's slot reads any text as a position in 0..1, whose text reads back to it.
#include "FuzzSupport.h"

#include "element/BeatDivisions.h"
#include "plugin/ReelwarpPlugin.h"

#include <type_traits>

namespace
{

using namespace qel;

std::unique_ptr<ReelwarpPlugin> plugin;
Element* effect = nullptr;

template <typename T>
void checkNumber(const ParameterDescription<T>& d, const String& text)
{
    // Synchronised, the parser answers a division's row and the printer takes a ratio.
    const bool synced = std::is_same_v<T, float> && isSyncedDisplayType(d.displayType) && effect->isSyncedToHost();
    T value {};
    if (!d.fromString(effect, text, value) || synced || !std::isfinite((double) value) || !d.hasRange() || value < d.minimum
        || value > d.maximum)
        return;
    const auto printed = d.toString(effect, value);
    T again {};
    const bool reads = d.fromString(effect, printed, again);
    // Printing keeps three significant digits or two decimals: half a percent of the value or of the range covers both.
    const double a = value, b = again, span = (double) d.maximum - (double) d.minimum;
    const bool close = std::is_same_v<T, int> ? a == b : std::fabs(a - b) <= 0.006 * std::max(std::fabs(a), std::fabs(b)) + 0.005 * span;
    fuzz::check(reads && close, (d.name + " <- \"" + text + "\": " + String(a) + " -> \"" + printed + "\" -> " + String(b)).toStdString());
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    fuzz::startJuce();
    plugin = std::make_unique<ReelwarpPlugin>();
    plugin->prepareToPlay(44100.0, 64);
    effect = plugin->getEngine().findChild(ReelwarpPlugin::effectName);
    fuzz::check(effect != nullptr, "no effect in a new instance");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // JUCE's strings hold valid UTF-8 only (fromUTF8 reads past a broken sequence): what a host hands over is text already.
    if (size < 2 || !juce::CharPointer_UTF8::isValidString(reinterpret_cast<const char*>(data + 2), static_cast<int>(size - 2)))
        return 0;
    const auto& bindings = effect->getParameters();
    const auto& binding = *bindings[data[0] % bindings.size()];
    effect->setParameterBool(FrameworkParameters::get().syncToHost, (data[1] & 1) != 0);
    const auto text = String::fromUTF8(reinterpret_cast<const char*>(data + 2), static_cast<int>(size - 2));
    const auto where = (binding.description().name + " <- \"" + text + "\"").toStdString();

    if (binding.valueType() == ValueType::floatValue)
        checkNumber(static_cast<const ParameterInfo<float>&>(binding).typedDescription(), text);
    else if (binding.valueType() == ValueType::intValue)
        checkNumber(static_cast<const ParameterInfo<int>&>(binding).typedDescription(), text);
    else if (bool value = false; binding.valueType() == ValueType::boolValue)
        static_cast<const ParameterInfo<bool>&>(binding).typedDescription().fromString(effect, text, value);
    // The host's view: positions 0..1 and their texts.
    if (const auto index = plugin->findSlot(ReelwarpPlugin::effectPath, binding.id()))
    {
        auto& slot = *plugin->getSlot(*index);
        const float position = slot.getValueForText(text);
        fuzz::check(std::isfinite(position) && position >= 0.0f && position <= 1.0f,
                    where + ": the host gets position " + std::to_string(position));
        const auto printed = slot.getText(position, 0);
        const float again = slot.getValueForText(printed);
        fuzz::check(std::fabs(again - position) <= (slot.isDiscrete() ? 1e-6f : 0.02f),
                    where + ": position " + std::to_string(position) + " prints as \"" + printed.toStdString() + "\", which reads as "
                        + std::to_string(again));
    }
    fuzz::pumpMessages();
    return 0;
}
