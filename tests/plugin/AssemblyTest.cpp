// What an instance builds, what instances share, and the catalogue of types.
#include "element/ElementRegistry.h"
#include "files/VFSHolder.h"
#include "plugin/ExportTable.h"
#include "plugin/ReelwarpPlugin.h"
#include "tape/ReelwarpParameters.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>

namespace
{

using qel::ElementRegistry;
using qel::ReelwarpPlugin;

// Runs the message thread until the pending async work has had its turn.
void pumpMessages()
{
    qel::ParameterChangeChannel::get().deliver();
    juce::MessageManager::getInstance()->runDispatchLoopUntil(30);
}

TEST(ElementRegistry, CreatesTheEffectByNameAndByAlias)
{
    ReelwarpPlugin::registerElementType();
    auto& registry = ElementRegistry::instance();
    auto made = registry.create("Reelwarp");
    ASSERT_NE(made, nullptr);
    EXPECT_NE(dynamic_cast<qel::ReelwarpProcessor*>(made.get()), nullptr);
    EXPECT_EQ(made->getTypeName(), "Reelwarp");
    EXPECT_EQ(registry.create("NoSuchType"), nullptr);
    EXPECT_TRUE(registry.find("NoSuchType").isBlank());

    registry.addAlias("TapeFlangerOld", "Reelwarp");
    EXPECT_EQ(registry.resolveAlias("TapeFlangerOld"), "Reelwarp");
    EXPECT_EQ(registry.resolveAlias("Reelwarp"), "Reelwarp");
    auto viaAlias = registry.create("TapeFlangerOld");
    ASSERT_NE(viaAlias, nullptr);
    EXPECT_EQ(viaAlias->getTypeName(), "Reelwarp");

    const auto row = registry.find("Reelwarp");
    EXPECT_EQ(row.displayName, "Reel Warp");
    EXPECT_EQ(row.kind, 0);
    EXPECT_EQ(row.effectCategory, 2);
    EXPECT_EQ(ElementRegistry::effectCategoryWord(row.effectCategory), "Modulation");
    EXPECT_EQ(row.flags, 256);
    EXPECT_EQ(dynamic_cast<qel::Engine*>(registry.create("Engine").get()) != nullptr, true);
}

TEST(ElementRegistry, KeepsTheFirstRowOfAKeyAndListsRowsInKeyOrder)
{
    auto& registry = ElementRegistry::instance();
    ReelwarpPlugin::registerElementType();
    EXPECT_FALSE(registry.add({ "Impostor", "Reelwarp", nullptr, 0, 0, 256 }));
    EXPECT_EQ(registry.find("Reelwarp").displayName, "Reel Warp");

    auto make = []() -> qel::Element* { return new qel::Element("AaaTestEffect", "x"); };
    registry.add({ "Aaa", "AaaTestEffect", make, ElementRegistry::fx, 0, 256 });
    const auto rows = registry.rowsOf(ElementRegistry::fx);
    ASSERT_GE(rows.size(), 2u);
    EXPECT_EQ(rows[0].typeName, "AaaTestEffect");
    for (size_t i = 1; i < rows.size(); ++i)
        EXPECT_LT(rows[i - 1].typeName, rows[i].typeName);
}

TEST(ElementRegistry, TheDocumentationPageListsTheEffectAndItsParameters)
{
    ReelwarpPlugin::registerElementType();
    const auto page = ElementRegistry::instance().documentation();
    EXPECT_TRUE(page.startsWith("/** @page Elements Elements & parameters\n"));
    EXPECT_TRUE(page.contains("<h2>FX</h2>\n<ul class=\"list-inline\">"));
    EXPECT_TRUE(page.contains("<a href=\"#Reelwarp\">Reel Warp</a>"));
    EXPECT_TRUE(page.contains("<p>internal name: Reelwarp</p>"));
    EXPECT_TRUE(page.contains("<caption>parameters</caption>"));
    EXPECT_TRUE(page.contains("<tr><td>MagneticHardness</td><td>Magnetic Hardness</td><td>float</td>"));
    EXPECT_FALSE(page.contains("#Engine")) << "internal rows stay out";
    EXPECT_FALSE(page.contains("<td>Name</td>"));
    // Every kind has both headings, in code order.
    int previous = -1;
    for (int kind = 0; kind < ElementRegistry::kindCount; ++kind)
    {
        const int at = page.indexOf("<h1>" + ElementRegistry::kindWord(kind) + "</h1>");
        EXPECT_GT(at, previous) << ElementRegistry::kindWord(kind);
        previous = at;
    }
}

TEST(InstanceAssembly, TheTreeIsAnEngineWithTheEffectAsItsOnlyChild)
{
    ReelwarpPlugin plugin;
    auto& engine = plugin.getEngine();
    EXPECT_EQ(engine.getName(), "Engine");
    ASSERT_EQ(engine.getNumChildren(), 1);
    auto* effect = engine.getChild(0);
    EXPECT_EQ(effect->getName(), "Reelwarp");
    EXPECT_NE(dynamic_cast<qel::ReelwarpProcessor*>(effect), nullptr);
    EXPECT_FALSE(effect->isModified()) << "a freshly built instance is clean";
    EXPECT_FALSE(engine.isModified());
    ASSERT_NE(plugin.getProxy(), nullptr);
    EXPECT_EQ(plugin.getProxy()->getElementProxy(ReelwarpPlugin::effectPath, false), effect);
}

TEST(InstanceAssembly, TheExportTableNamesFortyFiveDistinctParametersOfTheEffect)
{
    ReelwarpPlugin plugin;
    const auto& ids = qel::exportedParameterIds();
    auto* effect = plugin.getEngine().findChild("Reelwarp");
    std::set<uint32_t> distinct(ids.begin(), ids.end());
    EXPECT_EQ(distinct.size(), 45u);
    auto& registry = qel::ParameterRegistry::get();
    EXPECT_EQ(registry.nameOf(ids[0]), "SyncToHost");
    EXPECT_EQ(registry.nameOf(ids[15]), "ApplyLowLatency");
    EXPECT_EQ(registry.nameOf(ids[30]), "MaxRelativeDelay");
    EXPECT_EQ(registry.nameOf(ids[44]), "OutputPad");
    for (const auto id : ids)
        EXPECT_EQ(effect->findParameterId(registry.nameOf(id)), id) << registry.nameOf(id);
}

TEST(InstanceAssembly, ASecondInstanceSharesTheProcessButNotTheTree)
{
    ReelwarpPlugin first;
    const auto volumes = qel::VFSHolder::getInstance()->getVolumes().size();
    const int instances = qel::Plugin::getInstanceCount();
    {
        ReelwarpPlugin second;
        EXPECT_FALSE(ReelwarpPlugin::registerElementType()) << "registered once per process";
        EXPECT_EQ(qel::VFSHolder::getInstance()->getVolumes().size(), volumes) << "nothing mounted twice";
        EXPECT_EQ(qel::Plugin::getInstanceCount(), instances + 1);
        EXPECT_NE(&first.getEngine(), &second.getEngine());
        EXPECT_NE(first.getProxy(), second.getProxy());

        auto* a = first.getEngine().findChild("Reelwarp");
        auto* b = second.getEngine().findChild("Reelwarp");
        const auto mix = a->findParameterId("Mix");
        a->setParameterFloat(mix, 0.0f);
        EXPECT_NE(b->getParameterFloat(mix), 0.0f);
    }
    EXPECT_EQ(qel::Plugin::getInstanceCount(), instances);
}

TEST(InstanceAssembly, InstancesMadeAtOnceRegisterTheTypeOnce)
{
    std::atomic<int> winners { 0 };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] { winners += ReelwarpPlugin::registerElementType() ? 1 : 0; });
    for (auto& t : threads)
        t.join();
    EXPECT_LE(winners.load(), 1);
    EXPECT_FALSE(ElementRegistry::instance().find("Reelwarp").isBlank());
}

TEST(InstanceAssembly, TheLowLatencySwitchMovesTheReportedLatencyWithoutAPrepare)
{
    ReelwarpPlugin plugin;
    plugin.prepareToPlay(44100.0, 512);
    ASSERT_EQ(plugin.getLatencySamples(), 2646);
    auto* effect = plugin.getEngine().findChild("Reelwarp");
    const auto id = qel::reelwarpParameterId(qel::ReelwarpParameter::ApplyLowLatency);

    effect->setParameterBool(id, true);
    pumpMessages();
    EXPECT_EQ(plugin.getLatencySamples(), 441);
    effect->setParameterBool(id, false);
    pumpMessages();
    EXPECT_EQ(plugin.getLatencySamples(), 2646);
}

} // namespace
