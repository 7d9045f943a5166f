#pragma once

#include "ui/EngineProxy.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <array>

namespace qel
{

// The face's right-click menu of a parameter: its lock, the unlocking of all
// locks, and MIDI learn. Built and answered apart from showing it, so that
// each half can run on its own.
namespace ParameterMenu
{
enum Item
{
    locked = 1,
    unlockAll = 2,
    midiLearn = 3,
    midiUnlearn = 4,
};
constexpr int itemHeight = 18;

// The parameters that have a lock on the face, and that "Unlock all Parameters" clears.
const std::array<uint32_t, 5>& lockableParameters();

// The controller of the first "@MIDI" link of the parameter, or -1.
int learnedController(Element& element, uint32_t parameterId);

juce::PopupMenu build(Element& element, uint32_t parameterId);
// The panel of "MIDI Learn" opens on the editor that holds the component.
void apply(int choice, EngineProxy& proxy, const Path& effectPath, juce::Component& component, uint32_t parameterId);
// Shows the menu at the component and applies the choice.
void show(EngineProxy& proxy, const Path& effectPath, juce::Component& component, uint32_t parameterId);
} // namespace ParameterMenu

// The face's entry: the menu for a widget of the effect.
inline void showParameterMenu(EngineProxy& proxy, const Path& effectPath, juce::Component& component, uint32_t parameterId)
{
    ParameterMenu::show(proxy, effectPath, component, parameterId);
}

} // namespace qel
