#pragma once

#include "element/ElementSignals.h"
#include "element/ElementState.h"
#include "element/ElementXml.h"
#include "element/ParameterContext.h"
#include "element/ParameterInfo.h"
#include "element/ParameterRegistry.h"

#include <juce_core/juce_core.h>

#include <atomic>
#include <map>
#include <memory>
#include <vector>

namespace qel
{

class ElementParamEnvelope;
class ScratchArena;

// What a save reads of any tree besides the published numbers (names,
// children, properties, texts) changes under this lock, and a save holds it
// throughout. Whoever holds it only copies data: it calls no listener and no
// host, and takes no other lock.
juce::CriticalSection& treeLock() noexcept;

// The base object of the engine's tree: a name, parameter bindings, sorted
// children, two states and string properties; signals on first need.
class Element : public ParameterContext
{
public:
    enum Flags : uint8_t
    {
        perVoice = 1,
        persistentElement = 4,
        modified = 8,
        prepared = 16,
    };

    using Error = bool;

    explicit Element(const String& typeName, const String& name = {});
    ~Element() override;
    Element(const Element&) = delete;
    Element& operator=(const Element&) = delete;

    // --- virtual operations this product uses ---
    virtual bool save(tinyxml2::XMLElement& parent, const ElementSaveOptions& options);
    virtual bool load(const tinyxml2::XMLElement& element, const ElementLoadOptions& options, uint32_t version);
    virtual void finishLoading();
    virtual void bindReferences();
    virtual void resetProcessState();
    virtual juce::CriticalSection& getLock();
    virtual void setParent(Element* newParent) { parent = newParent; }
    virtual String getPath() const;
    virtual String makeUniqueChildName(const String& base, int firstIndex) const;
    virtual uint32_t resolveParameterId(uint32_t id) const { return id; }
    virtual uint32_t findParameterId(const String& parameterName) const;
    virtual Element* findChild(const String& path) const;
    virtual void findElements(const String& pattern, juce::Array<Element*>& out) const;
    virtual void setParameterString(uint32_t id, const String& value) { setImmediate<String>(id, value); }
    virtual void setParameterInt(uint32_t id, int value) { setImmediate<int>(id, value); }
    virtual void setParameterBool(uint32_t id, bool value) { setImmediate<bool>(id, value); }
    virtual void setParameterFloat(uint32_t id, float value) { setImmediate<float>(id, value); }
    virtual void setParameterStringDeferred(uint32_t id, const String& v, bool deferred) { setDeferred<String>(id, v, deferred); }
    virtual void setParameterIntDeferred(uint32_t id, int v, bool deferred) { setDeferred<int>(id, v, deferred); }
    virtual void setParameterBoolDeferred(uint32_t id, bool v, bool deferred) { setDeferred<bool>(id, v, deferred); }
    virtual void setParameterFloatDeferred(uint32_t id, float v, bool deferred) { setDeferred<float>(id, v, deferred); }
    virtual float getParameterFloat(uint32_t id, Error* error = nullptr) const { return read<float>(id, error); }
    virtual ParameterInfo<float>* findFloatParameter(uint32_t id) const { return find<float>(id); }
    virtual bool getParameterBool(uint32_t id, Error* error = nullptr) const { return read<bool>(id, error); }
    virtual ParameterInfo<bool>* findBoolParameter(uint32_t id) const { return find<bool>(id); }
    virtual int getParameterInt(uint32_t id, Error* error = nullptr) const { return read<int>(id, error); }
    virtual ParameterInfo<int>* findIntParameter(uint32_t id) const { return find<int>(id); }
    virtual String getParameterString(uint32_t id, Error* error = nullptr) const { return read<String>(id, error); }
    virtual ParameterInfo<String>* findStringParameter(uint32_t id) const { return find<String>(id); }
    virtual String makeUniqueConnectionName(uint32_t parameterId) const;
    virtual bool addModulationSource(const tinyxml2::XMLElement& description, bool lock);
    virtual bool removeModulationSource(uint32_t parameterId, const String& sourcePath, bool lock);
    virtual void addPendingLink(Element* link);
    virtual void forwardPendingLinks();
    virtual void setPerVoice(bool enabled);
    virtual bool saveParameters(tinyxml2::XMLElement& element, int& versionOut) const;
    // A signed version: the flat-layout sentinel reads as older than any file.
    virtual bool loadParameters(const tinyxml2::XMLElement& element, int version);
    // A value a preset of this file version holds, brought to today's scale.
    virtual float convertPresetValue(uint32_t id, float value, int version) const
    {
        juce::ignoreUnused(id, version);
        return value;
    }
    virtual void prepare();

    // --- slots of the element model that this product never calls: voices,
    // shared control sources, listings and memory reports ---
    virtual ElementState* createVoiceState(ScratchArena& arena);
    virtual void* reserved() { return nullptr; }
    virtual Element* getSharedControlSource(const String& sourceName, bool lock);
    virtual void releaseSharedControlSource(Element* source);
    virtual void voiceStarted(void* voiceContext, const void* noteData);
    virtual void voiceReleased(void* voiceContext, int argument) { (void) voiceContext, (void) argument; }
    virtual void voiceEnded(void* voiceContext, int argument) { (void) voiceContext, (void) argument; }
    virtual void listModulationSources(uint32_t parameterId, juce::StringArray& out) const;
    virtual float getMemoryUsage() const;
    virtual ElementState* createState(ScratchArena& arena);

    // --- the rest ---
    void addParameter(std::unique_ptr<ParameterInfoBase> binding);
    void addChild(std::unique_ptr<Element> child);
    std::unique_ptr<Element> removeChild(Element* child);
    void setFormat(double sampleRate, int maximumBlockSize);
    void setProperty(const String& key, const ElementProperty& value);
    ElementProperty getProperty(const String& key) const;
    bool hasProperty(const String& key) const;
    // Tells listeners with a blank value.
    void removeProperty(const String& key);
    const std::map<String, ElementProperty>& getProperties() const noexcept { return properties; }
    void setStates(std::unique_ptr<ElementState> reference, std::unique_ptr<ElementState> process);
    void markModified();
    void clearModified();
    // The end of a load or a build: this element is clean, and so is each
    // ancestor whose children are all clean.
    void dirtyDone();
    void setName(const String& newName);

    const String& getName() const noexcept { return *name; }
    const String& getTypeName() const noexcept { return *typeName; }
    Element* getParent() const noexcept { return parent; }
    int getNumChildren() const noexcept { return static_cast<int>(children.size()); }
    Element* getChild(int index) const noexcept { return children[(size_t) index].get(); }
    const std::vector<std::unique_ptr<ParameterInfoBase>>& getParameters() const noexcept { return parameters; }
    ElementSignals& getSignals();
    bool hasSignals() const noexcept { return signals != nullptr; }
    bool isModified() const noexcept { return (flags & modified) != 0; }
    bool hasFlag(uint8_t flag) const noexcept { return (flags & flag) != 0; }
    ElementState* getReferenceState() const noexcept { return referenceState.get(); }
    ElementState* getProcessState() const noexcept { return processState.get(); }
    uint16_t getStateVersion() const noexcept { return stateVersion; }
    float getSampleRate() const noexcept { return sampleRate; }
    uint16_t getMaxBlockSize() const noexcept { return maxBlockSize; }
    uint16_t getElementId() const noexcept { return elementId; }
    std::weak_ptr<Element*> getWeakReference() const { return selfReference; }

    // Audio thread, at block start: moves deferred values into the reference state.
    void flushPending() noexcept;
    // After the reference state changed outside a parameter set (a load, a
    // prepare): what other threads read is taken from it again.
    void publishAll() noexcept;

    // ParameterContext
    bool isSyncedToHost() const override;

protected:
    // After an immediate set has written both states.
    virtual void parameterSetImmediately(ParameterInfoBase& binding) { juce::ignoreUnused(binding); }
    ParameterInfoBase* findBinding(uint32_t id) const;
    void notifyParameterChanged(uint32_t id);
    // One type-name cell for an element and whatever stands in for it.
    void shareTypeNameOf(const Element& other) { typeName = other.typeName; }

    std::atomic<uint8_t> pendingAny { 0 };
    std::atomic<uint8_t> pendingParameters { 0 };

private:
    template <typename T>
    ParameterInfo<T>* find(uint32_t id) const;
    template <typename T>
    T read(uint32_t id, Error* error) const;
    template <typename T>
    void setImmediate(uint32_t id, const T& value);
    template <typename T>
    void setDeferred(uint32_t id, const T& value, bool deferred);
    void* targetOf(const ParameterDescriptionBase& d, ElementState* state) const;
    Element* findChildByName(const String& childName) const;

    std::shared_ptr<Element*> selfReference;
    std::unique_ptr<ElementSignals> signals;
    Element* parent = nullptr;
    std::shared_ptr<String> typeName;
    std::shared_ptr<String> name;
    float sampleRate = 0.0f;
    std::vector<std::unique_ptr<ParameterInfoBase>> parameters;
    std::map<String, ElementProperty> properties;
    std::vector<Element*> pendingLinks;
    std::vector<ElementParamEnvelope*> connections;
    std::vector<ElementParamEnvelope*> activeConnections;
    std::vector<std::unique_ptr<Element>> children;
    std::unique_ptr<ElementState> referenceState;
    std::unique_ptr<ElementState> processState;
    uint16_t maxBlockSize = 0;
    uint16_t stateVersion = 0;
    uint16_t elementId;
    // Host automation marks an element modified from its own thread.
    std::atomic<uint8_t> flags { perVoice | persistentElement };
};

} // namespace qel
