#pragma once

#include "element/AudioMonitor.h"
#include "ui/ElementView.h"
#include "ui/displays/MeterScale.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <memory>
#include <vector>

namespace qel
{

class BasicProcessingElement;

// One channel's bar, filled from the bottom, with its peak mark.
class AudioMeterVU : public juce::Component
{
public:
    enum ColourIds
    {
        backgroundColourId = 0x20022000,
        barColourId = 0x20022006,
        peakColourId = 0x20022007,
    };

    AudioMeterVU();

    // One meter tick with the channel's peak since the last one.
    void takePeak(float peak);
    const MeterBallistics& getBallistics() const noexcept { return ballistics; }
    void paint(juce::Graphics& g) override;

private:
    juce::Colour colourOf(int id, juce::Colour fallback) const;

    MeterBallistics ballistics;
};

// The level at one end of an element, input (0) or output (1): a bar per
// channel, side by side, read from the element's monitor every 40 ms.
class AudioMeter : public juce::Component, public ElementView, private juce::Timer
{
public:
    static constexpr int intervalMs = 40;

    AudioMeter(EngineProxy& proxy, const Path& effectPath, int direction);
    // Unbound, with a fixed number of bars that takePeaks leaves alone.
    explicit AudioMeter(int channels);
    ~AudioMeter() override;

    int getNumBars() const noexcept { return static_cast<int>(bars.size()); }
    AudioMeterVU& getBar(int channel) { return *bars[static_cast<size_t>(channel)]; }
    bool isMetering() const noexcept { return isTimerRunning(); }
    // The timer's work: each bar takes its channel's peak; the bars follow the channel count.
    void takePeaks();

    void elementChanged(Element* element) override;
    void resized() override;

private:
    void timerCallback() override { takePeaks(); }
    void setNumBars(int count);

    AudioMonitor::End end = AudioMonitor::output;
    BasicProcessingElement* source = nullptr;
    std::shared_ptr<AudioMonitor> monitor;
    std::vector<std::unique_ptr<AudioMeterVU>> bars;
};

} // namespace qel
