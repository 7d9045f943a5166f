// Draws every image of the face into PNG files, at 1x and @2x:
//   reelwarp-draw-assets OUTPUT_DIR [--font FILE] [--sheet FILE]
// The build runs it into its resource stage; --sheet also writes one page (and
// its @2x twin) that shows every image on the panel's grey, to look them over.

#include "Canvas.h"

#include <algorithm>
#include <iostream>
#include <stdexcept>

namespace
{
// Knob strips are shown by a few of their frames, side by side.
const int sheetFrames[] = { 0, 16, 32, 64, 96, 128 };

juce::Image makeSheet(const assets::Context& context, int scale)
{
    constexpr int width = 900, margin = 12, labelHeight = 14;
    auto files = context.folder.findChildFiles(juce::File::findFiles, true, "*.png");
    std::sort(files.begin(), files.end());
    struct Item
    {
        juce::String name;
        juce::Image image;
        int frameSize, frames, w, h;
    };
    std::vector<Item> items;
    for (const auto& f : files)
    {
        // The reels and backgrounds are larger than the page: the face's own
        // snapshots in ui_tests show them.
        if (f.getFileName().contains("@") || f.getFileName().contains("x180") || f.getFileName().startsWith("_bkg_"))
            continue;
        const auto name = f.getRelativePathFrom(context.folder).upToLastOccurrenceOf(".png", false, false);
        const auto file = scale == 1 ? f : f.getSiblingFile(f.getFileNameWithoutExtension() + "@2x.png");
        const auto image = juce::ImageFileFormat::loadFrom(file);
        const auto strip = name.endsWith("x129");
        const int w = image.getWidth() / scale, h = image.getHeight() / scale;
        const int frameSize = strip ? w : h;
        items.push_back({ name, image, frameSize, strip ? 6 : 1, strip ? 6 * (w + 4) : w, strip ? w : h });
    }

    // Lay the items out in rows, then draw them.
    std::vector<juce::Point<int>> places;
    int x = margin, y = margin, rowHeight = 0;
    for (const auto& item : items)
    {
        const int labelWidth = (int) assets::textPath(context, item.name, 11.0f).getBounds().getRight();
        const int itemWidth = std::max(item.w, labelWidth);
        if (x + itemWidth > width - margin)
            x = margin, y += rowHeight + margin, rowHeight = 0;
        places.push_back({ x, y });
        x += itemWidth + margin;
        rowHeight = std::max(rowHeight, item.h + labelHeight);
    }
    const int height = y + rowHeight + margin;

    juce::Image sheet(juce::Image::ARGB, width * scale, height * scale, true, juce::SoftwareImageType());
    juce::Graphics g(sheet);
    g.addTransform(juce::AffineTransform::scale((float) scale));
    g.setImageResamplingQuality(juce::Graphics::lowResamplingQuality);
    g.fillAll(assets::palette::panel);
    for (size_t i = 0; i < items.size(); ++i)
    {
        const auto& item = items[i];
        const auto at = places[i];
        assets::drawText(g, assets::textPath(context, item.name, 11.0f), { (float) at.x, (float) at.y, 400.0f, 11.0f },
                         assets::palette::text, juce::Justification::topLeft);
        for (int n = 0; n < item.frames; ++n)
        {
            const int frame = item.frames > 1 ? sheetFrames[n] : 0;
            const int s = item.frameSize * scale;
            g.drawImage(item.image, at.x + n * (item.frameSize + 4), at.y + labelHeight, item.w / item.frames - (item.frames > 1 ? 4 : 0),
                        item.h, 0, frame * s, item.image.getWidth(), item.frames > 1 ? s : item.image.getHeight());
        }
    }
    return sheet;
}

void writeSheet(const assets::Context& context, const juce::File& file)
{
    for (const int scale : { 1, 2 })
    {
        const auto target = scale == 1 ? file : file.getSiblingFile(file.getFileNameWithoutExtension() + "@2x.png");
        target.deleteFile();
        juce::FileOutputStream out(target);
        juce::PNGImageFormat().writeImageToStream(makeSheet(context, scale), out);
    }
}

int run(int argc, char** argv)
{
    juce::File folder, sheet;
    juce::File font(REELWARP_FONT_FILE);
    for (int i = 1; i < argc; ++i)
    {
        const juce::String arg(argv[i]);
        if ((arg == "--font" || arg == "--sheet") && i + 1 < argc)
            (arg == "--font" ? font : sheet) = juce::File::getCurrentWorkingDirectory().getChildFile(argv[++i]);
        else if (!arg.startsWith("-") && folder == juce::File())
            folder = juce::File::getCurrentWorkingDirectory().getChildFile(arg);
        else
            folder = juce::File(), i = argc;
    }
    if (folder == juce::File())
    {
        std::cerr << "usage: reelwarp-draw-assets OUTPUT_DIR [--font FILE] [--sheet FILE]\n";
        return 2;
    }

    juce::MemoryBlock fontData;
    if (!font.loadFileAsData(fontData))
    {
        std::cerr << "cannot read the font " << font.getFullPathName() << "\n";
        return 1;
    }
    const assets::Context context { folder, juce::Typeface::createSystemTypefaceFor(fontData.getData(), fontData.getSize()) };
    if (context.typeface == nullptr || !folder.createDirectory())
    {
        std::cerr << "cannot use the font or the folder\n";
        return 1;
    }

    try
    {
        assets::drawKnobs(context);
        assets::drawKeys(context);
        assets::drawSwitches(context);
        assets::drawTopBar(context);
        assets::drawBackgrounds(context);
        assets::drawReels(context);
        if (sheet != juce::File())
            writeSheet(context, sheet);
    }
    catch (const std::exception& e)
    {
        std::cerr << e.what() << "\n";
        return 1;
    }
    return 0;
}
} // namespace

int main(int argc, char** argv)
{
    const auto result = run(argc, argv);
    // The font caches are JUCE's singletons: gone before exit, they are not reported as leaks.
    juce::DeletedAtShutdown::deleteAll();
    return result;
}
