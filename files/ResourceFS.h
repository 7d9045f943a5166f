#pragma once

#include "files/Volume.h"

#include <juce_core/juce_core.h>

namespace qel
{

// The ZIP archive that every binary carries, read in memory and never
// unpacked. An XML index mirrors its folders, so listings need no disk.
class ResourceFS : public Volume
{
public:
    // The archive embedded in this module.
    ResourceFS(const juce::String& bundleIdentifier, bool zipped, const juce::String& modulePath);
    // Any ZIP held in memory; the bytes must outlive the volume.
    ResourceFS(const void* zipData, size_t zipSize);

    void listFolder(const Path& path, std::vector<Entry>& out) const override;
    Entry describe(const Path& path) const override;
    std::unique_ptr<juce::InputStream> createInputStream(const Path& path) const override;

    const juce::XmlElement& getIndex() const noexcept { return index; }

private:
    void open(const void* zipData, size_t zipSize);
    const juce::XmlElement* findInIndex(const Path& path) const;

    juce::XmlElement index { "Resource" };
    bool zipped = true;
    juce::String modulePath;
    std::unique_ptr<juce::ZipFile> zip;
};

} // namespace qel
