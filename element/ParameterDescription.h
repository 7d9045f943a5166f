#pragma once

#include "element/ParameterContext.h"
#include "element/ParameterMapper.h"

#include <juce_core/juce_core.h>

#include <cstdint>
#include <functional>
#include <memory>

namespace qel
{

// The engine's shared, reference-counted string.
using String = juce::String;

enum class ValueType : uint32_t
{
    floatValue = 0,
    intValue = 1,
    boolValue = 2,
    stringValue = 3,
    nameOnly = 4,
    unknown = 5,
};

namespace ParameterFlags
{
constexpr uint8_t readOnly = 1;
constexpr uint8_t elementLevel = 2;
constexpr uint8_t hidden = 4;
constexpr uint8_t persistent = 8;
constexpr uint8_t strictRange = 16;
constexpr uint8_t modulable = 32;
} // namespace ParameterFlags

enum DisplayType : uint32_t
{
    plainNumber = 0,
    percent100 = 1,
    percentNormalised = 2,
    seconds = 3,
    secondsOrBeats = 4,
    milliseconds = 5,
    millisecondsOrBeats = 6,
    hertz = 7,
    hertzOrBeats = 8,
    decibels = 9,
    filterBalance = 10,
    linearGain = 11,
    stereoPosition = 12,
    memorySize = 13,
    semitones = 14,
    cents = 15,
    midiKey = 16,
};

// 4, 6 and 8, tested by value.
constexpr bool isSyncedDisplayType(uint32_t type) noexcept
{
    return type == secondsOrBeats || type == millisecondsOrBeats || type == hertzOrBeats;
}

// The unit word of the documentation dump.
juce::String unitWord(uint32_t displayType);

// How a parameter's base value and its modulation combine, over a block.
class ParameterModulationType
{
public:
    virtual ~ParameterModulationType() = default;
    virtual void apply(float base, const float* modulation, float* out, int count) const = 0;
};

class AdditiveParameterModulation : public ParameterModulationType
{
public:
    void apply(float base, const float* modulation, float* out, int count) const override
    {
        for (int i = 0; i < count; ++i)
            out[i] = base + modulation[i];
    }
};

class MultiplicativeParameterModulation : public ParameterModulationType
{
public:
    void apply(float base, const float* modulation, float* out, int count) const override
    {
        for (int i = 0; i < count; ++i)
            out[i] = base * modulation[i];
    }
};

class ParameterDescriptionBase
{
public:
    ParameterDescriptionBase(String name, ValueType type, bool readOnly, bool elementLevel)
        : name(name), displayName(std::move(name)), valueType(type),
          flags(static_cast<uint8_t>((readOnly ? ParameterFlags::readOnly : 0) | (elementLevel ? ParameterFlags::elementLevel : 0)
                                     | ParameterFlags::persistent | ParameterFlags::strictRange
                                     | (elementLevel ? 0 : ParameterFlags::modulable)))
    {
    }
    virtual ~ParameterDescriptionBase() = default;

    bool has(uint8_t flag) const noexcept { return (flags & flag) != 0; }

    String name;
    String displayName;
    String third;
    uint32_t id = 0;
    uint32_t second = 0;
    ValueType valueType;
    uint8_t flags;
};

template <typename T>
class ParameterDescriptionCommon : public ParameterDescriptionBase
{
public:
    using Formatter = std::function<String(const ParameterContext*, T)>;
    using Parser = std::function<bool(const ParameterContext*, const String&, T&)>;

    ParameterDescriptionCommon(String name, ValueType type, T defaultValue, bool readOnly, bool elementLevel)
        : ParameterDescriptionBase(std::move(name), type, readOnly, elementLevel), defaultValue(defaultValue)
    {
    }

    virtual String toString(const ParameterContext* context, T value) const;
    virtual bool fromString(const ParameterContext* context, const String& text, T& value) const;

    T defaultValue;
    Formatter formatter;
    Parser parser;
};

template <typename T>
class ParameterDescription;

template <>
class ParameterDescription<float> : public ParameterDescriptionCommon<float>
{
public:
    // Name, default, range, display type, curve kind, mapper (owned) or none,
    // read-only, element level, modulation rate.
    ParameterDescription(String name, float defaultValue, std::pair<float, float> range, uint32_t displayType = plainNumber,
                         uint32_t curveKind = 0, ParameterMapper* mapper = nullptr, bool readOnly = false,
                         bool elementLevel = false, uint32_t modulationRate = 32);

    String toString(const ParameterContext* context, float value) const override;
    bool fromString(const ParameterContext* context, const String& text, float& value) const override;

    bool hasRange() const noexcept { return minimum <= maximum; }

    float minimum;
    float maximum;
    float bipolarRange[2] { -1.0f, 1.0f };
    float steps[3] { 0.01f, 0.01f, 0.01f };
    uint32_t displayType;
    uint32_t curveKind;
    std::shared_ptr<ParameterMapper> modulationMapper;
    std::shared_ptr<ParameterMapper> hostMapper;
    std::shared_ptr<ParameterMapper> mapper;
    std::shared_ptr<ParameterModulationType> modulationType = std::make_shared<AdditiveParameterModulation>();
    uint32_t zero = 0;
    uint32_t modulationRate;
    bool smoothed = true;
};

template <>
class ParameterDescription<int> : public ParameterDescriptionCommon<int>
{
public:
    // Name, default, range, display type, curve kind, read-only, element level.
    ParameterDescription(String name, int defaultValue, std::pair<int, int> range, uint32_t displayType = plainNumber,
                         uint32_t curveKind = 0, bool readOnly = false, bool elementLevel = false);
    // The short form has no range.
    ParameterDescription(String name, int defaultValue)
        : ParameterDescription(std::move(name), defaultValue, { 1, 0 })
    {
    }

    String toString(const ParameterContext* context, int value) const override;
    bool fromString(const ParameterContext* context, const String& text, int& value) const override;

    bool hasRange() const noexcept { return minimum <= maximum; }

    int minimum;
    int maximum;
    int steps[3] { 1, 1, 1 };
    uint32_t displayType;
    uint32_t curveKind;
    std::shared_ptr<ParameterModulationType> modulationType = std::make_shared<AdditiveParameterModulation>();
    uint32_t zero = 0;
};

template <>
class ParameterDescription<bool> : public ParameterDescriptionCommon<bool>
{
public:
    ParameterDescription(String name, bool defaultValue, bool readOnly = false, bool elementLevel = false)
        : ParameterDescriptionCommon<bool>(std::move(name), ValueType::boolValue, defaultValue, readOnly, elementLevel)
    {
    }

    std::shared_ptr<ParameterModulationType> modulationType = std::make_shared<AdditiveParameterModulation>();
    uint32_t zero = 0;
};

template <>
class ParameterDescription<String> : public ParameterDescriptionCommon<String>
{
public:
    ParameterDescription(String name, String defaultValue, bool readOnly = false, bool elementLevel = false)
        : ParameterDescriptionCommon<String>(std::move(name), ValueType::stringValue, std::move(defaultValue), readOnly,
                                             elementLevel)
    {
    }
};

} // namespace qel
