#pragma once

#include "element/ProcessingElement.h"
#include "element/SignalConnection.h"
#include "engine/instrument/AdsrEnvelope.h"
#include "engine/instrument/MinBlepGenerator.h"

#include <array>

namespace qel
{

// One key zone of an instrument: its oscillators, its envelopes and the links
// from envelopes to its Volume, played by a fixed set of voices. A note in
// the zone takes a free voice, or the same key's voice again, or steals the
// quietest releasing voice, else the oldest. Everything a voice needs is
// made before the first block.
class Keygroup : public ProcessingElement
{
public:
    static constexpr const char* typeName = "Keygroup";
    static constexpr int voiceCount = 8;
    static constexpr int maxOscillators = 4;
    static constexpr int maxModulators = 4;
    static constexpr int maxLinks = 8;
    static constexpr int maxBlockEvents = 256;

    struct Ids
    {
        uint32_t volume, lowKey, highKey;
        static const Ids& get();
    };

    struct State : ProcessingElementState
    {
        using ProcessingElementState::ProcessingElementState;
        float volume = -12.0f; // dB; leaves room for a chord
        int lowKey = 0;
        int highKey = 127;
    };

    Keygroup();

    // Message thread; each waits for the tree's lock once the keygroup is in a
    // tree. False, and the part dropped, when the keygroup holds its most.
    bool addOscillator(std::unique_ptr<MinBlepGenerator> oscillator);
    bool addModulator(std::unique_ptr<AdsrEnvelope> modulator);
    // A link from the modulator of that index; it takes the modulator's name as its source.
    void addModulationLink(std::unique_ptr<SignalConnection> link, int modulatorIndex);
    // Binds each link to its modulator by name; a link that names none, or a
    // destination other than Volume, moves nothing.
    void postLoad();

    int getNumOscillators() const noexcept { return oscillatorCount; }
    MinBlepGenerator* getOscillator(int index) const noexcept { return oscillators[(size_t) index]; }
    int getNumModulators() const noexcept { return modulatorCount; }
    AdsrEnvelope* getModulator(int index) const noexcept { return modulators[(size_t) index]; }
    int getNumVolumeLinks() const noexcept { return volumeLinkCount; }
    int getActiveVoiceCount() const noexcept;

    void prepare() override;
    void resetProcessState() override;
    void invalidateTail() override {}
    void handleEvents(RenderContext& context, const EngineEvent* events, int count) override;
    void process(RenderContext& context, int frames, ProcessingElementState& state) override;

    // Links from the keygroup's own modulators are kept apart from MIDI-learn links.
    bool addModulationSource(const tinyxml2::XMLElement& description, bool lock) override;
    bool removeModulationSource(uint32_t parameterId, const String& sourcePath, bool lock) override;
    bool save(tinyxml2::XMLElement& parent, const ElementSaveOptions& options) override;
    bool load(const tinyxml2::XMLElement& xml, const ElementLoadOptions& options, uint32_t version) override;

private:
    struct Voice
    {
        int key = -1;
        float velocity = 0.0f;
        uint32_t age = 0;
        bool held = false;      // the key is down
        bool sustained = false; // the key is up, the pedal holds it
        std::array<BlepOscillator, maxOscillators> oscillators;
        std::array<Adsr, maxModulators> envelopes;
    };
    struct NoteEvent
    {
        int32_t position;
        int32_t type;
        int32_t data1;
        int32_t data2;
    };
    struct VolumeLink
    {
        int modulator;
        const SignalConnection* link;
    };

    bool isSounding(const Voice& voice) const noexcept;
    void apply(const NoteEvent& event, const State& state);
    void noteOn(int key, int velocity);
    void noteOff(int key);
    void releaseAll(bool sustainedOnly);
    void silenceVoices() noexcept;
    Voice& voiceFor(int key);
    void retune(RenderContext& context);
    void renderVoices(float* out, int frames, float gain) noexcept;
    void removeParts();
    bool isVoiceLink(const SignalConnection& link) const { return !link.source.startsWithChar('@'); }

    std::array<MinBlepGenerator*, maxOscillators> oscillators {};
    std::array<AdsrEnvelope*, maxModulators> modulators {};
    std::array<SignalConnection*, maxLinks> links {};
    std::array<VolumeLink, maxLinks> volumeLinks {};
    int oscillatorCount = 0;
    int modulatorCount = 0;
    int linkCount = 0;
    int volumeLinkCount = 0;

    std::array<Voice, voiceCount> voices;
    std::array<NoteEvent, maxBlockEvents> blockEvents {};
    int blockEventCount = 0;
    uint32_t noteCounter = 0;
    bool pedalDown = false;
};

} // namespace qel
