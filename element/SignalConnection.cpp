#include "element/SignalConnection.h"

#include <cmath>

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

std::unique_ptr<juce::XmlElement> ControlSignalMapper::toXml() const
{
    auto xml = std::make_unique<juce::XmlElement>("ControlSignalMapper");
    xml->setAttribute("Name", getName());
    xml->setAttribute("NegRatio", negativeRatio);
    xml->setAttribute("PosRatio", positiveRatio);
    xml->setAttribute("Integer", integer ? 1 : 0);
    xml->setAttribute("Discreet", discreet ? 1 : 0);
    return xml;
}

bool ControlSignalMapper::fromXml(const juce::XmlElement& xml)
{
    if (!xml.hasTagName("ControlSignalMapper"))
        return false;
    setName(xml.getStringAttribute("Name", getName()));
    negativeRatio = (float) xml.getDoubleAttribute("NegRatio", negativeRatio);
    positiveRatio = (float) xml.getDoubleAttribute("PosRatio", positiveRatio);
    integer = xml.getIntAttribute("Integer", integer ? 1 : 0) != 0;
    discreet = xml.getIntAttribute("Discreet", discreet ? 1 : 0) != 0;
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

std::unique_ptr<juce::XmlElement> SignalConnection::toXml() const
{
    auto xml = std::make_unique<juce::XmlElement>("SignalConnection");
    xml->setAttribute("Name", getName());
    xml->setAttribute("Source", source);
    xml->setAttribute("Destination", destination);
    xml->setAttribute("Ratio", ratio);
    if (mapperName.isNotEmpty())
        xml->setAttribute("Mapper", mapperName);
    xml->setAttribute("ConnectionMode", connectionMode);
    xml->setAttribute("Bypass", bypass ? 1 : 0);
    xml->setAttribute("Inverted", inverted ? 1 : 0);
    xml->setAttribute("Offset", offset);
    return xml;
}

bool SignalConnection::fromXml(const juce::XmlElement& xml)
{
    if (!xml.hasTagName("SignalConnection"))
        return false;
    auto attribute = [&](const char* name, const char* legacy) {
        return xml.hasAttribute(name) ? xml.getStringAttribute(name) : xml.getStringAttribute(legacy);
    };
    setName(xml.getStringAttribute("Name", getName()));
    source = attribute("Source", "ModulationSource");
    destination = attribute("Destination", "ModulationDestination");
    const auto ratioText = attribute("Ratio", "ModulationRatio");
    ratio = ratioText.isNotEmpty() ? ratioText.getFloatValue() : 1.0f;
    mapperName = xml.getStringAttribute("Mapper");
    if (xml.hasAttribute("ConnectionMode"))
        connectionMode = xml.getIntAttribute("ConnectionMode");
    else if (xml.hasAttribute("Mode"))
        connectionMode = xml.getStringAttribute("Mode") == "Modulation" ? 1 : 0; // "Edition" or "Modulation"
    bypass = xml.getIntAttribute("Bypass") != 0;
    inverted = xml.getIntAttribute("Inverted") != 0;
    offset = (float) xml.getDoubleAttribute("Offset");
    // Legacy text: ">" marks a path to the parameter itself; velocity had another name.
    if (destination.startsWithChar('>'))
        destination = destination.substring(1);
    if (source == "@VoiceParam Velocity")
        source = "@VoiceParam OriginalVelocity";
    return true;
}

} // namespace qel
