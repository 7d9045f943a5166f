#include "files/VFSHolder.h"

#include "files/NativeFS.h"

namespace qel
{

JUCE_IMPLEMENT_SINGLETON(VFSHolder)

VFSHolder::~VFSHolder()
{
    clearSingletonInstance();
}

bool VFSHolder::addVolume(std::shared_ptr<Volume> volume)
{
    if (volume == nullptr)
        return false;
    const juce::ScopedLock sl(lock);
    if (byName.count(volume->getName()) != 0)
        return false;
    byName[volume->getName()] = volume;
    if ((volume->getFlags() & Volume::userPlace) != 0)
        userPlaces.push_back(volume);
    volumes.push_back(std::move(volume));
    ++mounts;
    return true;
}

std::shared_ptr<Volume> VFSHolder::findVolume(const juce::String& name) const
{
    const juce::ScopedLock sl(lock);
    const auto it = byName.find(name);
    return it == byName.end() ? nullptr : it->second;
}

std::shared_ptr<Volume> VFSHolder::findVolumeAt(const juce::File& folder) const
{
    const juce::ScopedLock sl(lock);
    for (const auto& v : volumes)
        if (auto* native = dynamic_cast<NativeFS*>(v.get()))
            if (native->getFolder() == folder)
                return v;
    return nullptr;
}

std::vector<std::shared_ptr<Volume>> VFSHolder::getVolumes() const
{
    const juce::ScopedLock sl(lock);
    return volumes;
}

bool VFSHolder::isEmpty() const
{
    const juce::ScopedLock sl(lock);
    return volumes.empty();
}

std::shared_ptr<Volume> VFSHolder::volumeFor(const Path& path) const
{
    return path.namesVolume() ? findVolume(path.volumeName()) : nullptr;
}

void VFSHolder::listFolder(const Path& path, std::vector<Volume::Entry>& out) const
{
    out.clear();
    if (auto v = volumeFor(path))
        v->listFolder(path, out);
}

Volume::Entry VFSHolder::describe(const Path& path) const
{
    if (auto v = volumeFor(path))
        return v->describe(path);
    return {};
}

std::unique_ptr<juce::InputStream> VFSHolder::createInputStream(const Path& path) const
{
    if (auto v = volumeFor(path))
        return v->createInputStream(path);
    return nullptr;
}

} // namespace qel
