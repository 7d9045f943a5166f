#include "plugin/ExportTable.h"

#include "element/ParameterRegistry.h"
#include "tape/ReelwarpParameters.h"

namespace qel
{

const std::array<uint32_t, exportedParameterCount>& exportedParameterIds()
{
    static const std::array<uint32_t, exportedParameterCount> ids = [] {
        using P = ReelwarpParameter;
        static constexpr P effectSlots[exportedParameterCount - 1] = {
            P::ApplyRecordHead, P::MagneticHardness, P::Hysteresis, P::NoiseGain, P::ApplyNoiseGate,
            P::DegradeDepth, P::DegradeRate, P::ApplyPlayheadFilter, P::Spacing, P::Thickness,
            P::Azimuth, P::TrackWidthRatio, P::Speed, P::ApplyTransport, P::ApplyLowLatency,
            P::WowMod, P::WowRate, P::FlutterMod, P::FlutterRate, P::NoiseSync,
            P::NoiseMod, P::NoiseRate, P::Delay, P::ApplyFeedbackCompensation, P::Feedback,
            P::Drive, P::InputGain, P::OutputGain, P::Mix, P::MaxRelativeDelay,
            P::RelativeDelay, P::Fade, P::PhaseInvert, P::FlangeMode, P::LFOFreq,
            P::LFOPhase, P::LFOShape, P::LFOSymmetry, P::LFOSwing, P::ApplyCompander,
            P::NoiseReductionEncoder, P::NoiseReductionDecoder, P::NRLink, P::OutputPad,
        };
        std::array<uint32_t, exportedParameterCount> table {};
        table[0] = FrameworkParameters::get().syncToHost;
        for (int i = 1; i < exportedParameterCount; ++i)
            table[(size_t) i] = reelwarpParameterId(effectSlots[i - 1]);
        return table;
    }();
    return ids;
}

} // namespace qel
