#pragma once
// TNavigator: a bar of twelve glyph buttons (first, jump back, previous, next, jump forward,
// last, insert, delete, edit, post, cancel, refresh) that reports which button was clicked and
// does nothing else; the owner's OnClick or a descendant's BtnClick gives the buttons a meaning.
// The buttons share the bar's width evenly, any subset can be hidden, and the bar keeps one
// focused button for the keyboard (arrows move it, Space clicks it).

#include "framework/Align.h"
#include "framework/Classes.h"
#include "framework/ComponentState.h"
#include "framework/SpeedButton.h"
#include "wn_export.h"

#include <QFrame>
#include <QPoint>
#include <QRect>
#include <QStringList>

#include <array>
#include <cstdint>
#include <functional>

namespace wn {

enum TNavigateBtn : std::uint8_t {
    nbFirst,
    nbJumpPrior,
    nbPrior,
    nbNext,
    nbJumpNext,
    nbLast,
    nbInsert,
    nbDelete,
    nbEdit,
    nbPost,
    nbCancel,
    nbRefresh
};
using TButtonSet = TSet<TNavigateBtn>;
constexpr int NavButtonCount = 12;

enum TNavGlyph : std::uint8_t { ngEnabled, ngDisabled };

enum TNavButtonStyleFlag : std::uint8_t { nsAllowTimer };
using TNavButtonStyle = TSet<TNavButtonStyleFlag>;

using ENavClick = std::function<void(QObject *Sender, TNavigateBtn Button)>;

// All buttons but the two jump buttons.
constexpr TButtonSet NavDefaultButtons{nbFirst,  nbPrior, nbNext, nbLast,   nbInsert,
                                       nbDelete, nbEdit,  nbPost, nbCancel, nbRefresh};

// The bar's size rule. W and H grow to hold the visible buttons (at least minButton each, one
// when none is visible); without alignment W snaps to a multiple of their count, with it the
// remainder is spread one pixel at a time over the buttons, starting half a count in. Visible
// buttons are placed side by side over the current control height; hidden ones just right of
// the current control width.
struct TNavLayout {
    int Width = 0;
    int Height = 0;
    int ButtonWidth = 0;
    std::array<QRect, NavButtonCount> Buttons;
};
WN_EXPORT TNavLayout NavLayout(int W, int H, TButtonSet visible, bool aligned, QPoint minButton,
                               QSize control);

// The resource word of a button's glyph bitmap ("n_" + word); "JNext" is mixed case as it always
// was, resource names being case-insensitive.
WN_EXPORT QString NavGlyphWord(TNavigateBtn button);

class TNavigator;

class WN_EXPORT TNavButton : public TSpeedButton
{
    Q_OBJECT

public:
    explicit TNavButton(TNavigator *navigator);

    TNavigateBtn Index = nbFirst;
    // The allow-timer flag is kept for the buttons that would repeat; holding a button down
    // does not repeat its click.
    TNavButtonStyle NavStyle;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    TNavigator *FNavigator;
};

class WN_EXPORT TNavigator : public QFrame, public TComponentState
{
    Q_OBJECT
    // Default NavDefaultButtons.
    Q_PROPERTY(wn::TButtonSet VisibleButtons READ VisibleButtons WRITE SetVisible)
    // Default alNone.
    Q_PROPERTY(wn::TAlign Align READ Align WRITE SetAlign)
    // Default true.
    Q_PROPERTY(bool Enabled READ Enabled WRITE SetEnabled)
    // Default empty.
    Q_PROPERTY(QStringList Hints READ Hints WRITE SetHints)
    // Default true; kept for descendants, the bar itself never asks.
    Q_PROPERTY(bool ConfirmDelete READ ConfirmDelete WRITE SetConfirmDelete)
    // Default false.
    Q_PROPERTY(bool TabStop READ TabStop WRITE SetTabStop)

public:
    explicit TNavigator(QWidget *parent = nullptr);

    TButtonSet VisibleButtons() const { return FVisibleButtons; }
    void SetVisible(TButtonSet value);
    TAlign Align() const { return FAlign; }
    void SetAlign(TAlign value);
    bool Enabled() const { return !testAttribute(Qt::WA_ForceDisabled); }
    virtual void SetEnabled(bool value);
    QStringList Hints() const { return FHints; }
    void SetHints(const QStringList &value);
    bool ConfirmDelete() const { return FConfirmDelete; }
    void SetConfirmDelete(bool value) { FConfirmDelete = value; }
    bool TabStop() const { return FTabStop; }
    void SetTabStop(bool value);

    TNavButton *Buttons(TNavigateBtn button) const { return FButtons[button]; }
    TNavigateBtn FocusedButton() const { return FFocusedButton; }
    int ButtonWidth() const { return FButtonWidth; }

    // Moves and sizes the bar, after adjusting the size to the size rule.
    void SetBounds(int ALeft, int ATop, int AWidth, int AHeight);

    // Reports a click of a button to OnClick (never while designing).
    virtual void BtnClick(TNavigateBtn Index);

    ENavClick OnClick;

protected:
    void Loaded() override;
    virtual void KeyDown(int Key, Qt::KeyboardModifiers Shift);
    void NavAdjustSize(int &W, int &H);

    void keyPressEvent(QKeyEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void InitButtons();
    void InitHints();
    void AdjustToSizeRule();
    void NavClick(TSpeedButton *Sender);
    void BtnMouseDown(TSpeedButton *Sender);

    TButtonSet FVisibleButtons = NavDefaultButtons;
    QStringList FHints;
    int FButtonWidth = 0;
    QPoint FMinBtnSize{20, 18};
    std::array<TNavButton *, NavButtonCount> FButtons{};
    TNavigateBtn FFocusedButton = nbFirst;
    bool FConfirmDelete = true;
    TAlign FAlign = alNone;
    bool FTabStop = false;
};

} // namespace wn
