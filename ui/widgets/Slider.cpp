#include "ui/widgets/Slider.h"

#include "ui/widgets/Button.h"
#include "ui/widgets/ScaledImage.h"

namespace qel
{

Slider::Slider(SliderStyle style, bool showPopup) : juce::Slider(style, NoTextBox), showPopup(showPopup)
{
    setRange(0.0, 1.0, 0.0);
    setDoubleClickReturnValue(false, 0.0);
    setSliderSnapsToMousePosition(true);
}

Slider::~Slider() = default;

void Slider::setFilmStrip(const juce::Image& image, int frames, int orientation)
{
    if (!image.isValid())
        return;
    drawMode = filmstripDrawing;
    filmstrip = image;
    const auto size = logicalBounds(image);
    const int w = size.getWidth(), h = size.getHeight();
    filmstripOrientation = orientation >= 0 ? orientation : (w > h ? 0 : 1);
    if (frames > 0)
    {
        frameCount = frames;
        frameSize = filmstripOrientation == 1 ? juce::Rectangle<int>(w, h / frames) : juce::Rectangle<int>(w / frames, h);
    }
    else
    {
        const int side = juce::jmin(w, h);
        frameSize = { side, side };
        frameCount = side > 0 ? juce::jmax(w, h) / side : 0;
    }
    setSize(frameSize.getWidth(), frameSize.getHeight());
    setSliderStyle(RotaryVerticalDrag);
    repaint();
}

void Slider::setFilmStrip(const Path& path, int frames)
{
    setFilmStrip(loadScaledImage(path), frames);
}

int Slider::frameIndex(double proportion, int frames) noexcept
{
    return juce::jlimit(0, juce::jmax(0, frames - 1), static_cast<int>(frames * proportion));
}

void Slider::paint(juce::Graphics& g)
{
    if (drawMode != filmstripDrawing || frameCount <= 0)
    {
        juce::Slider::paint(g);
        return;
    }
    const int index = currentFrame();
    const bool vertical = filmstripOrientation == 1;
    const int sourceW = vertical ? filmstrip.getWidth() : filmstrip.getWidth() / frameCount;
    const int sourceH = vertical ? filmstrip.getHeight() / frameCount : filmstrip.getHeight();
    const auto target = frameSize.withPosition((getWidth() - frameSize.getWidth()) / 2, (getHeight() - frameSize.getHeight()) / 2);
    g.setOpacity(isEnabled() ? 1.0f : 0.5f);
    g.drawImage(filmstrip, target.getX(), target.getY(), target.getWidth(), target.getHeight(), vertical ? 0 : index * sourceW,
                vertical ? index * sourceH : 0, sourceW, sourceH);
}

void Slider::valueChanged()
{
    updateBubble();
}

void Slider::updateBubble()
{
    if (bubble != nullptr)
    {
        bubble->setText(getTextFromValue(getValue()));
        bubble->pointAtSlider();
    }
}

void Slider::mouseEnter(const juce::MouseEvent& e)
{
    juce::Slider::mouseEnter(e);
    if (!showPopup || bubble != nullptr)
        return;
    bubble = std::make_unique<QelSliderPopupDisplayComponent>(*this);
    bubble->addToDesktop(juce::ComponentPeer::windowIsTemporary | juce::ComponentPeer::windowIgnoresMouseClicks
                         | juce::ComponentPeer::windowIgnoresKeyPresses);
    updateBubble();
    bubble->setVisible(true);
}

void Slider::mouseExit(const juce::MouseEvent& e)
{
    juce::Slider::mouseExit(e);
    bubble.reset();
}

void Slider::mouseDoubleClick(const juce::MouseEvent&)
{
    if (!isTwoValue() && !isThreeValue())
        showEditBox();
}

void Slider::showEditBox()
{
    auto* top = getTopLevelComponent();
    editBox = std::make_unique<juce::TextEditor>("EditTextBox");
    ++editBoxCount;
    editBox->setText(getTextFromValue(getValue()), false);
    editBox->setJustification(juce::Justification::centred);
    editBox->setSelectAllWhenFocused(true);
    editBox->onReturnKey = [this] { closeEditBox(true); };
    editBox->onFocusLost = [this] { closeEditBox(true); };
    editBox->onEscapeKey = [this] { closeEditBox(false); };
    // At the slider, wide enough for a value with its unit.
    const auto at = top->getLocalArea(this, getLocalBounds());
    top->addAndMakeVisible(*editBox);
    editBox->setBounds(at.withSizeKeepingCentre(juce::jmax(at.getWidth(), 80), 22).constrainedWithin(top->getLocalBounds()));
    if (editBox->isShowing())
        editBox->grabKeyboardFocus();
}

void Slider::closeEditBox(bool commit)
{
    if (editBox == nullptr || !editBox->isVisible())
        return;
    editBox->onReturnKey = editBox->onFocusLost = editBox->onEscapeKey = nullptr;
    editBox->setVisible(false);
    if (commit)
        setValueFromEditBox(getValueFromText(editBox->getText()));
    // The box goes once its own call has returned, unless a new one took its place.
    juce::MessageManager::callAsync([safe = juce::Component::SafePointer<Slider>(this), closed = editBoxCount] {
        if (safe != nullptr && safe->editBoxCount == closed)
            safe->editBox.reset();
    });
}

} // namespace qel
