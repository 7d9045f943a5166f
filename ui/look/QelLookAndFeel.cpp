#include "ui/look/QelLookAndFeel.h"

#include <utility>
#include <vector>

namespace qel
{

namespace
{
using Row = std::pair<int, juce::Colour>;

// Built once for the process; every instance sets the rows in this order.
const std::vector<Row>& palette()
{
    static const std::vector<Row> rows = {
        { juce::BubbleComponent::outlineColourId, juce::Colours::black.withAlpha(0.5f) },
        { juce::TooltipWindow::backgroundColourId, juce::Colour(0xff555555).darker(0.4f) },
        { juce::TooltipWindow::textColourId, juce::Colour(0xffc8c8c8) },
        { juce::PopupMenu::highlightedBackgroundColourId, juce::Colour(0xff785991) },
        { juce::PopupMenu::highlightedTextColourId, juce::Colour(0xffffffff) },
        { juce::PopupMenu::backgroundColourId, juce::Colour(0xffe6e6e6) },
        { juce::PopupMenu::textColourId, juce::Colour(0xff424242) },
        { juce::PopupMenu::headerTextColourId, juce::Colour(0xff785991) },
        { juce::TextButton::buttonColourId, juce::Colour(0xff555555) },
        { juce::TextButton::buttonOnColourId, juce::Colour(0xff4169e1) },
        { juce::TextButton::textColourOnId, juce::Colour(0xffffffff) },
        { juce::TextButton::textColourOffId, juce::Colour(0xffffffff) },
        { juce::ComboBox::backgroundColourId, juce::Colour(0xff212121) },
        { juce::ComboBox::outlineColourId, juce::Colours::black.withAlpha(0.5f) },
        { juce::ComboBox::textColourId, juce::Colour(0xff6a6a6a) },
        { juce::ComboBox::arrowColourId, juce::Colour(0xff555555) },
    };
    return rows;
}

struct QelLookAndFeelHolder : juce::DeletedAtShutdown
{
    ~QelLookAndFeelHolder() override { clearSingletonInstance(); }
    QelLookAndFeel lookAndFeel;
    JUCE_DECLARE_SINGLETON_SINGLETHREADED_MINIMAL(QelLookAndFeelHolder)
};
JUCE_IMPLEMENT_SINGLETON(QelLookAndFeelHolder)

juce::Font plainFont(float height)
{
    return juce::Font(height);
}
} // namespace

QelLookAndFeel::QelLookAndFeel()
{
    for (const auto& [id, colour] : palette())
        setColour(id, colour);
}

QelLookAndFeel& QelLookAndFeel::getInstance()
{
    return QelLookAndFeelHolder::getInstance()->lookAndFeel;
}

void QelLookAndFeel::drawButtonBackground(juce::Graphics& g, juce::Button& button, const juce::Colour& background,
                                          bool highlighted, bool down)
{
    auto colour = background.withMultipliedAlpha(button.isEnabled() ? 1.0f : 0.5f);
    if (down)
        colour = colour.darker(0.2f);
    else if (highlighted)
        colour = colour.brighter(0.15f);
    const auto area = button.getLocalBounds().toFloat().reduced(0.5f);
    g.setColour(colour);
    g.fillRoundedRectangle(area, 3.0f);
    g.setColour(button.findColour(juce::ComboBox::outlineColourId));
    g.drawRoundedRectangle(area, 3.0f, 1.0f);
}

juce::Font QelLookAndFeel::getTextButtonFont(juce::TextButton&, int buttonHeight)
{
    return plainFont(juce::jmin(textHeight, (float) buttonHeight * 0.7f));
}

void QelLookAndFeel::drawButtonText(juce::Graphics& g, juce::TextButton& button, bool, bool)
{
    g.setFont(getTextButtonFont(button, button.getHeight()));
    const auto id = button.getToggleState() ? juce::TextButton::textColourOnId : juce::TextButton::textColourOffId;
    g.setColour(button.findColour(id).withMultipliedAlpha(button.isEnabled() ? 1.0f : 0.5f));
    g.drawFittedText(button.getButtonText(), button.getLocalBounds().reduced(4, 2), juce::Justification::centred, 1);
}

void QelLookAndFeel::drawToggleButton(juce::Graphics& g, juce::ToggleButton& button, bool highlighted, bool)
{
    const float size = juce::jmin(textHeight, (float) button.getHeight() * 0.75f);
    const juce::Rectangle<float> box(3.0f, ((float) button.getHeight() - size) * 0.5f, size, size);
    const float alpha = button.isEnabled() ? 1.0f : 0.5f;
    const auto on = findColour(juce::TextButton::buttonOnColourId).withMultipliedAlpha(alpha);
    g.setColour(button.getToggleState() ? on : findColour(juce::TextButton::buttonColourId).withMultipliedAlpha(alpha));
    g.fillRoundedRectangle(box, 2.0f);
    if (highlighted)
    {
        g.setColour(on.brighter(0.4f));
        g.drawRoundedRectangle(box, 2.0f, 1.0f);
    }
    g.setColour(button.findColour(juce::ToggleButton::textColourId).withMultipliedAlpha(alpha));
    g.setFont(plainFont(size));
    g.drawFittedText(button.getButtonText(), button.getLocalBounds().withTrimmedLeft((int) box.getRight() + 5),
                     juce::Justification::centredLeft, 1);
}

void QelLookAndFeel::drawPopupMenuBackground(juce::Graphics& g, int width, int height)
{
    g.fillAll(findColour(juce::PopupMenu::backgroundColourId));
    g.setColour(findColour(juce::PopupMenu::textColourId).withAlpha(0.25f));
    g.drawRect(0, 0, width, height);
}

void QelLookAndFeel::drawPopupMenuItem(juce::Graphics& g, const juce::Rectangle<int>& area, bool isSeparator,
                                       bool isActive, bool isHighlighted, bool isTicked, bool hasSubMenu,
                                       const juce::String& text, const juce::String& shortcutKeyText,
                                       const juce::Drawable* icon, const juce::Colour* textColour)
{
    if (isSeparator)
    {
        g.setColour(findColour(juce::PopupMenu::textColourId).withAlpha(0.2f));
        g.fillRect(area.reduced(6, 0).withHeight(1).withY(area.getCentreY()));
        return;
    }
    auto r = area.reduced(1);
    auto colour = textColour != nullptr ? *textColour : findColour(juce::PopupMenu::textColourId);
    if (isHighlighted && isActive)
    {
        g.setColour(findColour(juce::PopupMenu::highlightedBackgroundColourId));
        g.fillRect(r);
        colour = findColour(juce::PopupMenu::highlightedTextColourId);
    }
    g.setColour(colour.withMultipliedAlpha(isActive ? 1.0f : 0.35f));
    auto font = getPopupMenuFont();
    font.setHeight(juce::jmin(font.getHeight(), (float) area.getHeight() / 1.2f));
    g.setFont(font);

    const auto iconArea = r.removeFromLeft(r.getHeight()).reduced(4).toFloat();
    if (icon != nullptr)
        icon->drawWithin(g, iconArea, juce::RectanglePlacement::centred | juce::RectanglePlacement::onlyReduceInSize, 1.0f);
    else if (isTicked)
    {
        const auto tick = getTickShape(1.0f);
        g.fillPath(tick, tick.getTransformToScaleToFit(iconArea, true));
    }
    if (hasSubMenu)
    {
        const auto arrow = r.removeFromRight(r.getHeight()).reduced(r.getHeight() / 3).toFloat();
        juce::Path p;
        p.addTriangle(arrow.getTopLeft(), arrow.getBottomLeft(), { arrow.getRight(), arrow.getCentreY() });
        g.fillPath(p);
    }
    r.removeFromRight(4);
    g.drawFittedText(text, r, juce::Justification::centredLeft, 1);
    if (shortcutKeyText.isNotEmpty())
        g.drawText(shortcutKeyText, r, juce::Justification::centredRight, true);
}

void QelLookAndFeel::drawPopupMenuSectionHeader(juce::Graphics& g, const juce::Rectangle<int>& area,
                                                const juce::String& name)
{
    g.setFont(getPopupMenuFont());
    g.setColour(findColour(juce::PopupMenu::headerTextColourId));
    g.drawFittedText(name, area.withTrimmedLeft(8).withTrimmedRight(4), juce::Justification::bottomLeft, 1);
}

juce::Font QelLookAndFeel::getPopupMenuFont()
{
    return plainFont(textHeight);
}

void QelLookAndFeel::drawComboBox(juce::Graphics& g, int width, int height, bool, int buttonX, int buttonY,
                                  int buttonW, int buttonH, juce::ComboBox& box)
{
    const auto area = juce::Rectangle<int>(width, height).toFloat().reduced(0.5f);
    g.setColour(box.findColour(juce::ComboBox::backgroundColourId));
    g.fillRoundedRectangle(area, 2.0f);
    g.setColour(box.findColour(juce::ComboBox::outlineColourId));
    g.drawRoundedRectangle(area, 2.0f, 1.0f);
    if (!box.isEnabled() || box.getProperties()["hideArrow"])
        return;
    const auto arrow = juce::Rectangle<int>(buttonX, buttonY, buttonW, buttonH).toFloat().reduced((float) buttonW * 0.3f,
                                                                                                  (float) buttonH * 0.38f);
    juce::Path p;
    p.addTriangle(arrow.getTopLeft(), arrow.getTopRight(), { arrow.getCentreX(), arrow.getBottom() });
    g.setColour(box.findColour(juce::ComboBox::arrowColourId));
    g.fillPath(p);
}

juce::Font QelLookAndFeel::getComboBoxFont(juce::ComboBox& box)
{
    return plainFont(juce::jmin(textHeight, (float) box.getHeight() * 0.85f));
}

void QelLookAndFeel::positionComboBoxText(juce::ComboBox& box, juce::Label& label)
{
    const int arrowWidth = box.getProperties()["hideArrow"] ? 0 : box.getHeight();
    label.setBounds(1, 1, box.getWidth() - 2 - arrowWidth, box.getHeight() - 2);
    label.setFont(getComboBoxFont(box));
}

void QelLookAndFeel::drawLabel(juce::Graphics& g, juce::Label& label)
{
    g.fillAll(label.findColour(juce::Label::backgroundColourId));
    const float alpha = label.isEnabled() ? 1.0f : 0.5f;
    if (!label.isBeingEdited())
    {
        const auto font = getLabelFont(label);
        g.setColour(label.findColour(juce::Label::textColourId).withMultipliedAlpha(alpha));
        g.setFont(font);
        const auto area = getLabelBorderSize(label).subtractedFrom(label.getLocalBounds());
        g.drawFittedText(label.getText(), area, label.getJustificationType(),
                         juce::jmax(1, (int) ((float) area.getHeight() / font.getHeight())),
                         label.getMinimumHorizontalScale());
    }
    g.setColour(label.findColour(juce::Label::outlineColourId).withMultipliedAlpha(alpha));
    g.drawRect(label.getLocalBounds());
}

void QelLookAndFeel::drawScrollbar(juce::Graphics& g, juce::ScrollBar& bar, int x, int y, int width, int height,
                                   bool vertical, int thumbStart, int thumbSize, bool isMouseOver, bool isMouseDown)
{
    g.fillAll(bar.findColour(juce::ScrollBar::backgroundColourId));
    if (thumbSize <= 0)
        return;
    auto thumb = vertical ? juce::Rectangle<int>(x, thumbStart, width, thumbSize)
                          : juce::Rectangle<int>(thumbStart, y, thumbSize, height);
    auto colour = bar.findColour(juce::ScrollBar::thumbColourId);
    if (isMouseDown)
        colour = colour.darker(0.2f);
    else if (isMouseOver)
        colour = colour.brighter(0.2f);
    g.setColour(colour);
    g.fillRoundedRectangle(thumb.toFloat().reduced(3.0f), 3.0f);
}

juce::Rectangle<int> QelLookAndFeel::getTooltipBounds(const juce::String& text, juce::Point<int> at,
                                                      juce::Rectangle<int> parentArea)
{
    const auto font = plainFont(textHeight);
    const int w = juce::jmin(400, font.getStringWidth(text) + 16);
    const int lines = 1 + font.getStringWidth(text) / 384;
    const int h = (int) (font.getHeight() * (float) lines) + 8;
    return juce::Rectangle<int>(at.x > parentArea.getCentreX() ? at.x - (w + 12) : at.x + 24,
                                at.y > parentArea.getCentreY() ? at.y - (h + 6) : at.y + 6, w, h)
        .constrainedWithin(parentArea);
}

void QelLookAndFeel::drawTooltip(juce::Graphics& g, const juce::String& text, int width, int height)
{
    g.fillAll(findColour(juce::TooltipWindow::backgroundColourId));
    g.setColour(findColour(juce::TooltipWindow::textColourId));
    g.setFont(plainFont(textHeight));
    g.drawFittedText(text, juce::Rectangle<int>(width, height).reduced(8, 4), juce::Justification::centred, 4);
}

void QelLookAndFeel::drawBubble(juce::Graphics& g, juce::BubbleComponent& bubble, const juce::Point<float>&,
                                const juce::Rectangle<float>& body)
{
    g.setColour(bubble.findColour(juce::BubbleComponent::backgroundColourId));
    g.fillRoundedRectangle(body.reduced(0.5f), 3.0f);
    g.setColour(bubble.findColour(juce::BubbleComponent::outlineColourId));
    g.drawRoundedRectangle(body.reduced(0.5f), 3.0f, 1.0f);
}

} // namespace qel
