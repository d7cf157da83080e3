#include "controls/NumberEdit.h"

#include "framework/SysUtils.h"
#include "framework/UiServices.h"

#include <QApplication>
#include <QCoreApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QStyle>
#include <QStyleOptionFrame>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>

namespace wn {

namespace {

enum TKeyRole : std::uint8_t { krOther, krChars, krPaste, krCut, krCopy, krEdit };

const QChar EnterChar(13);
const QChar BackspaceChar(8);

// What a key event does to the edit; for typed characters `chars` receives them.
TKeyRole KeyRole(const QKeyEvent &event, QString &chars)
{
    if (event.matches(QKeySequence::Paste))
        return krPaste;
    if (event.matches(QKeySequence::Cut))
        return krCut;
    if (event.matches(QKeySequence::Copy))
        return krCopy;
    switch (event.key()) {
    case Qt::Key_Backspace: chars = BackspaceChar; return krChars;
    case Qt::Key_Return:
    case Qt::Key_Enter: chars = EnterChar; return krChars;
    case Qt::Key_Delete: return krEdit;
    default: break;
    }
    for (const auto key :
         {QKeySequence::Undo, QKeySequence::Redo, QKeySequence::DeleteEndOfLine,
          QKeySequence::DeleteStartOfWord, QKeySequence::DeleteEndOfWord, QKeySequence::DeleteCompleteLine})
        if (event.matches(key))
            return krEdit;
    const QString text = event.text();
    if (!text.isEmpty() && text.front().isPrint() &&
        !(event.modifiers() & (Qt::ControlModifier | Qt::MetaModifier))) {
        chars = text;
        return krChars;
    }
    return krOther;
}

// Window activation and popup menus move the focus away and back without the user leaving the
// edit; a check there would also raise its message again behind every message box it shows.
bool EntersOrLeaves(Qt::FocusReason reason)
{
    return reason != Qt::ActiveWindowFocusReason && reason != Qt::PopupFocusReason;
}

} // namespace

TNumberEdit::TNumberEdit(QWidget *parent) : QLineEdit(parent)
{
    setAcceptDrops(false);
    setMinimumHeight(GetMinHeight());
    connect(this, &QLineEdit::textChanged, this, [this] {
        if (FVarAddress)
            TextToValue();
    });
}

double TNumberEdit::GetValue()
{
    TextToValue();
    return FValue;
}

void TNumberEdit::SetMinValue(double v)
{
    if (GetValue() < v)
        SetValue(v);
    FMinValue = v;
    SetCheckMinMax(true);
}

void TNumberEdit::SetMaxValue(double v)
{
    if (GetValue() > v)
        SetValue(v);
    FMaxValue = v;
    SetCheckMinMax(true);
}

void TNumberEdit::SetAssignedVar(void *Address, int Size)
{
    const bool known = Address && (Size == 4 || Size == 8);
    FVarAddress = known ? Address : nullptr;
    FVarSize = known ? Size : 0;
}

int TNumberEdit::GetMinHeight() const
{
    const int fontHeight = fontMetrics().height();
    const int smaller = std::min(fontHeight, QFontMetrics(QApplication::font()).height());
    QStyleOptionFrame option;
    initStyleOption(&option);
    return fontHeight + smaller / 4 + 4 * style()->pixelMetric(QStyle::PM_DefaultFrameWidth, &option, this);
}

bool TNumberEdit::IsValidChar(QChar Key) const
{
    if (Key == EnterChar)
        return false;
    if (Key.unicode() < 32)
        return FEditorEnabled || Key != BackspaceChar;
    return FEditorEnabled && IsNumberChar(Key);
}

void TNumberEdit::WMPaste()
{
    if (Editable())
        insert(UiServices().ClipboardText());
}

void TNumberEdit::WMCut()
{
    if (Editable() && hasSelectedText()) {
        UiServices().SetClipboardText(selectedText());
        del();
    }
}

void TNumberEdit::CopyToClipboard()
{
    if (hasSelectedText())
        UiServices().SetClipboardText(selectedText());
}

QString TNumberEdit::NormalisedNumber(QString s)
{
    const qsizetype separator = s.indexOf(FormatSettings().DecimalSeparator);
    if (separator >= 0)
        s[separator] = QLatin1Char('.');
    for (const char mark : {'.', 'e', 'E'})
        if (!s.isEmpty() && s.indexOf(QLatin1Char(mark)) == s.size() - 1) {
            s += QLatin1Char('0');
            break;
        }
    return s;
}

bool TNumberEdit::ConvertNumber(const QString &s, double &value) const
{
    TFormatSettings point;
    point.DecimalSeparator = QLatin1Char('.');
    double x = 0;
    if (!TryStrToFloat(s, x, point) || (FVarSize == 4 && std::fabs(x) > FLT_MAX))
        return false;
    value = x;
    return true;
}

void TNumberEdit::Refuse(const QString &message, bool show)
{
    if (show)
        UiServices().MessageDlg(message, mtWarning, TMsgDlgButtons{mbOK}, 0);
    setFocus();
}

void TNumberEdit::Accept(double x)
{
    FValue = x;
    if (FVarSize == 4)
        *static_cast<float *>(FVarAddress) = float(std::clamp(x, double(-FLT_MAX), double(FLT_MAX)));
    else if (FVarSize == 8)
        *static_cast<double *>(FVarAddress) = x;
}

void TNumberEdit::SetDisplayText(const QString &value)
{
    // An unchanged display raises no change notification.
    if (value != text())
        setText(value);
}

void TNumberEdit::keyPressEvent(QKeyEvent *event)
{
    if (KeyDown(event))
        return;
    QString chars;
    switch (KeyRole(*event, chars)) {
    case krPaste: WMPaste(); return;
    case krCut: WMCut(); return;
    case krCopy: CopyToClipboard(); return;
    case krEdit:
        if (!FEditorEnabled) {
            UiServices().Beep();
            return;
        }
        break;
    case krChars:
        if (chars != EnterChar)
            for (const QChar c : chars)
                if (!KeyPress(c)) {
                    UiServices().Beep();
                    return;
                }
        break;
    case krOther: break;
    }
    QLineEdit::keyPressEvent(event);
    const int key = event->key();
    if (key == Qt::Key_Tab || key == Qt::Key_Backtab || chars == EnterChar)
        TextToValue();
    if (chars == EnterChar && !KeyPress(EnterChar))
        UiServices().Beep();
}

void TNumberEdit::inputMethodEvent(QInputMethodEvent *event)
{
    for (const QChar c : event->commitString())
        if (!KeyPress(c)) {
            UiServices().Beep();
            return;
        }
    QLineEdit::inputMethodEvent(event);
}

void TNumberEdit::focusInEvent(QFocusEvent *event)
{
    const bool entered = EntersOrLeaves(event->reason());
    if (entered && FAutoSelect && !(QGuiApplication::mouseButtons() & Qt::LeftButton))
        selectAll();
    QLineEdit::focusInEvent(event);
    // Qt's line edit selects everything on a keyboard entry by itself.
    if (entered && !FAutoSelect && event->reason() != Qt::MouseFocusReason)
        deselect();
}

void TNumberEdit::focusOutEvent(QFocusEvent *event)
{
    QLineEdit::focusOutEvent(event);
    if (EntersOrLeaves(event->reason()))
        DoExit();
}

void TNumberEdit::contextMenuEvent(QContextMenuEvent *event)
{
    QMenu *menu = CreateEditMenu();
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->popup(event->globalPos());
}

QMenu *TNumberEdit::CreateEditMenu()
{
    // Qt's own menu would reach the clipboard and edit the text past the edit's rules.
    auto *menu = new QMenu(this);
    menu->setObjectName(QStringLiteral("wn_edit_menu"));
    const bool editable = Editable();
    const bool selected = hasSelectedText();
    const auto add = [&](const char *label, QKeySequence::StandardKey key, bool enabled, auto slot) {
        QString text = QCoreApplication::translate("QLineEdit", label);
        const QKeySequence shortcut(key);
        if (!shortcut.isEmpty())
            text += QLatin1Char('\t') + shortcut.toString(QKeySequence::NativeText);
        menu->addAction(text, this, slot)->setEnabled(enabled);
    };
    add("&Undo", QKeySequence::Undo, editable && isUndoAvailable(), [this] { undo(); });
    add("&Redo", QKeySequence::Redo, editable && isRedoAvailable(), [this] { redo(); });
    menu->addSeparator();
    add("Cu&t", QKeySequence::Cut, editable && selected, [this] { WMCut(); });
    add("&Copy", QKeySequence::Copy, selected, [this] { CopyToClipboard(); });
    add("&Paste", QKeySequence::Paste, editable && UiServices().ClipboardHasText(), [this] { WMPaste(); });
    add("Delete", QKeySequence::UnknownKey, editable && selected, [this] {
        if (Editable())
            del();
    });
    menu->addSeparator();
    add("Select All", QKeySequence::SelectAll, !text().isEmpty(), [this] { selectAll(); });
    return menu;
}

void TNumberEdit::mouseReleaseEvent(QMouseEvent *event)
{
    // The middle button pastes the X11 selection, past the key filter like any paste.
    if (event->button() == Qt::MiddleButton && !Editable())
        return;
    QLineEdit::mouseReleaseEvent(event);
}

void TNumberEdit::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange)
        setMinimumHeight(GetMinHeight());
    QLineEdit::changeEvent(event);
}

} // namespace wn
