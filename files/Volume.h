#pragma once

#include "files/Path.h"

#include <juce_core/juce_core.h>

#include <memory>
#include <vector>

namespace qel
{

// A file system mounted under a name: the resource archive, or a folder of the disk.
class Volume
{
public:
    enum Kind : uint32_t
    {
        fixedDrive = 3,
        opticalDrive = 4,
    };

    enum Flags : uint32_t
    {
        userPlace = 1u << 0,
        readOnly = 1u << 1,
    };

    struct Entry
    {
        juce::String name;
        bool isFolder = false;
        int64_t size = 0;
        bool exists = false;
    };

    Volume(juce::String name, juce::String displayName, Path root, uint32_t kind, uint32_t flags);
    virtual ~Volume() = default;

    // Entries of a folder, in name order; "." and ".." never appear.
    virtual void listFolder(const Path& path, std::vector<Entry>& out) const = 0;
    virtual Entry describe(const Path& path) const = 0;
    virtual Path resolve(const Path& path) const;
    // Null when there is no such entry.
    virtual std::unique_ptr<juce::InputStream> createInputStream(const Path& path) const = 0;
    virtual bool createFolder(const Path&) { return false; }
    virtual std::unique_ptr<juce::OutputStream> createOutputStream(const Path&) { return nullptr; }
    virtual bool remove(const Path&) { return false; }

    const juce::String& getName() const noexcept { return name; }
    const juce::String& getDisplayName() const noexcept { return displayName; }
    const Path& getRoot() const noexcept { return root; }
    uint32_t getKind() const noexcept { return kind; }
    uint32_t getFlags() const noexcept { return flags; }
    bool isValid() const noexcept { return valid; }
    const juce::String& getMessage() const noexcept { return message; }

protected:
    void invalidate(const juce::String& why)
    {
        valid = false;
        message = why;
    }

private:
    juce::String name;
    juce::String displayName;
    Path root;
    uint32_t kind;
    [[maybe_unused]] int count = 1;
    uint32_t flags;
    bool valid = true;
    juce::String message;
};

} // namespace qel
