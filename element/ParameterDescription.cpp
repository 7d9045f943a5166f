#include "element/ParameterDescription.h"

#include "element/BeatDivisions.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace qel
{

namespace
{
// "%1" filled with v in fixed notation with n digits after the point.
String format(const char* literal, double v, int n)
{
    char number[64];
    std::snprintf(number, sizeof number, "%.*f", n, v);
    return String(literal).replace("%1", number);
}

String formatWhole(const char* literal, long long v)
{
    return String(literal).replace("%1", String(v));
}

// Reads the whole text as a number; the value is written in any case.
bool readNumber(const String& text, double& value)
{
    const auto trimmed = text.trim();
    const char* start = trimmed.toRawUTF8();
    char* end = nullptr;
    value = std::strtod(start, &end);
    if (end == start)
    {
        value = 0.0;
        return false;
    }
    while (*end == ' ' || *end == '\t')
        ++end;
    return *end == '\0';
}

bool contains(const String& text, const char* word, bool ignoreCase)
{
    return ignoreCase ? text.containsIgnoreCase(word) : text.contains(word);
}

String without(const String& text, const char* word, bool ignoreCase)
{
    return text.replaceFirstOccurrenceOf(word, "", ignoreCase);
}

const char* const noteNames[12] = { "C", "C#", "D", "D#", "E", "F", "F#", "G", "G#", "A", "A#", "B" };

// The number that is left when the unit word is removed, scaled; value is
// written in any case.
bool readWithUnit(const String& text, const char* word, bool ignoreCase, double scale, double& value)
{
    const bool ok = readNumber(without(text, word, ignoreCase), value);
    value *= scale;
    return ok;
}

bool readSeconds(const String& text, bool hasRange, double minimum, double maximum, double& value)
{
    if (contains(text, "ms", true))
        return readWithUnit(text, "ms", true, 0.001, value);
    if (contains(text, "s", true))
        return readWithUnit(text, "s", true, 1.0, value);
    const bool ok = readNumber(text, value);
    // A bare number for a short-range seconds parameter means milliseconds.
    const bool inside = value >= minimum && value <= maximum;
    if (hasRange && !(maximum > 1.0 && inside) && value < 1000.0)
        value *= 0.001;
    return ok;
}

bool readMilliseconds(const String& text, double& value)
{
    if (contains(text, "ms", true))
        return readWithUnit(text, "ms", true, 1.0, value);
    if (contains(text, "s", true))
        return readWithUnit(text, "s", true, 1000.0, value);
    return readNumber(text, value);
}

// A bare number below the range is read as kilohertz.
bool readHertz(const String& text, double minimum, double maximum, double& value)
{
    if (contains(text, "kHz", false))
        return readWithUnit(text, "kHz", false, 1000.0, value);
    if (contains(text, "Hz", false))
        return readWithUnit(text, "Hz", false, 1.0, value);
    bool ok = readNumber(text, value);
    if (maximum >= minimum && value < minimum)
    {
        value *= 1000.0;
        ok = ok && value <= maximum;
    }
    return ok;
}

bool readLinearGain(const String& text, double& value)
{
    const bool ok = readWithUnit(text, "dB", false, 1.0, value);
    value = std::exp(value * 0.115129254);
    return ok;
}

// "Off", "n HPF" or "n LPF" on a 127-step scale each way; a bare negative number is a low-pass.
bool readFilterBalance(const String& text, double& value)
{
    constexpr double step = 0.007874016; // 1 / 127
    if (text.toLowerCase() == "off")
    {
        value = 0.0;
        return true;
    }
    if (contains(text, "HPF", false))
        return readWithUnit(text, "HPF", false, step, value);
    if (contains(text, "LPF", false))
    {
        const bool ok = readNumber(without(text, "LPF", false), value);
        value = (value - 127.0) * step;
        return ok;
    }
    const bool ok = readNumber(text, value);
    if (value < 0.0)
        value -= 127.0;
    value *= step;
    return ok;
}

bool readStereoPosition(const String& text, double& value)
{
    if (contains(text, "Left", false))
        return readWithUnit(text, "Left", false, -0.01, value);
    if (contains(text, "Right", false))
        return readWithUnit(text, "Right", false, 0.01, value);
    if (contains(text, "Center", false))
    {
        value = 0.0;
        return true;
    }
    const bool ok = readNumber(text, value);
    if (std::fabs(value) >= 1.0)
        value *= 0.01;
    return ok;
}

bool readSemitones(const String& text, double& value)
{
    if (contains(text, "Semitones", false))
        return readWithUnit(text, "Semitones", false, 1.0, value);
    if (contains(text, "Cents", false))
        return readWithUnit(text, "Cents", false, 0.01, value);
    return readNumber(text, value);
}

// The display-type rules of reading shared by the float and int forms.
// Returns the number part's success; value is written in any case.
bool parseByType(uint32_t type, const String& text, bool hasRange, double minimum, double maximum, double& value)
{
    switch (type)
    {
        case percent100: return readWithUnit(text, "%", false, 1.0, value);
        case percentNormalised: return readWithUnit(text, "%", false, 0.01, value);
        case seconds:
        case secondsOrBeats: return readSeconds(text, hasRange, minimum, maximum, value);
        case milliseconds:
        case millisecondsOrBeats: return readMilliseconds(text, value);
        case hertz:
        case hertzOrBeats: return readHertz(text, minimum, maximum, value);
        case decibels: return readWithUnit(text, "dB", false, 1.0, value);
        case linearGain: return readLinearGain(text, value);
        case filterBalance: return readFilterBalance(text, value);
        case stereoPosition: return readStereoPosition(text, value);
        case semitones: return readSemitones(text, value);
        // Type 15 reads a bare number too: the asymmetry with 14 is meant.
        default: return readNumber(text, value);
    }
}
} // namespace

String unitWord(uint32_t displayType)
{
    switch (displayType)
    {
        case percent100: return "%";
        case percentNormalised: return "% normalized";
        case seconds: return "second";
        case secondsOrBeats: return "second (beat ratio when synced: 4 is 1/1, 0.25 is 1/16, ...)";
        case milliseconds: return "millisecond";
        case millisecondsOrBeats: return "millisecond (beat ratio when synced: 4 is 1/1, 0.25 is 1/16, ...)";
        case hertz: return "Hz";
        case hertzOrBeats: return "Hz (beat ratio when synced: 4 is 1/1, 0.25 is 1/16, ...)";
        case decibels: return "decibel";
        case memorySize: return "MegaByte";
        case semitones: return "semitones";
        case cents: return "cents";
        case midiKey: return "midi key";
        default: return {};
    }
}

// --- the plain forms ---

template <>
String ParameterDescriptionCommon<float>::toString(const ParameterContext* context, float value) const
{
    if (formatter)
        return formatter(context, value);
    return String(value);
}

template <>
bool ParameterDescriptionCommon<float>::fromString(const ParameterContext* context, const String& text, float& value) const
{
    if (parser)
        return parser(context, text, value);
    double v;
    const bool ok = readNumber(text, v);
    value = static_cast<float>(v);
    return ok;
}

template <>
String ParameterDescriptionCommon<int>::toString(const ParameterContext* context, int value) const
{
    if (formatter)
        return formatter(context, value);
    return String(value);
}

template <>
bool ParameterDescriptionCommon<int>::fromString(const ParameterContext* context, const String& text, int& value) const
{
    if (parser)
        return parser(context, text, value);
    double v;
    const bool ok = readNumber(text, v);
    value = static_cast<int>(v);
    return ok;
}

template <>
String ParameterDescriptionCommon<bool>::toString(const ParameterContext* context, bool value) const
{
    if (formatter)
        return formatter(context, value);
    return value ? "true" : "false";
}

// A base-10 integer, true when not zero: "true" does not read back as true.
template <>
bool ParameterDescriptionCommon<bool>::fromString(const ParameterContext* context, const String& text, bool& value) const
{
    if (parser)
        return parser(context, text, value);
    const auto trimmed = text.trim();
    const bool ok = trimmed.isNotEmpty() && trimmed.containsOnly("-+0123456789");
    value = trimmed.getLargeIntValue() != 0;
    return ok;
}

template <>
String ParameterDescriptionCommon<String>::toString(const ParameterContext* context, String value) const
{
    if (formatter)
        return formatter(context, value);
    return value;
}

template <>
bool ParameterDescriptionCommon<String>::fromString(const ParameterContext* context, const String& text,
                                                    String& value) const
{
    if (parser)
        return parser(context, text, value);
    value = text;
    return true;
}

// --- float ---

ParameterDescription<float>::ParameterDescription(String name, float defaultValue, std::pair<float, float> range,
                                                  uint32_t type, uint32_t curve, ParameterMapper* rawMapper, bool readOnly,
                                                  bool elementLevel, uint32_t rate)
    : ParameterDescriptionCommon<float>(std::move(name), ValueType::floatValue, defaultValue, readOnly, elementLevel),
      minimum(range.first),
      maximum(range.second),
      displayType(type),
      curveKind(curve),
      modulationRate(rate)
{
    if (rawMapper != nullptr)
        mapper.reset(rawMapper);
    else if (isSyncedDisplayType(displayType))
        mapper = std::make_shared<SyncLinearParameterMapper>(minimum, maximum);
    else
        mapper = std::make_shared<LinearParameterMapper>(minimum, maximum);
    hostMapper = mapper->clone();
    modulationMapper = mapper->clone();
}

String ParameterDescription<float>::toString(const ParameterContext* context, float value) const
{
    if (formatter)
        return formatter(context, value);
    // Thresholds compare in single precision, as the value is stored.
    const double v = value;
    const float a = std::fabs(value);
    if (isSyncedDisplayType(displayType) && context != nullptr && isSynced(context))
        return BeatDivisions::textOfRow(BeatDivisions::rowOfRatio(value));

    switch (displayType)
    {
        case percent100: return format("%1%", v, 2);
        case percentNormalised: return format("%1%", v * 100.0, 2);
        case seconds:
        case secondsOrBeats:
            if (!(a > 0.0f)) return "0 s";
            if (a < 1e-5f) return format("%1 us", v * 1e6, 2);
            if (a < 0.0001f) return format("%1 us", v * 1e6, 1);
            if (a < 0.001f) return format("%1 us", v * 1e6, 0);
            if (a < 0.01f) return format("%1 ms", v * 1000.0, 2);
            if (a < 0.1f) return format("%1 ms", v * 1000.0, 1);
            if (a < 1.0f) return format("%1 ms", v * 1000.0, 0);
            return format("%1 s", v, 2);
        case milliseconds:
        case millisecondsOrBeats:
            if (!(a > 0.0f)) return "0 ms";
            if (a < 0.01f) return format("%1 us", v * 1000.0, 2);
            if (a < 0.1f) return format("%1 us", v * 1000.0, 1);
            if (a < 1.0f) return format("%1 us", v * 1000.0, 0);
            if (a < 10.0f) return format("%1 ms", v, 2);
            if (a < 100.0f) return format("%1 ms", v, 1);
            if (a < 1000.0f) return format("%1 ms", v, 0);
            return format("%1 s", v * 0.001, 2);
        case hertz:
        case hertzOrBeats:
            return a >= 1000.0f ? format("%1 kHz", v * 0.001, 2) : format("%1 Hz", v, 2);
        case decibels: return format("%1 dB", v, 2);
        case filterBalance:
            if (v == 0.0) return "Off";
            if (v < 0.0) return formatWhole("%1 LPF", static_cast<long long>(std::floor(v * 127.0)) + 127);
            return formatWhole("%1 HPF", static_cast<long long>(std::floor(v * 127.0)));
        case linearGain:
        {
            if (!(v > 0.0)) return "-oo dB";
            const double db = value < 1e-20f ? -400.0 : std::log(v) * 8.685889;
            return format("%1 dB", db, 2);
        }
        case stereoPosition:
            if (!(v >= 0.0)) return format("Left %1", v * -100.0, 0);
            if (v == 0.0) return "Center";
            return format("Right %1", v * 100.0, 0);
        case memorySize: return format("%1 MB", v, 2);
        case semitones: return a >= 1.0f ? format("%1 Semitones", v, 2) : format("%1 Cents", v * 100.0, 2);
        case cents:
        {
            const bool rangeWithin100 = maximum <= 100.0f && minimum >= -100.0f;
            if (a >= 100.0f && !rangeWithin100)
                return format("%1 Semitones", v * 0.01, 2);
            return format("%1 Cents", v, 2);
        }
        default: return format("%1", v, 2);
    }
}

bool ParameterDescription<float>::fromString(const ParameterContext* context, const String& text, float& value) const
{
    if (parser)
        return parser(context, text, value);
    // Synchronised, a synced type reads a division's text as its row number.
    if (isSyncedDisplayType(displayType) && isSynced(context))
    {
        const int row = BeatDivisions::rowOfText(text);
        value = static_cast<float>(row);
        return row != BeatDivisions::miss;
    }
    double v = 0.0;
    const bool ok = parseByType(displayType, text, hasRange(), minimum, maximum, v);
    value = static_cast<float>(v);
    return ok;
}

// --- int ---

ParameterDescription<int>::ParameterDescription(String name, int defaultValue, std::pair<int, int> range, uint32_t type,
                                                uint32_t curve, bool readOnly, bool elementLevel)
    : ParameterDescriptionCommon<int>(std::move(name), ValueType::intValue, defaultValue, readOnly, elementLevel),
      minimum(range.first),
      maximum(range.second),
      displayType(type),
      curveKind(curve)
{
}

String ParameterDescription<int>::toString(const ParameterContext* context, int value) const
{
    if (formatter)
        return formatter(context, value);
    switch (displayType)
    {
        case percent100: return formatWhole("%1%", value);
        case seconds: return formatWhole("%1 s", value);
        case milliseconds: return value >= 1000 ? format("%1 s", value * 0.001, 2) : formatWhole("%1 ms", value);
        case hertz: return value >= 1000 ? format("%1 kHz", value * 0.001, 2) : formatWhole("%1 Hz", value);
        case semitones: return formatWhole("%1 Semitones", value);
        case cents: return formatWhole("%1 Cents", value);
        case midiKey:
        {
            const int key = juce::jlimit(0, 127, value);
            // Middle C (key 60) is C3.
            return String(noteNames[key % 12]) + String(key / 12 - 2);
        }
        default: return String(value);
    }
}

bool ParameterDescription<int>::fromString(const ParameterContext* context, const String& text, int& value) const
{
    if (parser)
        return parser(context, text, value);
    double v = 0.0;
    const bool ok = parseByType(displayType, text, hasRange(), minimum, maximum, v);
    value = static_cast<int>(v); // towards zero
    return ok;
}

} // namespace qel
