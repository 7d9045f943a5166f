#include "engine/instrument/TestInstrument.h"

#include "element/ElementRegistry.h"
#include "engine/instrument/InstrumentContainer.h"
#include "engine/instrument/Keygroup.h"

namespace qel::testInstrument
{

namespace
{
template <typename T>
Element* make()
{
    return new T();
}

// Each element and its descendants, leaves first, so that the parents follow.
void markClean(Element& element)
{
    for (int i = 0; i < element.getNumChildren(); ++i)
        markClean(*element.getChild(i));
    element.dirtyDone();
}
} // namespace

void registerTypes()
{
    static const bool once = [] {
        auto& registry = ElementRegistry::instance();
        registry.add({ "Program", Program::typeName, &make<Program>, ElementRegistry::other, 0, 0 });
        registry.add({ "Layer", Layer::typeName, &make<Layer>, ElementRegistry::other, 0, 0 });
        registry.add({ "Keygroup", Keygroup::typeName, &make<Keygroup>, ElementRegistry::other, 0, 0 });
        registry.add({ "MinBLEP Oscillator", MinBlepGenerator::typeName, &make<MinBlepGenerator>,
                       ElementRegistry::oscillator, 0, 0 });
        registry.add({ "ADSR Envelope", AdsrEnvelope::typeName, &make<AdsrEnvelope>, ElementRegistry::modulation, 0, 0 });
        return true;
    }();
    (void) once;
}

void addTo(Engine& engine)
{
    auto owned = std::make_unique<Program>();
    auto* program = owned.get();
    engine.addChild(std::move(owned));
    auto layer = std::make_unique<Layer>();
    auto* layerInProgram = layer.get();
    program->addLayer(std::move(layer));

    auto keygroup = std::make_unique<Keygroup>();
    auto oscillator = std::make_unique<MinBlepGenerator>();
    oscillator->setParameterInt(MinBlepGenerator::Ids::get().waveform, BlepOscillator::saw);
    keygroup->addOscillator(std::move(oscillator));
    keygroup->addModulator(std::make_unique<AdsrEnvelope>(envelopeName));

    auto link = std::make_unique<SignalConnection>(linkName);
    link->displayName = envelopeName;
    link->destination = "Volume";
    link->ratio = 1.0f;
    keygroup->addModulationLink(std::move(link), 0);

    auto* closing = keygroup.get();
    layerInProgram->addKeygroup(std::move(keygroup));
    closing->postLoad();
    markClean(*program);
}

} // namespace qel::testInstrument
