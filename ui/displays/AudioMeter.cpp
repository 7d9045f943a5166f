#include "ui/displays/AudioMeter.h"

#include "element/ElementProxy.h"
#include "element/ProcessingElement.h"

namespace qel
{

namespace
{
constexpr juce::uint32 defaultBar = 0xffa3a3a3;
constexpr juce::uint32 defaultPeak = 0xff785991; // the face's purple accent
} // namespace

AudioMeterVU::AudioMeterVU()
{
    setInterceptsMouseClicks(false, false);
}

void AudioMeterVU::takePeak(float peak)
{
    const float before = ballistics.shown, peakBefore = ballistics.peak;
    ballistics.tick(meterBarHeight(meterDecibels(peak), static_cast<float>(getHeight())));
    if (ballistics.shown != before || ballistics.peak != peakBefore)
        repaint();
}

// Set on the bar, on the meter above it, or by the look and feel; else ours.
juce::Colour AudioMeterVU::colourOf(int id, juce::Colour fallback) const
{
    for (auto* c = static_cast<const juce::Component*>(this); c != nullptr; c = c->getParentComponent())
        if (c->isColourSpecified(id))
            return c->findColour(id);
    return getLookAndFeel().isColourSpecified(id) ? getLookAndFeel().findColour(id) : fallback;
}

void AudioMeterVU::paint(juce::Graphics& g)
{
    g.fillAll(colourOf(backgroundColourId, juce::Colours::transparentBlack));
    const auto w = static_cast<float>(getWidth());
    const auto h = static_cast<float>(getHeight());
    // Above 0 dB the bar is taller than its place and is clipped.
    if (ballistics.shown > 0.0f)
    {
        g.setColour(colourOf(barColourId, juce::Colour(defaultBar)));
        g.fillRect(0.0f, h - ballistics.shown, w, ballistics.shown);
    }
    if (ballistics.peak > 0.0f)
    {
        g.setColour(colourOf(peakColourId, juce::Colour(defaultPeak)));
        g.fillRect(0.0f, std::max(h - ballistics.peak, 0.0f), w, 2.0f);
    }
}

AudioMeter::AudioMeter(EngineProxy& proxy, const Path& effectPath, int direction)
    : ElementView(&proxy), end(direction == 0 ? AudioMonitor::input : AudioMonitor::output)
{
    setInterceptsMouseClicks(false, false);
    addElementBinding(effectPath);
}

AudioMeter::AudioMeter(int channels)
{
    setInterceptsMouseClicks(false, false);
    setNumBars(channels);
}

AudioMeter::~AudioMeter()
{
    stopTimer();
}

void AudioMeter::elementChanged(Element* element)
{
    stopTimer();
    if (auto* group = dynamic_cast<ElementProxy*>(element))
        element = group->getFirst();
    source = dynamic_cast<BasicProcessingElement*>(element);
    monitor = source != nullptr ? source->getAudioMonitor() : nullptr;
    if (source == nullptr)
    {
        setNumBars(0);
        return;
    }
    takePeaks();
    startTimer(intervalMs);
}

void AudioMeter::takePeaks()
{
    if (source != nullptr)
    {
        const auto channels = std::min(static_cast<int>(source->getChannelCount()), AudioMonitor::maxChannels);
        if (channels != getNumBars())
            setNumBars(channels);
    }
    for (int c = 0; c < getNumBars(); ++c)
        getBar(c).takePeak(monitor != nullptr ? monitor->take(end, c) : 0.0f);
}

void AudioMeter::setNumBars(int count)
{
    bars.clear();
    for (int c = 0; c < count; ++c)
    {
        bars.push_back(std::make_unique<AudioMeterVU>());
        addAndMakeVisible(*bars.back());
    }
    resized();
}

// Side by side with a pixel between; a single bar takes the whole width.
void AudioMeter::resized()
{
    const int n = getNumBars();
    if (n == 0)
        return;
    const int gap = n > 1 ? 1 : 0;
    const int width = std::max((getWidth() - gap * (n - 1)) / n, 1);
    for (int c = 0; c < n; ++c)
        getBar(c).setBounds(c * (width + gap), 0, width, getHeight());
}

} // namespace qel
