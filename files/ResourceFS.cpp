#include "files/ResourceFS.h"

#include "files/ResourceArchive.h"

#include <algorithm>

namespace qel
{

namespace
{
const char* folderTag = "Folder";
const char* fileTag = "File";

juce::XmlElement* findChild(juce::XmlElement& parent, const juce::String& name)
{
    for (auto* child : parent.getChildIterator())
        if (child->getStringAttribute("name") == name)
            return child;
    return nullptr;
}
} // namespace

ResourceFS::ResourceFS(const juce::String& bundleIdentifier, bool isZipped, const juce::String& path)
    : Volume("Resource", "Resource", Path("$Resource"), fixedDrive, readOnly), zipped(isZipped), modulePath(path)
{
    juce::ignoreUnused(bundleIdentifier);
    if (!zipped)
    {
        invalidate("Windows must use zipped resource");
        return;
    }
    const auto archive = embeddedResourceArchive();
    open(archive.data, archive.size);
}

ResourceFS::ResourceFS(const void* zipData, size_t zipSize)
    : Volume("Resource", "Resource", Path("$Resource"), fixedDrive, readOnly)
{
    open(zipData, zipSize);
}

void ResourceFS::open(const void* zipData, size_t zipSize)
{
    if (zipData == nullptr || zipSize == 0)
    {
        invalidate("The resource archive is missing");
        return;
    }
    zip = std::make_unique<juce::ZipFile>(new juce::MemoryInputStream(zipData, zipSize, false), true);
    if (zip->getNumEntries() == 0)
        invalidate("The resource archive is empty or unreadable");

    // Folders in the index mirror the archive's; names go into an attribute,
    // as a folder name may hold spaces.
    for (int i = 0; i < zip->getNumEntries(); ++i)
    {
        const auto* entry = zip->getEntry(i);
        juce::StringArray parts;
        parts.addTokens(entry->filename, "/", "");
        parts.removeEmptyStrings();
        juce::XmlElement* node = &index;
        for (int p = 0; p < parts.size(); ++p)
        {
            const bool isFile = p == parts.size() - 1 && !entry->filename.endsWithChar('/');
            auto* child = findChild(*node, parts[p]);
            if (child == nullptr)
            {
                child = node->createNewChildElement(isFile ? fileTag : folderTag);
                child->setAttribute("name", parts[p]);
            }
            if (isFile)
            {
                child->setAttribute("entry", i);
                child->setAttribute("size", (double) entry->uncompressedSize);
            }
            node = child;
        }
    }
}

const juce::XmlElement* ResourceFS::findInIndex(const Path& path) const
{
    const juce::XmlElement* node = &index;
    for (const auto& part : Path(path.withinVolume()).components())
    {
        if (part == "." || part == "..")
            continue;
        node = findChild(const_cast<juce::XmlElement&>(*node), part);
        if (node == nullptr)
            return nullptr;
    }
    return node;
}

void ResourceFS::listFolder(const Path& path, std::vector<Entry>& out) const
{
    out.clear();
    const auto* node = findInIndex(path);
    if (node == nullptr || !(node == &index || node->hasTagName(folderTag)))
        return;
    for (const auto* child : node->getChildIterator())
    {
        const auto name = child->getStringAttribute("name");
        if (name == "." || name == "..")
            continue;
        out.push_back({ name, child->hasTagName(folderTag), (int64_t) child->getDoubleAttribute("size"), true });
    }
    std::sort(out.begin(), out.end(), [](const Entry& a, const Entry& b) { return a.name < b.name; });
}

Volume::Entry ResourceFS::describe(const Path& path) const
{
    const auto* node = findInIndex(path);
    if (node == nullptr)
        return {};
    return { node->getStringAttribute("name"), node == &index || node->hasTagName(folderTag),
             (int64_t) node->getDoubleAttribute("size"), true };
}

std::unique_ptr<juce::InputStream> ResourceFS::createInputStream(const Path& path) const
{
    if (zip == nullptr)
        return nullptr;
    const auto* node = findInIndex(path);
    if (node == nullptr || !node->hasTagName(fileTag))
        return nullptr;
    return std::unique_ptr<juce::InputStream>(zip->createStreamForEntry(node->getIntAttribute("entry")));
}

} // namespace qel
