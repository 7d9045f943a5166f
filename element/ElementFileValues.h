#pragma once

#include "element/Element.h"

namespace tinyxml2
{
class XMLElement;
}

namespace qel
{

// One parameter's value as a file gives it.
struct FileValue
{
    bool present = false; // the attribute exists
    bool readable = false; // and it read as the parameter's type
    float number = 0.0f;
    int integer = 0;
    bool flag = false;
    String text;

    static FileValue defaultOf(const ParameterInfoBase& binding);
};

// Reads the attribute named after the parameter. An unreadable one gives the
// default; numbers are clamped to their range, except a synced value while
// SyncToHost is on, which may be a ratio outside it. NaN becomes the minimum.
FileValue readFileValue(const Element& element, const ParameterInfoBase& binding, const tinyxml2::XMLElement& xml);
// Through the immediate setter, with all its notifications.
void applyFileValue(Element& element, const ParameterInfoBase& binding, const FileValue& value);

// The parameters a file may set: persistent and writable, the switches first,
// so that a synced value reads knowing whether SyncToHost is on.
template <typename Visit>
void forEachLoadableParameter(const Element& element, Visit&& visit)
{
    for (const bool switches : { true, false })
        for (const auto& binding : element.getParameters())
        {
            const auto& d = binding->description();
            if ((binding->valueType() == ValueType::boolValue) == switches && d.has(ParameterFlags::persistent)
                && !d.has(ParameterFlags::readOnly))
                visit(*binding);
        }
}

} // namespace qel
