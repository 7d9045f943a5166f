#pragma once

#include "element/ProcessingElement.h"

#include <functional>

namespace qel
{

class Keygroup;

// After the element's own tag, each processing child's, in the order given.
bool saveMembers(tinyxml2::XMLElement& ownTag, const std::vector<ProcessingElement*>& members,
                 const ElementSaveOptions& options);
// Each child tag other than the element's own parts, made through the
// registry and loaded, handed to adopt; false when one is unknown, fails to
// load or is refused.
bool loadMembers(const tinyxml2::XMLElement& xml, const ElementLoadOptions& options, uint32_t version,
                 const std::function<bool(std::unique_ptr<ProcessingElement>)>& adopt);

// A level of an instrument that holds others: it hands every event to its
// members and lets them render, in order, into the stream it was given.
class InstrumentContainer : public ProcessingElement
{
public:
    using ProcessingElement::ProcessingElement;

    int getNumMembers() const noexcept { return static_cast<int>(members.size()); }
    ProcessingElement* getMember(int index) const noexcept { return members[(size_t) index]; }

    void processEvents(RenderContext& context, const EngineEvent* events, int count, int frames) override;
    void process(RenderContext& context, int frames, ProcessingElementState& state) override;
    void setOutputStream(int index, Bus* stream) override;
    void prepare() override;
    void resetProcessState() override;
    void invalidateTail() override {}
    bool save(tinyxml2::XMLElement& parent, const ElementSaveOptions& options) override;
    bool load(const tinyxml2::XMLElement& xml, const ElementLoadOptions& options, uint32_t version) override;

protected:
    // Message thread; waits for the tree's lock. The member runs after the ones before it.
    void addMember(std::unique_ptr<ProcessingElement> member);
    virtual bool accepts(const ProcessingElement& member) const = 0;

private:
    std::vector<ProcessingElement*> members;
};

// The instrument's layers, all sounding at once.
class Layer;
class Program : public InstrumentContainer
{
public:
    static constexpr const char* typeName = "Program";
    Program() : InstrumentContainer(typeName, typeName) {}
    void addLayer(std::unique_ptr<Layer> layer);

protected:
    bool accepts(const ProcessingElement& member) const override;
};

// A layer's keygroups, each with its key zone.
class Layer : public InstrumentContainer
{
public:
    static constexpr const char* typeName = "Layer";
    Layer() : InstrumentContainer(typeName, typeName) {}
    void addKeygroup(std::unique_ptr<Keygroup> keygroup);

protected:
    bool accepts(const ProcessingElement& member) const override;
};

} // namespace qel
