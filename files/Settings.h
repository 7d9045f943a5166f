#pragma once

#include <juce_core/juce_core.h>

#include <functional>
#include <map>

namespace qel
{

// Small per-user values in a branch of a store that keeps the registry's
// keys and value types: text, 32-bit numbers and binary. Here the store is
// one XML file under the user's configuration folder, shared by every branch.
class Settings
{
public:
    using Listener = std::function<void(const juce::String& key)>;

    static constexpr const char* processBranch = "SOFTWARE\\net.qel\\Reel Warp";

    explicit Settings(juce::String branch, juce::File store = defaultStore());

    // $XDG_CONFIG_HOME/QEL/Reel Warp/settings.xml, or under ~/.config.
    static juce::File defaultStore();
    // The branch of a plug-in format ("VST", "VST3", "LV2", "SA"); empty for an unknown one.
    static juce::String formatBranch(const juce::String& formatSuffix);
    // The process-wide branch, bound once.
    static Settings& processWide();

    const juce::String& getBranch() const noexcept { return branch; }

    juce::String getString(const juce::String& key, const juce::String& fallback) const;
    void setString(const juce::String& key, const juce::String& value);
    bool getBool(const juce::String& key, bool fallback) const;
    void setBool(const juce::String& key, bool value);
    int getInt(const juce::String& key, int fallback) const;
    void setInt(const juce::String& key, int value);
    float getFloat(const juce::String& key, float fallback) const;
    void setFloat(const juce::String& key, float value);
    juce::MemoryBlock getBinary(const juce::String& key) const;
    void setBinary(const juce::String& key, const juce::MemoryBlock& value);

    // Fires on every set, in the caller's thread.
    int connect(Listener listener);
    void disconnect(int connection);

private:
    struct Value
    {
        juce::String type; // "string", "dword" or "binary"
        juce::String data;
    };

    bool read(const juce::String& key, Value& out) const;
    void write(const juce::String& key, const Value& value);
    std::unique_ptr<juce::XmlElement> loadStore() const;

    juce::String branch;
    juce::File store;
    std::map<int, Listener> listeners;
    int nextConnection = 1;
};

} // namespace qel
