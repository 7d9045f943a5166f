#include "element/ElementFileValues.h"

#include <tinyxml2.h>

namespace qel
{

namespace
{
template <typename T, typename Description>
T clampToRange(const Element& element, const Description& d, T value)
{
    if (!(d.minimum <= d.maximum))
        return value;
    if (isSyncedDisplayType(d.displayType) && element.isSyncedToHost())
        return value;
    if (!(value >= d.minimum))
        return d.minimum;
    return value > d.maximum ? d.maximum : value;
}
} // namespace

FileValue FileValue::defaultOf(const ParameterInfoBase& binding)
{
    FileValue v;
    switch (binding.valueType())
    {
        case ValueType::floatValue: v.number = static_cast<const ParameterInfo<float>&>(binding).typedDescription().defaultValue; break;
        case ValueType::intValue: v.integer = static_cast<const ParameterInfo<int>&>(binding).typedDescription().defaultValue; break;
        case ValueType::boolValue: v.flag = static_cast<const ParameterInfo<bool>&>(binding).typedDescription().defaultValue; break;
        case ValueType::stringValue: v.text = static_cast<const ParameterInfo<String>&>(binding).typedDescription().defaultValue; break;
        default: break;
    }
    return v;
}

FileValue readFileValue(const Element& element, const ParameterInfoBase& binding, const tinyxml2::XMLElement& xml)
{
    FileValue v = FileValue::defaultOf(binding);
    const auto* attribute = xml.FindAttribute(binding.description().name.toRawUTF8());
    if (attribute == nullptr)
        return v;
    v.present = true;
    switch (binding.valueType())
    {
        case ValueType::floatValue:
        {
            float x = 0.0f;
            if ((v.readable = attribute->QueryFloatValue(&x) == tinyxml2::XML_SUCCESS))
                v.number = clampToRange(element, static_cast<const ParameterInfo<float>&>(binding).typedDescription(), x);
            break;
        }
        case ValueType::intValue:
        {
            int x = 0;
            if ((v.readable = attribute->QueryIntValue(&x) == tinyxml2::XML_SUCCESS))
                v.integer = clampToRange(element, static_cast<const ParameterInfo<int>&>(binding).typedDescription(), x);
            break;
        }
        case ValueType::boolValue:
        {
            int x = 0;
            if ((v.readable = attribute->QueryIntValue(&x) == tinyxml2::XML_SUCCESS))
                v.flag = x > 0;
            break;
        }
        case ValueType::stringValue:
            v.readable = true;
            v.text = textFromUtf8(attribute->Value());
            break;
        default: break;
    }
    return v;
}

void applyFileValue(Element& element, const ParameterInfoBase& binding, const FileValue& value)
{
    const auto id = binding.id();
    switch (binding.valueType())
    {
        case ValueType::floatValue: element.setParameterFloat(id, value.number); break;
        case ValueType::intValue: element.setParameterInt(id, value.integer); break;
        case ValueType::boolValue: element.setParameterBool(id, value.flag); break;
        case ValueType::stringValue: element.setParameterString(id, value.text); break;
        default: break;
    }
}

} // namespace qel
