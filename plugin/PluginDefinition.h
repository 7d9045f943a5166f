#pragma once

#include <juce_audio_processors/juce_audio_processors.h>

namespace qel
{

// Constants of the product, one object for the whole process.
class PluginDefinition
{
public:
    virtual ~PluginDefinition() = default;
    virtual juce::String getVendorName() const = 0;
    virtual juce::String getVendorDomain() const = 0;
    virtual juce::String getBundleIdentifier() const = 0;
    virtual juce::String getPluginName() const = 0;
    virtual juce::String getDisplayName() const = 0;
    virtual juce::String getPresetFileTag() const = 0;
    virtual juce::String getVersionText() const = 0;
    virtual int getFourCharacterCode() const = 0;
    virtual int getNumFurtherOutputBuses() const { return 0; }
    virtual juce::String getFurtherOutputBusName(int n) const { return juce::String("Out %1").replace("%1", juce::String(n + 2)); }
    virtual int getEditorWidth() const = 0;
    virtual int getEditorHeight() const = 0;
};

class ReelwarpPluginDefinition final : public PluginDefinition
{
public:
    static const ReelwarpPluginDefinition& get()
    {
        static const ReelwarpPluginDefinition definition;
        return definition;
    }

    juce::String getVendorName() const override { return "QEL"; }
    juce::String getVendorDomain() const override
    {
        const auto id = getBundleIdentifier();
        return id.upToLastOccurrenceOf(".", false, false);
    }
    juce::String getBundleIdentifier() const override { return "net.qel.Reelwarp"; }
    juce::String getPluginName() const override { return "Reel Warp"; }
    juce::String getDisplayName() const override { return "Reel Warp"; }
    juce::String getPresetFileTag() const override { return "preset"; }
    juce::String getVersionText() const override { return "1.0.0"; }
    int getFourCharacterCode() const override { return ('Q' << 24) | ('R' << 16) | ('w' << 8) | 'p'; }
    int getEditorWidth() const override { return 1130; }
    int getEditorHeight() const override { return 656; }
};

} // namespace qel
