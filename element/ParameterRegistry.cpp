#include "element/ParameterRegistry.h"

namespace qel
{

ParameterRegistry& ParameterRegistry::get()
{
    static ParameterRegistry registry;
    return registry;
}

template <typename Map, typename Description>
uint32_t ParameterRegistry::add(Map& map, const Description& description, ValueType type)
{
    const uint32_t id = ++counter;
    auto stored = description;
    stored.id = id;
    known[id] = { type, stored.name };
    map.emplace(id, std::move(stored));
    return id;
}

uint32_t ParameterRegistry::registerFloat(const ParameterDescription<float>& d) { return add(floats, d, ValueType::floatValue); }
uint32_t ParameterRegistry::registerInt(const ParameterDescription<int>& d) { return add(ints, d, ValueType::intValue); }
uint32_t ParameterRegistry::registerBool(const ParameterDescription<bool>& d) { return add(bools, d, ValueType::boolValue); }
uint32_t ParameterRegistry::registerString(const ParameterDescription<String>& d) { return add(strings, d, ValueType::stringValue); }

uint32_t ParameterRegistry::registerName(const String& name)
{
    const uint32_t id = ++counter;
    known[id] = { ValueType::nameOnly, name };
    return id;
}

bool ParameterRegistry::isKnown(uint32_t id) const
{
    return known.count(id) != 0;
}

ValueType ParameterRegistry::typeOf(uint32_t id) const
{
    const auto it = known.find(id);
    return it == known.end() ? ValueType::unknown : it->second.type;
}

String ParameterRegistry::nameOf(uint32_t id) const
{
    const auto it = known.find(id);
    return it == known.end() ? String() : it->second.name;
}

String ParameterRegistry::displayName(uint32_t id) const
{
    switch (typeOf(id))
    {
        case ValueType::floatValue: return floats.at(id).displayName;
        case ValueType::intValue: return ints.at(id).displayName;
        case ValueType::boolValue: return bools.at(id).displayName;
        case ValueType::stringValue: return strings.at(id).displayName;
        case ValueType::nameOnly: return nameOf(id);
        default: return {};
    }
}

void ParameterRegistry::setDisplayName(uint32_t id, const String& text)
{
    switch (typeOf(id))
    {
        case ValueType::floatValue: floats.at(id).displayName = text; break;
        case ValueType::intValue: ints.at(id).displayName = text; break;
        case ValueType::boolValue: bools.at(id).displayName = text; break;
        case ValueType::stringValue: strings.at(id).displayName = text; break;
        default: break;
    }
}

ParameterDescriptionBase ParameterRegistry::baseDescription(uint32_t id) const
{
    switch (typeOf(id))
    {
        case ValueType::floatValue: return floats.at(id);
        case ValueType::intValue: return ints.at(id);
        case ValueType::boolValue: return bools.at(id);
        case ValueType::stringValue: return strings.at(id);
        default: return ParameterDescriptionBase({}, ValueType::unknown, false, false);
    }
}

void ParameterRegistry::unregister(uint32_t id)
{
    known.erase(id);
    floats.erase(id);
    ints.erase(id);
    bools.erase(id);
    strings.erase(id);
}

uint32_t ParameterRegistry::find(const String& name) const
{
    uint32_t best = 0;
    for (const auto& [id, k] : known)
        if (k.name == name && (best == 0 || id < best))
            best = id;
    return best;
}

const FrameworkParameters& FrameworkParameters::get()
{
    static const FrameworkParameters ids = [] {
        auto& r = ParameterRegistry::get();
        FrameworkParameters p {};

        ParameterDescription<String> displayType("DisplayType", "Element", true, true);
        displayType.flags &= static_cast<uint8_t>(~ParameterFlags::persistent);
        p.displayType = r.registerString(displayType);

        ParameterDescription<float> memorySize("MemorySize", 0.0f, { 1.0f, 0.0f }, qel::memorySize, 0, nullptr, true, true);
        memorySize.flags &= static_cast<uint8_t>(~(ParameterFlags::persistent | ParameterFlags::modulable));
        p.memorySize = r.registerFloat(memorySize);

        p.bypass = r.registerBool(ParameterDescription<bool>("Bypass", false));

        for (int i = 0; i < 128; ++i)
        {
            const auto id = r.registerName(String("Param%1").replace("%1", String(i)));
            if (i == 0)
                p.param0 = id;
        }

        ParameterDescription<bool> sync("SyncToHost", false, false, true);
        sync.displayName = "Synchronize to host tempo";
        sync.flags &= static_cast<uint8_t>(~ParameterFlags::modulable);
        p.syncToHost = r.registerBool(sync);
        return p;
    }();
    return ids;
}

} // namespace qel
