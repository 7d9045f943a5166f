#pragma once

#include "element/Element.h"

#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace qel
{

// One row of the catalogue of element types.
struct ElementTypeInfo
{
    using Factory = Element* (*)();

    String displayName; // a trailing "[Internal]" hides the row from the documentation
    String typeName;
    Factory create = nullptr;
    int kind = 0;
    int effectCategory = 0;
    int flags = 0;

    bool isBlank() const noexcept { return create == nullptr; }
    bool isInternal() const { return displayName.endsWith("[Internal]"); }
};

// What a user of an element can set, one row per documented parameter.
struct ParameterSummary
{
    const ParameterInfoBase* binding = nullptr;
    String name, displayName, type, minimum, maximum, defaultValue, unit;
};
std::vector<ParameterSummary> summariseParameters(const Element& element);

// Type names to factories, so that a tag in a file becomes an object.
class ElementRegistry
{
public:
    static constexpr int effectFlags = 256;

    enum Kind
    {
        fx = 0,
        modulation,
        eventProcessor,
        oscillator,
        legacy,
        mapper,
        multiFx,
        other,
        kindCount
    };

    static ElementRegistry& instance();

    // Keeps the first row for a key; false when the key was taken.
    bool add(const ElementTypeInfo& row);
    void addAlias(const String& alias, const String& typeName);

    std::unique_ptr<Element> create(const String& typeName) const;
    ElementTypeInfo find(const String& typeName) const;
    String resolveAlias(const String& name) const;
    std::vector<ElementTypeInfo> rowsOf(int kind) const;

    static String kindWord(int kind);
    static String effectCategoryWord(int category);

    // The developer's page of element types and their parameters.
    String documentation() const;

private:
    ElementRegistry();

    mutable std::recursive_mutex lock;
    std::map<String, ElementTypeInfo> rows;
    std::map<String, String> aliases;
};

} // namespace qel
