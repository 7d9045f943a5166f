#include "element/ElementRegistry.h"

#include "engine/Engine.h"

namespace qel
{

namespace
{
Element* makeEngine()
{
    return new Engine();
}

// The framework's own bookkeeping, left out of the parameter tables.
bool documented(const ParameterInfoBase& binding)
{
    const auto& d = binding.description();
    if (d.has(ParameterFlags::hidden))
        return false;
    for (auto* skipped : { "Name", "Type", "DisplayName", "DisplayType" })
        if (d.name == skipped)
            return false;
    return true;
}

String typeWord(ValueType type)
{
    switch (type)
    {
        case ValueType::floatValue: return "float";
        case ValueType::intValue: return "int";
        case ValueType::boolValue: return "bool";
        case ValueType::stringValue: return "string";
        default: return {};
    }
}

// Range, default and unit of a float or int parameter.
template <typename Description>
void describeNumber(ParameterSummary& row, const Description& d)
{
    if (d.hasRange())
    {
        row.minimum = String(d.minimum);
        row.maximum = String(d.maximum);
    }
    row.defaultValue = String(d.defaultValue);
    row.unit = unitWord(d.displayType);
}

} // namespace

std::vector<ParameterSummary> summariseParameters(const Element& element)
{
    auto& registry = ParameterRegistry::get();
    std::vector<ParameterSummary> rows;
    for (const auto& binding : element.getParameters())
    {
        if (!documented(*binding))
            continue;
        const auto& d = binding->description();
        ParameterSummary row { binding.get(), d.name, d.displayName, typeWord(binding->valueType()) };
        const auto id = d.id;
        switch (binding->valueType())
        {
            case ValueType::floatValue: describeNumber(row, registry.floatDescription(id)); break;
            case ValueType::intValue: describeNumber(row, registry.intDescription(id)); break;
            case ValueType::boolValue:
                row.minimum = "0";
                row.maximum = "1";
                row.defaultValue = registry.boolDescription(id).defaultValue ? "1" : "0";
                break;
            case ValueType::stringValue: row.defaultValue = registry.stringDescription(id).defaultValue; break;
            default: break;
        }
        rows.push_back(row);
    }
    return rows;
}

ElementRegistry::ElementRegistry()
{
    add({ "Engine [Internal]", "Engine", &makeEngine, other, 0, 0 });
}

ElementRegistry& ElementRegistry::instance()
{
    static ElementRegistry registry;
    return registry;
}

bool ElementRegistry::add(const ElementTypeInfo& row)
{
    const std::lock_guard<std::recursive_mutex> guard(lock);
    return rows.emplace(row.typeName, row).second;
}

void ElementRegistry::addAlias(const String& alias, const String& typeName)
{
    const std::lock_guard<std::recursive_mutex> guard(lock);
    aliases.emplace(alias, typeName);
}

String ElementRegistry::resolveAlias(const String& name) const
{
    const std::lock_guard<std::recursive_mutex> guard(lock);
    const auto it = aliases.find(name);
    return it == aliases.end() ? name : it->second;
}

ElementTypeInfo ElementRegistry::find(const String& typeName) const
{
    const std::lock_guard<std::recursive_mutex> guard(lock);
    const auto it = rows.find(typeName);
    return it == rows.end() ? ElementTypeInfo {} : it->second;
}

std::unique_ptr<Element> ElementRegistry::create(const String& typeName) const
{
    const auto row = find(resolveAlias(typeName));
    return row.isBlank() ? nullptr : std::unique_ptr<Element>(row.create());
}

std::vector<ElementTypeInfo> ElementRegistry::rowsOf(int kind) const
{
    const std::lock_guard<std::recursive_mutex> guard(lock);
    std::vector<ElementTypeInfo> out;
    for (const auto& [key, row] : rows)
        if (row.kind == kind)
            out.push_back(row);
    return out;
}

String ElementRegistry::kindWord(int kind)
{
    static const char* const words[] = { "FX", "Modulation", "Event Processor", "Oscillator", "Legacy", "Mapper", "Multi FX", "Other" };
    return kind >= 0 && kind < kindCount ? words[kind] : "";
}

String ElementRegistry::effectCategoryWord(int category)
{
    static const char* const words[] = { "Delay",   "Reverb",       "Modulation",         "Filter",
                                         "Equalizer", "Amp / Stereo", "Drive / Distortion", "Dynamic",
                                         "Pitch",   "Analysis",     "Effect Rack",        "Miscellaneous" };
    return category >= 0 && category < 12 ? words[category] : "";
}

String ElementRegistry::documentation() const
{
    String page = "/** @page Elements Elements & parameters\n";
    for (int kind = 0; kind < kindCount; ++kind)
    {
        page << "<h2>" << kindWord(kind) << "</h2>\n<ul class=\"list-inline\">\n";
        for (const auto& row : rowsOf(kind))
            if (!row.isInternal())
                page << "<li><a href=\"#" << row.typeName << "\">" << row.displayName << "</a></li>\n";
        page << "</ul>\n<br>\n";
    }
    for (int kind = 0; kind < kindCount; ++kind)
    {
        page << "<h1>" << kindWord(kind) << "</h1>\n";
        for (const auto& row : rowsOf(kind))
        {
            if (row.isInternal())
                continue;
            page << "<h2><a name=\"" << row.typeName << "\">" << row.displayName << "</a></h2>\n"
                 << "<p>internal name: " << row.typeName << "</p>\n"
                 << "<table>\n<caption>parameters</caption>\n"
                 << "<tr><th>Name</th><th>Display Name</th><th>Type</th><th>Min</th><th>Max</th><th>Default</th>"
                    "<th>Unit</th><th>Modulable</th></tr>\n";
            const std::unique_ptr<Element> sample(row.create());
            for (const auto& p : summariseParameters(*sample))
                page << "<tr><td>" << p.name << "</td><td>" << p.displayName << "</td><td>" << p.type << "</td><td>"
                     << p.minimum << "</td><td>" << p.maximum << "</td><td>" << p.defaultValue << "</td><td>" << p.unit
                     << "</td><td>" << (p.binding->description().has(ParameterFlags::modulable) ? "yes" : "no")
                     << "</td></tr>\n";
            page << "</table>\n";
        }
    }
    return page + "*/\n";
}

} // namespace qel
