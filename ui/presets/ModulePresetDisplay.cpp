#include "ui/presets/ModulePresetDisplay.h"

#include "element/ElementFileValues.h"
#include "ui/presets/PresetTree.h"

#include <tinyxml2.h>

namespace qel
{

namespace
{
constexpr int menuItemHeight = 22;

void styleArrow(Button& b, const juce::String& text)
{
    b.setButtonText(text);
    b.setColour(juce::TextButton::buttonColourId, juce::Colours::transparentBlack);
    b.setColour(juce::TextButton::buttonOnColourId, juce::Colours::transparentBlack);
    b.setColour(juce::TextButton::textColourOffId, juce::Colour(0xff919191));
    b.setColour(juce::TextButton::textColourOnId, juce::Colour(0xff919191).brighter(0.4f));
}

Path userFolder(const char* relative)
{
    return Path(juce::File::getSpecialLocation(juce::File::userDocumentsDirectory).getChildFile(relative).getFullPathName());
}
} // namespace

PresetPlaces ModulePresetDisplay::wholePresetPlaces()
{
    return { "$Resource/resource/presets", userFolder("QEL/Reel Warp/User Presets"), "PresetPath" };
}

ModulePresetDisplay::ModulePresetDisplay(EngineProxy* p, const Path& elementPath, PresetPlaces where, bool isCompact)
    : SimpleElementView(p), places(std::move(where)), nameLabel(p, elementPath, places.propertyKey), compact(isCompact)
{
    setName("PresetDisplay");
    menuButton.setImagesFromAssets("b_burger");
    prevButton.setImagesFromAssets("b_nav-prev");
    nextButton.setImagesFromAssets("b_nav-next");
    styleArrow(prevButton, "<");
    styleArrow(nextButton, ">");
    styleArrow(menuButton, {});
    nameLabel.setTooltip("PresetName: click to load/save presets");
    nameLabel.setColour(juce::Label::textColourId, baseLabelColour());
    nameLabel.setJustificationType(juce::Justification(36));
    for (auto* b : { &menuButton, &prevButton, &nextButton })
    {
        b->addListener(this);
        addChildComponent(*b);
    }
    menuButton.setVisible(true);
    addAndMakeVisible(nameLabel);
    nameLabel.addMouseListener(this, false);
    for (auto* c : getChildren())
        if (c != &nameLabel)
            c->addMouseListener(this, false);
    setElementPath(elementPath);
}

ModulePresetDisplay::~ModulePresetDisplay()
{
    cancelPendingUpdate();
    nameLabel.removeMouseListener(this);
}

void ModulePresetDisplay::setRoots(const Path& factoryRoot, const Path& userRoot)
{
    places.factoryRoot = factoryRoot;
    places.userRoot = userRoot;
}

void ModulePresetDisplay::resized()
{
    menuButton.setBounds(0, 16, 35, 26);
    prevButton.setBounds(44, 16, 16, 26);
    nameLabel.setBounds(75, 16, 478, 26);
    nextButton.setBounds(568, 16, 16, 26);
}

void ModulePresetDisplay::updateHoverLook()
{
    const bool over = isMouseOver(true);
    nameLabel.setColour(juce::Label::textColourId, over ? baseLabelColour().brighter(0.4f) : baseLabelColour());
    prevButton.setVisible(over);
    nextButton.setVisible(over);
}

void ModulePresetDisplay::mouseDown(const juce::MouseEvent& event)
{
    if (event.eventComponent == &nameLabel)
        showMenu();
}

void ModulePresetDisplay::buttonClicked(juce::Button* button)
{
    if (button == &menuButton)
        showMenu();
    else if (button == &prevButton || button == &nextButton)
        stepPreset(currentPresetPath(), button == &nextButton);
}

Path ModulePresetDisplay::currentPresetPath() const
{
    const auto* element = getElement();
    return element != nullptr ? Path(element->getProperty(places.propertyKey).value.value_or(String())) : Path();
}

bool ModulePresetDisplay::loadPreset(const Path& path)
{
    auto* element = getElement();
    if (element == nullptr)
        return false;
    tinyxml2::XMLDocument document;
    auto* xml = readPresetBody(path, document);
    return xml != nullptr && applyPreset(*xml, readVersionAttribute(*xml, element->getTypeName()), path);
}

bool ModulePresetDisplay::applyPreset(tinyxml2::XMLElement& xml, int version, const Path& path)
{
    auto* element = getElement();
    return element != nullptr && qel::applyPreset(*element, xml, version, path, presetKind());
}

void ModulePresetDisplay::loadDefault()
{
    if (auto* element = getElement())
        applyDefaultPreset(*element, presetKind());
}

void ModulePresetDisplay::stepPreset(const Path& current, bool forward)
{
    const auto next = steppedPresetPath(current, forward, places.factoryRoot, places.userRoot, extension);
    if (!next.isEmpty())
        loadPreset(next);
}

void ModulePresetDisplay::addTree(juce::PopupMenu& menu, const Path& folder, const Path& current,
                                  std::map<int, Path>& pathsById) const
{
    for (const auto& entry : listPresetFolder(folder))
    {
        if (entry.isFolder)
        {
            juce::PopupMenu sub;
            addTree(sub, entry.path, current, pathsById);
            if (sub.getNumItems() > 0)
                menu.addSubMenu(entry.name, sub);
        }
        else if (entry.name.endsWithIgnoreCase(extension))
        {
            const int id = menuDefault + 1 + static_cast<int>(pathsById.size());
            pathsById[id] = entry.path;
            menu.addItem(id, presetDisplayName(entry.path), true, entry.path == current);
        }
    }
}

juce::PopupMenu ModulePresetDisplay::buildMenu(std::map<int, Path>& pathsById) const
{
    pathsById.clear();
    const juce::File userFolder(places.userRoot.toString());
    if (juce::File::isAbsolutePath(places.userRoot.toString()))
        userFolder.createDirectory();
    const auto current = currentPresetPath();

    juce::PopupMenu menu;
    menu.addItem(menuLoad, "Load");
    menu.addItem(menuSave, "Save");
    if (presetFolderExists(places.factoryRoot))
    {
        menu.addSectionHeader("Factory Presets");
        menu.addItem(menuDefault, "Default");
        addTree(menu, places.factoryRoot, current, pathsById);
    }
    else
        menu.addItem(menuDefault, "Default");
    if (!listPresetFolder(places.userRoot).empty())
    {
        menu.addSectionHeader("User Presets");
        addTree(menu, places.userRoot, current, pathsById);
    }
    return menu;
}

void ModulePresetDisplay::showMenu()
{
    auto pathsById = std::make_shared<std::map<int, Path>>();
    auto menu = buildMenu(*pathsById);
    const int itemHeight = juce::jmax(menuItemHeight, juce::roundToInt(nameLabel.getFont().getHeight()));
    menu.showMenuAsync(juce::PopupMenu::Options().withTargetComponent(&menuButton).withStandardItemHeight(itemHeight),
                       [safe = juce::Component::SafePointer<ModulePresetDisplay>(this), pathsById](int id) {
                           if (safe != nullptr)
                               safe->menuItemChosen(id, *pathsById);
                       });
}

void ModulePresetDisplay::menuItemChosen(int id, const std::map<int, Path>& pathsById)
{
    if (id == menuLoad)
        loadPresetDialog();
    else if (id == menuSave)
        savePreset();
    else if (id == menuDefault)
        loadDefault();
    else if (const auto it = pathsById.find(id); it != pathsById.end())
        loadPreset(it->second); // a file gone since the menu opened fails to read and changes nothing
}

void ModulePresetDisplay::loadPresetDialog()
{
    chooser = std::make_unique<juce::FileChooser>("Load Preset", juce::File(places.userRoot.toString()), "*" + extension, true);
    chooser->launchAsync(juce::FileBrowserComponent::openMode | juce::FileBrowserComponent::canSelectFiles,
                         [safe = juce::Component::SafePointer<ModulePresetDisplay>(this)](const juce::FileChooser& c) {
                             if (safe != nullptr && c.getResult() != juce::File())
                                 safe->loadPreset(Path(c.getResult().getFullPathName()));
                         });
}

void ModulePresetDisplay::savePreset()
{
    const juce::File folder(places.userRoot.toString());
    folder.createDirectory();
    const auto start = folder.getChildFile(presetDisplayName(currentPresetPath()));
    chooser = std::make_unique<juce::FileChooser>("Save Preset as...", start, "*" + extension, true);
    chooser->launchAsync(juce::FileBrowserComponent::saveMode | juce::FileBrowserComponent::canSelectFiles
                             | juce::FileBrowserComponent::warnAboutOverwriting,
                         [safe = juce::Component::SafePointer<ModulePresetDisplay>(this)](const juce::FileChooser& c) {
                             if (safe != nullptr && c.getResult() != juce::File())
                                 safe->saveTo(c.getResult());
                         });
}

bool ModulePresetDisplay::saveTo(juce::File file)
{
    auto* element = getElement();
    if (element == nullptr)
        return false;
    juce::File(places.userRoot.toString()).createDirectory();
    if (!file.hasFileExtension(extension))
        file = file.withFileExtension(extension);
    return savePresetFile(*element, file, presetKind(), compact);
}

TapeModulePresetDisplay::TapeModulePresetDisplay(EngineProxy* p, const Path& elementPath)
    : ModulePresetDisplay(p, elementPath, tapePresetPlaces(), true)
{
    nameLabel.setColour(juce::Label::textColourId, baseLabelColour());
    nameLabel.setFont(juce::Font(19.0f));
    nameLabel.setJustificationType(juce::Justification(33));
    nameLabel.setEditable(false);
}

PresetPlaces TapeModulePresetDisplay::tapePresetPlaces()
{
    return { "$Resource/resource/tapepresets", userFolder("QEL/Reel Warp/Tape User Presets"), "TapePresetPath" };
}

PresetKind TapeModulePresetDisplay::presetKind() const
{
    return PresetKind::reelwarpTape();
}

void TapeModulePresetDisplay::resized()
{
    menuButton.setBounds(0, 0, 35, 26);
    nameLabel.setBounds(34, 3, 180, 20);
    prevButton.setBounds(220, 0, 16, 26);
    nextButton.setBounds(238, 0, 16, 26);
}

void TapeModulePresetDisplay::enablementChanged()
{
    setAlpha(isEnabled() ? 1.0f : 0.5f);
}

} // namespace qel
