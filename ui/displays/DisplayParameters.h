#pragma once

#include "files/Path.h"
#include "tape/ReelwarpParameters.h"
#include "ui/ElementView.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <memory>
#include <vector>

namespace qel
{

// The effect's parameters that a display draws from. Each field starts at
// its parameter's default; a change lands in the field and repaints the
// display. Without a proxy nothing is bound and the fields stay as set.
class DisplayParameters
{
public:
    DisplayParameters(juce::Component& display, EngineProxy* proxy, Path effectPath);

    void bind(ReelwarpParameter parameter, float& field);
    void bind(ReelwarpParameter parameter, bool& field);

private:
    juce::Component& display;
    EngineProxy* proxy;
    Path effectPath;
    std::vector<std::unique_ptr<SimpleElementParameterView>> values;
};

} // namespace qel
