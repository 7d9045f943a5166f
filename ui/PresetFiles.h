#pragma once

#include "element/Element.h"
#include "files/Path.h"

#include <functional>
#include <vector>

namespace tinyxml2
{
class XMLDocument;
class XMLElement;
}

namespace qel
{

// A kind of preset file: which parameters it sets and under which property
// its path is remembered.
struct PresetKind
{
    String propertyKey;
    // A property this kind supersedes, removed when one is applied.
    String supersededKey;
    // Whole presets keep the element's name and bypass as they are.
    bool keepsNameAndBypass = true;
    // Empty: every parameter.
    std::vector<uint32_t> parameterIds;

    bool takes(uint32_t id) const;

    static PresetKind whole();
    static PresetKind tape(std::vector<uint32_t> ids);
    // The tape presets of this product: its tape, playback, transport and compander settings.
    static PresetKind reelwarpTape();
};

// Preset files above this size are refused unread.
constexpr int64_t maximumPresetFileBytes = 4 * 1024 * 1024;

// Reads a file of the disk or of a mounted volume ("$Resource/...") into a document.
bool readXmlDocument(const Path& path, tinyxml2::XMLDocument& document);

// The preset's element below its "ModulePreset" root; null when the file is no preset.
tinyxml2::XMLElement* readPresetBody(const Path& path, tinyxml2::XMLDocument& document);
// Parse, check the root, read the version, apply. False leaves the element untouched.
bool loadPresetFile(Element* element, const Path& path, const PresetKind& kind);
// The values of one preset onto the element, under its lock; locked and
// absent parameters stay as they are.
bool applyPreset(Element& element, tinyxml2::XMLElement& xml, int version, const Path& path, const PresetKind& kind);
// "ModulePreset" with the element below it, as text with LF line ends.
String presetText(Element& element);
bool savePresetFile(Element& element, const juce::File& file, const PresetKind& kind, bool keepModified = false);
// The values of a fresh element of the same type, as a preset with no path.
bool applyDefaultPreset(Element& element, const PresetKind& kind);

// The A/B memory: one slot in this property, holding the state not on show.
constexpr const char* abStateProperty = "ABFxState";
// Under the element's lock: the present state goes into the slot, and what the
// slot held, if anything, comes back, locked parameters and properties too.
void swapABState(Element& element);

// A lock is the element property "<Name>Locked", "1" or "0".
bool isParameterLocked(const Element& element, uint32_t id);
void setParameterLocked(Element& element, uint32_t id, bool locked);

} // namespace qel
