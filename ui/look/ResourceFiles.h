#pragma once

#include "files/Path.h"

#include <juce_core/juce_core.h>

#include <memory>

namespace qel
{

// Files of the resource archive, named "resource/..." or "$Resource/resource/...".
// They come from the mounted volume, or straight from the archive this module
// embeds when nothing is mounted yet.
std::unique_ptr<juce::InputStream> openResource(const Path& path);
bool resourceExists(const Path& path);

} // namespace qel
