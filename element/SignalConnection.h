#pragma once

#include "element/Element.h"

#include <juce_core/juce_core.h>

#include <atomic>

namespace qel
{

// Maps a source signal before it reaches a parameter.
class ControlSignalMapper : public Element
{
public:
    explicit ControlSignalMapper(const String& name);

    float negativeRatio = 1.0f; // NegRatio
    float positiveRatio = 1.0f; // PosRatio
    bool integer = false;       // Integer
    bool discreet = false;      // Discreet: the spelling stands

    float map(float v) const noexcept;
    bool save(tinyxml2::XMLElement& parent, const ElementSaveOptions& options) override;
    bool load(const tinyxml2::XMLElement& xml, const ElementLoadOptions& options, uint32_t version) override;
};

// A link from a control source to a parameter's envelope: the depth, the
// source's path and the parameter it moves. "@MIDI CC n" sources read the
// engine's last value of controller n.
class SignalConnection : public Element
{
public:
    struct Ids
    {
        uint32_t ratio, source, destination, mapper, connectionMode, inverted, offset;
        static const Ids& get();
    };

    explicit SignalConnection(const String& name);

    float ratio = 1.0f;
    String source;
    String destination;
    String displayName; // the link's text in menus; blank: the source's
    String mapperName;
    int connectionMode = 0;
    bool bypass = false;
    bool inverted = false;
    float offset = 0.0f;

    // The MIDI controller of an "@MIDI CC n" source, or -1.
    int midiController() const;
    // The link's contribution for a source value in 0..1.
    float contribution(float sourceValue) const noexcept;

    // The parameter named by the destination: the part after any path.
    String parameterName() const;

    // The file form: a "SignalConnection" tag inside "Connections".
    bool save(tinyxml2::XMLElement& parent, const ElementSaveOptions& options) override;
    // Reads both the present names and the legacy ones.
    bool load(const tinyxml2::XMLElement& xml, const ElementLoadOptions& options, uint32_t version) override;

    static String midiControllerSource(int controller) { return "@MIDI CC " + String(controller); }
};

} // namespace qel
