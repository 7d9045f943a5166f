#pragma once

#include "files/Volume.h"

#include <juce_core/juce_core.h>
#include <juce_events/juce_events.h>

#include <map>
#include <memory>
#include <vector>

namespace qel
{

// The process's mounted volumes, shared by every instance; removed when JUCE
// shuts down. Guarded by its own lock.
class VFSHolder : public juce::DeletedAtShutdown
{
public:
    VFSHolder() = default;
    ~VFSHolder() override;

    // False when a volume of that name is mounted already.
    bool addVolume(std::shared_ptr<Volume> volume);
    std::shared_ptr<Volume> findVolume(const juce::String& name) const;
    // A disk volume whose folder is this one, if any.
    std::shared_ptr<Volume> findVolumeAt(const juce::File& folder) const;
    std::vector<std::shared_ptr<Volume>> getVolumes() const;
    bool isEmpty() const;

    void listFolder(const Path& path, std::vector<Volume::Entry>& out) const;
    Volume::Entry describe(const Path& path) const;
    std::unique_ptr<juce::InputStream> createInputStream(const Path& path) const;

    JUCE_DECLARE_SINGLETON(VFSHolder, false)

private:
    std::shared_ptr<Volume> volumeFor(const Path& path) const;

    std::vector<std::shared_ptr<Volume>> volumes;
    std::vector<std::shared_ptr<Volume>> userPlaces;
    std::map<juce::String, std::shared_ptr<Volume>> byName;
    juce::CriticalSection lock;
    int mounts = 0;
};

} // namespace qel
