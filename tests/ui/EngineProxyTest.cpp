// The message thread's mirror of the tree: views bound by path and parameter hear elements come, rename, go or change.
#include "support/TestElements.h"
#include "ui/ElementView.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace
{

using qel::Element;
using qel::test::GainElement;

void deliver() { qel::ParameterChangeChannel::get().deliver(); }

// Records what a view is told.
struct Recorder
{
    std::vector<Element*> elements;
    std::vector<std::pair<Element*, uint32_t>> values;
    int slot = 0;

    qel::ElementCallback onElement() { return { this, slot, [this](Element* e) { elements.push_back(e); } }; }
    qel::ValueCallback onValue() { return { this, slot, [this](Element* e, uint32_t id) { values.emplace_back(e, id); } }; }
};

struct ProxyTest : ::testing::Test
{
    std::unique_ptr<Element> root = std::make_unique<Element>("Engine", "Engine");
    qel::EngineProxy proxy { nullptr, root.get(), false };

    Element* addRack() { root->addChild(std::make_unique<Element>("Rack", "Rack")); return root->findChild("Rack"); }
    void SetUp() override { deliver(); }
};

// Two views on one parameter, the same pair bound twice; one of them leaves.
TEST_F(ProxyTest, BindingBeforeTheElementExistsIsToldOnceThenOfEachChange)
{
    Recorder r, other;
    other.slot = 7;
    const auto gain = GainElement::gainId();
    proxy.bindParameter("/Rack/A", gain, r.onElement(), r.onValue());
    proxy.bindParameter("/Rack/A", gain, other.onElement(), other.onValue());
    proxy.bindParameter("/Rack/A", gain, r.onElement(), r.onValue());
    auto* rack = addRack();
    EXPECT_TRUE(r.elements.empty()) << "the rack alone does not satisfy /Rack/A";
    rack->addChild(std::make_unique<GainElement>("A"));
    auto* a = rack->findChild("A");
    ASSERT_EQ(r.elements, std::vector<Element*> { a });

    a->setParameterFloat(gain, 0.25f);
    a->setParameterBool(GainElement::onId(), false); // not watched
    EXPECT_TRUE(r.values.empty()) << "values arrive through the message thread";
    deliver();
    ASSERT_EQ(r.values.size(), 1u);
    EXPECT_EQ(r.values[0], std::make_pair(a, gain));
    EXPECT_EQ(other.values.size(), 1u);

    proxy.unbindParameter("/Rack/A", gain, r.onElement(), r.onValue());
    a->setParameterFloat(gain, 0.2f);
    deliver();
    EXPECT_EQ(r.values.size(), 1u);
    EXPECT_EQ(other.values.size(), 2u);
}

TEST_F(ProxyTest, RemovalRenamingAndDeletionUnbindAndTheBindingWaitsForTheNextElement)
{
    auto* rack = addRack();
    rack->addChild(std::make_unique<GainElement>("A"));
    Recorder r;
    proxy.bindElement("/Rack/A", r.onElement());
    ASSERT_EQ(r.elements.size(), 1u);

    auto removed = rack->removeChild(rack->findChild("A"));
    EXPECT_EQ(r.elements.back(), nullptr);
    rack->addChild(std::move(removed));
    auto* a = rack->findChild("A");
    EXPECT_EQ(r.elements.back(), a);
    a->setName("X");
    EXPECT_EQ(r.elements.back(), nullptr);
    a->setName("A"); // renamed into the waiting step
    EXPECT_EQ(r.elements.back(), a);

    // The parent goes with its child: the path below is told as well.
    root->removeChild(rack).reset();
    ASSERT_EQ(r.elements.size(), 6u);
    EXPECT_EQ(r.elements.back(), nullptr);
}

TEST_F(ProxyTest, ANewEngineTellsEveryView)
{
    auto* rack = addRack();
    rack->addChild(std::make_unique<GainElement>("A"));
    Recorder onA, onB, onRoot;
    proxy.bindElement("/Rack/A", onA.onElement());
    proxy.bindElement("/Rack/B", onB.onElement());
    proxy.bindElement("/", onRoot.onElement());

    auto other = std::make_unique<Element>("Engine", "Engine");
    other->addChild(std::make_unique<Element>("Rack", "Rack"));
    auto* otherRack = other->findChild("Rack");
    otherRack->addChild(std::make_unique<GainElement>("B"));
    proxy.setEngine(other.get());

    EXPECT_EQ(onA.elements.back(), nullptr);
    EXPECT_EQ(onB.elements.back(), otherRack->findChild("B"));
    EXPECT_EQ(onRoot.elements.back(), other.get());

    // The old tree can go now without telling anyone.
    const auto told = onA.elements.size() + onB.elements.size();
    root.reset();
    EXPECT_EQ(onA.elements.size() + onB.elements.size(), told);
}

// A wildcard path is one shared, counted stand-in: it writes to every match,
// and a binding on it hears every match, new ones too.
TEST_F(ProxyTest, AWildcardPathStandsForEveryMatch)
{
    auto* rack = addRack();
    rack->addChild(std::make_unique<GainElement>("Voice1"));
    rack->addChild(std::make_unique<GainElement>("Other"));
    auto* first = proxy.getElementProxy("/Rack/Voice*", false);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(proxy.getElementProxy("/Rack/Voice*", false), first);
    EXPECT_EQ(proxy.getProxyUseCount("/Rack/Voice*"), 2);
    EXPECT_EQ(proxy.getElementProxy("/Rack/Other", false), rack->findChild("Other"));

    Recorder r;
    proxy.bindParameter("/Rack/Voice*", GainElement::gainId(), r.onElement(), r.onValue());
    auto* standIn = dynamic_cast<qel::ElementProxy*>(r.elements.back());
    ASSERT_NE(standIn, nullptr);
    rack->addChild(std::make_unique<GainElement>("Voice2"));
    EXPECT_EQ(standIn->getElements().size(), 2u);
    rack->findChild("Voice2")->setParameterFloat(GainElement::gainId(), 0.6f);
    deliver();
    ASSERT_FALSE(r.values.empty());
    EXPECT_EQ(r.values.back().first, standIn);

    first->setParameterFloat(GainElement::gainId(), 0.75f);
    EXPECT_EQ(rack->findChild("Voice1")->getParameterFloat(GainElement::gainId()), 0.75f);
    EXPECT_EQ(rack->findChild("Voice2")->getParameterFloat(GainElement::gainId()), 0.75f);
    EXPECT_EQ(rack->findChild("Other")->getParameterFloat(GainElement::gainId()), 0.5f);
}

struct FloatView : qel::SimpleElementParameterView
{
    using SimpleElementParameterView::SimpleElementParameterView;
    std::vector<float> floats;
    void parameterChanged(float v) override { floats.push_back(v); }
};

TEST_F(ProxyTest, ViewsKnowTheirElementTypeAndValueAndUnbindWhenTheyGo)
{
    auto* rack = addRack();
    rack->addChild(std::make_unique<GainElement>("A"));
    auto* a = rack->findChild("A");
    {
        FloatView view(&proxy);
        view.setParameter("/Rack/A", GainElement::onId());
        EXPECT_TRUE(view.getBool());
        view.setParameter("/Rack/A", GainElement::gainId()); // the switch is no longer watched
        EXPECT_EQ(view.getElement(), a);
        EXPECT_EQ(view.getValueType(), qel::ValueType::floatValue);
        a->setParameterFloat(GainElement::gainId(), 0.125f);
        a->setParameterBool(GainElement::onId(), false);
        a->setParameterFloat(GainElement::gainId(), 0.375f);
        deliver();
        // Two changes in one turn: the view reads the newest value each time.
        EXPECT_EQ(view.floats, (std::vector<float> { 0.375f, 0.375f }));
        view.setParameter("/Rack/Missing", GainElement::gainId());
        EXPECT_EQ(view.getValueType(), qel::ValueType::unknown);
    }
    EXPECT_EQ(proxy.findNode("/Rack/A")->countParameterListeners(GainElement::gainId()), 0u);

    // An element view moved to another path is told of the loss.
    struct View : qel::SimpleElementView
    {
        using SimpleElementView::SimpleElementView;
        std::vector<Element*> told;
        void elementChanged(Element* e) override { told.push_back(e); }
    } view(&proxy);
    view.setElementPath("/Rack");
    view.setElementPath("/Nowhere");
    EXPECT_EQ(view.told, (std::vector<Element*> { rack, nullptr }));
}

TEST_F(ProxyTest, ACachedValueCallsItsFunctionOncePerChangeButNotForItsOwnWrite)
{
    auto* rack = addRack();
    rack->addChild(std::make_unique<GainElement>("A"));
    std::vector<float> seen;
    qel::ElementParameterValue<float> value(&proxy, "/Rack/A", GainElement::gainId(), [&](const float& v) { seen.push_back(v); });
    value.set(0.9f);
    deliver();
    EXPECT_EQ(value.get(), 0.9f);
    rack->findChild("A")->setParameterFloat(GainElement::gainId(), 0.2f);
    deliver();
    EXPECT_EQ(seen, (std::vector<float> { 0.5f, 0.2f })) << "the first value arrives with the element";
}

} // namespace
