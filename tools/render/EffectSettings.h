#pragma once

#include "RenderOptions.h"

#include "element/Element.h"
#include "files/Path.h"

#include <vector>

namespace qel::render
{

// A factory preset as the menu shows it: its folder's name and its own.
struct FactoryPreset
{
    juce::String folder; // empty at the top of the tree
    juce::String name;
    Path path;

    juce::String fullName() const { return folder.isEmpty() ? name : folder + "/" + name; }
};

// In the menu's order. The resource archive must be mounted (any instance of the product does it).
std::vector<FactoryPreset> factoryPresets(bool tape);

// The candidates closest to what was asked for, closest first, for "did you mean".
juce::StringArray nearestNames(const juce::String& wanted, const juce::StringArray& candidates, int count = 3);

// Presets, then tape presets, then each --set in order. False says why.
bool applySettings(Element& effect, const RenderOptions& options, juce::String& error);

// "Name=value" in the parameter's own text form, checked against its range.
bool setParameterFromText(Element& effect, const juce::String& name, const juce::String& text, juce::String& error);

juce::String describePresets();
juce::String describeParameters(Element& effect);

} // namespace qel::render
