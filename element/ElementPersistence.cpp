// How an element writes itself to XML and reads itself back.

#include "element/Element.h"
#include "element/ElementFileValues.h"
#include "element/SignalConnection.h"

#include <tinyxml2.h>

namespace qel
{

juce::String versionAttributeName(const juce::String& typeName)
{
    return juce::String("%1Version").replace("%1", typeName);
}

int readVersionAttribute(const tinyxml2::XMLElement& xml, const juce::String& typeName)
{
    int version = 0;
    if (xml.QueryIntAttribute(versionAttributeName(typeName).toRawUTF8(), &version) != tinyxml2::XML_SUCCESS)
        return 0;
    return version;
}

namespace
{
// The length of the well-formed UTF-8 sequence at p, 0 when there is none.
int wellFormedLength(const unsigned char* p)
{
    const unsigned lead = p[0];
    if (lead < 0x80)
        return 1;
    int extra;
    uint32_t code, smallest;
    if (lead >= 0xC0 && lead < 0xE0)
        extra = 1, code = lead & 0x1Fu, smallest = 0x80;
    else if (lead >= 0xE0 && lead < 0xF0)
        extra = 2, code = lead & 0x0Fu, smallest = 0x800;
    else if (lead >= 0xF0 && lead < 0xF8)
        extra = 3, code = lead & 0x07u, smallest = 0x10000;
    else
        return 0; // a stray continuation byte, or no lead byte at all
    for (int i = 1; i <= extra; ++i)
    {
        if ((p[i] & 0xC0) != 0x80) // the terminator stops here too
            return 0;
        code = (code << 6) | (p[i] & 0x3Fu);
    }
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    return code >= smallest && code <= 0x10FFFF && !surrogate ? extra + 1 : 0;
}
} // namespace

juce::String textFromUtf8(const char* bytes)
{
    if (bytes == nullptr)
        return {};
    std::string clean;
    for (const auto* p = reinterpret_cast<const unsigned char*>(bytes); *p != 0;)
    {
        const int length = wellFormedLength(p);
        if (length > 0)
            clean.append(reinterpret_cast<const char*>(p), static_cast<size_t>(length));
        else
            clean.append("\xEF\xBF\xBD"); // U+FFFD for the one byte
        p += length > 0 ? length : 1;
    }
    return juce::String::fromUTF8(clean.data(), static_cast<int>(clean.size()));
}

namespace
{
// Each link of this element whose destination is the parameter.
template <typename Visit>
void forEachLinkOf(const Element& element, const String& parameterName, Visit&& visit)
{
    for (int i = 0; i < element.getNumChildren(); ++i)
        if (auto* link = dynamic_cast<SignalConnection*>(element.getChild(i)))
            if (link->parameterName() == parameterName)
                visit(*link);
}

// A wrapper made unattached, kept only when something was written into it.
void attachWhenFilled(tinyxml2::XMLElement& parent, tinyxml2::XMLElement* wrapper)
{
    if (wrapper->FirstChild() != nullptr)
        parent.InsertEndChild(wrapper);
    else
        parent.GetDocument()->DeleteNode(wrapper);
}
} // namespace

bool Element::save(tinyxml2::XMLElement& parentXml, const ElementSaveOptions& options)
{
    auto* document = parentXml.GetDocument();
    auto* xml = document->NewElement(getTypeName().toRawUTF8());
    parentXml.InsertEndChild(xml);

    int version = 0;
    bool ok = saveParameters(*xml, version);
    if (version > 0)
        xml->SetAttribute(versionAttributeName(getTypeName()).toRawUTF8(), version);

    auto* linksParent = options.flatten ? xml : document->NewElement("Connections");
    for (auto& binding : parameters)
    {
        const auto& d = binding->description();
        if (options.flatten && d.name == "Pitch")
            continue;
        if (d.has(ParameterFlags::readOnly) || !d.has(ParameterFlags::modulable))
            continue;
        forEachLinkOf(*this, d.name, [&](SignalConnection& link) { ok = link.save(*linksParent, options) && ok; });
    }
    if (!options.flatten)
        attachWhenFilled(*xml, linksParent);

    auto* saved = document->NewElement("Properties");
    for (const auto& [key, property] : properties)
        if (property.persistent != 0)
            saved->SetAttribute(key.toRawUTF8(), property.value.value_or(String()).toRawUTF8());
    if (saved->FirstAttribute() != nullptr)
        xml->InsertEndChild(saved);
    else
        document->DeleteNode(saved);
    return ok;
}

bool Element::load(const tinyxml2::XMLElement& xml, const ElementLoadOptions& options, uint32_t versionArgument)
{
    if (options.visitor && !options.visitor(*this, xml))
        return false;
    const bool flat = versionArgument == legacyFlatLayoutVersion;
    const int version = flat ? static_cast<int>(legacyFlatLayoutVersion) : readVersionAttribute(xml, getTypeName());
    bool ok = loadParameters(xml, version);

    if (options.loadConnections)
    {
        std::vector<std::pair<uint32_t, String>> existing;
        for (int i = 0; i < getNumChildren(); ++i)
            if (auto* link = dynamic_cast<SignalConnection*>(getChild(i)))
                existing.emplace_back(findParameterId(link->parameterName()), link->source);
        for (const auto& [id, source] : existing)
            removeModulationSource(id, source, true);

        const auto* linksParent = flat ? &xml : xml.FirstChildElement("Connections");
        for (auto* child = linksParent != nullptr ? linksParent->FirstChildElement("SignalConnection") : nullptr; child != nullptr;
             child = child->NextSiblingElement("SignalConnection"))
            addModulationSource(*child, true); // a link to an unknown or fixed parameter is skipped
    }

    for (const auto& [key, property] : std::map<String, ElementProperty>(properties))
        if (property.persistent != 0)
            removeProperty(key);
    if (const auto* saved = xml.FirstChildElement("Properties"))
        for (auto* a = saved->FirstAttribute(); a != nullptr; a = a->Next())
            setProperty(textFromUtf8(a->Name()), { textFromUtf8(a->Value()), 1 });

    flushPending();
    return ok;
}

bool Element::saveParameters(tinyxml2::XMLElement& xml, int& versionOut) const
{
    xml.SetAttribute("Name", getName().toRawUTF8());
    for (const auto& binding : parameters)
    {
        const auto& d = binding->description();
        if (!d.has(ParameterFlags::persistent))
            continue;
        const auto id = binding->id();
        const char* attribute = d.name.toRawUTF8();
        switch (binding->valueType())
        {
            case ValueType::floatValue: xml.SetAttribute(attribute, getParameterFloat(id)); break;
            case ValueType::intValue: xml.SetAttribute(attribute, getParameterInt(id)); break;
            case ValueType::boolValue: xml.SetAttribute(attribute, getParameterBool(id) ? 1 : 0); break;
            case ValueType::stringValue: xml.SetAttribute(attribute, getParameterString(id).toRawUTF8()); break;
            default: break;
        }
    }
    juce::ignoreUnused(versionOut);
    return true;
}

bool Element::loadParameters(const tinyxml2::XMLElement& xml, int version)
{
    juce::ignoreUnused(version);
    const char* text = xml.Attribute("Name");
    setName(textFromUtf8(text));
    forEachLoadableParameter(*this, [&](const ParameterInfoBase& binding) {
        applyFileValue(*this, binding, readFileValue(*this, binding, xml)); // absent: the default
    });
    return true;
}

void Element::removeProperty(const String& key)
{
    size_t erased = 0;
    {
        const juce::ScopedLock guard(treeLock());
        erased = properties.erase(key);
    }
    if (erased != 0 && signals != nullptr)
        signals->propertyChanged(key, ElementProperty {});
}

} // namespace qel
