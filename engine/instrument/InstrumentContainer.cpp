#include "engine/instrument/InstrumentContainer.h"

#include "element/ElementRegistry.h"
#include "engine/instrument/Keygroup.h"

#include <tinyxml2.h>

namespace qel
{

bool saveMembers(tinyxml2::XMLElement& ownTag, const std::vector<ProcessingElement*>& list, const ElementSaveOptions& options)
{
    bool ok = true;
    for (auto* member : list)
        if (member->hasFlag(Element::persistentElement))
            ok = member->save(ownTag, options) && ok;
    return ok;
}

bool loadMembers(const tinyxml2::XMLElement& xml, const ElementLoadOptions& options, uint32_t version,
                 const std::function<bool(std::unique_ptr<ProcessingElement>)>& adopt)
{
    bool ok = true;
    for (auto* child = xml.FirstChildElement(); child != nullptr; child = child->NextSiblingElement())
    {
        const auto type = textFromUtf8(child->Name());
        if (type == "Connections" || type == "Properties")
            continue;
        auto made = ElementRegistry::instance().create(type);
        auto* member = dynamic_cast<ProcessingElement*>(made.get());
        if (member == nullptr)
        {
            ok = false;
            continue;
        }
        made.release();
        std::unique_ptr<ProcessingElement> owned(member);
        ok = owned->load(*child, options, version) && adopt(std::move(owned)) && ok;
    }
    return ok;
}

void InstrumentContainer::addMember(std::unique_ptr<ProcessingElement> member)
{
    const juce::ScopedLock sl(getLock());
    auto* raw = member.get();
    if (hasFlag(prepared))
        raw->setFormat(getSampleRate(), getMaxBlockSize());
    raw->setOutputStream(0, getOutput());
    Element::addChild(std::move(member));
    members.push_back(raw);
}

void InstrumentContainer::processEvents(RenderContext& context, const EngineEvent* events, int count, int frames)
{
    if (getProcessingState().bypass)
        return;
    for (auto* m : members)
        m->processEvents(context, events, count, frames);
}

void InstrumentContainer::process(RenderContext& context, int frames, ProcessingElementState&)
{
    for (auto* m : members)
        m->render(context, frames);
}

void InstrumentContainer::setOutputStream(int index, Bus* stream)
{
    ProcessingElement::setOutputStream(index, stream);
    if (index == 0)
        for (auto* m : members)
            m->setOutputStream(0, stream);
}

void InstrumentContainer::prepare()
{
    ProcessingElement::prepare();
    for (auto* m : members)
        m->setFormat(getSampleRate(), getMaxBlockSize());
}

void InstrumentContainer::resetProcessState()
{
    ProcessingElement::resetProcessState();
    for (auto* m : members)
        m->resetProcessState();
}

bool InstrumentContainer::save(tinyxml2::XMLElement& parent, const ElementSaveOptions& options)
{
    bool ok = ProcessingElement::save(parent, options);
    return saveMembers(*parent.LastChildElement(), members, options) && ok;
}

bool InstrumentContainer::load(const tinyxml2::XMLElement& xml, const ElementLoadOptions& options, uint32_t version)
{
    {
        const juce::ScopedLock sl(getLock());
        while (!members.empty())
        {
            auto* last = members.back();
            members.pop_back();
            removeChild(last);
        }
    }
    bool ok = ProcessingElement::load(xml, options, version);
    return loadMembers(xml, options, version, [this](std::unique_ptr<ProcessingElement> member) {
               if (!accepts(*member))
                   return false;
               addMember(std::move(member));
               return true;
           })
        && ok;
}

void Program::addLayer(std::unique_ptr<Layer> layer)
{
    addMember(std::move(layer));
}

bool Program::accepts(const ProcessingElement& member) const
{
    return dynamic_cast<const Layer*>(&member) != nullptr;
}

void Layer::addKeygroup(std::unique_ptr<Keygroup> keygroup)
{
    addMember(std::move(keygroup));
}

bool Layer::accepts(const ProcessingElement& member) const
{
    return dynamic_cast<const Keygroup*>(&member) != nullptr;
}

} // namespace qel
