#include "files/Volume.h"

namespace qel
{

Volume::Volume(juce::String volumeName, juce::String volumeDisplayName, Path volumeRoot, uint32_t volumeKind,
               uint32_t volumeFlags)
    : name(std::move(volumeName)),
      displayName(std::move(volumeDisplayName)),
      root(std::move(volumeRoot)),
      kind(volumeKind),
      flags(volumeFlags)
{
}

Path Volume::resolve(const Path& path) const
{
    return root.join(path.withinVolume());
}

} // namespace qel
