#pragma once

#include "files/Settings.h"
#include "files/VFSHolder.h"

namespace qel
{

// The file-system roots of the machine; returns how many were mounted.
int mountNativeFileSystems(VFSHolder& holder);

// "Folder" entries of the "Folders" key, each as a user place.
int mountUserFolders(const Settings& settings, VFSHolder& holder);

// Desktop, Documents and Music, offered once per user: they join the user
// folders, so that a later run finds them there, or not if the user removed them.
int mountStandardPlaces(Settings& settings, VFSHolder& holder);

// Everything an instance needs, once per process: the resource archive,
// the roots, the user folders and the standard places.
void mountOncePerProcess(const juce::String& bundleIdentifier);

} // namespace qel
