#pragma once

#include "element/ElementSignals.h"
#include "plugin/ReelwarpPlugin.h"
#include "tape/ReelwarpParameters.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <vector>

namespace qel::test
{

inline void deliver()
{
    ParameterChangeChannel::get().deliver();
}

// Runs what the message thread has queued, as a text box's return key.
inline void runMessages()
{
    juce::MessageManager::getInstance()->runDispatchLoopUntil(20);
}

// A mouse event made by hand: the position and the press point are in the component.
inline juce::MouseEvent mouseEvent(juce::Component& target, juce::Point<float> at, juce::ModifierKeys mods,
                                   juce::Point<float> pressedAt, int clicks = 1)
{
    static int64_t tick = 0;
    const auto when = juce::Time(1700000000000 + ++tick); // wheel events of one time count once
    return juce::MouseEvent(juce::Desktop::getInstance().getMainMouseSource(), at, mods, 1.0f, 0.0f, 0.0f, 0.0f, 0.0f,
                            &target, &target, when, pressedAt, when, clicks, at != pressedAt);
}

inline juce::MouseEvent mouseEvent(juce::Component& target, juce::ModifierKeys mods)
{
    const auto centre = target.getLocalBounds().getCentre().toFloat();
    return mouseEvent(target, centre, mods, centre);
}

const juce::ModifierKeys leftButton { juce::ModifierKeys::leftButtonModifier };

// What the widgets told the host slots: +id on a gesture's start, -id at its end.
struct GestureLog
{
    explicit GestureLog(EngineProxy& proxy)
        : began(proxy.parameterGestureBegan.connect([this](Element*, uint32_t id) { events.push_back((int) id); })),
          ended(proxy.parameterGestureEnded.connect([this](Element*, uint32_t id) { events.push_back(-(int) id); }))
    {
    }
    ~GestureLog()
    {
        began.disconnect();
        ended.disconnect();
    }
    EngineProxy::GestureSignal::Connection began, ended;
    std::vector<int> events;
};

// The plug-in in-process, with its effect at "/Reelwarp".
struct EffectFixture
{
    ReelwarpPlugin plugin;
    EngineProxy& proxy = *plugin.getProxy();
    Element& effect = *plugin.getEngine().findChild(ReelwarpPlugin::effectName);

    static uint32_t id(ReelwarpParameter p) { return reelwarpParameterId(p); }
    float number(ReelwarpParameter p) const { return effect.getParameterFloat(id(p)); }
};

} // namespace qel::test
