#include "tape/ReelwarpParameters.h"

#include "element/ParameterRegistry.h"

#include <array>
#include <cstdio>

namespace qel
{

namespace
{
using Row = ReelwarpParameterRow;
using State = ReelwarpProcessor::State;

// Declarations with a mapper of their own carry this curve kind.
constexpr uint32_t customCurveKind = 7;

ParameterMapper* mapperOf(const Row& row)
{
    switch (row.curve)
    {
        case Row::Curve::logarithmic: return new LogMapper(row.minimum, row.maximum);
        case Row::Curve::syncedLogarithmic: return new SyncLogMapper(row.minimum, row.maximum);
        default: return nullptr;
    }
}

// "12.50% (≈ 7.3 cents)": the cents are the peak pitch deviation, which the
// rate and the length of the main tap decide as much as the depth.
String wowDepthText(const ParameterContext* context, float value)
{
    float rate = reelwarpParameterRow(ReelwarpParameter::WowRate).defaultValue;
    float latency = ReelwarpProcessor::normalLatencySeconds;
    if (const auto* processor = dynamic_cast<const ReelwarpProcessor*>(context != nullptr ? context->standsFor() : nullptr))
    {
        rate = processor->getParameterFloat(reelwarpParameterId(ReelwarpParameter::WowRate));
        latency = processor->getReferenceReelwarpState().latency;
    }
    constexpr double centsPerRadian = 10877.664340385265; // 2 pi x 1200 / ln 2
    const double cents = static_cast<double>(value * 0.3f) * centsPerRadian * rate * latency;
    char percent[32];
    std::snprintf(percent, sizeof percent, "%.2f", static_cast<double>(value) * 100.0);
    return String(percent) + "% (" + String::fromUTF8("\xe2\x89\x88") + " " + String(cents) + " cents)";
}

void describeChoices(ParameterDescription<int>& description, const Row& row)
{
    const char* const* texts = row.choices;
    const int first = static_cast<int>(row.minimum);
    const int count = static_cast<int>(row.maximum - row.minimum) + 1;
    description.formatter = [texts, first, count](const ParameterContext*, int value) {
        const int i = value - first;
        return i >= 0 && i < count ? String(texts[i]) : String(value);
    };
    description.parser = [texts, first, count](const ParameterContext*, const String& text, int& value) {
        const auto trimmed = text.trim();
        for (int i = 0; i < count; ++i)
            if (trimmed == texts[i])
            {
                value = first + i;
                return true;
            }
        value = trimmed.getIntValue();
        return trimmed.isNotEmpty() && trimmed.containsOnly("-0123456789");
    };
}

uint32_t registerRow(const Row& row)
{
    auto& registry = ParameterRegistry::get();
    switch (row.kind)
    {
        case Row::Kind::number:
        {
            auto* mapper = mapperOf(row);
            ParameterDescription<float> d(row.name, row.defaultValue, { row.minimum, row.maximum }, row.displayType,
                                          mapper != nullptr ? customCurveKind : 0, mapper);
            d.displayName = row.displayName;
            if (row.parameter == ReelwarpParameter::WowMod)
            {
                d.formatter = wowDepthText;
                // The text reads back: the percentage counts, the cents in brackets only inform.
                d.parser = [plain = d](const ParameterContext* context, const String& text, float& value) {
                    return plain.fromString(context, text.upToFirstOccurrenceOf("(", false, false), value);
                };
            }
            return registry.registerFloat(d);
        }
        case Row::Kind::toggle:
        {
            ParameterDescription<bool> d(row.name, row.defaultValue != 0.0f);
            d.displayName = row.displayName;
            return registry.registerBool(d);
        }
        case Row::Kind::choice:
        default:
        {
            ParameterDescription<int> d(row.name, static_cast<int>(row.defaultValue),
                                        { static_cast<int>(row.minimum), static_cast<int>(row.maximum) });
            d.displayName = row.displayName;
            describeChoices(d, row);
            return registry.registerInt(d);
        }
    }
}

const Row& rowAt(const uint16_t* indices) noexcept
{
    return reelwarpParameterRow(static_cast<ReelwarpParameter>(indices[0]));
}

const State& stateAt(const void* target) noexcept { return *static_cast<const State*>(target); }
State& stateAt(void* target) noexcept { return *static_cast<State*>(target); }

// One getter and setter per kind serve every row: the row travels as the bound index.
std::unique_ptr<ParameterInfoBase> bind(const Row& row)
{
    auto& registry = ParameterRegistry::get();
    const uint32_t id = reelwarpParameterId(row.parameter);
    const auto index = static_cast<uint16_t>(row.parameter);
    switch (row.kind)
    {
        case Row::Kind::number:
            return std::make_unique<ParameterInfo<float>>(
                &registry.floatDescription(id), [](const void* t, const uint16_t* i) { return rowAt(i).get(stateAt(t)); },
                [](void* t, const uint16_t* i, float v) { rowAt(i).set(stateAt(t), v); }, std::initializer_list<uint16_t> { index });
        case Row::Kind::toggle:
            return std::make_unique<ParameterInfo<bool>>(
                &registry.boolDescription(id),
                [](const void* t, const uint16_t* i) { return rowAt(i).get(stateAt(t)) != 0.0f; },
                [](void* t, const uint16_t* i, bool v) { rowAt(i).set(stateAt(t), v ? 1.0f : 0.0f); },
                std::initializer_list<uint16_t> { index });
        case Row::Kind::choice:
        default:
            return std::make_unique<ParameterInfo<int>>(
                &registry.intDescription(id),
                [](const void* t, const uint16_t* i) { return static_cast<int>(rowAt(i).get(stateAt(t))); },
                [](void* t, const uint16_t* i, int v) { rowAt(i).set(stateAt(t), static_cast<float>(v)); },
                std::initializer_list<uint16_t> { index });
    }
}
} // namespace

uint32_t reelwarpParameterId(ReelwarpParameter parameter)
{
    // Numbers, then switches, then choices: an element keeps its bindings in
    // identifier order, and a load sets them in that order, so a choice of
    // mode lands after the values it governs.
    static const auto ids = [] {
        std::array<uint32_t, reelwarpParameterCount> registered {};
        for (const auto kind : { Row::Kind::number, Row::Kind::toggle, Row::Kind::choice })
            for (int i = 0; i < reelwarpParameterCount; ++i)
                if (const auto& row = reelwarpParameterRow(static_cast<ReelwarpParameter>(i)); row.kind == kind)
                    registered[(size_t) i] = registerRow(row);
        return registered;
    }();
    return ids[static_cast<size_t>(parameter)];
}

std::vector<std::unique_ptr<ParameterInfoBase>> makeReelwarpBindings()
{
    std::vector<std::unique_ptr<ParameterInfoBase>> bindings;
    for (const auto kind : { Row::Kind::number, Row::Kind::toggle, Row::Kind::choice })
        for (int i = 0; i < reelwarpParameterCount; ++i)
            if (const auto& row = reelwarpParameterRow(static_cast<ReelwarpParameter>(i)); row.kind == kind)
                bindings.push_back(bind(row));
    return bindings;
}

} // namespace qel
