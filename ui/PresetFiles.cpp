#include "ui/PresetFiles.h"

#include "element/ElementFileValues.h"
#include "element/ElementRegistry.h"
#include "files/VFSHolder.h"
#include "tape/ReelwarpParameters.h"

#include <tinyxml2.h>

#include <algorithm>

namespace qel
{

bool PresetKind::takes(uint32_t id) const
{
    return parameterIds.empty() || std::find(parameterIds.begin(), parameterIds.end(), id) != parameterIds.end();
}

PresetKind PresetKind::whole()
{
    return { "PresetPath", "TapePresetPath", true, {} };
}

PresetKind PresetKind::tape(std::vector<uint32_t> ids)
{
    return { "TapePresetPath", {}, false, std::move(ids) };
}

PresetKind PresetKind::reelwarpTape()
{
    std::vector<uint32_t> ids;
    for (const auto p : tapePresetParameters)
        ids.push_back(reelwarpParameterId(p));
    return tape(std::move(ids));
}

bool readXmlDocument(const Path& path, tinyxml2::XMLDocument& document)
{
    std::unique_ptr<juce::InputStream> stream;
    if (path.namesVolume())
    {
        if (auto* holder = VFSHolder::getInstanceWithoutCreating())
            stream = holder->createInputStream(path);
    }
    else if (juce::File::isAbsolutePath(path.toString()))
        stream = juce::File(path.toString()).createInputStream();
    if (stream == nullptr)
        return false;
    const auto length = stream->getTotalLength();
    if (length > maximumPresetFileBytes)
        return false;
    juce::MemoryBlock bytes;
    stream->readIntoMemoryBlock(bytes, maximumPresetFileBytes + 1);
    if (bytes.getSize() > (size_t) maximumPresetFileBytes)
        return false;
    return document.Parse(static_cast<const char*>(bytes.getData()), bytes.getSize()) == tinyxml2::XML_SUCCESS;
}

tinyxml2::XMLElement* readPresetBody(const Path& path, tinyxml2::XMLDocument& document)
{
    if (!readXmlDocument(path, document))
        return nullptr;
    auto* root = document.RootElement();
    if (root == nullptr || std::strcmp(root->Name(), "ModulePreset") != 0)
        return nullptr;
    return root->FirstChildElement();
}

bool loadPresetFile(Element* element, const Path& path, const PresetKind& kind)
{
    if (element == nullptr)
        return false;
    tinyxml2::XMLDocument document;
    auto* xml = readPresetBody(path, document);
    return xml != nullptr && applyPreset(*element, *xml, readVersionAttribute(*xml, element->getTypeName()), path, kind);
}

bool applyPreset(Element& element, tinyxml2::XMLElement& xml, int version, const Path& path, const PresetKind& kind)
{
    const auto bypassId = FrameworkParameters::get().bypass;
    if (kind.keepsNameAndBypass)
    {
        xml.SetAttribute("Name", element.getName().toRawUTF8());
        if (element.findBoolParameter(bypassId) != nullptr)
            xml.SetAttribute("Bypass", element.getParameterBool(bypassId) ? 1 : 0);
    }
    if (ElementRegistry::instance().resolveAlias(textFromUtf8(xml.Name())) != element.getTypeName())
        return false;

    const juce::ScopedLock guard(element.getLock());
    forEachLoadableParameter(element, [&](const ParameterInfoBase& binding) {
        const auto id = binding.id();
        if (!kind.takes(id) || isParameterLocked(element, id))
            return;
        auto value = readFileValue(element, binding, xml); // absent or unreadable: the default
        if (value.readable && binding.valueType() == ValueType::floatValue)
            value.number = element.convertPresetValue(id, value.number, version);
        applyFileValue(element, binding, value);
    });
    element.setProperty(kind.propertyKey, { path.toString(), 1 });
    if (kind.supersededKey.isNotEmpty())
        element.removeProperty(kind.supersededKey);
    element.clearModified();
    return true;
}

namespace
{
// The element below a root of this name; the A/B memory stays out, so that
// neither a preset file nor the memory itself carries it.
tinyxml2::XMLElement* writeElement(Element& element, tinyxml2::XMLDocument& document, const char* rootName)
{
    auto* root = document.NewElement(rootName);
    document.InsertEndChild(root);
    element.save(*root, {});
    auto* xml = root->FirstChildElement();
    if (auto* properties = xml != nullptr ? xml->FirstChildElement("Properties") : nullptr)
    {
        properties->DeleteAttribute(abStateProperty);
        if (properties->FirstAttribute() == nullptr)
            xml->DeleteChild(properties);
    }
    return xml;
}

void writePreset(Element& element, tinyxml2::XMLDocument& document)
{
    writeElement(element, document, "ModulePreset");
}

String printed(const tinyxml2::XMLDocument& document)
{
    tinyxml2::XMLPrinter printer;
    document.Print(&printer);
    return String::fromUTF8(printer.CStr(), printer.CStrSize() - 1);
}
} // namespace

String presetText(Element& element)
{
    tinyxml2::XMLDocument document;
    writePreset(element, document);
    return printed(document);
}

bool savePresetFile(Element& element, const juce::File& file, const PresetKind& kind, bool keepModified)
{
    tinyxml2::XMLDocument document;
    writePreset(element, document);
    if (document.SaveFile(file.getFullPathName().toRawUTF8()) != tinyxml2::XML_SUCCESS)
        return false;
    element.setProperty(kind.propertyKey, { file.getFullPathName(), 1 });
    if (!keepModified)
        element.clearModified();
    return true;
}

bool applyDefaultPreset(Element& element, const PresetKind& kind)
{
    tinyxml2::XMLDocument document;
    auto* root = document.NewElement("Module");
    document.InsertEndChild(root);
    if (auto fresh = ElementRegistry::instance().create(element.getTypeName()))
        fresh->save(*root, {});
    else // no registered maker: an element with no values takes every default
        root->InsertEndChild(document.NewElement(element.getTypeName().toRawUTF8()));
    return applyPreset(element, *root->FirstChildElement(), 0x7fffffff, Path(), kind);
}

void swapABState(Element& element)
{
    const juce::ScopedLock guard(element.getLock());
    tinyxml2::XMLDocument present;
    writeElement(element, present, "Preset");
    const auto text = printed(present);

    const auto stored = element.getProperty(abStateProperty).value.value_or(String());
    tinyxml2::XMLDocument memory;
    if (stored.isNotEmpty() && memory.Parse(stored.toRawUTF8()) == tinyxml2::XML_SUCCESS)
        if (const auto* root = memory.RootElement(); root != nullptr && std::strcmp(root->Name(), "Preset") == 0)
            if (const auto* xml = root->FirstChildElement())
                element.load(*xml, {}, currentLayoutVersion);
    element.setProperty(abStateProperty, { text, 1 });
}

namespace
{
String lockKey(const Element& element, uint32_t id)
{
    for (const auto& binding : element.getParameters())
        if (binding->id() == id)
            return binding->description().name + "Locked";
    return {};
}
} // namespace

bool isParameterLocked(const Element& element, uint32_t id)
{
    const auto key = lockKey(element, id);
    if (key.isEmpty())
        return false;
    const auto value = element.getProperty(key).value;
    return value.has_value() && value->getIntValue() != 0;
}

void setParameterLocked(Element& element, uint32_t id, bool locked)
{
    const auto key = lockKey(element, id);
    if (key.isNotEmpty())
        element.setProperty(key, { String(locked ? "1" : "0"), 1 });
}

} // namespace qel
