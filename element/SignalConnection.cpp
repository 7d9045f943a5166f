#include "element/SignalConnection.h"

#include <tinyxml2.h>

#include <cmath>
#include <cstring>

namespace qel
{

ControlSignalMapper::ControlSignalMapper(const String& name) : Element("ControlSignalMapper", name) {}

float ControlSignalMapper::map(float v) const noexcept
{
    float out = v >= 0.0f ? v * positiveRatio : v * negativeRatio;
    if (integer || discreet)
        out = std::round(out);
    return out;
}

namespace
{
String textOf(const tinyxml2::XMLElement& xml, const char* name, const String& fallback = {})
{
    const char* text = xml.Attribute(name);
    return text != nullptr ? textFromUtf8(text) : fallback;
}

float floatOf(const tinyxml2::XMLElement& xml, const char* name, float fallback)
{
    float v = fallback;
    return xml.QueryFloatAttribute(name, &v) == tinyxml2::XML_SUCCESS ? v : fallback;
}

int intOf(const tinyxml2::XMLElement& xml, const char* name, int fallback)
{
    int v = fallback;
    return xml.QueryIntAttribute(name, &v) == tinyxml2::XML_SUCCESS ? v : fallback;
}
} // namespace

bool ControlSignalMapper::save(tinyxml2::XMLElement& parent, const ElementSaveOptions&)
{
    auto* xml = parent.GetDocument()->NewElement("ControlSignalMapper");
    xml->SetAttribute("Name", getName().toRawUTF8());
    xml->SetAttribute("NegRatio", negativeRatio);
    xml->SetAttribute("PosRatio", positiveRatio);
    xml->SetAttribute("Integer", integer ? 1 : 0);
    xml->SetAttribute("Discreet", discreet ? 1 : 0);
    parent.InsertEndChild(xml);
    return true;
}

bool ControlSignalMapper::load(const tinyxml2::XMLElement& xml, const ElementLoadOptions&, uint32_t)
{
    if (std::strcmp(xml.Name(), "ControlSignalMapper") != 0)
        return false;
    setName(textOf(xml, "Name", getName()));
    negativeRatio = floatOf(xml, "NegRatio", negativeRatio);
    positiveRatio = floatOf(xml, "PosRatio", positiveRatio);
    integer = intOf(xml, "Integer", integer ? 1 : 0) != 0;
    discreet = intOf(xml, "Discreet", discreet ? 1 : 0) != 0;
    return true;
}

const SignalConnection::Ids& SignalConnection::Ids::get()
{
    static const Ids ids = [] {
        auto& r = ParameterRegistry::get();
        Ids i {};
        ParameterDescription<float> ratioDescription("Ratio", 1.0f, { -1.0f, 1.0f });
        ratioDescription.flags &= static_cast<uint8_t>(~ParameterFlags::strictRange); // a depth may leave its range
        i.ratio = r.registerFloat(ratioDescription);
        i.source = r.registerString(ParameterDescription<String>("Source", {}, true, true));
        i.destination = r.registerString(ParameterDescription<String>("Destination", {}, true, true));
        i.mapper = r.registerString(ParameterDescription<String>("Mapper", {}));
        ParameterDescription<int> mode("ConnectionMode", 0);
        mode.displayName = "Connection Mode";
        i.connectionMode = r.registerInt(mode);
        i.inverted = r.registerBool(ParameterDescription<bool>("Inverted", false));
        i.offset = r.registerFloat(ParameterDescription<float>("Offset", 0.0f, { -1.0f, 1.0f }));
        return i;
    }();
    return ids;
}

SignalConnection::SignalConnection(const String& name) : Element("SignalConnection", name)
{
    Ids::get();
}

int SignalConnection::midiController() const
{
    const String prefix = "@MIDI CC ";
    if (!source.startsWith(prefix))
        return -1;
    const auto number = source.substring(prefix.length()).trim();
    if (number.isEmpty() || !number.containsOnly("0123456789"))
        return -1;
    const int cc = number.getIntValue();
    return cc >= 0 && cc < 128 ? cc : -1;
}

float SignalConnection::contribution(float sourceValue) const noexcept
{
    if (bypass)
        return 0.0f;
    const float v = inverted ? 1.0f - sourceValue : sourceValue;
    return v * ratio + offset;
}

String SignalConnection::parameterName() const
{
    const auto name = destination.fromLastOccurrenceOf(":", false, false);
    return name.isNotEmpty() ? name : destination;
}

bool SignalConnection::save(tinyxml2::XMLElement& parent, const ElementSaveOptions&)
{
    auto* xml = parent.GetDocument()->NewElement("SignalConnection");
    xml->SetAttribute("Name", getName().toRawUTF8());
    xml->SetAttribute("Source", source.toRawUTF8());
    xml->SetAttribute("Destination", destination.toRawUTF8());
    if (displayName.isNotEmpty())
        xml->SetAttribute("DisplayName", displayName.toRawUTF8());
    xml->SetAttribute("Ratio", ratio);
    if (mapperName.isNotEmpty())
        xml->SetAttribute("Mapper", mapperName.toRawUTF8());
    xml->SetAttribute("ConnectionMode", connectionMode);
    xml->SetAttribute("Bypass", bypass ? 1 : 0);
    xml->SetAttribute("Inverted", inverted ? 1 : 0);
    xml->SetAttribute("Offset", offset);
    parent.InsertEndChild(xml);
    return true;
}

bool SignalConnection::load(const tinyxml2::XMLElement& xml, const ElementLoadOptions&, uint32_t)
{
    if (std::strcmp(xml.Name(), "SignalConnection") != 0)
        return false;
    auto attribute = [&](const char* name, const char* legacy) {
        return xml.Attribute(name) != nullptr ? textOf(xml, name) : textOf(xml, legacy);
    };
    setName(textOf(xml, "Name", getName()));
    source = attribute("Source", "ModulationSource");
    destination = attribute("Destination", "ModulationDestination");
    const auto ratioText = attribute("Ratio", "ModulationRatio");
    ratio = ratioText.isNotEmpty() ? ratioText.getFloatValue() : 1.0f;
    mapperName = textOf(xml, "Mapper");
    displayName = textOf(xml, "DisplayName");
    if (xml.Attribute("ConnectionMode") != nullptr)
        connectionMode = intOf(xml, "ConnectionMode", 0);
    else if (xml.Attribute("Mode") != nullptr)
        connectionMode = textOf(xml, "Mode") == "Modulation" ? 1 : 0; // "Edition" or "Modulation"
    bypass = intOf(xml, "Bypass", 0) != 0;
    inverted = intOf(xml, "Inverted", 0) != 0;
    offset = floatOf(xml, "Offset", 0.0f);
    // Legacy text: ">" marks a path to the parameter itself; velocity had another name.
    if (destination.startsWithChar('>'))
        destination = destination.substring(1);
    if (source == "@VoiceParam Velocity")
        source = "@VoiceParam OriginalVelocity";
    return true;
}

} // namespace qel
