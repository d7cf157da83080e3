#include "framework/Input.h"

#include <QKeyEvent>

namespace wn {

namespace {

// Shifted symbols of the US layout, keyed back to the key that carries them.
std::uint16_t SymbolKey(int key)
{
    switch (key) {
    case Qt::Key_Exclam: return '1';
    case Qt::Key_At: return '2';
    case Qt::Key_NumberSign: return '3';
    case Qt::Key_Dollar: return '4';
    case Qt::Key_Percent: return '5';
    case Qt::Key_AsciiCircum: return '6';
    case Qt::Key_Ampersand: return '7';
    case Qt::Key_Asterisk: return '8';
    case Qt::Key_ParenLeft: return '9';
    case Qt::Key_ParenRight: return '0';
    case Qt::Key_Semicolon:
    case Qt::Key_Colon: return VK_OEM_1;
    case Qt::Key_Equal:
    case Qt::Key_Plus: return VK_OEM_PLUS;
    case Qt::Key_Comma:
    case Qt::Key_Less: return VK_OEM_COMMA;
    case Qt::Key_Minus:
    case Qt::Key_Underscore: return VK_OEM_MINUS;
    case Qt::Key_Period:
    case Qt::Key_Greater: return VK_OEM_PERIOD;
    case Qt::Key_Slash:
    case Qt::Key_Question: return VK_OEM_2;
    case Qt::Key_QuoteLeft:
    case Qt::Key_AsciiTilde: return VK_OEM_3;
    case Qt::Key_BracketLeft:
    case Qt::Key_BraceLeft: return VK_OEM_4;
    case Qt::Key_Backslash:
    case Qt::Key_Bar: return VK_OEM_5;
    case Qt::Key_BracketRight:
    case Qt::Key_BraceRight: return VK_OEM_6;
    case Qt::Key_Apostrophe:
    case Qt::Key_QuoteDbl: return VK_OEM_7;
    default: return 0;
    }
}

std::uint16_t KeypadKey(int key)
{
    if (key >= Qt::Key_0 && key <= Qt::Key_9)
        return std::uint16_t(VK_NUMPAD0 + (key - Qt::Key_0));
    switch (key) {
    case Qt::Key_Asterisk: return VK_MULTIPLY;
    case Qt::Key_Plus: return VK_ADD;
    case Qt::Key_Minus: return VK_SUBTRACT;
    case Qt::Key_Period:
    case Qt::Key_Comma: return VK_DECIMAL;
    case Qt::Key_Slash: return VK_DIVIDE;
    default: return 0;
    }
}

} // namespace

std::uint16_t VirtualKeyOf(int key, Qt::KeyboardModifiers modifiers)
{
    if (modifiers & Qt::KeypadModifier) {
        if (const std::uint16_t vk = KeypadKey(key))
            return vk;
    }
    if ((key >= Qt::Key_A && key <= Qt::Key_Z) || (key >= Qt::Key_0 && key <= Qt::Key_9))
        return std::uint16_t(key);
    if (key >= Qt::Key_F1 && key <= Qt::Key_F24)
        return std::uint16_t(VK_F1 + (key - Qt::Key_F1));
    switch (key) {
    case Qt::Key_Backspace: return VK_BACK;
    case Qt::Key_Tab:
    case Qt::Key_Backtab: return VK_TAB;
    case Qt::Key_Return:
    case Qt::Key_Enter: return VK_RETURN;
    case Qt::Key_Shift: return VK_SHIFT;
    case Qt::Key_Control: return VK_CONTROL;
    case Qt::Key_Alt: return VK_MENU;
    case Qt::Key_Escape: return VK_ESCAPE;
    case Qt::Key_Space: return VK_SPACE;
    case Qt::Key_PageUp: return VK_PRIOR;
    case Qt::Key_PageDown: return VK_NEXT;
    case Qt::Key_End: return VK_END;
    case Qt::Key_Home: return VK_HOME;
    case Qt::Key_Left: return VK_LEFT;
    case Qt::Key_Up: return VK_UP;
    case Qt::Key_Right: return VK_RIGHT;
    case Qt::Key_Down: return VK_DOWN;
    case Qt::Key_Insert: return VK_INSERT;
    case Qt::Key_Delete: return VK_DELETE;
    default: return SymbolKey(key);
    }
}

std::uint16_t VirtualKeyOf(const QKeyEvent &event)
{
    return VirtualKeyOf(event.key(), event.modifiers());
}

TShiftState ShiftStateOf(Qt::KeyboardModifiers modifiers, Qt::MouseButtons buttons, bool doubleClick)
{
    TShiftState s;
    if (modifiers & Qt::ShiftModifier)
        s += ssShift;
    if (modifiers & Qt::AltModifier)
        s += ssAlt;
    if (modifiers & Qt::ControlModifier)
        s += ssCtrl;
    if (buttons & Qt::LeftButton)
        s += ssLeft;
    if (buttons & Qt::RightButton)
        s += ssRight;
    if (buttons & Qt::MiddleButton)
        s += ssMiddle;
    if (doubleClick)
        s += ssDouble;
    return s;
}

TMouseButton MouseButtonOf(Qt::MouseButton button)
{
    switch (button) {
    case Qt::RightButton: return mbRight;
    case Qt::MiddleButton: return mbMiddle;
    default: return mbLeft;
    }
}

} // namespace wn
