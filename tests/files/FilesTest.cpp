#include "files/ResourceArchive.h"
#include "files/ResourceFS.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace
{

// Every file of resources/ comes back through the embedded archive with the same bytes.
TEST(ResourceArchive, HoldsEveryFileOfTheResourcesFolder)
{
    const auto archive = qel::embeddedResourceArchive();
    qel::ResourceFS fs(archive.data, archive.size);
    ASSERT_TRUE(fs.isValid()) << fs.getMessage();
    const juce::File folder(REELWARP_RESOURCES_DIR);
    const auto files = folder.findChildFiles(juce::File::findFiles, true, "*");
    ASSERT_FALSE(files.isEmpty());
    for (const auto& f : files)
    {
        const auto path = qel::Path("$Resource/resource/" + f.getRelativePathFrom(folder));
        auto stream = fs.createInputStream(path);
        ASSERT_NE(stream, nullptr) << path.toString();
        juce::MemoryBlock expected, got;
        f.loadFileAsData(expected);
        stream->readIntoMemoryBlock(got);
        EXPECT_EQ(got, expected) << path.toString();
    }
}

// The probe's output for one command, in a process of its own.
juce::String runProbe(const juce::String& command)
{
    juce::ChildProcess child;
    if (!child.start(juce::StringArray { REELWARP_SETTINGS_PROBE, command }))
        return {};
    const auto output = child.readAllProcessOutput();
    child.waitForProcessToFinish(10000);
    return output;
}

// Each test's probes keep their settings in a folder of its own.
struct Settings : ::testing::Test
{
    juce::File config = juce::File::createTempFile("reelwarp-settings");

    void SetUp() override
    {
        config.createDirectory();
        setenv("XDG_CONFIG_HOME", config.getFullPathName().toRawUTF8(), 1);
    }
    void TearDown() override { config.deleteRecursively(); }
    juce::File store() const { return config.getChildFile("QEL/Reel Warp/settings.xml"); }
};

TEST_F(Settings, EachTypeSurvivesAFreshProcess)
{
    const auto defaults = runProbe("read");
    EXPECT_TRUE(defaults.contains("text=none") && defaults.contains("reelTime=2.500000")) << defaults;
    EXPECT_FALSE(store().exists()); // reading creates nothing
    runProbe("write");
    const auto back = runProbe("read");
    for (const auto* line : { "text=tape \xc3\xa9" "cho <&>", "expanded=1", "reel=1", "count=-123456", "reelTime=0.312500",
                              "bytes=000102ff", "vstExpanded=0" /* its own branch */ })
        EXPECT_TRUE(back.contains(juce::String::fromUTF8(line))) << line << " in " << back;
}

TEST_F(Settings, ACorruptStoreGivesDefaultsAndSurvivesUntilARealWrite)
{
    store().getParentDirectory().createDirectory();
    const juce::String garbage = "<QELSettings><Branch path=\"oops\"><Value";
    store().replaceWithText(garbage);
    const auto read = runProbe("read");
    EXPECT_TRUE(read.contains("expanded=0") && read.contains("count=7")) << read;
    EXPECT_EQ(store().loadFileAsString(), garbage);
    runProbe("write");
    EXPECT_TRUE(runProbe("read").contains("count=-123456"));
}

// The standard places are offered once per user: later runs find them among the user folders.
TEST_F(Settings, StandardPlacesAreOfferedOncePerUser)
{
    EXPECT_TRUE(runProbe("places").contains("folders=0 created=3"));
    EXPECT_TRUE(runProbe("places").contains("folders=3 created=0"));
}

} // namespace
