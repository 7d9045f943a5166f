#include "ui/face/Sections.h"

namespace qel
{

namespace
{
using P = ReelwarpParameter;

struct SectionKnob
{
    P parameter;
    int x, y;
    const char* tooltip;
};

template <size_t N>
void addKnobs(FaceWidgets& widgets, const SectionKnob (&table)[N])
{
    for (const auto& k : table)
        widgets.knob(k.parameter, { k.x, k.y, 26, 26 }, sectionKnobStrip, k.tooltip, true);
}

const SectionKnob tapeKnobs[] = {
    { P::MagneticHardness, 0, 18, "Amount of magnetic response and distortion" },
    { P::Hysteresis, 65, 18, "Magnetic highpass cutoff" },
    { P::DegradeDepth, 126, 18, "Amount of random demagnetization" },
    { P::DegradeRate, 173, 18, "Rate of random demagnetization" },
    { P::NoiseGain, 220, 18, "Amount of internal noise" },
};

const SectionKnob playbackKnobs[] = {
    { P::Speed, 0, 0, "Tape speed - affects playback fidelity only, not delay times (tape length is compensated)" },
    { P::Spacing, 56, 0, "Spacing between playback head and tape" },
    { P::Thickness, 111, 0, "Tape thickness" },
    { P::Azimuth, 166, 0, "Angle between playback head and tape" },
    { P::TrackWidthRatio, 221, 0, "Ratio between playback head and tape widths" },
};

const SectionKnob transportKnobs[] = {
    { P::WowMod, 0, 31, "Amount of low frequency modulation" },
    { P::WowRate, 47, 31, "Rate of low frequency modulation" },
    { P::FlutterMod, 112, 31, "Amount of mid frequency modulation" },
    { P::FlutterRate, 159, 31, "Rate of mid frequency modulation" },
    { P::NoiseMod, 225, 31, "Amount of random modulation" },
    { P::NoiseRate, 272, 31, "Rate of random modulation" },
};
// The encoder, then the decoder, which the link hides.
juce::ComboBox& addCoders(FaceWidgets& widgets)
{
    widgets.combo(P::NoiseReductionEncoder, { 15, 1, 119, 24 }, "Noise reduction encoder");
    return widgets.combo(P::NoiseReductionDecoder, { 15, 92, 119, 24 }, "Noise reduction decoder");
}
} // namespace

TapeSection::TapeSection(EngineProxy* proxy, const Path& effectPath) : widgets(*this, proxy, effectPath)
{
    addKnobs(widgets, tapeKnobs);
    widgets.toggle({ P::ApplyNoiseGate, { 244, 0, 24, 24 }, "b_clip", "Enable noise gate" });
}

PlaybackSection::PlaybackSection(EngineProxy* proxy, const Path& effectPath) : widgets(*this, proxy, effectPath)
{
    addKnobs(widgets, playbackKnobs);
}

TransportSection::TransportSection(EngineProxy* proxy, const Path& effectPath) : widgets(*this, proxy, effectPath)
{
    addKnobs(widgets, transportKnobs);
    widgets.toggle({ P::NoiseSync, { 290, 0, 24, 24 }, "b_phase", "Unsync random modulations for all channels" });
}

CompanderSection::CompanderSection(EngineProxy* proxy, const Path& effectPath)
    : SimpleElementView(proxy), widgets(*this, proxy, effectPath),
      decoder(addCoders(widgets)),
      link(proxy, effectPath, reelwarpParameterId(P::NRLink), [this](bool on) { decoder.setVisible(!on); })
{
    widgets.toggle({ P::NRLink, { 54, 41, 41, 41 }, "b_link", "Link noise reduction encoder and decoder" });
    setElementPath(effectPath);
}

} // namespace qel
