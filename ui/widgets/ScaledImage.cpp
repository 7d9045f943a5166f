#include "ui/widgets/ScaledImage.h"

#include "ui/look/ResourceFiles.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <cmath>
#include <map>

namespace qel
{

namespace
{
struct ImageCacheHolder : juce::DeletedAtShutdown
{
    ~ImageCacheHolder() override { clearSingletonInstance(); }
    std::map<juce::String, juce::Image> images;
    std::function<double()> scaleSource;
    JUCE_DECLARE_SINGLETON_SINGLETHREADED_MINIMAL(ImageCacheHolder)
};
JUCE_IMPLEMENT_SINGLETON(ImageCacheHolder)

juce::Image readImage(const Path& path, int scale)
{
    auto& cache = ImageCacheHolder::getInstance()->images;
    const auto key = path.toString();
    if (const auto found = cache.find(key); found != cache.end())
        return found->second;
    juce::Image image;
    if (auto stream = openResource(path))
        image = juce::ImageFileFormat::loadFrom(*stream);
    if (image.isValid())
        image.getProperties()->set("scale", scale);
    cache[key] = image;
    return image;
}
} // namespace

double largestDisplayScale()
{
    if (const auto& source = ImageCacheHolder::getInstance()->scaleSource)
        return source();
    double largest = 1.0;
    for (const auto& display : juce::Desktop::getInstance().getDisplays().displays)
        largest = juce::jmax(largest, display.scale);
    return largest;
}

void setDisplayScaleSource(std::function<double()> source)
{
    ImageCacheHolder::getInstance()->scaleSource = std::move(source);
}

Path scaledVariant(const Path& path, int scale)
{
    const auto& text = path.toString();
    const auto dot = text.lastIndexOfChar('.');
    const auto suffix = "@" + juce::String(scale) + "x";
    return dot > text.lastIndexOfChar('/') ? text.substring(0, dot) + suffix + text.substring(dot) : text + suffix;
}

juce::Image loadScaledImage(const Path& path, bool useScale)
{
    const double scale = useScale ? largestDisplayScale() : 1.0;
    const int wanted = scale < 2.0 ? 1 : static_cast<int>(std::ceil(scale));
    for (int n = wanted; n >= 2; --n)
        if (const auto variant = scaledVariant(path, n); resourceExists(variant))
            return readImage(variant, n);
    return readImage(path, 1);
}

} // namespace qel
