#include "files/ResourceArchive.h"
#include "files/ResourceFS.h"

#include <gtest/gtest.h>
#include <juce_graphics/juce_graphics.h>

#include <cstdlib>
#include <map>
#include <vector>

namespace
{

struct ResourceArchive : ::testing::Test
{
    qel::EmbeddedArchive archive = qel::embeddedResourceArchive();
    qel::ResourceFS fs { archive.data, archive.size };
    juce::ZipFile zip { new juce::MemoryInputStream(archive.data, archive.size, false), true };

    std::unique_ptr<juce::InputStream> open(const juce::String& path) const
    {
        return fs.createInputStream(qel::Path("$Resource/resource/" + path));
    }
    juce::Image png(const juce::String& name) const
    {
        auto stream = open("assets/" + name);
        juce::PNGImageFormat format;
        if (stream == nullptr || !format.canUnderstand(*stream))
            return {};
        stream->setPosition(0);
        return format.decodeImage(*stream);
    }
};

// Every file of resources/ comes back with the same bytes, the font's licence among
// them; entries in name order under one time stamp, so any build makes the same bytes.
TEST_F(ResourceArchive, HoldsEveryResourceFileInAReproducibleZip)
{
    ASSERT_TRUE(fs.isValid()) << fs.getMessage();
    const juce::File folder(REELWARP_RESOURCES_DIR);
    const auto files = folder.findChildFiles(juce::File::findFiles, true, "*");
    ASSERT_FALSE(files.isEmpty());
    for (const auto& f : files)
    {
        auto stream = open(f.getRelativePathFrom(folder));
        ASSERT_NE(stream, nullptr) << f.getRelativePathFrom(folder);
        juce::MemoryBlock expected, got;
        f.loadFileAsData(expected);
        stream->readIntoMemoryBlock(got);
        EXPECT_EQ(got, expected) << f.getRelativePathFrom(folder);
    }
    auto licence = open("fonts/Lato-Light-LICENSE.txt");
    ASSERT_NE(licence, nullptr);
    EXPECT_TRUE(licence->readEntireStreamAsString().contains("Open Font License"));
    for (int i = 1; i < zip.getNumEntries(); ++i)
    {
        EXPECT_LT(zip.getEntry(i - 1)->filename.compare(zip.getEntry(i)->filename), 0);
        EXPECT_EQ(zip.getEntry(i)->fileTime, zip.getEntry(0)->fileTime);
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
    for (const ImageSize& b : { ImageSize { "b_burger", 35, 26 }, { "b_nav-prev", 16, 26 }, { "b_nav-next", 16, 26 } })
        for (const auto* state : { "-off", "-on" })
            images.push_back({ b.name + state, b.w, b.h });
    for (const auto* panel : { "lfo", "lfo-edit", "manual" })
        for (const auto& [end, h] : { std::pair { "_max", 656 }, { "_min", 435 } })
            images.push_back({ juce::String("_flanger/_bkg_") + panel + end, 1130, h });
    images.insert(images.end(), {
        { "b_ab-off", 47, 26 }, { "b_ab-off-over", 47, 26 }, { "b_ab-a-off", 47, 26 }, { "b_ab-b-off", 47, 26 },
        // Knob strips: 129 square frames, one above another.
        { "k_black-large_44x44x129", 44, 44 * 129 }, { "k_black-small_28x28x129", 28, 28 * 129 },
        { "k_grey_26x26x129", 26, 26 * 129 }, { "k_17x17x129", 17, 17 * 129 },
        // The reels come at 1x only: 23 MB each decoded, where their @2x would hold 120 MB.
        { "_flanger/k_reel-flanger-L_166x255x180", 166, 255 * 180, false },
        { "_flanger/k_reel-flanger-R_166x255x180", 166, 255 * 180, false },
    });
    return images;
}

// The mean difference, per channel of premultiplied pixels, between an image and
// the 2x2 averages of its @2x twin: small when both draw the same thing.
double meanScaleDifference(const juce::Image& one, const juce::Image& two)
{
    double total = 0.0;
    for (int y = 0; y < one.getHeight(); ++y)
        for (int x = 0; x < one.getWidth(); ++x)
        {
            const auto p = one.getPixelAt(x, y).getPixelARGB();
            double sum[4] = { -4.0 * p.getAlpha(), -4.0 * p.getRed(), -4.0 * p.getGreen(), -4.0 * p.getBlue() };
            for (int i = 0; i < 4; ++i)
            {
                const auto q = two.getPixelAt(2 * x + (i & 1), 2 * y + (i >> 1)).getPixelARGB();
                sum[0] += q.getAlpha(), sum[1] += q.getRed(), sum[2] += q.getGreen(), sum[3] += q.getBlue();
            }
            total += (std::abs(sum[0]) + std::abs(sum[1]) + std::abs(sum[2]) + std::abs(sum[3])) / 4.0;
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

// Pixels of a knob frame in the accent purple, 0x785991: its lit arc.
int litPixels(const juce::Image& strip, int frame)
{
    const int size = strip.getWidth();
    int count = 0;
    for (int y = frame * size; y < (frame + 1) * size; ++y)
        for (int x = 0; x < size; ++x)
        {
            const auto c = strip.getPixelAt(x, y);
            count += c.getAlpha() > 230 && std::abs(c.getRed() - 0x78) < 12 && std::abs(c.getGreen() - 0x59) < 12
                  && std::abs(c.getBlue() - 0x91) < 12;
        }
    return count;
}

// Each image at 1x and @2x in its component's size and no other PNG; @2x is the
// same drawing; a button's states look apart; a knob's arc grows with its value;
// a reel turns from frame to frame over a still tape path.
TEST_F(ResourceArchive, HoldsEveryImageOfTheFaceAtBothScalesAndNoOther)
{
    int expectedFiles = 0;
    std::map<juce::String, std::vector<juce::Image>> statesOf;
    for (const auto& image : faceImages())
    {
        const auto one = png(image.name + ".png"), two = png(image.name + "@2x.png");
        ASSERT_TRUE(one.isValid()) << image.name;
        EXPECT_EQ(one.getBounds(), juce::Rectangle<int>(image.w, image.h)) << image.name;
        expectedFiles += image.hasTwin ? 2 : 1;
        if (!image.hasTwin)
            EXPECT_FALSE(two.isValid()) << image.name;
        else
        {
            EXPECT_EQ(two.getBounds(), juce::Rectangle<int>(2 * image.w, 2 * image.h)) << image.name;
            EXPECT_LT(meanScaleDifference(one, two), 4.0) << image.name;
        }
        for (const juce::String state : { "-off", "-on", "-off-over", "-on-over" })
            if (image.name.endsWith(state))
                statesOf[image.name.dropLastCharacters(state.length())].push_back(one);
        if (image.name.startsWith("k_") && !image.name.startsWith("k_grey"))
        {
            const int lit[] = { litPixels(one, 0), litPixels(one, 64), litPixels(one, 128) };
            // The arc grows with the value, and a full one is many pixels long.
            EXPECT_TRUE(lit[0] < lit[1] && lit[1] < lit[2] && lit[2] > image.w)
                << image.name << ": " << lit[0] << ", " << lit[1] << ", " << lit[2];
        }
        if (!image.hasTwin) // a reel: its top 170 rows turn, the tape path below stands
            for (const int n : { 1, 45, 179 })
            {
                auto frame = [&](int f, int top, int h) { return one.getClippedImage({ 0, f * 255 + top, 166, h }); };
                EXPECT_FALSE(samePixels(frame(0, 0, 170), frame(n, 0, 170))) << image.name << " frame " << n;
                EXPECT_TRUE(samePixels(frame(0, 170, 85), frame(n, 170, 85))) << image.name << " frame " << n;
            }
    }
    for (const auto& [button, states] : statesOf)
        for (size_t i = 0; i < states.size(); ++i)
            for (size_t j = i + 1; j < states.size(); ++j)
                EXPECT_FALSE(samePixels(states[i], states[j])) << button << " states " << i << " and " << j;
    int pngs = 0;
    for (int i = 0; i < zip.getNumEntries(); ++i)
        pngs += zip.getEntry(i)->filename.startsWith("resource/assets/") && zip.getEntry(i)->filename.endsWith(".png");
    EXPECT_EQ(pngs, expectedFiles);
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

    void SetUp() override { config.createDirectory(), setenv("XDG_CONFIG_HOME", config.getFullPathName().toRawUTF8(), 1); }
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
