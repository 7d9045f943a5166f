#include "tape/ReelwarpParameters.h"

#include "element/ParameterRegistry.h"

#include <array>
#include <cmath>

namespace qel
{

namespace
{
using State = ReelwarpProcessor::State;
using Row = ReelwarpParameterRow;
using Kind = Row::Kind;
using Curve = Row::Curve;

constexpr const char* flangeModes[] = { "Manual", "LFO" };
constexpr const char* noiseReductionModes[] = { "None", "Basic PreEmphasis", "Type A", "Type B" };

bool on(float value) noexcept { return value != 0.0f; }
float flag(bool value) noexcept { return value ? 1.0f : 0.0f; }
template <typename Action>
void onEveryDeck(State& s, Action&& action) { s.forEachDeck(action); }
const TapeDeck& deckA(const State& s) noexcept { return s.firstDeckA(); }

// 10^value x scale, in single precision.
float powerOfTen(float value, float scale) noexcept { return std::pow(10.0f, value) * scale; }
float logOfTen(double quantity, float scale) noexcept { return static_cast<float>(std::log10(quantity / scale)); }

#define NAMED(parameter) ReelwarpParameter::parameter, #parameter

constexpr Row rows[] = {
    { NAMED(FlangeMode), "Flange Mode", Kind::choice, 0, 1, 1, plainNumber, Curve::linear, flangeModes,
      [](State& s, float v) { s.setFlangeMode(static_cast<FlangeMode>(static_cast<uint32_t>(v))); },
      [](const State& s) { return static_cast<float>(s.decks.front().flangeMode); } },
    { NAMED(LFOFreq), "LFO Rate", Kind::number, 0.01f, 10.0f, 0.1f, hertzOrBeats, Curve::syncedLogarithmic, nullptr,
      [](State& s, float v) { s.setLfoFrequency(v); }, [](const State& s) { return s.lfoFrequency; } },
    { NAMED(LFOPhase), "LFO Phase", Kind::number, -1.0f, 1.0f, 0.0f, percentNormalised, Curve::linear, nullptr,
      [](State& s, float v) { onEveryDeck(s, [v](TapeDeck& d) { d.setLfoPhase(v); }); },
      [](const State& s) { return deckA(s).getSettings().lfoPhase; } },
    { NAMED(LFOShape), "LFO Shape", Kind::number, -0.99f, 0.99f, 0.0f, percentNormalised, Curve::linear, nullptr,
      [](State& s, float v) { onEveryDeck(s, [v](TapeDeck& d) { d.setLfoShape(v); }); },
      [](const State& s) { return deckA(s).getSettings().lfoShape; } },
    { NAMED(LFOSymmetry), "LFO Symmetry", Kind::number, -1.0f, 1.0f, 0.0f, percentNormalised, Curve::linear, nullptr,
      [](State& s, float v) { onEveryDeck(s, [v](TapeDeck& d) { d.setLfoSymmetry(v); }); },
      [](const State& s) { return deckA(s).getSettings().lfoSymmetry; } },
    { NAMED(LFOSwing), "LFO Swing", Kind::number, 0.0f, 1.0f, 0.0f, percentNormalised, Curve::linear, nullptr,
      [](State& s, float v) { onEveryDeck(s, [v](TapeDeck& d) { d.setLfoSwing(v); }); },
      [](const State& s) { return deckA(s).getSettings().lfoSwing; } },
    { NAMED(RelativeDelay), "Manual Flange", Kind::number, -1.0f, 1.0f, -1.0f, percentNormalised, Curve::linear, nullptr,
      [](State& s, float v) { onEveryDeck(s, [v](TapeDeck& d) { d.setRelativePosition((v + 1.0) * 0.5); }); },
      [](const State& s) { return static_cast<float>(deckA(s).getRelativePosition() * 2.0 - 1.0); } },
    { NAMED(MaxRelativeDelay), "Flange Depth", Kind::number, 0.001f, 0.015f, 0.005f, seconds, Curve::logarithmic, nullptr,
      [](State& s, float v) {
          const float depth = s.lowLatency ? std::min(v, ReelwarpProcessor::lowLatencyMaxRelativeDelay) : v;
          for (auto& pair : s.decks)
              pair.deckB.setMaxRelativeDelay(depth);
      },
      [](const State& s) { return static_cast<float>(s.firstDeckB().getSettings().maxRelativeDelay); } },
    { NAMED(Delay), "Delay", Kind::number, 0.002f, 1.0f, 0.016f, seconds, Curve::logarithmic, nullptr,
      [](State& s, float v) { onEveryDeck(s, [v](TapeDeck& d) { d.setDelay(v); }); },
      [](const State& s) { return static_cast<float>(deckA(s).getReadHead(TapeDeck::feedbackTapIndex).delay); } },
    { NAMED(Fade), "Fade", Kind::number, 0.01f, 0.3f, 0.01f, percentNormalised, Curve::linear, nullptr,
      [](State& s, float v) { onEveryDeck(s, [v](TapeDeck& d) { d.setFade(v); }); },
      [](const State& s) { return static_cast<float>(deckA(s).getSettings().fade); } },
    { NAMED(PhaseInvert), "Phase Invert", Kind::toggle, 0, 1, 0, plainNumber, Curve::linear, nullptr,
      [](State& s, float v) {
          for (auto& pair : s.decks)
              pair.phaseInvert = on(v);
      },
      [](const State& s) { return flag(s.decks.front().phaseInvert); } },
    { NAMED(ApplyRecordHead), "Apply Tape Simulation", Kind::toggle, 0, 1, 1, plainNumber, Curve::linear, nullptr,
      [](State& s, float v) {
          onEveryDeck(s, [v](TapeDeck& d) { d.setRecordHeadOn(on(v)); });
      },
      [](const State& s) { return flag(deckA(s).getRecordHead().isOn()); } },
    { NAMED(MagneticHardness), "Magnetic Hardness", Kind::number, 0.0f, 1.0f, 1.0f, percentNormalised, Curve::linear, nullptr,
      [](State& s, float v) { onEveryDeck(s, [v](TapeDeck& d) { d.setHardness(5.0 - 4.0 * v); }); },
      [](const State& s) { return static_cast<float>((5.0 - deckA(s).getRecordHead().getA()) * 0.25); } },
    { NAMED(Hysteresis), "Magnetic Resistance", Kind::number, 0.0f, 1.0f, 0.0f, percentNormalised, Curve::linear, nullptr,
      [](State& s, float v) { onEveryDeck(s, [v](TapeDeck& d) { d.setResistance(100.0 * std::pow(10.0, 3.0 * v)); }); },
      [](const State& s) { return static_cast<float>(std::log10(deckA(s).getRecordHead().getB() * 0.01) / 3.0); } },
    { NAMED(NoiseGain), "Noise Gain", Kind::number, -80.0f, -20.0f, -80.0f, decibels, Curve::linear, nullptr,
      [](State& s, float v) { onEveryDeck(s, [g = decibelsToGain(v)](TapeDeck& d) { d.setNoiseGain(g); }); },
      [](const State& s) { return gainToDecibels(static_cast<float>(deckA(s).getSettings().noiseGain)); } },
    { NAMED(ApplyNoiseGate), "Apply Noise Gate", Kind::toggle, 0, 1, 1, plainNumber, Curve::linear, nullptr,
      [](State& s, float v) {
          onEveryDeck(s, [v](TapeDeck& d) { d.setNoiseGateOn(on(v)); });
      },
      [](const State& s) { return flag(deckA(s).getRecordHead().isGateOn()); } },
    { NAMED(DegradeDepth), "Demagnetization Depth", Kind::number, 0.0f, 1.0f, 0.0f, percentNormalised, Curve::linear, nullptr,
      [](State& s, float v) { onEveryDeck(s, [v](TapeDeck& d) { d.setDegradeDepth(v); }); },
      [](const State& s) { return static_cast<float>(deckA(s).getDemagnetizer().depth); } },
    { NAMED(DegradeRate), "Demagnetization Rate", Kind::number, 5.0f, 50.0f, 10.0f, hertz, Curve::logarithmic, nullptr,
      [](State& s, float v) { onEveryDeck(s, [v](TapeDeck& d) { d.setDegradeRate(v); }); },
      [](const State& s) { return static_cast<float>(deckA(s).getDemagnetizer().rate); } },
    { NAMED(ApplyPlayheadFilter), "Apply Playback Filter", Kind::toggle, 0, 1, 1, plainNumber, Curve::linear, nullptr,
      [](State& s, float v) {
          onEveryDeck(s, [v](TapeDeck& d) { d.setPlayheadFilter(on(v)); });
      },
      [](const State& s) { return flag(deckA(s).getPlayHead().isEnabled()); } },
    { NAMED(Spacing), "Spacing", Kind::number, 0.0f, 1.0f, 0.0f, percentNormalised, Curve::linear, nullptr,
      [](State& s, float v) { onEveryDeck(s, [m = powerOfTen(v, 1e-5f)](TapeDeck& d) { d.setSpacing(m); }); },
      [](const State& s) { return logOfTen(deckA(s).getPlayHead().getSpacing(), 1e-5f); } },
    { NAMED(Thickness), "Thickness", Kind::number, 0.0f, 1.0f, 0.0f, percentNormalised, Curve::linear, nullptr,
      [](State& s, float v) { onEveryDeck(s, [m = powerOfTen(v, 5e-6f)](TapeDeck& d) { d.setThickness(m); }); },
      [](const State& s) { return logOfTen(deckA(s).getPlayHead().getThickness(), 5e-6f); } },
    { NAMED(Azimuth), "Azimuth", Kind::number, 0.0f, 1.0f, 0.0f, percentNormalised, Curve::linear, nullptr,
      [](State& s, float v) { onEveryDeck(s, [z = v * 0.00090000004f + 0.0001f](TapeDeck& d) { d.setAzimuth(z); }); },
      [](const State& s) { return (static_cast<float>(deckA(s).getPlayHead().getAzimuth()) - 0.0001f) / 0.00090000004f; } },
    { NAMED(TrackWidthRatio), "Width", Kind::number, 0.0f, 1.0f, 0.8f, percentNormalised, Curve::linear, nullptr,
      [](State& s, float v) { onEveryDeck(s, [w = v * 0.9f + 1.1f](TapeDeck& d) { d.setWidthRatio(w); }); },
      [](const State& s) { return (static_cast<float>(deckA(s).getPlayHead().getWidthRatio()) - 1.1f) / 0.9f; } },
    { NAMED(Speed), "Tape Speed", Kind::number, 0.0f, 1.3f, 1.0f, percentNormalised, Curve::linear, nullptr,
      [](State& s, float v) { onEveryDeck(s, [speed = powerOfTen(v, 0.1f)](TapeDeck& d) { d.setTapeSpeed(speed); }); },
      [](const State& s) { return logOfTen(deckA(s).getSettings().tapeSpeed, 0.1f); } },
    { NAMED(ApplyTransport), "Apply Transport Modulations", Kind::toggle, 0, 1, 1, plainNumber, Curve::linear, nullptr,
      [](State& s, float v) { onEveryDeck(s, [v](TapeDeck& d) { d.setTransportOn(on(v)); }); },
      [](const State& s) { return flag(deckA(s).getSettings().transportOn); } },
    { NAMED(ApplyLowLatency), "Low Latency Mode", Kind::toggle, 0, 1, 0, plainNumber, Curve::linear, nullptr,
      [](State& s, float v) { s.setLowLatency(on(v)); }, [](const State& s) { return flag(s.lowLatency); } },
    { NAMED(WowMod), "Wow Depth", Kind::number, 0.0f, 1.0f, 0.0f, percentNormalised, Curve::linear, nullptr,
      [](State& s, float v) { onEveryDeck(s, [v](TapeDeck& d) { d.setWowDepth(v * 0.3); }); },
      [](const State& s) { return static_cast<float>(deckA(s).getTransport().wowDepth / 0.3); } },
    { NAMED(WowRate), "Wow Rate", Kind::number, 0.1f, 1.5f, 0.1f, hertz, Curve::logarithmic, nullptr,
      [](State& s, float v) {
          onEveryDeck(s, [v](TapeDeck& d) { d.setWowRate(v); });
          // The depth's text shows cents, which depend on the rate.
          s.processor().notifyParameter(ReelwarpParameter::WowMod);
      },
      [](const State& s) { return static_cast<float>(deckA(s).getTransport().wowRate); } },
    { NAMED(FlutterMod), "Flutter Depth", Kind::number, 0.0f, 1.0f, 0.0f, percentNormalised, Curve::linear, nullptr,
      [](State& s, float v) { onEveryDeck(s, [v](TapeDeck& d) { d.setFlutterDepth(v * 0.05); }); },
      [](const State& s) { return static_cast<float>(deckA(s).getTransport().flutterDepth / 0.05); } },
    { NAMED(FlutterRate), "Flutter Rate", Kind::number, 5.0f, 100.0f, 5.0f, hertz, Curve::logarithmic, nullptr,
      [](State& s, float v) { onEveryDeck(s, [v](TapeDeck& d) { d.setFlutterRate(v); }); },
      [](const State& s) { return static_cast<float>(deckA(s).getTransport().flutterRate); } },
    { NAMED(NoiseSync), "Random Channel Unsync", Kind::toggle, 0, 1, 0, plainNumber, Curve::linear, nullptr,
      [](State& s, float v) { s.setNoiseUnsync(on(v)); }, [](const State& s) { return flag(s.noiseUnsync); } },
    { NAMED(NoiseMod), "Random Depth", Kind::number, 0.0f, 1.0f, 0.0f, percentNormalised, Curve::linear, nullptr,
      [](State& s, float v) { onEveryDeck(s, [v](TapeDeck& d) { d.setRandomDepth(v * 0.1); }); },
      [](const State& s) { return static_cast<float>(deckA(s).getTransport().randomDepth / 0.1); } },
    { NAMED(NoiseRate), "Random Rate", Kind::number, 0.1f, 100.0f, 10.0f, hertz, Curve::logarithmic, nullptr,
      [](State& s, float v) { onEveryDeck(s, [v](TapeDeck& d) { d.setRandomRate(v); }); },
      [](const State& s) { return static_cast<float>(deckA(s).getTransport().randomRate); } },
    { NAMED(ApplyFeedbackCompensation), "Compensate Feedback", Kind::toggle, 0, 1, 1, plainNumber, Curve::linear, nullptr,
      [](State& s, float v) { onEveryDeck(s, [v](TapeDeck& d) { d.setFeedbackCompensation(on(v)); }); },
      [](const State& s) { return flag(deckA(s).isFeedbackCompensationOn()); } },
    { NAMED(Feedback), "Feedback", Kind::number, 0.0f, 1.0f, 0.0f, percentNormalised, Curve::linear, nullptr,
      [](State& s, float v) { onEveryDeck(s, [v](TapeDeck& d) { d.setFeedback(v); }); },
      [](const State& s) { return static_cast<float>(deckA(s).getSettings().feedback); } },
    { NAMED(InputGain), "Input Gain", Kind::number, -40.0f, 40.0f, 0.0f, decibels, Curve::linear, nullptr,
      [](State& s, float v) { onEveryDeck(s, [g = decibelsToGain(v)](TapeDeck& d) { d.setInputGain(g); }); },
      [](const State& s) { return gainToDecibels(static_cast<float>(deckA(s).getSettings().inputGain)); } },
    { NAMED(Drive), "Drive", Kind::number, 0.0f, 40.0f, 0.0f, decibels, Curve::linear, nullptr,
      [](State& s, float v) { onEveryDeck(s, [g = decibelsToGain(v)](TapeDeck& d) { d.setDrive(g); }); },
      [](const State& s) { return gainToDecibels(static_cast<float>(deckA(s).getSettings().drive)); } },
    { NAMED(OutputGain), "Output Gain", Kind::number, -40.0f, 40.0f, 0.0f, decibels, Curve::linear, nullptr,
      [](State& s, float v) { s.outputGain = decibelsToGain(v); }, [](const State& s) { return gainToDecibels(s.outputGain); } },
    { NAMED(Mix), "Mix", Kind::number, 0.0f, 1.0f, 1.0f, percentNormalised, Curve::linear, nullptr,
      [](State& s, float v) { s.mix = v; }, [](const State& s) { return s.mix; } },
    { NAMED(ApplyCompander), "Apply Compander", Kind::toggle, 0, 1, 0, plainNumber, Curve::linear, nullptr,
      [](State& s, float v) { s.setCompanderOn(on(v)); }, [](const State& s) { return flag(s.companderOn); } },
    { NAMED(NRLink), "Link NR Encoder and Decoder", Kind::toggle, 0, 1, 1, plainNumber, Curve::linear, nullptr,
      [](State& s, float v) { s.setLink(on(v)); }, [](const State& s) { return flag(s.link); } },
    // Both read what deck A runs: "None" while the compander is off.
    { NAMED(NoiseReductionEncoder), "Noise Reduction Encoder", Kind::choice, 0, 3, 0, plainNumber, Curve::linear,
      noiseReductionModes, [](State& s, float v) { s.setEncoderChoice(static_cast<NoiseReductionMode>(static_cast<uint32_t>(v))); },
      [](const State& s) { return static_cast<float>(deckA(s).getNoiseReduction().encoderMode); } },
    { NAMED(NoiseReductionDecoder), "Noise Reduction Decoder", Kind::choice, 0, 3, 0, plainNumber, Curve::linear,
      noiseReductionModes, [](State& s, float v) { s.setDecoderChoice(static_cast<NoiseReductionMode>(static_cast<uint32_t>(v))); },
      [](const State& s) { return static_cast<float>(deckA(s).getNoiseReduction().decoderMode); } },
    { NAMED(OutputPad), "Output Pad", Kind::number, -15.0f, 15.0f, 0.0f, decibels, Curve::linear, nullptr,
      [](State& s, float v) { s.outputPad = decibelsToGain(v); }, [](const State& s) { return gainToDecibels(s.outputPad); } },
};

#undef NAMED

constexpr bool rowsFollowTheEnumeration()
{
    int index = 0;
    for (const auto& row : rows)
        if (static_cast<int>(row.parameter) != index++)
            return false;
    return index == reelwarpParameterCount;
}
static_assert(rowsFollowTheEnumeration(), "one row per parameter, in the order of the enumeration");

} // namespace

const ReelwarpParameterRow& reelwarpParameterRow(ReelwarpParameter parameter) noexcept
{
    return rows[static_cast<size_t>(parameter)];
}

} // namespace qel
