#include "files/Mounting.h"
#include "files/NativeFS.h"
#include "files/ResourceArchive.h"
#include "files/ResourceFS.h"
#include "files/Settings.h"
#include "files/VFSHolder.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace
{

juce::MemoryBlock readAll(juce::InputStream& in)
{
    juce::MemoryBlock block;
    in.readIntoMemoryBlock(block);
    return block;
}

// Every file of resources/ comes back through the embedded archive with the same bytes.
TEST(ResourceArchive, HoldsEveryFileOfTheResourcesFolder)
{
    const auto archive = qel::embeddedResourceArchive();
    qel::ResourceFS fs(archive.data, archive.size);
    ASSERT_TRUE(fs.isValid()) << fs.getMessage();
    const juce::File folder(REELWARP_RESOURCES_DIR);
    int files = 0;
    for (const auto& f : folder.findChildFiles(juce::File::findFiles, true, "*"))
    {
        const auto path = qel::Path("$Resource/resource/" + f.getRelativePathFrom(folder));
        auto stream = fs.createInputStream(path);
        ASSERT_NE(stream, nullptr) << path.toString();
        juce::MemoryBlock expected;
        f.loadFileAsData(expected);
        EXPECT_EQ(readAll(*stream), expected) << path.toString();
        ++files;
    }
    EXPECT_GT(files, 0);
}

// A small archive of our own, with names that need care.
struct TestArchive
{
    juce::MemoryBlock bytes;

    TestArchive()
    {
        juce::ZipFile::Builder builder;
        auto add = [&](const juce::String& name, const juce::String& text) {
            builder.addEntry(new juce::MemoryInputStream(text.toRawUTF8(), text.getNumBytesAsUTF8(), true), 9, name,
                             juce::Time(2000, 0, 1, 0, 0)); // ZIP dates start in 1980
        };
        add("resource/presets/Tape Presets/Cassette Type I.fxps", "<ModulePreset/>");
        add("resource/presets/00 Flat.fxps", "flat");
        add("resource/presets/Jet Tape/Jet.fxps", "jet");
        add("resource/presets/Bright/a.fxps", "a");
        add("resource/assets/k_black-large_44x44x129.png", "png");
        juce::MemoryOutputStream out(bytes, false);
        builder.writeToStream(out, nullptr);
    }
};

TEST(ResourceFS, ListsFoldersInOrderWithoutTouchingTheDisk)
{
    TestArchive archive;
    qel::ResourceFS fs(archive.bytes.getData(), archive.bytes.getSize());
    std::vector<qel::Volume::Entry> entries;
    fs.listFolder("$Resource/resource/presets", entries);
    ASSERT_EQ(entries.size(), 4u);
    EXPECT_EQ(entries[0].name, "00 Flat.fxps");
    EXPECT_FALSE(entries[0].isFolder);
    EXPECT_EQ(entries[1].name, "Bright");
    EXPECT_EQ(entries[2].name, "Jet Tape");
    EXPECT_EQ(entries[3].name, "Tape Presets");
    EXPECT_TRUE(entries[3].isFolder);

    // "." and ".." are skipped, not followed.
    fs.listFolder("$Resource/resource/./../presets/Tape Presets", entries);
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].name, "Cassette Type I.fxps");

    auto stream = fs.createInputStream("$Resource/resource/presets/Tape Presets/Cassette Type I.fxps");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(stream->readEntireStreamAsString(), "<ModulePreset/>");
}

TEST(ResourceFS, AMissingPathGivesNothing)
{
    TestArchive archive;
    qel::ResourceFS fs(archive.bytes.getData(), archive.bytes.getSize());
    std::vector<qel::Volume::Entry> entries { {} };
    fs.listFolder("$Resource/resource/nothing/here", entries);
    EXPECT_TRUE(entries.empty());
    EXPECT_EQ(fs.createInputStream("$Resource/resource/presets/Missing.fxps"), nullptr);
    EXPECT_EQ(fs.createInputStream("$Resource/resource/presets"), nullptr); // a folder is no file
    EXPECT_FALSE(fs.describe("$Resource/resource/none").exists);

    qel::ResourceFS broken("not a zip", 9);
    EXPECT_FALSE(broken.isValid());
    EXPECT_EQ(broken.createInputStream("$Resource/x"), nullptr);
    qel::ResourceFS unzipped("net.qel.Reelwarp", false, "");
    EXPECT_FALSE(unzipped.isValid());
    EXPECT_EQ(unzipped.getMessage(), "Windows must use zipped resource");
}

TEST(VFSHolder, RoutesPathsToTheirVolumes)
{
    TestArchive archive;
    qel::VFSHolder holder;
    ASSERT_TRUE(holder.addVolume(std::make_shared<qel::ResourceFS>(archive.bytes.getData(), archive.bytes.getSize())));
    EXPECT_FALSE(holder.addVolume(std::make_shared<qel::ResourceFS>(archive.bytes.getData(), archive.bytes.getSize())));

    const auto dir = juce::File::createTempFile("reelwarp-native");
    dir.getChildFile("sub folder").createDirectory();
    dir.getChildFile("sub folder/file one.txt").replaceWithText("one");
    ASSERT_TRUE(holder.addVolume(std::make_shared<qel::NativeFS>("Disk", dir, qel::Volume::fixedDrive)));

    std::vector<qel::Volume::Entry> entries;
    holder.listFolder("$Disk/sub folder", entries);
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].name, "file one.txt");
    EXPECT_EQ(holder.createInputStream("$Disk/sub folder/file one.txt")->readEntireStreamAsString(), "one");
    EXPECT_EQ(holder.createInputStream("$Resource/resource/presets/Jet Tape/Jet.fxps")->readEntireStreamAsString(), "jet");
    EXPECT_EQ(holder.createInputStream("$Nowhere/a"), nullptr);
    EXPECT_EQ(holder.findVolumeAt(dir)->getName(), "Disk");
    dir.deleteRecursively();
}

TEST(Mounting, RootsOfTheMachineBecomeVolumes)
{
    qel::VFSHolder holder;
    EXPECT_GE(qel::mountNativeFileSystems(holder), 1);
    EXPECT_NE(holder.findVolumeAt(juce::File("/")), nullptr);
    EXPECT_EQ(qel::mountNativeFileSystems(holder), 0); // nothing twice
}

// --- settings, through a process of their own ---

struct ProbeRun
{
    juce::String output;
    int exitCode;
};

ProbeRun runProbe(const juce::String& command)
{
    juce::ChildProcess child;
    if (!child.start(juce::StringArray { REELWARP_SETTINGS_PROBE, command }))
        return { {}, -1 };
    const auto output = child.readAllProcessOutput();
    child.waitForProcessToFinish(10000);
    return { output, (int) child.getExitCode() };
}

struct SettingsFixture : ::testing::Test
{
    juce::File config = juce::File::createTempFile("reelwarp-settings");
    juce::String savedConfig;

    void SetUp() override
    {
        savedConfig = std::getenv("XDG_CONFIG_HOME");
        config.createDirectory();
        setenv("XDG_CONFIG_HOME", config.getFullPathName().toRawUTF8(), 1);
    }

    void TearDown() override
    {
        setenv("XDG_CONFIG_HOME", savedConfig.toRawUTF8(), 1);
        config.deleteRecursively();
    }

    juce::File store() const { return config.getChildFile("QEL/Reel Warp/settings.xml"); }
};

TEST_F(SettingsFixture, EachTypeSurvivesAFreshProcess)
{
    const auto defaults = runProbe("read");
    EXPECT_EQ(defaults.exitCode, 0);
    EXPECT_TRUE(defaults.output.contains("text=none"));
    EXPECT_TRUE(defaults.output.contains("reelTime=2.500000"));
    EXPECT_FALSE(store().exists()); // reading creates nothing

    EXPECT_EQ(runProbe("write").exitCode, 0);
    const auto back = runProbe("read");
    EXPECT_TRUE(back.output.contains(juce::String::fromUTF8("text=tape \xc3\xa9" "cho <&>"))) << back.output;
    EXPECT_TRUE(back.output.contains("expanded=1"));
    EXPECT_TRUE(back.output.contains("reel=1"));
    EXPECT_TRUE(back.output.contains("count=-123456"));
    EXPECT_TRUE(back.output.contains("reelTime=0.312500"));
    EXPECT_TRUE(back.output.contains("bytes=000102ff"));
    EXPECT_TRUE(back.output.contains("vstExpanded=0")); // its own branch
}

TEST_F(SettingsFixture, ACorruptStoreGivesDefaultsAndSurvivesUntilARealWrite)
{
    store().getParentDirectory().createDirectory();
    const juce::String garbage = "<QELSettings><Branch path=\"oops\"><Value";
    store().replaceWithText(garbage);
    const auto read = runProbe("read");
    EXPECT_TRUE(read.output.contains("expanded=0"));
    EXPECT_TRUE(read.output.contains("count=7"));
    EXPECT_EQ(store().loadFileAsString(), garbage);

    EXPECT_EQ(runProbe("write").exitCode, 0);
    EXPECT_TRUE(runProbe("read").output.contains("count=-123456"));
}

TEST_F(SettingsFixture, StandardPlacesAreOfferedOncePerUser)
{
    EXPECT_TRUE(runProbe("places").output.contains("folders=0 created=3"));
    // Later runs find them among the user folders, and create none.
    EXPECT_TRUE(runProbe("places").output.contains("folders=3 created=0"));
}

TEST_F(SettingsFixture, ChangesFireTheSignal)
{
    qel::Settings settings("SOFTWARE\\net.qel\\Reel Warp\\Test");
    juce::StringArray keys;
    const int connection = settings.connect([&](const juce::String& key) { keys.add(key); });
    settings.setBool("ui.reel", false);
    settings.setFloat("ui.reelTime", 1.5f);
    settings.disconnect(connection);
    settings.setInt("ignored", 1);
    EXPECT_EQ(keys, juce::StringArray({ "ui.reel", "ui.reelTime" }));
    EXPECT_FALSE(settings.getBool("ui.reel", true));
    EXPECT_FLOAT_EQ(settings.getFloat("ui.reelTime", 0.0f), 1.5f);
    // A key of another type reads as missing.
    EXPECT_EQ(settings.getInt("ui.reelTime", 42), 42);
}

} // namespace
