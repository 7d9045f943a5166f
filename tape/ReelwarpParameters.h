#pragma once

#include "tape/ReelwarpProcessor.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace qel
{

// The effect's parameters, in the order of the Param%1 aliases and of the table.
enum class ReelwarpParameter : uint16_t
{
    FlangeMode,
    LFOFreq,
    LFOPhase,
    LFOShape,
    LFOSymmetry,
    LFOSwing,
    RelativeDelay,
    MaxRelativeDelay,
    Delay,
    Fade,
    PhaseInvert,
    ApplyRecordHead,
    MagneticHardness,
    Hysteresis,
    NoiseGain,
    ApplyNoiseGate,
    DegradeDepth,
    DegradeRate,
    ApplyPlayheadFilter,
    Spacing,
    Thickness,
    Azimuth,
    TrackWidthRatio,
    Speed,
    ApplyTransport,
    ApplyLowLatency,
    WowMod,
    WowRate,
    FlutterMod,
    FlutterRate,
    NoiseSync,
    NoiseMod,
    NoiseRate,
    ApplyFeedbackCompensation,
    Feedback,
    InputGain,
    Drive,
    OutputGain,
    Mix,
    ApplyCompander,
    NRLink,
    NoiseReductionEncoder,
    NoiseReductionDecoder,
    OutputPad,
};

constexpr int reelwarpParameterCount = static_cast<int>(ReelwarpParameter::OutputPad) + 1;

// One row of the table. Every kind carries its value as a float: a switch
// as 0 or 1, a choice as its index. The setter hands the DSP what the value
// means; the getter reads it back from the DSP.
struct ReelwarpParameterRow
{
    enum class Kind : uint8_t
    {
        number,
        toggle,
        choice,
    };
    enum class Curve : uint8_t
    {
        linear,
        logarithmic,
        syncedLogarithmic,
    };

    ReelwarpParameter parameter;
    const char* name;
    const char* displayName;
    Kind kind;
    float minimum;
    float maximum;
    float defaultValue;
    uint32_t displayType;
    Curve curve;
    const char* const* choices; // maximum - minimum + 1 texts of a choice
    void (*set)(ReelwarpProcessor::State& state, float value);
    float (*get)(const ReelwarpProcessor::State& state);
};

const ReelwarpParameterRow& reelwarpParameterRow(ReelwarpParameter parameter) noexcept;

// What a tape preset sets: the record head, playback head, transport,
// compander and level of the tape. The flanging, gains and mix stay.
constexpr ReelwarpParameter tapePresetParameters[] = {
    ReelwarpParameter::ApplyRecordHead, ReelwarpParameter::MagneticHardness, ReelwarpParameter::Hysteresis,
    ReelwarpParameter::DegradeDepth, ReelwarpParameter::DegradeRate, ReelwarpParameter::NoiseGain,
    ReelwarpParameter::ApplyPlayheadFilter, ReelwarpParameter::Spacing, ReelwarpParameter::Thickness,
    ReelwarpParameter::Azimuth, ReelwarpParameter::TrackWidthRatio, ReelwarpParameter::Speed,
    ReelwarpParameter::ApplyTransport, ReelwarpParameter::WowMod, ReelwarpParameter::WowRate,
    ReelwarpParameter::FlutterMod, ReelwarpParameter::FlutterRate, ReelwarpParameter::NoiseSync,
    ReelwarpParameter::NoiseMod, ReelwarpParameter::NoiseRate, ReelwarpParameter::ApplyCompander,
    ReelwarpParameter::NoiseReductionEncoder, ReelwarpParameter::NoiseReductionDecoder, ReelwarpParameter::NRLink,
    ReelwarpParameter::OutputPad, ReelwarpParameter::ApplyLowLatency,
};

// Registered once per process; the identifier of a row.
uint32_t reelwarpParameterId(ReelwarpParameter parameter);

// Bindings of every row on the processor's states: floats first, then
// switches, then choices, as the element declares them.
std::vector<std::unique_ptr<ParameterInfoBase>> makeReelwarpBindings();

} // namespace qel
