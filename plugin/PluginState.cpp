// The host's state: written from the live tree on whichever thread asks,
// loaded on that thread into a new engine that takes over between blocks on
// the message thread.

#include "plugin/HostState.h"
#include "plugin/Plugin.h"

#include "element/ElementRegistry.h"

#include <tinyxml2.h>

#include <cstring>

namespace qel
{

std::shared_ptr<tinyxml2::XMLDocument> Plugin::getPendingState() const
{
    const juce::SpinLock::ScopedLockType guard(stateDocumentLock);
    return stateDocument;
}

void Plugin::onMessageThread(std::function<void(Plugin&)> work)
{
    if (juce::MessageManager::existsAndIsCurrentThread())
    {
        work(*this);
        return;
    }
    juce::MessageManager::callAsync([life = lifetime, work = std::move(work)] {
        const juce::ScopedLock guard(life->lock);
        if (life->plugin != nullptr)
            work(*life->plugin);
    });
}

void Plugin::endPostedWork()
{
    const juce::ScopedLock guard(lifetime->lock);
    lifetime->plugin = nullptr;
}

void Plugin::saveState(tinyxml2::XMLDocument& document)
{
    auto* root = document.NewElement("QEL4");
    document.InsertEndChild(root);
    // Gathered here, whatever the thread: a host that holds its own lock
    // around this call while its message thread waits for that lock must
    // never wait for the message thread in turn.
    std::weak_ptr<Engine> saved;
    {
        const juce::ScopedLock guard(treeLock());
        engine->save(*root, {});
        saved = engine;
    }
    // Clean marks are told to listeners, which live on the message thread.
    onMessageThread([saved](Plugin&) {
        if (const auto clean = saved.lock())
            clean->dirtyDone();
    });
}

void Plugin::getStateInformation(juce::MemoryBlock& destData)
{
    if (auto pending = getPendingState())
    {
        destData = HostState::encode(*pending); // what the host gave, even before its restore
        return;
    }
    tinyxml2::XMLDocument document;
    saveState(document);
    destData = HostState::encode(document);
}

namespace
{
// The engine that a state document describes, loaded; null when the document
// holds none, or one that comes up without its effect.
std::shared_ptr<Engine> loadEngine(const tinyxml2::XMLDocument& document, const juce::File& stateFile)
{
    const auto* root = document.FirstChildElement();
    if (root == nullptr || std::strcmp(root->Name(), "QEL4") != 0)
        return nullptr;
    const auto* xml = root->FirstChildElement();
    if (xml == nullptr)
        return nullptr;
    auto made = ElementRegistry::instance().create(textFromUtf8(xml->Name()));
    if (dynamic_cast<Engine*>(made.get()) == nullptr)
        return nullptr;
    std::shared_ptr<Engine> loaded(static_cast<Engine*>(made.release()));
    ElementLoadOptions options;
    options.loadConnections = 1;
    if (stateFile != juce::File())
        options.baseFolder = stateFile.getParentDirectory();
    // A child that failed leaves its error on the engine and the others loaded;
    // a state that brings no effect at all is refused.
    loaded->load(*xml, options, currentLayoutVersion);
    if (loaded->getNumProcessingChildren() == 0)
        return nullptr;
    return loaded;
}
} // namespace

void Plugin::setStateInformation(const void* data, int sizeInBytes)
{
    juce::File stateFile; // relative paths resolve against nothing outside the standalone app
    auto document = std::make_shared<tinyxml2::XMLDocument>();
    HostState::decode(data, sizeInBytes > 0 ? static_cast<size_t>(sizeInBytes) : 0, *document);
    // Loaded here, away from the live tree, so that a host reading the values
    // as soon as this returns reads the restored ones: it is then never told
    // of them by value changes, which hosts record as automation.
    auto loaded = loadEngine(*document, stateFile);
    if (loaded != nullptr)
        shapeRestoredTree(*loaded);
    {
        const juce::SpinLock::ScopedLockType guard(stateDocumentLock);
        stateDocument = document;
    }
    for (auto* slot : exported)
        slot->answerUntilRestored(loaded.get());
    onMessageThread([document, loaded](Plugin& self) { self.restoreState(document, loaded); });
}

void Plugin::restoreState(const std::shared_ptr<tinyxml2::XMLDocument>& document, std::shared_ptr<Engine> loaded)
{
    if (getPendingState() != document)
        return; // a newer state replaced this one: only the last is restored

    // The former tree lives until the proxy has left it, and is freed after
    // the lock: blocks pass dry while it is held.
    std::shared_ptr<Engine> former;
    {
        const juce::ScopedLock guard(renderLock);
        former = engine;
        if (loaded != nullptr)
        {
            {
                const juce::ScopedLock treeGuard(treeLock());
                engine = std::move(loaded);
            }
            furtherBuses.clear();
            mainBus.reset();
            // The host's format, or the one the former tree was last prepared with.
            const double rate = getSampleRate() > 0.0 ? getSampleRate() : static_cast<double>(former->getEngineSampleRate());
            const int blockSize = getBlockSize() > 0 ? getBlockSize() : static_cast<int>(former->getBlockSize());
            if (rate > 0.0 && blockSize > 0 && (getSampleRate() > 0.0 || former->isPrepared()))
            {
                prepareEngine(rate, blockSize);
                needsPrepare = false;
            }
        }
        setEngine(engine);
        for (auto* slot : exported)
            slot->answerUntilRestored(nullptr);
        // An LV2 host learns a value only from the plug-in's message of it.
        if (wrapperType == wrapperType_LV2)
            for (auto* slot : exported)
                slot->sendValueChangedMessageToListeners(slot->getValue());
    }

    const juce::SpinLock::ScopedLockType pendingGuard(stateDocumentLock);
    if (stateDocument == document)
        stateDocument.reset();
}

} // namespace qel
