#include "files/Settings.h"

#include <cstring>

namespace qel
{

namespace
{
const char* rootTag = "QELSettings";
} // namespace

Settings::Settings(juce::String branchPath, juce::File storeFile) : branch(std::move(branchPath)), store(std::move(storeFile))
{
}

juce::File Settings::defaultStore()
{
    juce::File config;
    if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg != nullptr && *xdg == '/')
        config = juce::File(juce::CharPointer_UTF8(xdg));
    else
        config = juce::File::getSpecialLocation(juce::File::userHomeDirectory).getChildFile(".config");
    return config.getChildFile("QEL").getChildFile("Reel Warp").getChildFile("settings.xml");
}

juce::String Settings::formatBranch(const juce::String& formatSuffix)
{
    if (formatSuffix.isEmpty())
        return {};
    return juce::String(processBranch) + "\\" + formatSuffix;
}

Settings& Settings::processWide()
{
    static Settings settings(processBranch);
    return settings;
}

// A store that cannot be read counts as empty; it is replaced only by a real write.
std::unique_ptr<juce::XmlElement> Settings::loadStore() const
{
    if (!store.existsAsFile())
        return nullptr;
    auto xml = juce::parseXML(store);
    if (xml == nullptr || !xml->hasTagName(rootTag))
        return nullptr;
    return xml;
}

bool Settings::read(const juce::String& key, Value& out) const
{
    const auto xml = loadStore();
    if (xml == nullptr)
        return false;
    for (const auto* b : xml->getChildWithTagNameIterator("Branch"))
    {
        if (b->getStringAttribute("path") != branch)
            continue;
        for (const auto* v : b->getChildWithTagNameIterator("Value"))
            if (v->getStringAttribute("key") == key)
            {
                out = { v->getStringAttribute("type"), v->getStringAttribute("data") };
                return true;
            }
    }
    return false;
}

void Settings::write(const juce::String& key, const Value& value)
{
    auto xml = loadStore();
    if (xml == nullptr)
        xml = std::make_unique<juce::XmlElement>(rootTag);
    juce::XmlElement* b = nullptr;
    for (auto* candidate : xml->getChildWithTagNameIterator("Branch"))
        if (candidate->getStringAttribute("path") == branch)
            b = candidate;
    if (b == nullptr)
    {
        b = xml->createNewChildElement("Branch");
        b->setAttribute("path", branch);
    }
    juce::XmlElement* v = nullptr;
    for (auto* candidate : b->getChildWithTagNameIterator("Value"))
        if (candidate->getStringAttribute("key") == key)
            v = candidate;
    if (v == nullptr)
    {
        v = b->createNewChildElement("Value");
        v->setAttribute("key", key);
    }
    v->setAttribute("type", value.type);
    v->setAttribute("data", value.data);

    // Written beside the store and moved over it, so a failed write leaves the old one.
    if (store.getParentDirectory().createDirectory().wasOk())
    {
        juce::TemporaryFile temporary(store);
        if (xml->writeTo(temporary.getFile()))
            temporary.overwriteTargetFileWithTemporary();
    }

    for (auto& [id, listener] : std::map<int, Listener>(listeners))
        if (listener)
            listener(key);
}

juce::String Settings::getString(const juce::String& key, const juce::String& fallback) const
{
    Value v;
    return read(key, v) && v.type == "string" ? v.data : fallback;
}

void Settings::setString(const juce::String& key, const juce::String& value)
{
    write(key, { "string", value });
}

bool Settings::getBool(const juce::String& key, bool fallback) const
{
    Value v;
    return read(key, v) && v.type == "dword" ? v.data.getIntValue() != 0 : fallback;
}

void Settings::setBool(const juce::String& key, bool value)
{
    write(key, { "dword", value ? "1" : "0" });
}

int Settings::getInt(const juce::String& key, int fallback) const
{
    Value v;
    return read(key, v) && v.type == "dword" ? v.data.getIntValue() : fallback;
}

void Settings::setInt(const juce::String& key, int value)
{
    write(key, { "dword", juce::String(value) });
}

float Settings::getFloat(const juce::String& key, float fallback) const
{
    const auto bytes = getBinary(key);
    if (bytes.getSize() != sizeof(float))
        return fallback;
    float f;
    std::memcpy(&f, bytes.getData(), sizeof f);
    return f;
}

void Settings::setFloat(const juce::String& key, float value)
{
    setBinary(key, juce::MemoryBlock(&value, sizeof value));
}

juce::MemoryBlock Settings::getBinary(const juce::String& key) const
{
    Value v;
    juce::MemoryBlock block;
    if (read(key, v) && v.type == "binary" && !block.fromBase64Encoding(v.data))
        block.reset();
    return block;
}

void Settings::setBinary(const juce::String& key, const juce::MemoryBlock& value)
{
    write(key, { "binary", value.toBase64Encoding() });
}

int Settings::connect(Listener listener)
{
    listeners[nextConnection] = std::move(listener);
    return nextConnection++;
}

void Settings::disconnect(int connection)
{
    listeners.erase(connection);
}

} // namespace qel
