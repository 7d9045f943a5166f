#pragma once

#include <juce_core/juce_core.h>

#include <cstdint>
#include <functional>

namespace tinyxml2
{
class XMLElement;
}

namespace qel
{

class Element;

struct ElementSaveOptions
{
    // The old flat layout: links directly under the element's tag, no wrappers.
    uint8_t flatten = 0;
};

struct ElementLoadListener
{
    // Asked before an element reads anything; false ends that element's load.
    using Visitor = std::function<bool(Element&, const tinyxml2::XMLElement&)>;
};

struct ElementLoadOptions
{
    // Host states bring MIDI-learn links back; presets leave them alone.
    uint8_t loadConnections = 0;
    ElementLoadListener::Visitor visitor;
    // Relative file paths in the document resolve against this folder.
    juce::File baseFolder;
};

// The version argument of a load that selects the flat layout on reading.
constexpr uint32_t legacyFlatLayoutVersion = 0xFFFFFFFFu;
// Any version that is not the sentinel: the file's own attribute decides.
constexpr uint32_t currentLayoutVersion = 0x7FFFFFFFu;

// "%1Version" with the element's type name.
juce::String versionAttributeName(const juce::String& typeName);
// The attribute's value, 0 when absent or unreadable.
int readVersionAttribute(const tinyxml2::XMLElement& xml, const juce::String& typeName);

// A document's text, which may hold any bytes: each byte that does not begin
// a well-formed UTF-8 sequence reads as U+FFFD. JUCE's own reader overruns
// its buffer on overlong or truncated sequences. Null reads as empty.
juce::String textFromUtf8(const char* bytes);

} // namespace qel
