#include "ui/look/ResourceFiles.h"

#include "files/ResourceArchive.h"
#include "files/ResourceFS.h"
#include "files/VFSHolder.h"

namespace qel
{

namespace
{
Path inResourceVolume(const Path& path)
{
    return path.namesVolume() ? path : Path("$Resource/" + path.toString().trimCharactersAtStart("/"));
}

std::shared_ptr<const Volume> resourceVolume()
{
    if (auto* holder = VFSHolder::getInstanceWithoutCreating())
        if (auto mounted = holder->findVolume("Resource"))
            return mounted;
    static const auto embedded = std::make_shared<const ResourceFS>(embeddedResourceArchive().data, embeddedResourceArchive().size);
    return embedded;
}
} // namespace

std::unique_ptr<juce::InputStream> openResource(const Path& path)
{
    return resourceVolume()->createInputStream(inResourceVolume(path));
}

bool resourceExists(const Path& path)
{
    const auto entry = resourceVolume()->describe(inResourceVolume(path));
    return entry.exists && !entry.isFolder;
}

} // namespace qel
