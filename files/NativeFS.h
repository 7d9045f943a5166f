#pragma once

#include "files/Volume.h"

namespace qel
{

// A folder of the disk, mounted as "$Name".
class NativeFS : public Volume
{
public:
    NativeFS(const juce::String& name, const juce::File& folder, uint32_t kind, uint32_t flags = 0);

    void listFolder(const Path& path, std::vector<Entry>& out) const override;
    Entry describe(const Path& path) const override;
    std::unique_ptr<juce::InputStream> createInputStream(const Path& path) const override;
    bool createFolder(const Path& path) override;
    std::unique_ptr<juce::OutputStream> createOutputStream(const Path& path) override;
    bool remove(const Path& path) override;

    const juce::File& getFolder() const noexcept { return folder; }
    // The disk file a path of this volume stands for.
    juce::File fileFor(const Path& path) const;

private:
    juce::File folder;
};

} // namespace qel
