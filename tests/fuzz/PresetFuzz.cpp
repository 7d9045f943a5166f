// Bytes as a preset file, read through a mounted volume as factory presets are, into a fresh effect. Input: a byte of
// choices (bit 0 a tape preset, else whole; bit 1 SyncToHost on; bit 2 the parameter of bits 3..7 locked), then the file.
// A refused preset leaves every value, a tape one moves only its own; name, bypass, locks hold; all stays finite, in range.
#include "FuzzSupport.h"

#include "files/VFSHolder.h"
#include "support/ProcessorHarness.h"
#include "tape/ReelwarpParameters.h"
#include "ui/PresetFiles.h"

#include <type_traits>

namespace
{

using namespace qel;

// One file, "$FuzzInput/preset.fxps", holding the bytes of the input at hand.
struct InputVolume : Volume
{
    InputVolume() : Volume("FuzzInput", "Fuzz input", Path("/"), fixedDrive, readOnly) {}
    void listFolder(const Path&, std::vector<Entry>& out) const override { out.clear(); }
    Entry describe(const Path&) const override { return { "preset.fxps", false, static_cast<int64_t>(size), true }; }
    std::unique_ptr<juce::InputStream> createInputStream(const Path&) const override
    {
        return std::make_unique<juce::MemoryInputStream>(data, size, false);
    }

    const uint8_t* data = nullptr;
    size_t size = 0;
};

std::shared_ptr<InputVolume> volume;

// A number as text; with `checked`, finite and in its range (a synced value may be a beat ratio outside it).
template <typename T>
String numberText(const Element& e, const ParameterInfoBase& b, T v, bool checked)
{
    const auto& d = static_cast<const ParameterInfo<T>&>(b).typedDescription();
    constexpr bool isFloat = std::is_same_v<T, float>;
    const T slack = isFloat ? T(1e-4f * (float) (d.maximum - d.minimum)) : T(0);
    const bool synced = isFloat && isSyncedDisplayType(d.displayType) && e.isSyncedToHost();
    if (checked && (!std::isfinite((double) v) || (d.hasRange() && !synced && (v < d.minimum - slack || v > d.maximum + slack))))
        fuzz::check(false, (d.name + " = " + String(v) + " outside " + String(d.minimum) + ".." + String(d.maximum)).toStdString());
    return isFloat ? String((double) v, 9) : String(v);
}

// Every value the element holds but the computed ones, as text, by parameter id.
std::map<uint32_t, String> valuesOf(const Element& e, bool checked)
{
    std::map<uint32_t, String> values;
    for (const auto& b : e.getParameters())
    {
        const auto id = b->id();
        String value;
        if (b->valueType() == ValueType::floatValue)
            value = numberText(e, *b, e.getParameterFloat(id), checked);
        else if (b->valueType() == ValueType::intValue)
            value = numberText(e, *b, e.getParameterInt(id), checked);
        else if (b->valueType() == ValueType::boolValue)
            value = e.getParameterBool(id) ? "1" : "0";
        else if (b->valueType() == ValueType::stringValue)
            value = e.getParameterString(id);
        else
            continue;
        if (!b->description().has(ParameterFlags::readOnly))
            values[id] = value;
    }
    return values;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    fuzz::startJuce();
    VFSHolder::getInstance()->addVolume(volume = std::make_shared<InputVolume>());
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    const uint8_t choices = data[0];
    volume->data = data + 1;
    volume->size = size - 1;
    const bool tape = (choices & 1) != 0;
    std::vector<uint32_t> tapeIds;
    for (const auto p : tapePresetParameters)
        tapeIds.push_back(reelwarpParameterId(p));
    const auto kind = tape ? PresetKind::tape(tapeIds) : PresetKind::whole();
    // A low rate keeps the tape rings, cleared on every input, small.
    test::ProcessorHarness h(2, 8000.0, 64);
    auto& effect = h.processor;
    effect.setName(ReelwarpProcessor::elementName);
    const auto& framework = FrameworkParameters::get();
    effect.setParameterBool(framework.bypass, false);
    effect.setParameterBool(framework.syncToHost, (choices & 2) != 0);
    const auto pickedId = reelwarpParameterId(static_cast<ReelwarpParameter>((choices >> 3) % reelwarpParameterCount));
    const uint32_t locked = (choices & 4) == 0 ? 0 : pickedId;
    if ((choices & 4) != 0)
        setParameterLocked(effect, locked, true);

    const auto before = valuesOf(effect, false);
    const bool applied = loadPresetFile(&effect, "$FuzzInput/preset.fxps", kind);
    const auto after = valuesOf(effect, true);
    fuzz::check(applied || before == after, "a refused preset changed values");
    const auto lowLatency = reelwarpParameterId(ReelwarpParameter::ApplyLowLatency);
    for (const auto& [id, value] : before)
    {
        // Low latency caps the flange depth; a change of sync turns the LFO rate between hertz and beats.
        if ((id == reelwarpParameterId(ReelwarpParameter::MaxRelativeDelay) && before.at(lowLatency) != after.at(lowLatency))
            || (id == reelwarpParameterId(ReelwarpParameter::LFOFreq) && before.at(framework.syncToHost) != after.at(framework.syncToHost)))
            continue;
        const bool mayMove = applied && kind.takes(id) && id != locked && id != framework.bypass;
        if (!mayMove && after.at(id) != value)
            fuzz::check(false, (ParameterRegistry::get().nameOf(id) + " moved from " + value + " to " + after.at(id)
                                + (tape ? " (tape preset)" : " (whole preset)")).toStdString());
    }
    fuzz::check(effect.getName() == ReelwarpProcessor::elementName, "a preset renamed the effect");

    std::vector<std::vector<float>> block(2, std::vector<float>(64));
    for (int n = 0; n < 3; ++n)
    {
        for (size_t c = 0; c < 2; ++c)
            for (size_t i = 0; i < 64; ++i)
                block[c][i] = 0.5f * std::sin(0.07f * static_cast<float>(n * 64 + (int) i + (int) c * 5));
        h.render(block, 64);
        for (const auto& channel : block)
            fuzz::requireFinite(channel.data(), 64, "output after a preset");
    }
    return 0;
}
