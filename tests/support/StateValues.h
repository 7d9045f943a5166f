#pragma once

#include "element/Element.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <string>

namespace qel::test
{

// Parameters that files carry: persistent and not computed.
inline bool isStored(const ParameterInfoBase& b)
{
    const auto& d = b.description();
    return d.has(ParameterFlags::persistent) && !d.has(ParameterFlags::readOnly);
}

// Every stored parameter at a random legal value.
inline void randomiseStoredValues(Element& e, std::mt19937& random)
{
    for (const auto& b : e.getParameters())
    {
        if (!isStored(*b))
            continue;
        if (b->valueType() == ValueType::floatValue)
        {
            const auto& d = static_cast<const ParameterInfo<float>&>(*b).typedDescription();
            e.setParameterFloat(b->id(), std::uniform_real_distribution<float>(d.minimum, d.maximum)(random));
        }
        else if (b->valueType() == ValueType::intValue)
        {
            const auto& d = static_cast<const ParameterInfo<int>&>(*b).typedDescription();
            if (d.hasRange())
                e.setParameterInt(b->id(), std::uniform_int_distribution<int>(d.minimum, d.maximum)(random));
        }
        else if (b->valueType() == ValueType::boolValue)
            e.setParameterBool(b->id(), (random() & 1) != 0);
    }
    // Low latency caps the flange depth, so the depth read back would hang on the order of setting; it is tested on its own.
    if (const auto lowLatency = e.findParameterId("ApplyLowLatency"); lowLatency != 0)
        e.setParameterBool(lowLatency, false);
}

// Name to value of every stored number and switch.
inline std::map<std::string, double> storedValues(const Element& e)
{
    std::map<std::string, double> values;
    for (const auto& b : e.getParameters())
    {
        const auto id = b->id();
        const auto type = b->valueType();
        if (isStored(*b) && (type == ValueType::floatValue || type == ValueType::intValue || type == ValueType::boolValue))
            values[b->description().name.toStdString()] = type == ValueType::floatValue ? e.getParameterFloat(id)
                                                          : type == ValueType::intValue ? e.getParameterInt(id)
                                                                                        : (e.getParameterBool(id) ? 1.0 : 0.0);
    }
    return values;
}

// Files keep floats to eight digits, and decibels pass through a gain in
// single precision: equal to about a millionth of the larger of 1 and the value.
inline void expectSameStoredValues(const Element& expected, const Element& actual)
{
    const auto a = storedValues(expected), b = storedValues(actual);
    ASSERT_EQ(a.size(), b.size());
    for (const auto& [name, value] : a)
        EXPECT_NEAR(b.at(name), value, 2e-6 * std::max(1.0, std::abs(value))) << name;
}

} // namespace qel::test
