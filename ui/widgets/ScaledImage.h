#pragma once

#include "files/Path.h"

#include <juce_graphics/juce_graphics.h>

#include <functional>

namespace qel
{

// The one image loader of the editor: "resource/assets/k_17x17x129.png", or,
// with useScale and displays of scale N of 2 or more, the first of its
// "@Nx" .. "@2x" twins that exists. The image's property "scale" tells which
// was taken. Cached by the file read; a missing file gives a null image.
juce::Image loadScaledImage(const Path& path, bool useScale = true);

// An image of the face by its file name.
inline Path assetPath(const juce::String& fileName)
{
    return Path("resource/assets/" + fileName);
}

// The largest scale among the connected displays; tests put their own.
double largestDisplayScale();
void setDisplayScaleSource(std::function<double()> source);

// "@Nx" before the extension.
Path scaledVariant(const Path& path, int scale);

} // namespace qel
