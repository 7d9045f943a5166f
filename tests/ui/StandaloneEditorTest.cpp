// The standalone application's window: the face with a keyboard below it, whose keys play the instrument through the
// same block as any MIDI; the plug-in formats open the face alone.
#include "UiTestSupport.h"

#include "engine/instrument/InstrumentContainer.h"
#include "engine/instrument/Keygroup.h"
#include "ui/StandaloneEditor.h"
#include "ui/face/ReelwarpPluginUI.h"

#include <gtest/gtest.h>

namespace
{

std::unique_ptr<qel::ReelwarpPlugin> makeAs(juce::AudioProcessor::WrapperType type)
{
    juce::AudioProcessor::setTypeOfNextNewPlugin(type);
    auto plugin = std::make_unique<qel::ReelwarpPlugin>();
    juce::AudioProcessor::setTypeOfNextNewPlugin(juce::AudioProcessor::wrapperType_Undefined);
    return plugin;
}

int activeVoices(const qel::Engine& engine)
{
    auto& program = dynamic_cast<qel::InstrumentContainer&>(*engine.getProcessingChild(0));
    auto& layer = dynamic_cast<qel::InstrumentContainer&>(*program.getMember(0));
    return dynamic_cast<qel::Keygroup&>(*layer.getMember(0)).getActiveVoiceCount();
}

TEST(StandaloneEditor, TheKeyboardSitsBelowTheFaceFollowsItsHeightAndPlaysTheInstrument)
{
    auto plugin = makeAs(juce::AudioProcessor::wrapperType_Standalone);
    plugin->prepareToPlay(48000.0, 256);
    std::unique_ptr<juce::AudioProcessorEditor> opened(plugin->createEditorIfNeeded());
    auto* window = dynamic_cast<qel::StandaloneEditor*>(opened.get());
    ASSERT_NE(window, nullptr);
    auto& face = dynamic_cast<qel::ReelwarpPluginUI&>(window->getFace());
    auto& keyboard = window->getKeyboard();
    const auto fits = [&] {
        EXPECT_EQ(window->getWidth(), face.getWidth());
        EXPECT_EQ(window->getHeight(), face.getHeight() + qel::StandaloneEditor::keyboardHeight);
        EXPECT_EQ(keyboard.getBounds(), window->getLocalBounds().removeFromBottom(qel::StandaloneEditor::keyboardHeight));
        EXPECT_NEAR(keyboard.getTotalKeyboardWidth(), window->getWidth(), 1.0f) << "five octaves across the window";
    };
    fits();
    face.getExpandButton().triggerClick();
    qel::test::runMessages();
    fits();

    // Middle C down for a block, then up, as the keyboard's click or key tells its state.
    window->getKeyboardState().noteOn(1, 60, 0.8f);
    juce::AudioBuffer<float> buffer(2, 256);
    juce::MidiBuffer midi;
    buffer.clear();
    plugin->processBlock(buffer, midi);
    EXPECT_GT(plugin->getEngine().getMidiState()->noteVelocities[60], 0);
    EXPECT_EQ(activeVoices(plugin->getEngine()), 1);
    window->getKeyboardState().noteOff(1, 60, 0.0f);
    plugin->processBlock(buffer, midi);
    EXPECT_EQ(plugin->getEngine().getMidiState()->noteVelocities[60], 0);
    opened.reset();

    auto vst3 = makeAs(juce::AudioProcessor::wrapperType_VST3);
    std::unique_ptr<juce::AudioProcessorEditor> face3(vst3->createEditorIfNeeded());
    EXPECT_NE(dynamic_cast<qel::ReelwarpPluginUI*>(face3.get()), nullptr);
}

} // namespace
