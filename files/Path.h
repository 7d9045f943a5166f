#pragma once

#include <juce_core/juce_core.h>

namespace qel
{

// A virtual path with "/" as separator. A first component that begins with
// "$" names a volume: "$Resource/resource/presets".
class Path
{
public:
    Path() = default;
    Path(const juce::String& text) : text(text) {}
    Path(const char* text) : text(text) {}

    const juce::String& toString() const noexcept { return text; }
    bool isEmpty() const noexcept { return text.isEmpty(); }

    juce::StringArray components() const;
    Path parent() const;
    Path join(const juce::String& component) const;

    bool namesVolume() const noexcept { return text.startsWithChar('$'); }
    // "Resource" for "$Resource/a/b"; empty when no volume is named.
    juce::String volumeName() const;
    // "a/b" for "$Resource/a/b".
    juce::String withinVolume() const;

    bool operator==(const Path& other) const noexcept { return text == other.text; }
    bool operator!=(const Path& other) const noexcept { return text != other.text; }

private:
    juce::String text;
};

} // namespace qel
