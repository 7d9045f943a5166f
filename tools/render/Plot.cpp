#include "Plot.h"

#include <juce_graphics/juce_graphics.h>

#include <algorithm>
#include <cmath>
#include <complex>

namespace qel::render
{
namespace
{

constexpr int fftOrder = 11, fftSize = 1 << fftOrder;
constexpr double minHz = 20.0;
constexpr float floorDb = -200.0f, colourMinDb = -100.0f;

// In-place iterative radix-2 FFT; juce_dsp is not linked into the tools.
class Fft
{
public:
    explicit Fft(int order) : size(1 << order), twiddle((size_t) size / 2), reversed((size_t) size)
    {
        for (int k = 0; k < size / 2; ++k)
            twiddle[(size_t) k] = std::polar(1.0f, (float) (-2.0 * juce::MathConstants<double>::pi * k / size));
        for (int i = 0; i < size; ++i)
            for (int b = 0; b < order; ++b)
                reversed[(size_t) i] |= ((i >> b) & 1) << (order - 1 - b);
    }

    void perform(std::vector<std::complex<float>>& x) const
    {
        for (int i = 0; i < size; ++i)
            if (i < reversed[(size_t) i])
                std::swap(x[(size_t) i], x[(size_t) reversed[(size_t) i]]);
        for (int len = 2; len <= size; len <<= 1)
            for (int start = 0, half = len / 2, step = size / len; start < size; start += len)
                for (int k = 0; k < half; ++k)
                {
                    auto& a = x[(size_t) (start + k)];
                    auto& b = x[(size_t) (start + k + half)];
                    const auto v = b * twiddle[(size_t) (k * step)];
                    b = a - v;
                    a += v;
                }
    }

private:
    int size;
    std::vector<std::complex<float>> twiddle;
    std::vector<int> reversed;
};

// --- Layout: two columns of plots, axis labels left of each, colour bar at the right.
constexpr int imageW = 1600, imageH = 900, margin = 16, axisW = 56, columnGap = 24, legendW = 80;
constexpr int plotW = (imageW - 2 * margin - 2 * axisW - columnGap - legendW) / 2;
constexpr int waveTop = 52, waveH = 200, specTop = waveTop + waveH + 12, specH = 552;
constexpr int timeAxisY = specTop + specH + 4, footerY = imageH - margin - 22;

const juce::Colour background(0xff101216), panel(0xff1a1d23), textColour(0xffd8dce4),
    dimText(0xff8a909c), leftColour(0xff5aa8ff), rightColour(0xffff9646);

int columnLeft(int column) { return margin + axisW + column * (plotW + columnGap + axisW); }

// Dark to bright, readable in print and for most colour vision.
std::vector<juce::Colour> makeColourMap()
{
    juce::ColourGradient g(juce::Colour(0, 0, 4), 0.0f, 0.0f, juce::Colour(252, 255, 164), 1.0f, 0.0f, false);
    const std::pair<double, juce::uint32> stops[] = { { 0.15, 0xff1f0c48 }, { 0.30, 0xff550f6d }, { 0.45, 0xff88226a },
                                                      { 0.60, 0xffba3655 }, { 0.72, 0xffe35933 }, { 0.85, 0xfff98c0a },
                                                      { 0.95, 0xfff9c932 } };
    for (auto [pos, argb] : stops)
        g.addColour(pos, juce::Colour(argb));
    std::vector<juce::Colour> map(256);
    for (size_t i = 0; i < map.size(); ++i)
        map[i] = g.getColourAtPosition((double) i / 255.0);
    return map;
}

juce::Colour colourFor(const std::vector<juce::Colour>& map, float db)
{
    const auto t = juce::jlimit(0.0f, 1.0f, (db - colourMinDb) / -colourMinDb);
    return map[(size_t) juce::roundToInt(t * 255.0f)];
}

float peakDb(const juce::AudioBuffer<float>& audio)
{
    float peak = 0.0f;
    for (int ch = 0; ch < audio.getNumChannels(); ++ch)
        peak = std::max(peak, audio.getMagnitude(ch, 0, audio.getNumSamples()));
    return juce::Decibels::gainToDecibels(peak, -200.0f);
}

// A tick spacing that gives at most about eight labels; minutes past two minutes.
double timeStep(double seconds)
{
    const double raw = seconds / 8.0;
    if (raw > 10.0)
    {
        for (double s : { 15.0, 30.0, 60.0, 120.0, 300.0, 600.0, 900.0, 1800.0, 3600.0, 7200.0 })
            if (s >= raw)
                return s;
        return 14400.0;
    }
    const double decade = std::pow(10.0, std::floor(std::log10(raw)));
    for (double m : { 1.0, 2.0, 5.0 })
        if (m * decade >= raw)
            return m * decade;
    return 10.0 * decade;
}

juce::String timeLabel(double t, double step, bool minutes)
{
    if (minutes)
    {
        const int s = juce::roundToInt(t);
        return juce::String(s / 60) + ":" + juce::String(s % 60).paddedLeft('0', 2);
    }
    const int decimals = step >= 1.0 ? 0 : (int) std::ceil(-std::log10(step) - 1e-9);
    return juce::String(t, decimals);
}

void drawWaveform(juce::Graphics& g, const juce::AudioBuffer<float>& audio, int left, double samplesPerPixel)
{
    const int n = audio.getNumSamples();
    const float mid = waveTop + waveH * 0.5f, half = waveH * 0.5f - 2.0f;
    const int width = std::min(plotW, (int) std::ceil(n / samplesPerPixel));
    for (int ch = 0; ch < std::min(2, audio.getNumChannels()); ++ch)
    {
        g.setColour(ch == 0 ? leftColour : rightColour.withAlpha(0.6f));
        const float* x = audio.getReadPointer(ch);
        for (int px = 0; px < width; ++px)
        {
            // Each column reaches one sample into the next, so that zoomed-in waves stay joined.
            const int from = std::min(n - 1, (int) (px * samplesPerPixel));
            const int to = std::min(n - 1, std::max(from, (int) ((px + 1) * samplesPerPixel)));
            const auto range = juce::FloatVectorOperations::findMinAndMax(x + from, to - from + 1);
            const float top = mid - juce::jlimit(-1.0f, 1.0f, range.getEnd()) * half;
            const float bottom = mid - juce::jlimit(-1.0f, 1.0f, range.getStart()) * half;
            g.fillRect(juce::Rectangle<float>((float) (left + px), top, 1.0f, std::max(1.0f, bottom - top)));
            if (range.getEnd() > 1.0f || range.getStart() < -1.0f) // over full scale: flag it at the edge
            {
                g.setColour(juce::Colours::red);
                g.fillRect(left + px, range.getEnd() > 1.0f ? waveTop : waveTop + waveH - 3, 1, 3);
                g.setColour(ch == 0 ? leftColour : rightColour.withAlpha(0.6f));
            }
        }
    }
}

void drawSpectrogram(juce::Graphics& g, const juce::AudioBuffer<float>& audio, double sampleRate, int left,
                     double samplesPerPixel, const std::vector<juce::Colour>& map)
{
    const int n = audio.getNumSamples();
    if (n == 0 || audio.getNumChannels() == 0)
        return;
    const int columns = juce::jlimit(1, plotW, juce::roundToInt(n / samplesPerPixel));
    const auto s = computeSpectrogram(audio, sampleRate, columns, specH);
    juce::Image picture(juce::Image::RGB, columns, specH, false, juce::SoftwareImageType());
    {
        juce::Image::BitmapData pixels(picture, juce::Image::BitmapData::writeOnly);
        for (int c = 0; c < columns; ++c)
            for (int r = 0; r < specH; ++r)
                pixels.setPixelColour(c, specH - 1 - r, colourFor(map, s.at(c, r)));
    }
    g.drawImageAt(picture, left, specTop);
}

float frequencyY(double hz, double maxHz)
{
    return (float) (specTop + specH * (1.0 - std::log(hz / minHz) / std::log(maxHz / minHz)));
}

void drawAxes(juce::Graphics& g, int left, double seconds, double maxHz)
{
    const juce::Font small(13.0f);
    g.setFont(small);
    // Amplitude: full scale and half scale, in the dB a musician reads off a meter.
    const float mid = waveTop + waveH * 0.5f, half = waveH * 0.5f - 2.0f;
    const std::pair<float, const char*> levels[] = { { 1.0f, "0 dB" }, { 0.5f, "-6" }, { 0.0f, "" }, { -0.5f, "-6" }, { -1.0f, "0 dB" } };
    for (auto [v, label] : levels)
    {
        const float y = mid - v * half;
        g.setColour(juce::Colours::white.withAlpha(v == 0.0f ? 0.18f : 0.07f));
        g.drawHorizontalLine(juce::roundToInt(y), (float) left, (float) (left + plotW));
        g.setColour(dimText);
        g.drawText(label, left - axisW, juce::roundToInt(y) - 8, axisW - 6, 16, juce::Justification::centredRight);
    }
    // Frequency: decades labelled, the other multiples as faint ticks.
    for (double decade = 10.0; decade < maxHz; decade *= 10.0)
        for (int m = 1; m < 10; ++m)
        {
            const double hz = decade * m;
            if (hz < minHz || hz > maxHz)
                continue;
            const float y = frequencyY(hz, maxHz);
            g.setColour(juce::Colours::white.withAlpha(0.28f));
            if (m == 1)
                g.drawHorizontalLine(juce::roundToInt(y), (float) left, (float) (left + plotW));
            g.setColour(m == 1 ? textColour : dimText.withAlpha(0.6f));
            g.drawHorizontalLine(juce::roundToInt(y), (float) (left - (m == 1 ? 6 : 3)), (float) left);
            if (m == 1)
                g.drawText(hz >= 1000.0 ? juce::String(hz / 1000.0) + "k" : juce::String(hz), left - axisW, juce::roundToInt(y) - 8,
                           axisW - 10, 16, juce::Justification::centredRight);
        }
    g.setColour(dimText);
    g.drawText("Hz", left - axisW, specTop - 2, axisW - 10, 16, juce::Justification::centredRight);
    // Time, the same scale in both columns.
    const double step = timeStep(seconds);
    const bool minutes = step >= 60.0;
    for (double t = 0.0; t <= seconds + 1e-9; t += step)
    {
        const int x = left + juce::roundToInt(t / seconds * plotW);
        g.setColour(juce::Colours::white.withAlpha(0.07f));
        g.drawVerticalLine(x, (float) waveTop, (float) (waveTop + waveH));
        g.setColour(dimText);
        g.drawVerticalLine(x, (float) (specTop + specH), (float) timeAxisY + 2);
        g.drawText(timeLabel(t, step, minutes), x - 40, timeAxisY + 2, 80, 16, juce::Justification::centred);
    }
    g.drawText(minutes ? "min:s" : "s", left + plotW - 40, timeAxisY + 18, 40, 16, juce::Justification::centredRight);
}

void drawColourBar(juce::Graphics& g, const std::vector<juce::Colour>& map)
{
    const int x = imageW - margin - legendW + 18, w = 14;
    for (int y = 0; y < specH; ++y)
    {
        g.setColour(colourFor(map, colourMinDb * (float) y / (float) (specH - 1)));
        g.fillRect(x, specTop + y, w, 1);
    }
    g.setFont(juce::Font(13.0f));
    g.setColour(dimText);
    for (int db = 0; db >= (int) colourMinDb; db -= 20)
    {
        const int y = specTop + juce::roundToInt((float) db / colourMinDb * (float) (specH - 1));
        g.drawHorizontalLine(y, (float) (x + w), (float) (x + w + 4));
        g.drawText(juce::String(db), x + w + 6, y - 8, 40, 16, juce::Justification::centredLeft);
    }
    g.drawText("dBFS", x - 8, specTop - 22, 60, 16, juce::Justification::centredLeft);
}

juce::String describe(const juce::AudioBuffer<float>& audio, double sampleRate)
{
    const int ch = audio.getNumChannels();
    const double seconds = audio.getNumSamples() / sampleRate;
    juce::String text = (seconds < 120.0 ? juce::String(seconds, 2) + " s"
                                         : juce::String((int) seconds / 60) + ":" + juce::String(std::fmod(seconds, 60.0), 1).paddedLeft('0', 4) + " min")
                        + ", "
                        + (ch == 1 ? juce::String("mono") : ch == 2 ? juce::String("stereo") : juce::String(ch) + " ch");
    if (const float peak = peakDb(audio); audio.getNumSamples() > 0)
        text << ", peak " << (peak <= -200.0f ? juce::String("silent") : juce::String(peak, 1) + " dBFS");
    return text;
}

juce::String kiloHertz(double hz)
{
    auto text = juce::String(hz / 1000.0, 3);
    return text.trimCharactersAtEnd("0").trimCharactersAtEnd(".") + " kHz";
}

juce::Image drawComparison(const juce::AudioBuffer<float>& input, const juce::AudioBuffer<float>& output, double sampleRate)
{
    juce::Image image(juce::Image::RGB, imageW, imageH, false, juce::SoftwareImageType());
    juce::Graphics g(image);
    g.fillAll(background);
    const auto map = makeColourMap();
    const int longest = std::max(input.getNumSamples(), output.getNumSamples());
    const double samplesPerPixel = std::max(1, longest) / (double) plotW;
    const double seconds = longest > 0 ? longest / sampleRate : plotW / sampleRate;
    const double maxHz = plotMaxHz(sampleRate);

    const juce::AudioBuffer<float>* audio[] = { &input, &output };
    for (int column = 0; column < 2; ++column)
    {
        const int left = columnLeft(column);
        const auto& a = *audio[column];
        g.setColour(panel);
        g.fillRect(left, waveTop, plotW, waveH);
        g.fillRect(left, specTop, plotW, specH);
        g.setColour(textColour);
        g.setFont(juce::Font(22.0f, juce::Font::bold));
        g.drawText(column == 0 ? "Input" : "Output", left, 12, plotW, 28, juce::Justification::centredLeft);
        g.setColour(dimText);
        g.setFont(juce::Font(14.0f));
        g.drawText(describe(a, sampleRate), left, 12, plotW, 28, juce::Justification::centredRight);

        drawSpectrogram(g, a, sampleRate, left, samplesPerPixel, map);
        drawAxes(g, left, seconds, maxHz);
        if (a.getNumSamples() > 0)
            drawWaveform(g, a, left, samplesPerPixel);
        else
        {
            g.setColour(dimText);
            g.drawText("no audio", left, waveTop, plotW, waveH, juce::Justification::centred);
        }
        if (a.getNumChannels() > 1 && a.getNumSamples() > 0)
        {
            g.setFont(juce::Font(13.0f));
            g.setColour(leftColour);
            g.drawText("L", left + plotW - 36, waveTop + 4, 14, 16, juce::Justification::centred);
            g.setColour(rightColour);
            g.drawText("R", left + plotW - 20, waveTop + 4, 14, 16, juce::Justification::centred);
        }
    }
    drawColourBar(g, map);
    g.setColour(dimText);
    g.setFont(juce::Font(14.0f));
    g.drawText("Sample rate " + juce::String(sampleRate, 0) + " Hz    Waveform: min/max per pixel    Spectrogram: "
                   + juce::String(fftSize) + "-point Hann FFT, " + juce::String(minHz, 0) + " Hz to "
                   + kiloHertz(maxHz),
               margin, footerY, imageW - 2 * margin, 20, juce::Justification::centredLeft);
    return image;
}

} // namespace

double Spectrogram::rowLowHz(int row) const
{
    return minHz * std::pow(maxHz / minHz, (double) row / rows);
}

double plotMaxHz(double sampleRate) { return std::min(20000.0, sampleRate * 0.5); }

Spectrogram computeSpectrogram(const juce::AudioBuffer<float>& audio, double sampleRate, int columns, int rows)
{
    Spectrogram s;
    s.columns = std::max(0, columns);
    s.rows = std::max(0, rows);
    s.minHz = minHz;
    s.maxHz = plotMaxHz(sampleRate);
    s.db.assign((size_t) s.columns * (size_t) s.rows, floorDb);
    const int n = audio.getNumSamples(), channels = audio.getNumChannels();
    if (n == 0 || channels == 0 || s.columns == 0 || s.rows == 0 || !(s.maxHz > s.minHz))
        return s;

    static const Fft fft(fftOrder);
    std::vector<float> window((size_t) fftSize);
    double windowSum = 0.0;
    for (int i = 0; i < fftSize; ++i)
        windowSum += window[(size_t) i] = (float) (0.5 - 0.5 * std::cos(2.0 * juce::MathConstants<double>::pi * i / fftSize));
    // A sine of amplitude A gives |X| = A * windowSum / 2 in its bin; scale that to A.
    const double scale = 2.0 / windowSum;

    // Each row takes its loudest bin; rows narrower than a bin read between the two nearest.
    const double binHz = sampleRate / fftSize;
    struct RowBins { int from, to; double between; };
    std::vector<RowBins> rowBins((size_t) s.rows);
    for (int r = 0; r < s.rows; ++r)
    {
        const double lo = s.rowLowHz(r), hi = s.rowLowHz(r + 1);
        rowBins[(size_t) r] = { (int) std::ceil(lo / binHz), std::min(fftSize / 2 + 1, (int) std::ceil(hi / binHz)),
                                std::sqrt(lo * hi) / binHz };
    }

    std::vector<std::complex<float>> frame((size_t) fftSize);
    std::vector<double> power((size_t) fftSize / 2 + 1);
    const double hop = (double) n / s.columns;
    for (int c = 0; c < s.columns; ++c)
    {
        std::fill(power.begin(), power.end(), 0.0);
        // Frames stay inside the audio where it is long enough: a window cut by the
        // audio's own start or end would smear a bright line down the picture.
        int start = (int) std::floor((c + 0.5) * hop) - fftSize / 2;
        if (n >= fftSize)
            start = juce::jlimit(0, n - fftSize, start);
        for (int ch = 0; ch < channels; ++ch)
        {
            const float* x = audio.getReadPointer(ch);
            for (int i = 0; i < fftSize; ++i)
            {
                const int at = start + i;
                frame[(size_t) i] = at >= 0 && at < n ? x[at] * window[(size_t) i] : 0.0f;
            }
            fft.perform(frame);
            for (size_t k = 0; k < power.size(); ++k)
                power[k] += std::norm(frame[k]) * scale * scale / channels;
        }
        for (int r = 0; r < s.rows; ++r)
        {
            const auto& b = rowBins[(size_t) r];
            double p = 0.0;
            if (b.from < b.to)
                p = *std::max_element(power.begin() + b.from, power.begin() + b.to);
            else
            {
                const int k = std::min((int) b.between, fftSize / 2 - 1);
                const double frac = b.between - k;
                p = power[(size_t) k] * (1.0 - frac) + power[(size_t) k + 1] * frac;
            }
            s.db[(size_t) c * (size_t) s.rows + (size_t) r] = (float) std::max((double) floorDb, 10.0 * std::log10(p + 1e-30));
        }
    }
    return s;
}

bool writeComparisonPlot(const juce::File& png, const juce::AudioBuffer<float>& input,
                         const juce::AudioBuffer<float>& output, double sampleRate, juce::String& error)
{
    if (!(sampleRate > 0.0 && std::isfinite(sampleRate)))
    {
        error = "cannot plot at a sample rate of " + juce::String(sampleRate);
        return false;
    }
    if (png.isDirectory() || !png.getParentDirectory().isDirectory())
    {
        error = "cannot write " + png.getFullPathName() + ": " + (png.isDirectory() ? "it is a folder" : "no such folder");
        return false;
    }
    const auto image = drawComparison(input, output, sampleRate);

    // Written beside the target and moved over it, so that a reader never sees half a picture.
    juce::TemporaryFile temp(png);
    {
        juce::FileOutputStream stream(temp.getFile());
        juce::PNGImageFormat format;
        if (!stream.openedOk() || !format.writeImageToStream(image, stream) || (stream.flush(), stream.getStatus().failed()))
        {
            error = "cannot write " + png.getFullPathName() + ": " + stream.getStatus().getErrorMessage();
            return false;
        }
    }
    if (!temp.overwriteTargetFileWithTemporary())
    {
        error = "cannot replace " + png.getFullPathName();
        return false;
    }
    return true;
}

} // namespace qel::render
