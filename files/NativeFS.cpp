#include "files/NativeFS.h"

#include <algorithm>

namespace qel
{

NativeFS::NativeFS(const juce::String& name, const juce::File& root, uint32_t kind, uint32_t flags)
    : Volume(name, name, Path("$" + name), kind, flags), folder(root)
{
}

juce::File NativeFS::fileFor(const Path& path) const
{
    juce::File f = folder;
    for (const auto& part : path.withinVolume().isEmpty() ? juce::StringArray() : Path(path.withinVolume()).components())
        if (part != "." && part != "..")
            f = f.getChildFile(part);
    return f;
}

void NativeFS::listFolder(const Path& path, std::vector<Entry>& out) const
{
    out.clear();
    const auto dir = fileFor(path);
    if (!dir.isDirectory())
        return;
    for (const auto& f : dir.findChildFiles(juce::File::findFilesAndDirectories, false, "*"))
    {
        const auto name = f.getFileName();
        if (name == "." || name == "..")
            continue;
        out.push_back({ name, f.isDirectory(), f.isDirectory() ? 0 : f.getSize(), true });
    }
    std::sort(out.begin(), out.end(), [](const Entry& a, const Entry& b) { return a.name < b.name; });
}

Volume::Entry NativeFS::describe(const Path& path) const
{
    const auto f = fileFor(path);
    return { f.getFileName(), f.isDirectory(), f.existsAsFile() ? f.getSize() : 0, f.exists() };
}

std::unique_ptr<juce::InputStream> NativeFS::createInputStream(const Path& path) const
{
    const auto f = fileFor(path);
    if (!f.existsAsFile())
        return nullptr;
    auto stream = std::make_unique<juce::FileInputStream>(f);
    if (stream->failedToOpen())
        return nullptr;
    return stream;
}

bool NativeFS::createFolder(const Path& path)
{
    return fileFor(path).createDirectory().wasOk();
}

std::unique_ptr<juce::OutputStream> NativeFS::createOutputStream(const Path& path)
{
    const auto f = fileFor(path);
    if (!f.getParentDirectory().createDirectory().wasOk())
        return nullptr;
    f.deleteFile();
    auto stream = std::make_unique<juce::FileOutputStream>(f);
    if (stream->failedToOpen())
        return nullptr;
    return stream;
}

bool NativeFS::remove(const Path& path)
{
    return fileFor(path).deleteRecursively();
}

} // namespace qel
