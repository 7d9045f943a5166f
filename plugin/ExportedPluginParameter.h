#pragma once

#include "element/Trackable.h"
#include "ui/ElementView.h"

#include <juce_audio_processors/juce_audio_processors.h>

#include <atomic>
#include <thread>

namespace qel
{

// The bank of host-visible slots as the editor sees it: a slot is connected
// to a parameter by (element path, parameter name).
class AutomationParameterInterface
{
public:
    struct Key
    {
        String path;
        String name;
        bool operator<(const Key& o) const { return path != o.path ? path < o.path : name < o.name; }
        bool operator==(const Key& o) const { return path == o.path && name == o.name; }
    };

    virtual ~AutomationParameterInterface() = default;
    virtual bool connect(const Key& key, const String& displayName) = 0;
    virtual void disconnect(const Key& key) = 0;
    virtual bool save(juce::XmlElement& parent) const = 0;
    virtual void load(const juce::XmlElement& element) = 0;
};

// One slot of the host's parameter list: a view on one parameter of one
// element, found again by path and name whenever the tree is rebuilt.
// Its stable identifier, the parameter's name, is what VST3 and LV2 hosts key
// automation on; VST2 hosts go by the slot index.
class ExportedPluginParameter : public SimpleElementView,
                                public Trackable,
                                private juce::AsyncUpdater,
                                public juce::AudioProcessorParameterWithID
{
public:
    enum Kind : int
    {
        floatKind = 0,
        intKind = 1,
        boolKind = 2,
        noKind = 5,
    };

    ExportedPluginParameter(EngineProxy* proxy, int slotIndex, const String& stableId, String defaultDisplayName = {});
    ~ExportedPluginParameter() override;

    SignalN<> changed;

    // Takes the key and resolves through the proxy.
    void connectTo(const AutomationParameterInterface::Key& key, const String& displayName);
    void disconnectSlot(bool notify);
    // The host is told of gestures on this slot's parameter.
    void followGestures(EngineProxy& proxy);
    // How the slot tells the host that its name, range or kind changed.
    std::function<void()> parameterInfoChanged;

    bool isConnected() const noexcept { return targetPath.isNotEmpty(); }
    bool isResolved() const noexcept { return resolved; }
    Kind getKind() const noexcept { return kind; }
    uint32_t getParameterId() const noexcept { return parameterId; }
    int getSlotIndex() const noexcept { return slotIndex; }
    AutomationParameterInterface::Key getTarget() const { return { targetPath, targetName }; }
    AutomationParameterInterface::Key getPrevious() const { return { previousPath, previousName }; }
    const String& getSlotDisplayName() const noexcept { return displayName; }

    // Until told null: getValue answers what this slot reads in the given
    // tree, a restore's, before that tree is bound.
    void answerUntilRestored(Element* restored);

    // Between the host's 0..1 and the parameter's own value.
    float normalise(float value) const { return normaliseIn(getElement(), kind, parameterId, value); }
    float denormalise(float normalised) const;

    // juce::AudioProcessorParameter
    float getValue() const override;
    void setValue(float newValue) override;
    float getDefaultValue() const override { return defaultValue; }
    juce::String getName(int maximumStringLength) const override;
    juce::String getLabel() const override { return {}; }
    int getNumSteps() const override;
    bool isDiscrete() const override;
    bool isBoolean() const override;
    juce::String getText(float normalisedValue, int maximumStringLength) const override;
    float getValueForText(const juce::String& text) const override;
    bool isOrientationInverted() const override { return false; }
    bool isAutomatable() const override { return true; }
    bool isMetaParameter() const override { return false; }
    Category getCategory() const override { return genericParameter; }

private:
    void elementChanged(Element* element) override;
    void handleAsyncUpdate() override { resolve(false); }
    void resolve(bool notify);
    void unresolve();
    float currentValue() const { return valueIn(*getElement(), kind, parameterId); }
    static float normaliseIn(Element* element, Kind kind, uint32_t id, float value);
    static float valueIn(const Element& element, Kind kind, uint32_t id);
    void elementValueChanged(int id, bool asWritten);
    void tellHost()
    {
        if (parameterInfoChanged)
            parameterInfoChanged();
    }

    Kind kind = noKind;
    uint32_t parameterId = 0;
    String displayName;
    String defaultDisplayName;
    int slotIndex;
    // The thread of a host write in progress: its own echo is ignored, a change from elsewhere is not.
    std::atomic<std::thread::id> hostWriter {};
    std::atomic<float> unresolvedValue { 0.0f };
    std::atomic<float> restoredValue { 0.0f };
    std::atomic<bool> answeringRestored { false };
    // What the host last read, answered while the views are being rebound.
    mutable std::atomic<float> lastValue { 0.0f };
    // What the host last wrote or was told: a change that lands there is no news to it.
    std::atomic<float> hostValue { -1.0f };
    float defaultValue = 0.0f;
    const ParameterDescriptionBase* description = nullptr;
    std::atomic<bool> resolved { false };
    String targetPath, targetName;
    String previousPath, previousName;
    std::function<void()> valueConnection;
};

} // namespace qel
