#include "ui/face/LFOPanels.h"

namespace qel
{

namespace
{
using P = ReelwarpParameter;

KnobPlace place(P parameter, int knobX, int labelX, int labelWidth, const char* tooltip)
{
    return { parameter, { knobX, 25, 28, 28 }, { labelX, 79, labelWidth, 18 }, tooltip };
}

const char* const maxDelayTip = "Maximal relative delay between decks";
const char* const delayTip = "Delay before feedback";
const char* const feedbackTip = "Amount of feedback";
const char* const compensationTip = "Compensate playback filter gain in feedback loop to avoid instability";

ParamSlider& addPanelKnobs(FaceWidgets& widgets, std::initializer_list<KnobPlace> places, P returned)
{
    ParamSlider* found = nullptr;
    for (const auto& p : places)
    {
        auto& knob = widgets.knobWithLabel(p, panelKnobStrip, juce::Colour(panelLabelColour), false);
        if (p.parameter == returned)
            found = &knob;
    }
    return *found;
}
} // namespace

void setMaxRelativeDelayRange(ParamSlider& knob, bool lowLatency)
{
    knob.setValueRange(0.001f, lowLatency ? 0.009f : 0.015f);
}

LFOMainMenu::LFOMainMenu(EngineProxy* proxy, const Path& effectPath)
    : widgets(*this, proxy, effectPath),
      maxRelativeDelay(addPanelKnobs(widgets,
                                     { place(P::LFOFreq, 23, 0, 74, "LFO rate"),
                                       place(P::MaxRelativeDelay, 98, 75, 74, maxDelayTip),
                                       place(P::Delay, 172, 149, 74, delayTip),
                                       place(P::Feedback, 247, 224, 74, feedbackTip) },
                                     P::MaxRelativeDelay)),
      lowLatency(proxy, effectPath, reelwarpParameterId(P::ApplyLowLatency),
                 [this](bool on) { setMaxRelativeDelayRange(maxRelativeDelay, on); })
{
    widgets.toggle({ P::ApplyFeedbackCompensation, { 276, 0, 24, 24 }, "b_fbcomp", compensationTip });
}

LFOEditMenu::LFOEditMenu(EngineProxy* proxy, const Path& effectPath) : widgets(*this, proxy, effectPath)
{
    addPanelKnobs(widgets,
                  { place(P::LFOShape, 23, 0, 74, "LFO shape"), place(P::LFOSymmetry, 98, 75, 74, "LFO symmetry"),
                    place(P::LFOPhase, 172, 149, 74, "LFO phase"), place(P::LFOSwing, 247, 224, 74, "LFO swing") },
                  P::LFOShape);
}

ManualModeUI::ManualModeUI(EngineProxy* proxy, const Path& effectPath)
    : widgets(*this, proxy, effectPath),
      maxRelativeDelay(addPanelKnobs(widgets,
                                     { place(P::RelativeDelay, 18, 0, 64, "Instant relative delay between decks"),
                                       place(P::MaxRelativeDelay, 83, 65, 64, maxDelayTip),
                                       place(P::Fade, 148, 130, 64, "Fade duration at flange beginning and ending"),
                                       place(P::Delay, 213, 195, 64, delayTip),
                                       place(P::Feedback, 278, 260, 64, feedbackTip) },
                                     P::MaxRelativeDelay)),
      lowLatency(proxy, effectPath, reelwarpParameterId(P::ApplyLowLatency),
                 [this](bool on) { setMaxRelativeDelayRange(maxRelativeDelay, on); })
{
    widgets.toggle({ P::ApplyFeedbackCompensation, { 305, 0, 24, 24 }, "b_fbcomp", compensationTip });
}

LFOModeUI::LFOModeUI(EngineProxy* proxy, const Path& effectPath) : mainMenu(proxy, effectPath), editMenu(proxy, effectPath)
{
    for (auto* menu : { (juce::Component*) &mainMenu, (juce::Component*) &editMenu })
    {
        addChildComponent(*menu);
        menu->setBounds(0, 0, 350, 97);
    }
    setShowEdit(false);
}

void LFOModeUI::setShowEdit(bool show)
{
    showEdit = show;
    mainMenu.setVisible(!show);
    editMenu.setVisible(show);
}

} // namespace qel
