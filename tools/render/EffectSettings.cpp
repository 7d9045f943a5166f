#include "EffectSettings.h"

#include "element/ElementRegistry.h"
#include "element/BeatDivisions.h"
#include "element/ParameterRegistry.h"
#include "files/VFSHolder.h"
#include "tape/ReelwarpParameters.h"
#include "ui/PresetFiles.h"

namespace qel::render
{

namespace
{

const char* const factoryRoots[] = { "$Resource/resource/presets", "$Resource/resource/tapepresets" };

void collect(const Path& folder, const juce::String& folderName, std::vector<FactoryPreset>& out)
{
    std::vector<Volume::Entry> entries;
    VFSHolder::getInstance()->listFolder(folder, entries);
    std::sort(entries.begin(), entries.end(),
              [](const auto& a, const auto& b) { return a.name.compareNatural(b.name, false) < 0; });
    for (const auto& e : entries)
        if (e.isFolder)
            collect(folder.join(e.name), e.name, out);
        else if (e.name.endsWithIgnoreCase(".fxps"))
            out.push_back({ folderName, e.name.dropLastCharacters(5), folder.join(e.name) });
}

int editDistance(const juce::String& a, const juce::String& b)
{
    std::vector<int> row(static_cast<size_t>(b.length()) + 1);
    for (size_t j = 0; j < row.size(); ++j)
        row[j] = static_cast<int>(j);
    for (int i = 1; i <= a.length(); ++i)
    {
        int diagonal = row[0];
        row[0] = i;
        for (int j = 1; j <= b.length(); ++j)
        {
            const int above = row[static_cast<size_t>(j)];
            const int same = juce::CharacterFunctions::toLowerCase(a[i - 1]) == juce::CharacterFunctions::toLowerCase(b[j - 1]);
            row[static_cast<size_t>(j)] = std::min({ above + 1, row[static_cast<size_t>(j) - 1] + 1, diagonal + (same ? 0 : 1) });
            diagonal = above;
        }
    }
    return row.back();
}

juce::String didYouMean(const juce::String& wanted, const juce::StringArray& candidates)
{
    const auto near = nearestNames(wanted, candidates);
    return near.isEmpty() ? juce::String() : " (did you mean " + near.joinIntoString(", ") + "?)";
}

PresetKind kindOf(bool tape)
{
    return tape ? PresetKind::reelwarpTape() : PresetKind::whole();
}

bool applyPresetOption(Element& effect, const juce::String& wanted, bool tape, juce::String& error)
{
    const juce::String what = tape ? "tape preset" : "preset";
    if (wanted.equalsIgnoreCase("Default"))
    {
        return applyDefaultPreset(effect, kindOf(tape));
    }
    const auto file = juce::File::getCurrentWorkingDirectory().getChildFile(wanted);
    // A name with a slash may be a menu path ("01 Classic/Jet Tape"): a file only if one is there.
    if (wanted.endsWithIgnoreCase(".fxps") || (wanted.containsChar('/') && file.existsAsFile()))
    {
        if (!file.existsAsFile())
        {
            error = "no such " + what + " file: " + file.getFullPathName();
            return false;
        }
        if (!loadPresetFile(&effect, Path(file.getFullPathName()), kindOf(tape)))
        {
            error = "cannot read " + file.getFullPathName() + " as a Reel Warp " + what;
            return false;
        }
        return true;
    }
    juce::StringArray names;
    for (const auto& p : factoryPresets(tape))
    {
        if (wanted.equalsIgnoreCase(p.name) || wanted.equalsIgnoreCase(p.fullName()))
        {
            if (loadPresetFile(&effect, p.path, kindOf(tape)))
                return true;
            error = "the " + what + " " + p.name + " is damaged";
            return false;
        }
        names.add(p.name);
    }
    error = "no " + what + " named \"" + wanted + "\"" + didYouMean(wanted, names) + "; --list-presets shows them all";
    return false;
}

bool isSettable(const ParameterSummary& p)
{
    return !p.binding->description().has(ParameterFlags::readOnly) && p.type != "string";
}

} // namespace

std::vector<FactoryPreset> factoryPresets(bool tape)
{
    std::vector<FactoryPreset> out;
    collect(factoryRoots[tape ? 1 : 0], {}, out);
    return out;
}

juce::StringArray nearestNames(const juce::String& wanted, const juce::StringArray& candidates, int count)
{
    std::vector<std::pair<int, juce::String>> scored;
    for (const auto& c : candidates)
    {
        // A name that contains what was typed is as good as a near spelling.
        const int distance = c.containsIgnoreCase(wanted) && wanted.length() >= 3 ? 1 : editDistance(wanted, c);
        if (distance <= std::max(2, wanted.length() / 3))
            scored.emplace_back(distance, c);
    }
    std::stable_sort(scored.begin(), scored.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    juce::StringArray out;
    for (const auto& [distance, name] : scored)
        if (out.size() < count)
            out.addIfNotAlreadyThere(name);
    return out;
}

bool setParameterFromText(Element& effect, const juce::String& name, const juce::String& text, juce::String& error)
{
    const auto rows = summariseParameters(effect);
    const ParameterSummary* found = nullptr;
    juce::StringArray names;
    for (const auto& p : rows)
    {
        if (!isSettable(p))
            continue;
        names.add(p.name);
        if (p.name.equalsIgnoreCase(name) || p.displayName.equalsIgnoreCase(name))
            found = &p;
    }
    if (found == nullptr)
    {
        error = "no parameter named \"" + name + "\"" + didYouMean(name, names) + "; --list-parameters shows them all";
        return false;
    }

    auto& registry = ParameterRegistry::get();
    const auto id = found->binding->description().id;
    const auto bad = [&](const juce::String& why) {
        error = found->name + " cannot take \"" + text + "\": " + why;
        return false;
    };
    switch (found->binding->valueType())
    {
        case ValueType::floatValue:
        {
            const auto& d = registry.floatDescription(id);
            float v = 0.0f;
            if (!d.fromString(&effect, text, v) || !std::isfinite(v))
            {
                if (!isSyncedDisplayType(d.displayType))
                    return bad("not a value it understands");
                return bad(effect.isSyncedToHost() ? "synchronised, it takes a beat division such as 1/4"
                                                   : "beat divisions need --set SyncToHost=on before it");
            }
            if (isSyncedDisplayType(d.displayType) && effect.isSyncedToHost())
                v = BeatDivisions::ratioOfRow(static_cast<int>(v));
            else if (d.hasRange() && (v < d.minimum || v > d.maximum))
                return bad("it goes from " + d.toString(&effect, d.minimum) + " to " + d.toString(&effect, d.maximum));
            effect.setParameterFloat(id, v);
            return true;
        }
        case ValueType::intValue:
        {
            const auto& d = registry.intDescription(id);
            int v = 0;
            if (!d.fromString(&effect, text, v))
                return bad("not a value it understands");
            if (d.hasRange() && (v < d.minimum || v > d.maximum))
                return bad("it goes from " + d.toString(&effect, d.minimum) + " to " + d.toString(&effect, d.maximum));
            effect.setParameterInt(id, v);
            return true;
        }
        case ValueType::boolValue:
        {
            // The printed words, and the usual ones, read as well as 1 and 0.
            const auto& d = registry.boolDescription(id);
            const auto t = text.trim();
            bool v = false;
            if (t.equalsIgnoreCase(d.toString(&effect, true)) || t.equalsIgnoreCase("on") || t.equalsIgnoreCase("true"))
                v = true;
            else if (t.equalsIgnoreCase(d.toString(&effect, false)) || t.equalsIgnoreCase("off") || t.equalsIgnoreCase("false"))
                v = false;
            else if (!d.fromString(&effect, t, v))
                return bad("it is on or off (1 or 0)");
            effect.setParameterBool(id, v);
            return true;
        }
        default: return bad("it cannot be set from here");
    }
}

bool applySettings(Element& effect, const RenderOptions& options, juce::String& error)
{
    if (options.preset.isNotEmpty() && !applyPresetOption(effect, options.preset, false, error))
        return false;
    if (options.tapePreset.isNotEmpty() && !applyPresetOption(effect, options.tapePreset, true, error))
        return false;
    for (const auto& [name, value] : options.settings)
        if (!setParameterFromText(effect, name, value, error))
            return false;
    return true;
}

juce::String describePresets()
{
    juce::String out;
    for (const bool tape : { false, true })
    {
        out << (tape ? "\nTape presets (--tape-preset):\n  Default\n" : "Presets (--preset):\n  Default\n");
        juce::String folder;
        for (const auto& p : factoryPresets(tape))
        {
            if (p.folder != folder && p.folder.isNotEmpty())
                out << "  " << p.folder << "/\n";
            folder = p.folder;
            out << (p.folder.isEmpty() ? "  " : "    ") << p.name << "\n";
        }
    }
    return out;
}

juce::String describeParameters(Element& effect)
{
    auto& registry = ParameterRegistry::get();
    std::vector<juce::StringArray> table { { "Name", "Display name", "Range", "Default", "Unit" } };
    for (const auto& p : summariseParameters(effect))
    {
        if (!isSettable(p))
            continue;
        const auto id = p.binding->description().id;
        juce::String range, defaultText;
        switch (p.binding->valueType())
        {
            case ValueType::floatValue:
            {
                const auto& d = registry.floatDescription(id);
                range = d.toString(&effect, d.minimum) + " .. " + d.toString(&effect, d.maximum);
                defaultText = d.toString(&effect, d.defaultValue);
                break;
            }
            case ValueType::intValue:
            {
                const auto& d = registry.intDescription(id);
                juce::StringArray words;
                for (int v = d.minimum; v <= d.maximum && words.size() < 8; ++v)
                    words.add(d.toString(&effect, v));
                range = words.joinIntoString(" | ");
                defaultText = d.toString(&effect, d.defaultValue);
                break;
            }
            case ValueType::boolValue:
            {
                const auto& d = registry.boolDescription(id);
                range = d.toString(&effect, false) + " | " + d.toString(&effect, true);
                defaultText = d.toString(&effect, d.defaultValue);
                break;
            }
            default: break;
        }
        table.push_back({ p.name, p.displayName, range, defaultText, p.unit });
    }
    int widths[5] {};
    for (const auto& row : table)
        for (int c = 0; c < 5; ++c)
            widths[c] = std::max(widths[c], row[c].length() + 2);
    juce::String out;
    for (const auto& row : table)
    {
        for (int c = 0; c < 4; ++c)
            out << row[c].paddedRight(' ', widths[c]);
        out << row[4] << "\n";
    }
    return out;
}

} // namespace qel::render
