#pragma once

#include "tape/dsp/Demagnetizer.h"
#include "tape/dsp/DriveCompensation.h"
#include "tape/dsp/HeadResponse.h"
#include "tape/dsp/LinearRamp.h"
#include "tape/dsp/Lfo.h"
#include "tape/dsp/NoiseReduction.h"
#include "tape/dsp/PlayHead.h"
#include "tape/dsp/ReadHead.h"
#include "tape/dsp/RecordHead.h"
#include "tape/dsp/Transport.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace qel
{

// One simulated tape machine: the clean signal goes onto the tape, two heads
// read it back at a distance that the tape speed turns into time, and what
// they read runs through drive, noise reduction, magnetics and head losses.
struct TapeDeck
{
    static constexpr int samplesPerTick = ReadHead::samplesPerTick;
    static constexpr int mainTap = 0;
    static constexpr int feedbackTapIndex = 1;

    // What a deck is told, each through its setter below; what the stages
    // are told, each stage keeps.
    struct Settings
    {
        double tapeSpeed = 1.0;          // metres per second
        double maxRelativeDelay = 0.005; // seconds
        double fade = 0.01;              // of the travel
        double feedback = 0.0;
        double inputGain = 1.0;
        double drive = 1.0;
        double noiseGain = 0.0001;
        bool transportOn = true;
        float lfoRate = 0.1f; // hertz
        float lfoPhase = 0.0f;
        float lfoShape = 0.0f;
        float lfoSymmetry = 0.0f;
        float lfoSwing = 0.0f;
    };

    TapeDeck() noexcept
    {
        setDelay(0.016);
        setMainDelay(0.06);
    }

    // Sizes everything for the sample rate (Hz), with `tapeSeconds` of tape,
    // and starts the tape: a deck is ready to run after this alone.
    void prepare(double sampleRate, double tapeSeconds)
    {
        recordHead.prepare(sampleRate);
        const double controlRate = static_cast<double>(static_cast<float>(sampleRate) * 0.03125f);
        readHeads[0].prepare(controlRate);
        readHeads[1].prepare(controlRate);
        playHead.setSampleRate(sampleRate);
        noiseReduction.prepare(sampleRate);
        this->sampleRate = sampleRate;
        tapeLength = static_cast<uint64_t>(tapeSeconds * sampleRate);
        inputRing.resize(tapeLength);
        outputRing.resize(tapeLength);
        speedRing.resize(tapeLength / samplesPerTick);
        demagnetizer.prepare(sampleRate, sampleCount);
        transport.seed();
        driveCompensation.jumpTo(static_cast<float>(driveCompensationTarget));
        clear();
    }

    // The tape starts again: silence on it, heads back at their start.
    void clear() noexcept
    {
        recordHead.clear();
        playHead.clear();
        noiseReduction.clear();
        readHeads[0].reinitialise();
        readHeads[1].reinitialise();
        std::fill(inputRing.begin(), inputRing.end(), 0.0);
        std::fill(outputRing.begin(), outputRing.end(), 0.0);
        std::fill(speedRing.begin(), speedRing.end(), 0.0);
        sampleCount = 0;
    }

    // --- setters of the parameters ---
    // Feedback tap and main tap delays, seconds at nominal speed (0.002 .. 1; 0.01 or 0.06).
    void setDelay(double seconds) noexcept { readHeads[feedbackTapIndex].setDelay(seconds); }
    void setMainDelay(double seconds) noexcept { readHeads[mainTap].setDelay(seconds); }
    // Metres per second (0.1 .. 2); the head losses and the compensation follow.
    void setTapeSpeed(double metresPerSecond) noexcept
    {
        told.tapeSpeed = metresPerSecond;
        playHead.setTapeSpeed(metresPerSecond);
        feedbackCompensation.headChanged(playHead);
        readHeads[0].setTapeSpeed(metresPerSecond);
        readHeads[1].setTapeSpeed(metresPerSecond);
    }
    // Head-to-tape spacing, metres (1e-5 .. 1e-4).
    void setSpacing(double metres) noexcept { playHead.setSpacing(metres); feedbackCompensation.headChanged(playHead); }
    // Magnetic layer thickness, metres (5e-6 .. 5e-5).
    void setThickness(double metres) noexcept { playHead.setThickness(metres); feedbackCompensation.headChanged(playHead); }
    // Azimuth error as a track offset (0.0001 .. 0.001).
    void setAzimuth(double offset) noexcept { playHead.setAzimuth(offset); feedbackCompensation.headChanged(playHead); }
    // Head width over track width (1.1 .. 2).
    void setWidthRatio(double ratio) noexcept { playHead.setWidthRatio(ratio); feedbackCompensation.headChanged(playHead); }
    void setPlayheadFilter(bool on) noexcept { feedbackCompensation.setFilterEnabled(playHead, on); }
    void setFeedbackCompensation(bool on) noexcept { feedbackCompensation.setOn(playHead, on); }
    // The magnetics' hardness term a (1 .. 5) and saturation term b (100 .. 100000).
    void setHardness(double a) noexcept { recordHead.setA(a); updateDrive(); }
    void setResistance(double b) noexcept { recordHead.setB(b); updateDrive(); }
    // Linear gain into the record head (1 .. 100).
    void setDrive(double linear) noexcept { told.drive = linear; updateDrive(); }
    // Dropouts per second (5 .. 50); restarts their schedule.
    void setDegradeRate(double hertz) noexcept { demagnetizer.setRate(hertz, sampleCount); }
    // Stored as they are; the loops read them.
    void setLfoRate(float hertz) noexcept { told.lfoRate = hertz; }
    // Where the running LFO stands now, in cycles: the host's position puts it there.
    void restartLfoAt(float cycles) noexcept { lfoRunningPhase = cycles; }
    void setLfoPhase(float cycles) noexcept { told.lfoPhase = cycles; }             // -1 .. 1
    void setLfoShape(float shape) noexcept { told.lfoShape = shape; }               // -0.99 .. 0.99
    void setLfoSymmetry(float symmetry) noexcept { told.lfoSymmetry = symmetry; }   // -1 .. 1
    void setLfoSwing(float swing) noexcept { told.lfoSwing = swing; }               // 0 .. 1
    // 0: deck B lags deck A by -M; 1: by +M; 0.5: in step.
    void setRelativePosition(double position) noexcept { relativePosition = position; }
    void setMaxRelativeDelay(double seconds) noexcept { told.maxRelativeDelay = seconds; } // M, 0.001 .. 0.015
    void setFade(double fraction) noexcept { told.fade = fraction; }                // of the travel, 0.01 .. 0.3
    void setFeedback(double amount) noexcept { told.feedback = amount; }            // 0 .. 1
    void setInputGain(double linear) noexcept { told.inputGain = linear; }
    void setNoiseGain(double linear) noexcept { told.noiseGain = linear; }
    void setRecordHeadOn(bool on) noexcept { recordHead.setOn(on); }     // clears the magnetics
    void setNoiseGateOn(bool on) noexcept { recordHead.setGateOn(on); }  // clears the magnetics
    void setDegradeDepth(double depth) noexcept { demagnetizer.setDepth(depth); } // 0 .. 1
    void setTransportOn(bool on) noexcept { told.transportOn = on; }
    // Modulation depths as fractions of speed, rates in hertz.
    void setWowDepth(double depth) noexcept { transport.wowDepth = depth; }
    void setWowRate(double hertz) noexcept { transport.wowRate = hertz; }
    void setFlutterDepth(double depth) noexcept { transport.flutterDepth = depth; }
    void setFlutterRate(double hertz) noexcept { transport.flutterRate = hertz; }
    void setRandomDepth(double depth) noexcept { transport.randomDepth = depth; }
    void setRandomRate(double hertz) noexcept { transport.randomRate = hertz; }
    // 0 none, 1 pre-emphasis, 2 type A, 3 type B; entering a mode clears its state.
    void setEncoderMode(NoiseReductionMode mode) noexcept { noiseReduction.setEncoderMode(mode); }
    void setDecoderMode(NoiseReductionMode mode) noexcept { noiseReduction.setDecoderMode(mode); }

    // The modulations start their sequences again; unsynced, from the draws given.
    void seedModulations() noexcept
    {
        transport.seed();
        demagnetizer.seed(sampleCount);
    }
    void seedUnsyncedTransport(uint32_t first, uint32_t draw) noexcept { transport.seedUnsynced(first, draw); }
    // Neither encoder nor decoder runs; their states stay for when they come back.
    void bypassNoiseReduction() noexcept { noiseReduction.bypass(); }

    // --- what a deck is, for reading ---
    const Settings& getSettings() const noexcept { return told; }
    // 0 .. 1; the LFO moves it in LFO mode.
    double getRelativePosition() const noexcept { return relativePosition; }
    const RecordHead& getRecordHead() const noexcept { return recordHead; }
    const PlayHead& getPlayHead() const noexcept { return playHead; }
    const ReadHead& getReadHead(int tap) const noexcept { return readHeads[tap]; }
    const NoiseReduction& getNoiseReduction() const noexcept { return noiseReduction; }
    const TransportModulation& getTransport() const noexcept { return transport; }
    const Demagnetizer& getDemagnetizer() const noexcept { return demagnetizer; }
    bool isFeedbackCompensationOn() const noexcept { return feedbackCompensation.on; }
    double getSampleRate() const noexcept { return sampleRate; }
    float getLfoRunningPhase() const noexcept { return lfoRunningPhase; }
    // Samples processed since the tape started, and what the heads gave for
    // one of the last tape length of them.
    uint64_t getSampleCount() const noexcept { return sampleCount; }
    double outputAt(uint64_t sample) const noexcept { return outputRing[sample % tapeLength]; }

    // From here on, delay changes glide.
    void endFirstBlock() noexcept
    {
        readHeads[0].firstBlock = false;
        readHeads[1].firstBlock = false;
    }

    // One slice, in place.
    template <bool LfoMode, NoiseReductionMode Encoder, NoiseReductionMode Decoder, bool DeckB>
    void process(float* x, int frames, float* deviation) noexcept
    {
        Slice slice = beginSlice();
        for (int i = 0; i < frames; ++i)
            x[i] = step<LfoMode, Encoder, Decoder, DeckB>(slice, x[i], deviation[i]);
        endSlice(frames, slice);
    }

private:
    template <bool LfoMode, NoiseReductionMode Encoder, NoiseReductionMode Decoder, typename T>
    friend struct ChannelSlice;

    Settings told;
    RecordHead recordHead;
    PlayHead playHead;
    ReadHead readHeads[2];
    NoiseReduction noiseReduction;
    TransportModulation transport;
    Demagnetizer demagnetizer;
    FeedbackCompensation feedbackCompensation;
    LinearRamp driveCompensation { 1.0f, 1.0f, 0, 0 };
    double driveCompensationTarget = 1.0;
    std::vector<double> inputRing;
    std::vector<double> outputRing;
    SpeedRing speedRing;
    uint64_t tapeLength = 0;
    uint64_t sampleCount = 0;
    double sampleRate = 0.0;
    double relativePosition = 0.0;
    float lfoRunningPhase = 0.0f;
    float deviationBefore = 0.0f;
    float deviationNow = 0.0f;

    void updateDrive() noexcept
    {
        updateDriveCompensation(driveCompensation, driveCompensationTarget, recordHead.getA(), recordHead.getB(),
                                told.drive, sampleRate);
    }

    // The speed of this tick: deck A runs at tape speed; deck B at the speed
    // that makes its main tap's delay sweep between D - M and D + M.
    template <bool DeckB>
    double tickSpeed() const noexcept
    {
        if constexpr (DeckB)
        {
            const double D = readHeads[mainTap].delay, M = told.maxRelativeDelay;
            const double g = readHeads[mainTap].distance;
            double t = (D - M) + ((D + M) - (D - M)) * relativePosition;
            t = std::max(std::min(t, D + M), D - M);
            return g / t;
        }
        else
            return told.tapeSpeed;
    }

    template <bool DeckB>
    void controlTick() noexcept
    {
        const uint64_t k = sampleCount / samplesPerTick;
        const double v = tickSpeed<DeckB>();
        const double m = transport.tick(sampleRate, told.transportOn);
        speedRing[k % speedRing.size()] = m * v;
        deviationBefore = deviationNow;
        deviationNow = static_cast<float>(m - 1.0);
        readHeads[1].update(k, speedRing);
        readHeads[0].update(k, speedRing);
    }

    // Where a tap reads at write index w: two neighbours and the weight of the older.
    struct TapPoint
    {
        uint64_t i0, i1;
        double f;
    };

    QEL_ALWAYS_INLINE TapPoint tapPoint(int tap, uint64_t w) const noexcept
    {
        // The read head keeps p at or above 0: truncation is its floor.
        const double p = readHeads[tap].position(sampleCount);
        const auto whole = static_cast<int64_t>(p); // signed: one instruction each way
        auto n = static_cast<uint64_t>(whole);
        // (L - n + w) mod L and one before it, without a division per sample.
        if (n >= tapeLength)
            n %= tapeLength;
        const uint64_t i0 = w >= n ? w - n : w + tapeLength - n;
        return { i0, i0 == 0 ? tapeLength - 1 : i0 - 1, p - static_cast<double>(whole) };
    }

    // The main tap's audio, and the feedback tap's own output fed back ahead
    // of the drive. Inline, as is tapeFront: the pair's loop overlaps the
    // decks' fronts.
    QEL_ALWAYS_INLINE double readTaps(uint64_t w) const noexcept
    {
        const TapPoint back = tapPoint(feedbackTapIndex, w);
        const TapPoint main = tapPoint(mainTap, w);
        double s = 0.0;
        s += ((1.0 - back.f) * outputRing[back.i0] + back.f * outputRing[back.i1]) * told.feedback
           * static_cast<double>(feedbackCompensation.gain);
        s += (1.0 - main.f) * inputRing[main.i0] + main.f * inputRing[main.i1];
        return s;
    }

    float lfoNormaliser() const noexcept { return 1.0f / lfoValue(0.25f, 0.0f, told.lfoShape, 0.0f, 0.0f); }

    template <bool DeckB>
    double fadeWeight() const noexcept
    {
        if constexpr (DeckB)
            return fadeCurveB(relativePosition, told.fade);
        else
            return fadeCurveA(relativePosition, told.fade);
    }

    // What a slice computes once: the LFO's increment, normaliser and shape;
    // and where on the tape the slice writes.
    struct Slice
    {
        float increment;
        float phase;
        float normaliser;
        float shapeExponent;
        uint64_t w;       // the next sample's write index
        uint64_t current; // this sample's
    };

    Slice beginSlice() const noexcept
    {
        return { static_cast<float>(static_cast<double>(told.lfoRate) / sampleRate),
                 lfoRunningPhase,
                 lfoNormaliser(),
                 lfoShapeExponent(told.lfoShape),
                 sampleCount % tapeLength,
                 0 };
    }

    // The LFO's relative position for this sample.
    float lfoPosition(Slice& slice) const noexcept
    {
        const float v = lfoValueWithExponent(slice.phase, told.lfoPhase, slice.shapeExponent, told.lfoSymmetry, told.lfoSwing);
        slice.phase += slice.increment;
        return (v * slice.normaliser + 1.0f) * 0.5f;
    }

    // Whether another deck's LFO gives this one's values, sample for sample.
    bool sharesLfoWith(const TapeDeck& other) const noexcept
    {
        return told.lfoRate == other.told.lfoRate && lfoRunningPhase == other.lfoRunningPhase && told.lfoPhase == other.told.lfoPhase
            && told.lfoShape == other.told.lfoShape && told.lfoSymmetry == other.told.lfoSymmetry && told.lfoSwing == other.told.lfoSwing
            && sampleRate == other.sampleRate;
    }

    // One sample up to the drive: the tape write, its dropouts, the LFO, the
    // control tick and the deviation out; returns what both taps read.
    template <bool RunsLfo, bool DeckB>
    QEL_ALWAYS_INLINE double tapeFront(Slice& slice, float input, float& deviation) noexcept
    {
        const uint64_t w = slice.w;
        slice.current = w;
        slice.w = w + 1 == tapeLength ? 0 : w + 1;
        inputRing[w] = static_cast<double>(input) * told.inputGain;
        const double d = demagnetizer.gain(sampleCount);
        if (recordHead.isOn())
            inputRing[w] *= d;
        if constexpr (RunsLfo)
            relativePosition = lfoPosition(slice);
        const auto r = static_cast<uint32_t>(sampleCount % samplesPerTick);
        if (r == 0)
            controlTick<DeckB>();
        deviation = deviationBefore + (deviationNow - deviationBefore) * 0.03125f * static_cast<float>(r);
        return readTaps(w);
    }

    // One sample after the play head and drive compensation: kept on the
    // tape for feedback, and weighted for the pair's sum.
    template <bool LfoMode, bool DeckB>
    float tapeBack(const Slice& slice, double y) noexcept
    {
        outputRing[slice.current] = y;
        driveCompensation.advance(1);
        ++sampleCount;
        if constexpr (LfoMode)
            return static_cast<float>(y * 0.5);
        else
            return static_cast<float>(y * fadeWeight<DeckB>());
    }

    // One sample through every stage. Every mode is fixed at compile time.
    template <bool LfoMode, NoiseReductionMode Encoder, NoiseReductionMode Decoder, bool DeckB>
    float step(Slice& slice, float input, float& deviation) noexcept
    {
        const double s = tapeFront<LfoMode, DeckB>(slice, input, deviation);
        const double u = tanhOf(s * told.drive * 0.01) * 100.0;
        const auto compensation = static_cast<double>(driveCompensation.value());
        recordHead.setNoiseAmount(compensation * told.noiseGain);
        const double e = noiseReduction.encode<Encoder>(u);
        const double m = recordHead.process(e);
        const double g = noiseReduction.decode<Decoder>(m);
        const double h = playHead.process(g);
        return tapeBack<LfoMode, DeckB>(slice, h / compensation);
    }

    void endSlice(int frames, const Slice& slice) noexcept
    {
        lfoRunningPhase += static_cast<float>(frames) * slice.increment;
        endFirstBlock();
    }

};

} // namespace qel
