#include "element/Element.h"
#include "support/TestElements.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace
{

using qel::test::GainElement;
using qel::Element;
using qel::String;

template <typename T>
T* adopt(Element& parent, std::unique_ptr<T> child)
{
    auto* raw = child.get();
    parent.addChild(std::move(child));
    return raw;
}

// Root "Engine" (type Engine) > "Rack" (type Rack) > "A", "B"; "Solo" beside the rack.
struct Tree
{
    std::unique_ptr<Element> root = std::make_unique<Element>("Engine", "Engine");
    Element* rack = adopt(*root, std::make_unique<Element>("Rack", "Rack"));
    Element* solo = adopt(*root, std::make_unique<GainElement>("Solo"));
    GainElement* b = add("B");
    GainElement* a = add("A");

    GainElement* add(const String& name) { return adopt(*rack, std::make_unique<GainElement>(name)); }
};

TEST(Element, PathsWalkNamesAndTypes)
{
    Tree t;
    EXPECT_EQ(t.rack->getChild(0), t.a); // added second, sorted first
    EXPECT_EQ(t.a->getPath(), "Engine/Rack/A");
    EXPECT_EQ(t.root->getPath(), "Engine");

    EXPECT_EQ(t.rack->findChild("A"), t.a);
    EXPECT_EQ(t.a->findChild("./../B"), t.b);
    EXPECT_EQ(t.a->findChild("/Solo"), t.solo);
    EXPECT_EQ(t.a->findChild("$Rack/B"), t.b); // the nearest element of that type, climbing
    EXPECT_EQ(t.rack->findChild("C"), nullptr);
    EXPECT_EQ(t.a->findChild("../C/D"), nullptr);
}

TEST(Element, GettersSeeAPendingValueBeforeTheFlush)
{
    GainElement e("E");
    const auto id = GainElement::gainId();
    e.setParameterFloatDeferred(id, 0.8f, true);
    EXPECT_EQ(e.getParameterFloat(id), 0.8f);
    e.flushPending();
    EXPECT_EQ(e.reference().gain, 0.8f);
    EXPECT_EQ(e.process().gain, 0.5f); // the process state follows through its envelope

    // An immediate set reaches both states and drops a pending value.
    e.setParameterFloatDeferred(id, 0.1f, true);
    e.setParameterFloat(id, 0.3f);
    EXPECT_EQ(e.process().gain, 0.3f);
    e.flushPending();
    EXPECT_EQ(e.reference().gain, 0.3f);

    // Not deferred: the reference state at once, the process state later.
    e.setParameterFloatDeferred(id, 0.6f, false);
    EXPECT_EQ(e.reference().gain, 0.6f);
    EXPECT_EQ(e.process().gain, 0.3f);
}

TEST(Element, ChangesMarkTheChainThenNotifyInOrder)
{
    Tree t;
    for (Element* e : { t.root.get(), t.rack, static_cast<Element*>(t.a) })
        e->clearModified();
    std::vector<String> events;
    t.rack->getSignals().modifiedChanged.connect([&](Element* e) { events.push_back("modified " + e->getName()); });
    t.a->getSignals().modifiedChanged.connect([&](Element* e) { events.push_back("modified " + e->getName()); });
    t.a->getSignals().parameterChanged.connect([&](const Element& e, int) { events.push_back("changed " + e.getName()); });
    t.a->setParameterFloat(GainElement::gainId(), 0.9f);
    EXPECT_EQ(events, (std::vector<String> { "modified A", "modified Rack", "changed A" }));
    EXPECT_TRUE(t.root->isModified());

    // Already marked: only the change itself.
    events.clear();
    t.a->setParameterFloat(GainElement::gainId(), 0.7f);
    EXPECT_EQ(events, (std::vector<String> { "changed A" }));
}

} // namespace
