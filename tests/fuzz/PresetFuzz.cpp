// Bytes as a preset file, read through a mounted volume as the factory
// presets are, and applied to a fresh effect as a whole or a tape preset.
//
// Input: one byte of choices, then the file.
//   bit 0  tape preset (else whole)
//   bit 1  SyncToHost on before the preset
//   bit 2  the parameter picked by bits 3..7 is locked
// Checks: a refused preset leaves every value; a tape preset moves only its
// parameters; name, bypass and locks hold; numbers stay finite and in range;
// a few blocks through the result stay finite.

#include "FuzzSupport.h"

#include "files/VFSHolder.h"
#include "support/ProcessorHarness.h"
#include "tape/ReelwarpParameters.h"
#include "ui/PresetFiles.h"

#include <map>

namespace
{

using namespace qel;

// One file, "$FuzzInput/preset.fxps", holding the bytes of the input at hand.
class InputVolume : public Volume
{
public:
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

PresetKind tapeKind()
{
    std::vector<uint32_t> ids;
    for (const auto p : tapePresetParameters)
        ids.push_back(reelwarpParameterId(p));
    return PresetKind::tape(ids);
}

// Every value the element holds, as text, by parameter id.
std::map<uint32_t, String> valuesOf(const Element& e)
{
    std::map<uint32_t, String> values;
    for (const auto& b : e.getParameters())
    {
        const auto id = b->id();
        switch (b->valueType())
        {
            case ValueType::floatValue: values[id] = String(e.getParameterFloat(id), 9); break;
            case ValueType::intValue: values[id] = String(e.getParameterInt(id)); break;
            case ValueType::boolValue: values[id] = e.getParameterBool(id) ? "1" : "0"; break;
            case ValueType::stringValue: values[id] = e.getParameterString(id); break;
            default: break;
        }
    }
    return values;
}

bool isReadOnly(const Element& e, uint32_t id)
{
    for (const auto& b : e.getParameters())
        if (b->id() == id)
            return b->description().has(ParameterFlags::readOnly);
    return true;
}

void requireInRange(const Element& e)
{
    for (const auto& b : e.getParameters())
    {
        if (b->valueType() == ValueType::floatValue)
        {
            const auto& d = static_cast<const ParameterInfo<float>&>(*b).typedDescription();
            const float v = e.getParameterFloat(b->id());
            fuzz::check(std::isfinite(v), (d.name + " is not finite").toStdString());
            // A synced value may be a beat ratio outside the range.
            if (!d.hasRange() || (isSyncedDisplayType(d.displayType) && e.isSyncedToHost()))
                continue;
            const float slack = 1e-4f * (d.maximum - d.minimum);
            fuzz::check(v >= d.minimum - slack && v <= d.maximum + slack,
                        (d.name + " = " + String(v) + " outside " + String(d.minimum) + ".." + String(d.maximum)).toStdString());
        }
        else if (b->valueType() == ValueType::intValue)
        {
            const auto& d = static_cast<const ParameterInfo<int>&>(*b).typedDescription();
            const int v = e.getParameterInt(b->id());
            fuzz::check(!d.hasRange() || (v >= d.minimum && v <= d.maximum),
                        (d.name + " = " + String(v) + " outside its range").toStdString());
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    fuzz::startJuce();
    volume = std::make_shared<InputVolume>();
    VFSHolder::getInstance()->addVolume(volume);
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
    const auto kind = tape ? tapeKind() : PresetKind::whole();
    // A low rate keeps the tape rings, cleared on every input, small.
    test::ProcessorHarness h(2, 8000.0, 64);
    auto& effect = h.processor;
    effect.setName(ReelwarpProcessor::elementName);
    effect.setParameterBool(FrameworkParameters::get().bypass, false);
    effect.setParameterBool(FrameworkParameters::get().syncToHost, (choices & 2) != 0);
    uint32_t locked = 0;
    if ((choices & 4) != 0)
    {
        locked = reelwarpParameterId(static_cast<ReelwarpParameter>((choices >> 3) % reelwarpParameterCount));
        setParameterLocked(effect, locked, true);
    }

    const auto before = valuesOf(effect);
    const bool applied = loadPresetFile(&effect, "$FuzzInput/preset.fxps", kind);
    const auto after = valuesOf(effect);

    if (!applied)
        fuzz::check(before == after, "a refused preset changed values");
    const auto lowLatency = reelwarpParameterId(ReelwarpParameter::ApplyLowLatency);
    const auto sync = FrameworkParameters::get().syncToHost;
    for (const auto& [id, value] : before)
    {
        // Computed values follow others; low latency caps the flange depth;
        // a change of sync turns the LFO rate between hertz and beats.
        if (isReadOnly(effect, id)
            || (id == reelwarpParameterId(ReelwarpParameter::MaxRelativeDelay) && before.at(lowLatency) != after.at(lowLatency))
            || (id == reelwarpParameterId(ReelwarpParameter::LFOFreq) && before.at(sync) != after.at(sync)))
            continue;
        const bool mayMove = applied && kind.takes(id) && id != locked && id != FrameworkParameters::get().bypass;
        if (!mayMove)
            fuzz::check(after.at(id) == value, (ParameterRegistry::get().nameOf(id) + " moved from " + value + " to "
                                                + after.at(id) + (tape ? " (tape preset)" : " (whole preset)"))
                                                   .toStdString());
    }
    fuzz::check(effect.getName() == ReelwarpProcessor::elementName, "a preset renamed the effect");
    requireInRange(effect);

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
