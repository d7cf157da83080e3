#include "navigators/navUnit.h"
#include "navigators/NavFocus_p.h"

#include "framework/Bitmaps.h"
#include "framework/Graphics.h"

#include <QKeyEvent>
#include <QPainter>

#include <algorithm>

namespace wn {

namespace {

const char *const GlyphWords[NavButtonCount] = {"FIRST",  "JPRIOR", "PRIOR", "NEXT", "JNext",  "LAST",
                                                "INSERT", "DELETE", "EDIT",  "POST", "CANCEL", "REFRESH"};

int VisibleCount(TButtonSet visible)
{
    int count = 0;
    for (int i = 0; i < NavButtonCount; ++i)
        if (visible.contains(TNavigateBtn(i)))
            ++count;
    return count;
}

} // namespace

QString NavGlyphWord(TNavigateBtn button)
{
    return QString::fromLatin1(GlyphWords[button]);
}

TNavLayout NavLayout(int W, int H, TButtonSet visible, bool aligned, QPoint minButton, QSize control)
{
    TNavLayout layout;
    const int count = std::max(VisibleCount(visible), 1);
    W = std::max(W, count * minButton.x());
    H = std::max(H, minButton.y());
    layout.ButtonWidth = W / count;
    if (!aligned)
        W = count * layout.ButtonWidth;
    layout.Width = W;
    layout.Height = H;

    const int remain = W - count * layout.ButtonWidth;
    int temp = count / 2;
    int x = 0;
    for (int i = 0; i < NavButtonCount; ++i) {
        if (visible.contains(TNavigateBtn(i))) {
            int space = 0;
            if (remain != 0) {
                temp -= remain;
                if (temp < 0) {
                    temp += count;
                    space = 1;
                }
            }
            layout.Buttons[i] = QRect(x, 0, layout.ButtonWidth + space, control.height());
            x += layout.ButtonWidth + space;
        } else {
            layout.Buttons[i] = QRect(control.width() + 1, 0, layout.ButtonWidth, control.height());
        }
    }
    return layout;
}

TNavButton::TNavButton(TNavigator *navigator) : TSpeedButton(navigator), FNavigator(navigator) {}

void TNavButton::paintEvent(QPaintEvent *event)
{
    TSpeedButton::paintEvent(event);
    if (FNavigator->hasFocus() && FNavigator->FocusedButton() == Index) {
        QRect r = rect().adjusted(3, 3, -3, -3);
        if (isDown())
            r.translate(1, 1);
        QPainter p(this);
        DrawFocusRect(p, r, ColorToQColor(clBtnShadow, palette()));
    }
}

TNavigator::TNavigator(QWidget *parent) : QFrame(parent)
{
    setFrameShape(QFrame::NoFrame);
    setAutoFillBackground(true);
    setFocusPolicy(Qt::NoFocus);
    InitButtons();
    SetBounds(x(), y(), 241, 25);
}

void TNavigator::InitButtons()
{
    FMinBtnSize = QPoint(20, 18);
    int x = 0;
    for (int i = 0; i < NavButtonCount; ++i) {
        const auto index = TNavigateBtn(i);
        auto *button = new TNavButton(this);
        button->Index = index;
        button->setVisible(FVisibleButtons.contains(index));
        button->SetEnabled(true);
        button->setGeometry(x, 0, FMinBtnSize.x(), FMinBtnSize.y());
        button->SetGlyph(LoadBitmap(QStringLiteral("n_%1").arg(NavGlyphWord(index))));
        button->SetNumGlyphs(2);
        button->OnClick = [this](TSpeedButton *sender) { NavClick(sender); };
        button->OnMouseDown = [this](TSpeedButton *sender, Qt::MouseButton, Qt::KeyboardModifiers, QPoint) {
            BtnMouseDown(sender);
        };
        FButtons[i] = button;
        x += FMinBtnSize.x();
    }
    InitHints();
    FButtons[nbPrior]->NavStyle += nsAllowTimer;
    FButtons[nbNext]->NavStyle += nsAllowTimer;
}

void TNavigator::SetHints(const QStringList &value)
{
    FHints = value;
    InitHints();
}

void TNavigator::InitHints()
{
    for (int i = 0; i < std::min<int>(int(FHints.size()), NavButtonCount); ++i)
        if (!FHints[i].isEmpty())
            FButtons[i]->setToolTip(FHints[i]);
}

void TNavigator::SetVisible(TButtonSet value)
{
    FVisibleButtons = value;
    for (int i = 0; i < NavButtonCount; ++i)
        FButtons[i]->setVisible(value.contains(TNavigateBtn(i)));
    AdjustToSizeRule();
    update();
}

void TNavigator::SetAlign(TAlign value)
{
    FAlign = value;
    AdjustToSizeRule();
}

void TNavigator::SetEnabled(bool value)
{
    setEnabled(value);
}

void TNavigator::SetTabStop(bool value)
{
    FTabStop = value;
    // A click on a button takes the focus itself (BtnMouseDown), so only the Tab key is left.
    setFocusPolicy(value ? Qt::TabFocus : Qt::NoFocus);
}

void TNavigator::NavAdjustSize(int &W, int &H)
{
    if (LoadingState() || !FButtons[0])
        return;
    const TNavLayout layout = NavLayout(W, H, FVisibleButtons, FAlign != alNone, FMinBtnSize, size());
    FButtonWidth = layout.ButtonWidth;
    for (int i = 0; i < NavButtonCount; ++i)
        FButtons[i]->setGeometry(layout.Buttons[i]);
    W = layout.Width;
    H = layout.Height;
}

void TNavigator::AdjustToSizeRule()
{
    int w = width(), h = height();
    NavAdjustSize(w, h);
    if (w != width() || h != height())
        SetBounds(x(), y(), w, h);
}

void TNavigator::SetBounds(int ALeft, int ATop, int AWidth, int AHeight)
{
    NavAdjustSize(AWidth, AHeight);
    setGeometry(ALeft, ATop, AWidth, AHeight);
    // A hidden bar gets its size event only when shown; place the buttons for the new size now.
    if (!isVisible())
        NavAdjustSize(AWidth, AHeight);
}

void TNavigator::Loaded()
{
    AdjustToSizeRule();
    InitHints();
}

void TNavigator::resizeEvent(QResizeEvent *event)
{
    QFrame::resizeEvent(event);
    AdjustToSizeRule();
}

void TNavigator::NavClick(TSpeedButton *Sender)
{
    BtnClick(static_cast<TNavButton *>(Sender)->Index);
}

void TNavigator::BtnClick(TNavigateBtn Index)
{
    if (!Designing() && OnClick)
        OnClick(this, Index);
}

void TNavigator::BtnMouseDown(TSpeedButton *Sender)
{
    const TNavigateBtn old = FFocusedButton;
    FFocusedButton = static_cast<TNavButton *>(Sender)->Index;
    if (FTabStop && !hasFocus() && isEnabled() && isVisible()) {
        setFocus(Qt::MouseFocusReason);
        if (!hasFocus())
            return;
    } else if (FTabStop && hasFocus() && old != FFocusedButton) {
        FButtons[old]->update();
        FButtons[FFocusedButton]->update();
    }
}

void TNavigator::KeyDown(int Key, Qt::KeyboardModifiers)
{
    const TNavigateBtn old = FFocusedButton;
    int focused = FFocusedButton;
    switch (Key) {
    case Qt::Key_Right:
    case Qt::Key_Left:
        focused = NextFocusedButton(focused, Key == Qt::Key_Right ? 1 : -1, nbRefresh,
                                    [this](int b) { return FVisibleButtons.contains(TNavigateBtn(b)); });
        break;
    case Qt::Key_Space:
        if (FButtons[FFocusedButton]->Enabled())
            FButtons[FFocusedButton]->Click();
        return;
    default: return;
    }
    FFocusedButton = TNavigateBtn(focused);
    if (FFocusedButton != old) {
        FButtons[old]->update();
        FButtons[FFocusedButton]->update();
    }
}

void TNavigator::keyPressEvent(QKeyEvent *event)
{
    switch (event->key()) {
    case Qt::Key_Left:
    case Qt::Key_Right:
    case Qt::Key_Space:
        KeyDown(event->key(), event->modifiers());
        event->accept();
        break;
    default: QFrame::keyPressEvent(event);
    }
}

void TNavigator::focusInEvent(QFocusEvent *event)
{
    QFrame::focusInEvent(event);
    FButtons[FFocusedButton]->update();
}

void TNavigator::focusOutEvent(QFocusEvent *event)
{
    QFrame::focusOutEvent(event);
    FButtons[FFocusedButton]->update();
}

} // namespace wn
