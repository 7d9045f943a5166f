#pragma once

#include "RenderOptions.h"

#include "plugin/ReelwarpPlugin.h"

namespace qel::render
{

// The window as a musician sees it for the plug-in's present settings, drawn
// into a PNG; the face's own settings stay untouched.
bool writeSnapshot(ReelwarpPlugin& plugin, const juce::File& file, const RenderOptions& options, juce::String& error);

} // namespace qel::render
