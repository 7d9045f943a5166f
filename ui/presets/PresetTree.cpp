#include "ui/presets/PresetTree.h"

#include "files/VFSHolder.h"

#include <algorithm>

namespace qel
{

namespace
{
juce::String withoutExtension(const juce::String& path)
{
    const int dot = path.lastIndexOfChar('.');
    return dot > path.lastIndexOfChar('/') ? path.substring(0, dot) : path;
}

juce::File diskFile(const Path& path)
{
    return juce::File::isAbsolutePath(path.toString()) ? juce::File(path.toString()) : juce::File();
}
} // namespace

bool presetPathLess(const Path& a, const Path& b)
{
    const int byName = withoutExtension(a.toString()).compareNatural(withoutExtension(b.toString()), false);
    if (byName != 0)
        return byName < 0;
    return a.toString().compareNatural(b.toString(), false) < 0;
}

bool presetFolderExists(const Path& folder)
{
    if (folder.namesVolume())
    {
        auto* holder = VFSHolder::getInstanceWithoutCreating();
        if (holder == nullptr)
            return false;
        const auto entry = holder->describe(folder);
        return entry.exists && entry.isFolder;
    }
    return diskFile(folder).isDirectory();
}

std::vector<PresetFolderEntry> listPresetFolder(const Path& folder)
{
    std::vector<PresetFolderEntry> out;
    if (folder.namesVolume())
    {
        std::vector<Volume::Entry> entries;
        if (auto* holder = VFSHolder::getInstanceWithoutCreating())
            holder->listFolder(folder, entries);
        for (const auto& e : entries)
            out.push_back({ folder.join(e.name), e.name, e.isFolder });
    }
    else if (const auto dir = diskFile(folder); dir.isDirectory())
    {
        for (const auto& f : dir.findChildFiles(juce::File::findFilesAndDirectories | juce::File::ignoreHiddenFiles, false))
            out.push_back({ Path(f.getFullPathName()), f.getFileName(), f.isDirectory() });
    }
    std::sort(out.begin(), out.end(), [](const auto& a, const auto& b) { return presetPathLess(a.path, b.path); });
    return out;
}

std::vector<Path> presetFilesBelow(const Path& root, const juce::String& extension)
{
    std::vector<Path> out;
    for (const auto& e : listPresetFolder(root))
    {
        if (e.isFolder)
        {
            const auto inner = presetFilesBelow(e.path, extension);
            out.insert(out.end(), inner.begin(), inner.end());
        }
        else if (e.name.endsWithIgnoreCase(extension))
            out.push_back(e.path);
    }
    return out;
}

bool isPathBelow(const Path& path, const Path& root)
{
    const auto base = root.toString().trimCharactersAtEnd("/");
    return base.isNotEmpty() && path.toString().startsWith(base + "/");
}

Path steppedPresetPath(const Path& current, bool forward, const Path& factoryRoot, const Path& userRoot,
                       const juce::String& extension)
{
    for (const auto& root : { factoryRoot, userRoot })
        if (isPathBelow(current, root))
        {
            const auto files = presetFilesBelow(root, extension);
            const auto at = std::find(files.begin(), files.end(), current);
            if (at == files.end())
            {
                // The current file went away: the first one after where it stood.
                const auto next = std::upper_bound(files.begin(), files.end(), current, presetPathLess);
                if (forward)
                    return next == files.end() ? Path() : *next;
                return next == files.begin() ? Path() : *(next - 1);
            }
            if (forward)
                return at + 1 == files.end() ? Path() : *(at + 1);
            return at == files.begin() ? Path() : *(at - 1);
        }
    for (const auto& root : { factoryRoot, userRoot })
    {
        const auto files = presetFilesBelow(root, extension);
        if (!files.empty())
            return files.front();
    }
    return {};
}

juce::String presetDisplayName(const Path& path)
{
    return withoutExtension(path.toString().fromLastOccurrenceOf("/", false, false));
}

} // namespace qel
