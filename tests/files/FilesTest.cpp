#include "files/ResourceArchive.h"
#include "files/ResourceFS.h"

#include <gtest/gtest.h>
#include <juce_graphics/juce_graphics.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <vector>

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

struct ImageSize
{
    juce::String name;
    int w, h;
    bool hasTwin = true; // an @2x file beside it
};

// The face's images, each at the size of the component that shows it.
std::vector<ImageSize> faceImages()
{
    std::vector<ImageSize> images;
    const ImageSize fourStates[] = {
        { "b_expand", 33, 33 },         { "b_sync", 27, 26 },          { "_flanger/b_lfo", 101, 30 },
        { "b_xt-tapesim", 138, 18 },    { "b_xt-compander", 116, 18 }, { "b_xt-filtering", 154, 18 },
        { "b_xt-modulations", 120, 18 }, { "b_lowlatency", 24, 24 },   { "_flanger/b_phase", 18, 18 },
        { "b_phase", 24, 24 },          { "b_rateFreq", 24, 24 },      { "b_rateInt", 24, 24 },
        { "b_clip", 24, 24 },           { "b_link", 41, 41 },          { "b_fbcomp", 24, 24 },
    };
    for (const auto& b : fourStates)
        for (const auto* state : { "-off", "-on", "-off-over", "-on-over" })
            images.push_back({ b.name + state, b.w, b.h });
    const ImageSize twoStates[] = { { "b_burger", 35, 26 }, { "b_nav-prev", 16, 26 }, { "b_nav-next", 16, 26 } };
    for (const auto& b : twoStates)
        for (const auto* state : { "-off", "-on" })
            images.push_back({ b.name + state, b.w, b.h });
    for (const auto* ab : { "b_ab-off", "b_ab-off-over", "b_ab-a-off", "b_ab-b-off" })
        images.push_back({ ab, 47, 26 });
    // A strip's name gives its frame, "_WxHxFRAMES", and the frames stand one above another.
    for (const auto* strip : { "k_black-large_44x44x129", "k_black-small_28x28x129", "k_grey_26x26x129", "k_17x17x129" })
    {
        juce::StringArray size;
        size.addTokens(juce::String(strip).fromLastOccurrenceOf("_", false, false), "x", "");
        images.push_back({ strip, size[0].getIntValue(), size[1].getIntValue() * size[2].getIntValue() });
    }
    for (const auto* panel : { "lfo", "lfo-edit", "manual" })
    {
        images.push_back({ juce::String("_flanger/_bkg_") + panel + "_max", 1130, 656 });
        images.push_back({ juce::String("_flanger/_bkg_") + panel + "_min", 1130, 435 });
    }
    // The reels come at 1x only, opaque: 23 MB each decoded, where their @2x would hold 120 MB.
    for (const auto* reel : { "_flanger/k_reel-flanger-L_166x255x180", "_flanger/k_reel-flanger-R_166x255x180" })
        images.push_back({ reel, 166, 255 * 180, false });
    return images;
}

juce::Image loadPng(const qel::ResourceFS& fs, const juce::String& path)
{
    auto stream = fs.createInputStream(qel::Path("$Resource/resource/assets/" + path));
    juce::PNGImageFormat png;
    if (stream == nullptr || !png.canUnderstand(*stream))
        return {};
    stream->setPosition(0);
    return png.decodeImage(*stream);
}

TEST(ResourceArchive, HoldsEveryImageOfTheFaceAtBothScalesAndNoOther)
{
    const auto archive = qel::embeddedResourceArchive();
    qel::ResourceFS fs(archive.data, archive.size);
    const auto images = faceImages();
    int expectedFiles = 0;
    for (const auto& image : images)
        for (const int scale : { 1, 2 })
        {
            if (scale == 2 && !image.hasTwin)
            {
                EXPECT_FALSE(loadPng(fs, image.name + "@2x.png").isValid()) << image.name;
                continue;
            }
            ++expectedFiles;
            const auto path = image.name + (scale == 2 ? "@2x.png" : ".png");
            const auto png = loadPng(fs, path);
            ASSERT_TRUE(png.isValid()) << path;
            EXPECT_EQ(png.getWidth(), image.w * scale) << path;
            EXPECT_EQ(png.getHeight(), image.h * scale) << path;
        }
    juce::ZipFile zip(new juce::MemoryInputStream(archive.data, archive.size, false), true);
    int pngs = 0;
    for (int i = 0; i < zip.getNumEntries(); ++i)
        pngs += zip.getEntry(i)->filename.startsWith("resource/assets/") && zip.getEntry(i)->filename.endsWith(".png");
    EXPECT_EQ(pngs, expectedFiles);
}

// The mean difference, per channel of premultiplied pixels, between an image and
// the 2x2 averages of its @2x twin: small when both draw the same thing.
double meanScaleDifference(const juce::Image& one, const juce::Image& two)
{
    double total = 0.0;
    for (int y = 0; y < one.getHeight(); ++y)
        for (int x = 0; x < one.getWidth(); ++x)
        {
            int sum[4] = {};
            for (int i = 0; i < 4; ++i)
            {
                const auto p = two.getPixelAt(2 * x + (i & 1), 2 * y + (i >> 1)).getPixelARGB();
                sum[0] += p.getAlpha(), sum[1] += p.getRed(), sum[2] += p.getGreen(), sum[3] += p.getBlue();
            }
            const auto p = one.getPixelAt(x, y).getPixelARGB();
            total += std::abs(sum[0] / 4.0 - p.getAlpha()) + std::abs(sum[1] / 4.0 - p.getRed())
                   + std::abs(sum[2] / 4.0 - p.getGreen()) + std::abs(sum[3] / 4.0 - p.getBlue());
        }
    return total / (4.0 * one.getWidth() * one.getHeight());
}

bool samePixels(const juce::Image& a, const juce::Image& b)
{
    for (int y = 0; y < a.getHeight(); ++y)
        for (int x = 0; x < a.getWidth(); ++x)
            if (a.getPixelAt(x, y) != b.getPixelAt(x, y))
                return false;
    return true;
}

// @2x is the same drawing at twice the detail, and a button's states all look apart.
TEST(ResourceArchive, ImagesMatchAcrossScalesAndStatesLookApart)
{
    const auto archive = qel::embeddedResourceArchive();
    qel::ResourceFS fs(archive.data, archive.size);
    std::map<juce::String, std::vector<juce::Image>> statesOf;
    for (const auto& image : faceImages())
    {
        const auto one = loadPng(fs, image.name + ".png");
        if (image.hasTwin)
            EXPECT_LT(meanScaleDifference(one, loadPng(fs, image.name + "@2x.png")), 4.0) << image.name;
        for (const auto* state : { "-off", "-on", "-off-over", "-on-over" })
            if (image.name.endsWith(state))
                statesOf[image.name.dropLastCharacters((int) strlen(state))].push_back(one);
    }
    for (const auto& [button, states] : statesOf)
        for (size_t i = 0; i < states.size(); ++i)
            for (size_t j = i + 1; j < states.size(); ++j)
                EXPECT_FALSE(samePixels(states[i], states[j])) << button << " states " << i << " and " << j;
}

// A reel turns from frame to frame; the tape path below it stands still.
TEST(ResourceArchive, ReelFramesTurnTheReelAndKeepTheTapePath)
{
    const auto archive = qel::embeddedResourceArchive();
    qel::ResourceFS fs(archive.data, archive.size);
    for (const auto* side : { "L", "R" })
    {
        const auto strip = loadPng(fs, juce::String("_flanger/k_reel-flanger-") + side + "_166x255x180.png");
        ASSERT_TRUE(strip.isValid()) << side;
        auto frame = [&](int n, int top, int height) { return strip.getClippedImage({ 0, n * 255 + top, 166, height }); };
        for (const int n : { 1, 45, 179 })
        {
            EXPECT_FALSE(samePixels(frame(0, 0, 170), frame(n, 0, 170))) << side << " frame " << n;
            EXPECT_TRUE(samePixels(frame(0, 170, 85), frame(n, 170, 85))) << side << " frame " << n;
        }
    }
}

// Entries in name order and one time stamp: the archive is the same bytes from any build.
TEST(ResourceArchive, IsSortedWithOneTimeStamp)
{
    const auto archive = qel::embeddedResourceArchive();
    juce::ZipFile zip(new juce::MemoryInputStream(archive.data, archive.size, false), true);
    ASSERT_GT(zip.getNumEntries(), 1);
    for (int i = 1; i < zip.getNumEntries(); ++i)
    {
        EXPECT_LT(zip.getEntry(i - 1)->filename.compare(zip.getEntry(i)->filename), 0);
        EXPECT_EQ(zip.getEntry(i)->fileTime, zip.getEntry(0)->fileTime);
    }
}

TEST(ResourceArchive, HoldsTheFontWithItsLicence)
{
    const auto archive = qel::embeddedResourceArchive();
    qel::ResourceFS fs(archive.data, archive.size);
    juce::MemoryBlock font;
    auto stream = fs.createInputStream(qel::Path("$Resource/resource/fonts/Lato-Light.ttf"));
    ASSERT_NE(stream, nullptr);
    stream->readIntoMemoryBlock(font);
    const auto typeface = juce::Typeface::createSystemTypefaceFor(font.getData(), font.getSize());
    ASSERT_NE(typeface, nullptr);
    EXPECT_TRUE(typeface->getName().startsWith("Lato")) << typeface->getName();
    auto licence = fs.createInputStream(qel::Path("$Resource/resource/fonts/Lato-Light-LICENSE.txt"));
    ASSERT_NE(licence, nullptr);
    EXPECT_TRUE(licence->readEntireStreamAsString().contains("Open Font License"));
}

// A knob's lit arc, in the accent purple, grows with the frame's value.
TEST(ResourceArchive, AKnobStripLightsMoreOfItsArcFrameByFrame)
{
    const auto archive = qel::embeddedResourceArchive();
    qel::ResourceFS fs(archive.data, archive.size);
    const auto accent = juce::Colour(0xff785991);
    for (const auto* strip : { "k_black-large_44x44x129", "k_black-small_28x28x129", "k_17x17x129" })
    {
        const auto image = loadPng(fs, juce::String(strip) + ".png");
        ASSERT_TRUE(image.isValid()) << strip;
        const int size = image.getWidth();
        const auto lit = [&](int frame) {
            int count = 0;
            for (int y = frame * size; y < (frame + 1) * size; ++y)
                for (int x = 0; x < size; ++x)
                {
                    const auto c = image.getPixelAt(x, y);
                    count += c.getAlpha() > 230 && std::abs(c.getRed() - accent.getRed()) < 12
                          && std::abs(c.getGreen() - accent.getGreen()) < 12 && std::abs(c.getBlue() - accent.getBlue()) < 12;
                }
            return count;
        };
        EXPECT_LT(lit(0), lit(64)) << strip;
        EXPECT_LT(lit(64), lit(128)) << strip;
        EXPECT_GT(lit(128), size) << strip; // a full arc is many pixels long
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
