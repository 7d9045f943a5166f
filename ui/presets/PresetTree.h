#pragma once

#include "files/Path.h"

#include <juce_core/juce_core.h>

#include <vector>

namespace qel
{

// One entry of a preset folder, of the resource archive ("$Resource/...") or of the disk.
struct PresetFolderEntry
{
    Path path;
    juce::String name;
    bool isFolder = false;
};

// By the path without its extension, in natural order ignoring case; ties by the full path.
bool presetPathLess(const Path& a, const Path& b);

bool presetFolderExists(const Path& folder);
// The folder's entries in preset order; empty when it does not exist.
std::vector<PresetFolderEntry> listPresetFolder(const Path& folder);
// Every file with the extension below the root, folder by folder in preset order.
std::vector<Path> presetFilesBelow(const Path& root, const juce::String& extension);
bool isPathBelow(const Path& path, const Path& root);

// The preset after (or before) the current one within its root, or empty at
// the end: the walk does not wrap. From outside both roots (as after
// "Default"), the first factory preset, else the first user one.
Path steppedPresetPath(const Path& current, bool forward, const Path& factoryRoot, const Path& userRoot,
                       const juce::String& extension);

// "Jet Tape" for ".../01 Classic/Jet Tape.fxps"; also for "$Resource/..." paths.
juce::String presetDisplayName(const Path& path);

} // namespace qel
