// The message thread's mirror of the tree: views bound by path and parameter
// are told when elements come, change name, go, or change a value.
#include "engine/Engine.h"
#include "support/TestElements.h"
#include "ui/ElementView.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace
{

using qel::Element;
using qel::EngineProxy;
using qel::test::GainElement;

void deliver()
{
    qel::ParameterChangeChannel::get().deliver();
}

// A name-only id that stands for the gain or the switch, as Param%1 aliases do.
struct AliasedGain : GainElement
{
    static uint32_t aliasId()
    {
        static const uint32_t id = qel::ParameterRegistry::get().registerName("TestAlias");
        return id;
    }
    AliasedGain(const qel::String& name, bool toSwitch) : GainElement(name), toSwitch(toSwitch) {}
    uint32_t resolveParameterId(uint32_t id) const override
    {
        return id == aliasId() ? (toSwitch ? onId() : gainId()) : id;
    }
    bool toSwitch;
};

// Records what a view is told.
struct Recorder
{
    std::vector<Element*> elements;
    std::vector<std::pair<Element*, uint32_t>> values;
    int slot = 0;

    qel::ElementCallback onElement()
    {
        return { this, slot, [this](Element* e) { elements.push_back(e); } };
    }
    qel::ValueCallback onValue()
    {
        return { this, slot, [this](Element* e, uint32_t id) { values.emplace_back(e, id); } };
    }
};

struct ProxyTest : ::testing::Test
{
    std::unique_ptr<Element> root = std::make_unique<Element>("Engine", "Engine");
    EngineProxy proxy { nullptr, root.get(), false };

    Element* addRack()
    {
        root->addChild(std::make_unique<Element>("Rack", "Rack"));
        return root->findChild("Rack");
    }
    void SetUp() override { deliver(); }
};

TEST_F(ProxyTest, BindingBeforeTheElementExistsIsToldOnceThenOfEachChange)
{
    Recorder r;
    proxy.bindParameter("/Rack/A", GainElement::gainId(), r.onElement(), r.onValue());
    EXPECT_TRUE(r.elements.empty());

    auto* rack = addRack();
    EXPECT_TRUE(r.elements.empty()) << "the rack alone does not satisfy /Rack/A";
    rack->addChild(std::make_unique<GainElement>("A"));
    auto* a = rack->findChild("A");
    ASSERT_EQ(r.elements, std::vector<Element*> { a });

    a->setParameterFloat(GainElement::gainId(), 0.25f);
    a->setParameterBool(GainElement::onId(), false); // not watched
    EXPECT_TRUE(r.values.empty()) << "values arrive through the message thread";
    deliver();
    ASSERT_EQ(r.values.size(), 1u);
    EXPECT_EQ(r.values[0].first, a);
    EXPECT_EQ(r.values[0].second, GainElement::gainId());
    EXPECT_EQ(r.elements.size(), 1u);
}

TEST_F(ProxyTest, RemovalAndDeletionUnbindAndTheBindingWaitsForTheNextElement)
{
    auto* rack = addRack();
    rack->addChild(std::make_unique<GainElement>("A"));
    Recorder r;
    proxy.bindElement("/Rack/A", r.onElement());
    ASSERT_EQ(r.elements.size(), 1u);

    auto removed = rack->removeChild(rack->findChild("A"));
    ASSERT_EQ(r.elements.size(), 2u);
    EXPECT_EQ(r.elements.back(), nullptr);

    rack->addChild(std::move(removed));
    ASSERT_EQ(r.elements.size(), 3u);
    EXPECT_EQ(r.elements.back(), rack->findChild("A"));

    // The parent goes with its child: the path below is told as well.
    root->removeChild(rack).reset();
    ASSERT_EQ(r.elements.size(), 4u);
    EXPECT_EQ(r.elements.back(), nullptr);
    EXPECT_EQ(proxy.findNode("/Rack/A")->element, nullptr);
}

TEST_F(ProxyTest, RenamingIntoAWaitingStepBindsAndRenamingBackUnbinds)
{
    auto* rack = addRack();
    rack->addChild(std::make_unique<GainElement>("X"));
    auto* x = rack->findChild("X");
    Recorder r;
    proxy.bindElement("/Rack/A", r.onElement());
    EXPECT_TRUE(r.elements.empty());

    x->setName("A");
    ASSERT_EQ(r.elements, std::vector<Element*> { x });
    x->setName("X");
    ASSERT_EQ(r.elements.size(), 2u);
    EXPECT_EQ(r.elements.back(), nullptr);
}

TEST_F(ProxyTest, TwoViewsOnOneParameterAreBothServedUntilOneLeaves)
{
    auto* rack = addRack();
    rack->addChild(std::make_unique<GainElement>("A"));
    auto* a = rack->findChild("A");
    Recorder first, second;
    second.slot = 7;
    proxy.bindParameter("/Rack/A", GainElement::gainId(), first.onElement(), first.onValue());
    proxy.bindParameter("/Rack/A", GainElement::gainId(), second.onElement(), second.onValue());
    // Binding the same pair twice adds nothing.
    proxy.bindParameter("/Rack/A", GainElement::gainId(), first.onElement(), first.onValue());
    EXPECT_EQ(proxy.findNode("/Rack/A")->countParameterListeners(GainElement::gainId()), 2u);

    a->setParameterFloat(GainElement::gainId(), 0.1f);
    deliver();
    EXPECT_EQ(first.values.size(), 1u);
    EXPECT_EQ(second.values.size(), 1u);

    proxy.unbindParameter("/Rack/A", GainElement::gainId(), first.onElement(), first.onValue());
    a->setParameterFloat(GainElement::gainId(), 0.2f);
    deliver();
    EXPECT_EQ(first.values.size(), 1u);
    EXPECT_EQ(second.values.size(), 2u);
}

TEST_F(ProxyTest, AliasIdsAreWatchedUnderTheirResolvedIdAndMoveWithTheElement)
{
    auto* rack = addRack();
    rack->addChild(std::make_unique<AliasedGain>("A", false));
    Recorder r;
    proxy.bindParameter("/Rack/A", AliasedGain::aliasId(), r.onElement(), r.onValue());
    const auto* node = proxy.findNode("/Rack/A");
    EXPECT_EQ(node->countParameterListeners(GainElement::gainId()), 1u);
    EXPECT_EQ(node->countParameterListeners(AliasedGain::aliasId()), 0u);

    rack->findChild("A")->setParameterFloat(GainElement::gainId(), 0.3f);
    deliver();
    ASSERT_EQ(r.values.size(), 1u);

    // A new element resolves the alias to the switch: the listener follows.
    rack->removeChild(rack->findChild("A")).reset();
    rack->addChild(std::make_unique<AliasedGain>("A", true));
    EXPECT_EQ(node->countParameterListeners(GainElement::onId()), 1u);
    EXPECT_EQ(node->countParameterListeners(GainElement::gainId()), 0u);
    rack->findChild("A")->setParameterFloat(GainElement::gainId(), 0.4f);
    rack->findChild("A")->setParameterBool(GainElement::onId(), false);
    deliver();
    ASSERT_EQ(r.values.size(), 2u);
    EXPECT_EQ(r.values.back().second, GainElement::onId());
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

TEST_F(ProxyTest, AWildcardPathIsOneSharedCountedStandInThatWritesToAll)
{
    auto* rack = addRack();
    rack->addChild(std::make_unique<GainElement>("Voice1"));
    rack->addChild(std::make_unique<GainElement>("Voice2"));
    rack->addChild(std::make_unique<GainElement>("Other"));

    auto* first = proxy.getElementProxy("/Rack/Voice*", false);
    auto* again = proxy.getElementProxy("/Rack/Voice*", false);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first, again);
    EXPECT_EQ(proxy.getProxyUseCount("/Rack/Voice*"), 2);
    EXPECT_EQ(first->getTypeName(), "Gain");

    first->setParameterFloat(GainElement::gainId(), 0.75f);
    EXPECT_EQ(rack->findChild("Voice1")->getParameterFloat(GainElement::gainId()), 0.75f);
    EXPECT_EQ(rack->findChild("Voice2")->getParameterFloat(GainElement::gainId()), 0.75f);
    EXPECT_EQ(rack->findChild("Other")->getParameterFloat(GainElement::gainId()), 0.5f);

    proxy.releaseElementProxy("/Rack/Voice*");
    proxy.releaseElementProxy("/Rack/Voice*");
    EXPECT_EQ(proxy.getProxyUseCount("/Rack/Voice*"), 0);
    EXPECT_EQ(proxy.getElementProxy("/Rack/Nobody*", false), nullptr);
    EXPECT_EQ(proxy.getElementProxy("/Rack/Other", false), rack->findChild("Other"));
}

TEST_F(ProxyTest, AWildcardBindingHearsEveryMatchAndFollowsNewOnes)
{
    auto* rack = addRack();
    rack->addChild(std::make_unique<GainElement>("Voice1"));
    Recorder r;
    proxy.bindParameter("/Rack/Voice*", GainElement::gainId(), r.onElement(), r.onValue());
    ASSERT_EQ(r.elements.size(), 1u);
    auto* standIn = dynamic_cast<qel::ElementProxy*>(r.elements.back());
    ASSERT_NE(standIn, nullptr);
    EXPECT_EQ(standIn->getElements().size(), 1u);

    rack->addChild(std::make_unique<GainElement>("Voice2"));
    EXPECT_EQ(standIn->getElements().size(), 2u);
    rack->findChild("Voice2")->setParameterFloat(GainElement::gainId(), 0.6f);
    deliver();
    ASSERT_FALSE(r.values.empty());
    EXPECT_EQ(r.values.back().first, standIn);
}

// --- the view classes ---

struct CountingView : qel::SimpleElementParameterView
{
    using SimpleElementParameterView::SimpleElementParameterView;
    int elements = 0;
    std::vector<float> floats;
    void elementChanged(Element* e) override
    {
        SimpleElementParameterView::elementChanged(e);
        ++elements;
    }
    void parameterChanged(float v) override { floats.push_back(v); }
};

TEST_F(ProxyTest, ASimpleParameterViewKnowsTypeAndValueAndUnbindsWhenItGoes)
{
    auto* rack = addRack();
    rack->addChild(std::make_unique<AliasedGain>("A", true));
    auto* a = rack->findChild("A");
    {
        CountingView view(&proxy);
        view.setParameter("/Rack/A", AliasedGain::aliasId());
        EXPECT_EQ(view.getElement(), a);
        EXPECT_EQ(view.getParameterId(), GainElement::onId());
        EXPECT_EQ(view.getValueType(), qel::ValueType::boolValue) << "a name-only id takes the type it resolves to";
        EXPECT_TRUE(view.getBool());

        view.setParameter("/Rack/A", GainElement::gainId());
        EXPECT_EQ(view.getValueType(), qel::ValueType::floatValue);
        a->setParameterFloat(GainElement::gainId(), 0.125f);
        a->setParameterFloat(GainElement::gainId(), 0.375f);
        deliver();
        // Two changes in one turn: the view reads the newest value each time.
        EXPECT_EQ(view.floats, (std::vector<float> { 0.375f, 0.375f }));

        view.setParameter("/Rack/Missing", GainElement::gainId());
        EXPECT_EQ(view.getElement(), nullptr);
        EXPECT_EQ(view.getValueType(), qel::ValueType::unknown);
    }
    EXPECT_EQ(proxy.findNode("/Rack/A")->countParameterListeners(GainElement::gainId()), 0u);
}

TEST_F(ProxyTest, ACachedValueCallsItsFunctionOncePerChangeButNotForItsOwnWrite)
{
    auto* rack = addRack();
    rack->addChild(std::make_unique<GainElement>("A"));
    std::vector<float> seen;
    qel::ElementParameterValue<float> value(&proxy, "/Rack/A", GainElement::gainId(), [&](const float& v) { seen.push_back(v); });
    EXPECT_EQ(seen, std::vector<float> { 0.5f }) << "the first value arrives with the element";

    value.set(0.9f);
    deliver();
    EXPECT_EQ(value.get(), 0.9f);
    EXPECT_EQ(seen.size(), 1u);

    rack->findChild("A")->setParameterFloat(GainElement::gainId(), 0.2f);
    deliver();
    EXPECT_EQ(seen, (std::vector<float> { 0.5f, 0.2f }));
}

TEST_F(ProxyTest, ASimpleElementViewReplacingItsPathIsToldOfTheLoss)
{
    auto* rack = addRack();
    struct View : qel::SimpleElementView
    {
        using SimpleElementView::SimpleElementView;
        std::vector<Element*> told;
        void elementChanged(Element* e) override { told.push_back(e); }
    } view(&proxy);
    view.setElementPath("/Rack");
    EXPECT_EQ(view.told, std::vector<Element*> { rack });
    view.setElementPath("/Nowhere");
    EXPECT_EQ(view.told, (std::vector<Element*> { rack, nullptr }));
}

// --- errors ---

struct Collector : qel::ErrorListener
{
    std::vector<qel::ProxyError> errors;
    void showError(const qel::ProxyError& e) override { errors.push_back(e); }
};

TEST(EngineProxyErrors, RecordedErrorsAreRepeatedOnANewEngineAndLaterOnesForwarded)
{
    qel::Engine first;
    Collector collector;
    EngineProxy proxy(nullptr, &first, true);
    proxy.addErrorListener(&collector);

    qel::Engine second;
    second.setErrors({ { "Engine/Lost", "unknown type" } });
    proxy.setEngine(&second);
    ASSERT_EQ(collector.errors.size(), 1u);
    EXPECT_EQ(collector.errors[0].path.toString(), "Engine/Lost");
    EXPECT_EQ(collector.errors[0].text, "unknown type");

    second.addError({ "Engine/Other", "bad file" });
    ASSERT_EQ(collector.errors.size(), 2u);
    first.addError({ "Engine/Old", "not forwarded" });
    EXPECT_EQ(collector.errors.size(), 2u);

    proxy.removeErrorListener(&collector);
    second.addError({ "Engine/More", "nobody listens" });
    EXPECT_EQ(collector.errors.size(), 2u);
}

} // namespace
