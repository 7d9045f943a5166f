#include "ui/PlainEditor.h"

#include "plugin/ExportTable.h"
#include "tape/ReelwarpParameters.h"
#include "ui/ParameterMenu.h"
#include "ui/look/ReelwarpLookAndFeel.h"
#include "ui/widgets/ParamButton.h"
#include "ui/widgets/ParamComboBox.h"
#include "ui/widgets/ParamLabel.h"
#include "ui/widgets/ParamSlider.h"
#include "ui/widgets/ScaledImage.h"

#include <algorithm>

namespace qel
{

namespace
{
constexpr int columns = 7;
constexpr int cellWidth = 160;
constexpr int cellHeight = 88;
constexpr int margin = 10;
constexpr int headerHeight = 40;

// The images of a switch: the section switches carry their own words.
juce::String switchImages(uint32_t id)
{
    using P = ReelwarpParameter;
    const std::pair<P, const char*> table[] = {
        { P::ApplyRecordHead, "b_xt-tapesim" },   { P::ApplyPlayheadFilter, "b_xt-filtering" },
        { P::ApplyTransport, "b_xt-modulations" }, { P::ApplyCompander, "b_xt-compander" },
        { P::ApplyLowLatency, "b_lowlatency" },    { P::PhaseInvert, "b_phase" },
        { P::NRLink, "b_link" },                   { P::ApplyFeedbackCompensation, "b_fbcomp" },
    };
    if (id == FrameworkParameters::get().syncToHost)
        return "b_sync";
    for (const auto& [parameter, name] : table)
        if (reelwarpParameterId(parameter) == id)
            return name;
    return "b_clip";
}

bool isLockable(uint32_t id)
{
    const auto& ids = ParameterMenu::lockableParameters();
    return std::find(ids.begin(), ids.end(), id) != ids.end();
}
} // namespace

// One parameter: its name, its control, and for a knob its value beneath.
struct PlainEditor::Cell
{
    uint32_t id;
    juce::Label caption;
    std::unique_ptr<juce::Component> control;
    std::unique_ptr<ParamLabel> value;
};

PlainEditor::PlainEditor(juce::AudioProcessor& processor, EngineProxy& engineProxy, const Path& path)
    : juce::AudioProcessorEditor(processor), proxy(engineProxy), effectPath(path)
{
    ReelwarpLookAndFeel::getInstance();
    auto& registry = ParameterRegistry::get();
    for (const auto id : exportedParameterIds())
    {
        auto cell = std::make_unique<Cell>();
        cell->id = id;
        cell->caption.setText(registry.displayName(id), juce::dontSendNotification);
        cell->caption.setJustificationType(juce::Justification::centred);
        cell->caption.setFont(juce::Font(14.0f));
        cell->caption.setColour(juce::Label::textColourId, juce::Colour(textColour));
        cell->caption.setInterceptsMouseClicks(false, false);
        switch (registry.typeOf(id))
        {
            case ValueType::floatValue:
            {
                auto slider = std::make_unique<ParamSlider>(&proxy, effectPath, id);
                slider->setFilmStrip(assetPath("k_black-small_28x28x129.png"), 129);
                // The effect turns its own rate into beats when SyncToHost flips.
                slider->setConvertsOnSyncChange(false);
                cell->value = std::make_unique<ParamLabel>(&proxy, effectPath, id);
                cell->value->setFont(juce::Font(14.0f));
                cell->value->setColour(juce::Label::textColourId, juce::Colour(textColour));
                cell->control = std::move(slider);
                break;
            }
            case ValueType::boolValue:
            {
                auto button = std::make_unique<ParamButton>(&proxy, effectPath, id);
                button->setImagesFromAssets(switchImages(id));
                cell->control = std::move(button);
                break;
            }
            default:
            {
                auto combo = std::make_unique<ParamComboBox>(&proxy, effectPath, id);
                combo->getProperties().set("menuHeight", 22);
                combo->setColour(juce::ComboBox::textColourId, juce::Colour(0xffc8c8c8));
                cell->control = std::move(combo);
                break;
            }
        }
        if (isLockable(id))
        {
            if (auto* widget = dynamic_cast<ParameterWidget*>(cell->control.get()))
                widget->allowMidiEdit = widget->allowAutomationEdit = widget->allowHostAutomationEntry = false;
            cell->control->addMouseListener(this, false);
        }
        addAndMakeVisible(cell->caption);
        addAndMakeVisible(*cell->control);
        if (cell->value != nullptr)
            addAndMakeVisible(*cell->value);
        cells.push_back(std::move(cell));
    }
    const int rows = (static_cast<int>(cells.size()) + columns - 1) / columns;
    setSize(columns * cellWidth + 2 * margin, headerHeight + rows * cellHeight + margin);
}

PlainEditor::~PlainEditor() = default;

void PlainEditor::paint(juce::Graphics& g)
{
    g.fillAll(juce::Colour(panelColour));
    g.setColour(juce::Colour(textColour));
    g.setFont(juce::Font(24.0f));
    g.drawText("Reel Warp", margin + 6, 0, getWidth() / 2, headerHeight, juce::Justification::centredLeft);
    g.setColour(juce::Colour(textColour).withAlpha(0.25f));
    g.fillRect(margin, headerHeight - 4, getWidth() - 2 * margin, 1);
}

void PlainEditor::resized()
{
    for (size_t i = 0; i < cells.size(); ++i)
    {
        auto& cell = *cells[i];
        auto area = juce::Rectangle<int>(cellWidth, cellHeight)
                        .withPosition(margin + (int) (i % columns) * cellWidth, headerHeight + (int) (i / columns) * cellHeight)
                        .reduced(4, 2);
        cell.caption.setBounds(area.removeFromTop(22));
        if (cell.value != nullptr)
            cell.value->setBounds(area.removeFromBottom(20));
        auto& control = *cell.control;
        if (auto* combo = dynamic_cast<juce::ComboBox*>(&control))
            combo->setBounds(area.withSizeKeepingCentre(juce::jmin(area.getWidth(), 140), 22));
        else if (auto* button = dynamic_cast<Button*>(&control))
            button->setBounds(button->getImageBounds().withCentre(area.getCentre()).getUnion(area.withSizeKeepingCentre(24, 24)));
        else
            control.setBounds(juce::Rectangle<int>(control.getWidth(), control.getHeight()).withCentre(area.getCentre()));
    }
}

void PlainEditor::mouseDown(const juce::MouseEvent& e)
{
    if (!e.mods.isRightButtonDown())
        return;
    for (const auto& cell : cells)
        if (e.eventComponent == cell->control.get())
            showParameterMenu(proxy, effectPath, *cell->control, cell->id);
}

} // namespace qel
