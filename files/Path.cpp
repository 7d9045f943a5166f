#include "files/Path.h"

namespace qel
{

juce::StringArray Path::components() const
{
    juce::StringArray parts;
    parts.addTokens(text, "/", "");
    parts.removeEmptyStrings();
    return parts;
}

Path Path::parent() const
{
    auto parts = components();
    if (parts.isEmpty())
        return {};
    parts.remove(parts.size() - 1);
    return Path(parts.joinIntoString("/"));
}

Path Path::join(const juce::String& component) const
{
    if (text.isEmpty())
        return Path(component);
    return Path(text.trimCharactersAtEnd("/") + "/" + component.trimCharactersAtStart("/"));
}

juce::String Path::volumeName() const
{
    if (!namesVolume())
        return {};
    return text.substring(1).upToFirstOccurrenceOf("/", false, false);
}

juce::String Path::withinVolume() const
{
    if (!namesVolume())
        return text;
    return text.fromFirstOccurrenceOf("/", false, false);
}

} // namespace qel
