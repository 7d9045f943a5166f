#include "files/Mounting.h"

#include "files/NativeFS.h"
#include "files/ResourceFS.h"

namespace qel
{

int mountNativeFileSystems(VFSHolder& holder)
{
    juce::Array<juce::File> roots;
    juce::File::findFileSystemRoots(roots);
    int mounted = 0;
    for (const auto& root : roots)
    {
        // A drive without a medium is left out.
        if ((root.isOnCDRomDrive() || root.isOnRemovableDrive()) && !root.exists())
            continue;
        auto name = root.getVolumeLabel();
        if (name.isEmpty())
            name = root.getFullPathName() == "/" ? juce::String("Root") : root.getFileName();
        const auto kind = root.isOnCDRomDrive() ? Volume::opticalDrive : Volume::fixedDrive;
        if (holder.findVolumeAt(root) == nullptr && holder.addVolume(std::make_shared<NativeFS>(name, root, kind)))
            ++mounted;
    }
    return mounted;
}

int mountUserFolders(const Settings& settings, VFSHolder& holder)
{
    const auto xml = juce::parseXML(settings.getString("Folders", {}));
    if (xml == nullptr)
        return 0;
    int mounted = 0;
    for (const auto* folder : xml->getChildWithTagNameIterator("Folder"))
    {
        const juce::File path(folder->getStringAttribute("Path"));
        const auto name = folder->getStringAttribute("Name");
        if (name.isEmpty() || !juce::File::isAbsolutePath(path.getFullPathName()) || holder.findVolumeAt(path) != nullptr)
            continue;
        if (holder.addVolume(std::make_shared<NativeFS>(name, path, Volume::fixedDrive, Volume::userPlace)))
            ++mounted;
    }
    return mounted;
}

int mountStandardPlaces(Settings& settings, VFSHolder& holder)
{
    if (settings.getBool("standardPlaces.mounted", false))
        return 0;
    settings.setBool("standardPlaces.mounted", true);

    auto folders = juce::parseXML(settings.getString("Folders", {}));
    if (folders == nullptr)
        folders = std::make_unique<juce::XmlElement>("Folders");
    const std::pair<const char*, juce::File::SpecialLocationType> places[] = {
        { "Desktop", juce::File::userDesktopDirectory },
        { "Documents", juce::File::userDocumentsDirectory },
        { "Music", juce::File::userMusicDirectory },
    };
    int created = 0;
    for (const auto& [name, location] : places)
    {
        const auto folder = juce::File::getSpecialLocation(location);
        if (holder.findVolumeAt(folder) != nullptr)
            continue;
        if (holder.addVolume(std::make_shared<NativeFS>(name, folder, Volume::fixedDrive, Volume::userPlace)))
        {
            auto* entry = folders->createNewChildElement("Folder");
            entry->setAttribute("Name", name);
            entry->setAttribute("Path", folder.getFullPathName());
            ++created;
        }
    }
    settings.setString("Folders", folders->toString(juce::XmlElement::TextFormat().singleLine().withoutHeader()));
    return created;
}

void mountOncePerProcess(const juce::String& bundleIdentifier)
{
    // Two instances made at once mount once.
    static juce::CriticalSection mounting;
    const juce::ScopedLock sl(mounting);
    auto* holder = VFSHolder::getInstance();
    if (holder == nullptr || !holder->isEmpty())
        return;
    const auto module = juce::File::getSpecialLocation(juce::File::currentApplicationFile);
    holder->addVolume(std::make_shared<ResourceFS>(bundleIdentifier, true, module.getFullPathName()));
    mountNativeFileSystems(*holder);
    auto& settings = Settings::processWide();
    mountUserFolders(settings, *holder);
    mountStandardPlaces(settings, *holder);
}

} // namespace qel
