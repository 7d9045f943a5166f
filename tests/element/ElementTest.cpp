#include "element/Bindings.h"
#include "element/Element.h"
#include "support/TestElements.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace
{

using qel::test::GainElement;
using qel::Element;
using qel::ParameterDescription;
using qel::String;

// Root "Engine" (type Engine) > "Rack" (type Rack) > "A", "B"; "Solo" beside the rack.
struct Tree
{
    std::unique_ptr<Element> root = std::make_unique<Element>("Engine", "Engine");
    Element* rack;
    GainElement* a;
    GainElement* b;
    Element* solo;

    Tree()
    {
        auto r = std::make_unique<Element>("Rack", "Rack");
        rack = r.get();
        root->addChild(std::move(r));
        auto s = std::make_unique<GainElement>("Solo");
        solo = s.get();
        root->addChild(std::move(s));
        auto second = std::make_unique<GainElement>("B");
        b = second.get();
        rack->addChild(std::move(second));
        auto first = std::make_unique<GainElement>("A");
        a = first.get();
        rack->addChild(std::move(first));
    }
};

TEST(Element, ChildrenStaySortedAndPathsHaveNoLeadingSlash)
{
    Tree t;
    EXPECT_EQ(t.rack->getChild(0), t.a); // added second, sorted first
    EXPECT_EQ(t.a->getPath(), "Engine/Rack/A");
    EXPECT_EQ(t.root->getPath(), "Engine");
    EXPECT_EQ(t.a->getParent(), t.rack);
}

TEST(Element, FindChildWalksPathsTypesAndAliases)
{
    Tree t;
    EXPECT_EQ(t.rack->findChild("A"), t.a);
    EXPECT_EQ(t.a->findChild("../B"), t.b);
    EXPECT_EQ(t.a->findChild("./../B"), t.b);
    EXPECT_EQ(t.a->findChild("/Solo"), t.solo);
    EXPECT_EQ(t.a->findChild("$Rack/B"), t.b);     // nearest element of that type, climbing
    EXPECT_EQ(t.a->findChild("$Engine/Rack/A"), t.a);
    EXPECT_EQ(t.a->findChild("$Gain/../B"), t.b);  // itself counts
    EXPECT_EQ(t.a->findChild("$Nothing/B"), nullptr);
    EXPECT_EQ(t.rack->findChild("C"), nullptr);     // a bare name that is not a child
    EXPECT_EQ(t.a->findChild("../C/D"), nullptr);

    qel::ElementProperty alias;
    alias.value = String("../B");
    t.a->setProperty("Partner", alias);
    EXPECT_EQ(t.a->findChild("Partner"), t.b);
    EXPECT_TRUE(t.a->hasProperty("Partner"));
    EXPECT_FALSE(t.a->getProperty("Missing").value.has_value());
}

TEST(Element, UniqueChildNamesCountUpFromTheFirstFree)
{
    Tree t;
    EXPECT_EQ(t.rack->makeUniqueChildName("Gain", 0), "Gain0");
    t.rack->addChild(std::make_unique<GainElement>("Gain0"));
    t.rack->addChild(std::make_unique<GainElement>("Gain1"));
    EXPECT_EQ(t.rack->makeUniqueChildName("Gain", 0), "Gain2");
}

TEST(Element, FindElementsMatchesAWildcardOnTheLastComponent)
{
    Tree t;
    t.rack->addChild(std::make_unique<GainElement>("Bass"));
    juce::Array<Element*> found;
    t.root->findElements("Rack/B*", found);
    EXPECT_EQ(found.size(), 2);
    found.clear();
    t.rack->findElements("A", found);
    EXPECT_EQ(found.size(), 1);
}

TEST(Element, GettersSeeAPendingValueBeforeTheFlush)
{
    GainElement e("E");
    const auto id = GainElement::gainId();
    e.setParameterFloatDeferred(id, 0.8f, true);
    EXPECT_EQ(e.getParameterFloat(id), 0.8f);
    EXPECT_EQ(e.reference().gain, 0.5f);
    const auto version = e.getStateVersion();
    e.flushPending();
    EXPECT_EQ(e.reference().gain, 0.8f);
    EXPECT_EQ(e.process().gain, 0.5f); // the process state follows through its envelope
    EXPECT_EQ(e.getStateVersion(), version + 1);
    e.flushPending(); // nothing pending: no new version
    EXPECT_EQ(e.getStateVersion(), version + 1);

    // An immediate set reaches both states and drops a pending value.
    e.setParameterFloatDeferred(id, 0.1f, true);
    e.setParameterFloat(id, 0.3f);
    EXPECT_EQ(e.getParameterFloat(id), 0.3f);
    EXPECT_EQ(e.process().gain, 0.3f);
    e.flushPending();
    EXPECT_EQ(e.reference().gain, 0.3f);

    // Not deferred: the reference state at once, the process state later.
    e.setParameterFloatDeferred(id, 0.6f, false);
    EXPECT_EQ(e.reference().gain, 0.6f);
    EXPECT_EQ(e.process().gain, 0.3f);
}

TEST(Element, TypedFindsRefuseOtherTypes)
{
    GainElement e("E");
    EXPECT_NE(e.findFloatParameter(GainElement::gainId()), nullptr);
    EXPECT_EQ(e.findFloatParameter(GainElement::onId()), nullptr);
    EXPECT_EQ(e.findBoolParameter(GainElement::gainId()), nullptr);
    EXPECT_EQ(e.findStringParameter(GainElement::onId()), nullptr);
    EXPECT_EQ(e.findIntParameter(99999), nullptr);
    Element::Error error = false;
    e.getParameterFloat(99999, &error);
    EXPECT_TRUE(error);
    EXPECT_EQ(e.findParameterId("TestOn"), GainElement::onId());
    EXPECT_EQ(e.findParameterId("testOn"), 0u);
}

TEST(Element, ChangesMarkTheChainThenNotifyInOrder)
{
    Tree t;
    t.root->clearModified();
    t.rack->clearModified();
    t.a->clearModified();
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

    // The asynchronous side arrives on the message thread.
    int heard = 0;
    t.a->getSignals().parameterChangedAsync.connect([&](const Element& e, int id) {
        EXPECT_EQ(&e, t.a);
        EXPECT_EQ(id, (int) GainElement::gainId());
        ++heard;
    });
    t.a->setParameterFloatDeferred(GainElement::gainId(), 0.2f, true);
    qel::ParameterChangeChannel::get().deliver();
    EXPECT_EQ(heard, 1);
}

} // namespace
