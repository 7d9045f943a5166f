#pragma once

#include "element/ParameterDescription.h"

#include <unordered_map>

namespace qel
{

// The process-wide table of parameter descriptions. Identifiers start at 1
// and are never reused; 0 stands for no parameter.
class ParameterRegistry
{
public:
    static ParameterRegistry& get();

    uint32_t registerFloat(const ParameterDescription<float>& description);
    uint32_t registerInt(const ParameterDescription<int>& description);
    uint32_t registerBool(const ParameterDescription<bool>& description);
    uint32_t registerString(const ParameterDescription<String>& description);
    uint32_t registerName(const String& name);

    bool isKnown(uint32_t id) const;
    ValueType typeOf(uint32_t id) const;
    String nameOf(uint32_t id) const;
    String displayName(uint32_t id) const;
    void setDisplayName(uint32_t id, const String& text);

    ParameterDescription<float>& floatDescription(uint32_t id) { return floats.at(id); }
    ParameterDescription<int>& intDescription(uint32_t id) { return ints.at(id); }
    ParameterDescription<bool>& boolDescription(uint32_t id) { return bools.at(id); }
    ParameterDescription<String>& stringDescription(uint32_t id) { return strings.at(id); }
    template <typename T>
    ParameterDescription<T>& description(uint32_t id)
    {
        if constexpr (std::is_same_v<T, float>)
            return floatDescription(id);
        else if constexpr (std::is_same_v<T, int>)
            return intDescription(id);
        else if constexpr (std::is_same_v<T, bool>)
            return boolDescription(id);
        else
            return stringDescription(id);
    }
    // A copy of the base part; a blank one with flags 0x38 for an unknown id.
    ParameterDescriptionBase baseDescription(uint32_t id) const;
    void unregister(uint32_t id);

    // Found by name, 0 when none: the first registered of that name.
    uint32_t find(const String& name) const;

private:
    ParameterRegistry() = default;

    template <typename Map, typename Description>
    uint32_t add(Map& map, const Description& description, ValueType type);

    struct Known
    {
        ValueType type;
        String name;
    };

    uint32_t counter = 0;
    std::unordered_map<uint32_t, Known> known;
    std::unordered_map<uint32_t, ParameterDescription<float>> floats;
    std::unordered_map<uint32_t, ParameterDescription<int>> ints;
    std::unordered_map<uint32_t, ParameterDescription<bool>> bools;
    std::unordered_map<uint32_t, ParameterDescription<String>> strings;
};

// The framework's own parameters, registered before any element exists.
struct FrameworkParameters
{
    uint32_t displayType;
    uint32_t memorySize;
    uint32_t bypass;
    uint32_t param0; // Param0 .. Param127 follow in a row
    uint32_t syncToHost;

    static const FrameworkParameters& get();
    uint32_t param(int index) const noexcept { return param0 + static_cast<uint32_t>(index); }
};

} // namespace qel
