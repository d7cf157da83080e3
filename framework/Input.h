#pragma once
// Keyboard and mouse input in the terms the package's controls are written in: virtual-key
// codes, the shift state set and the mouse button. Qt's key events are mapped onto the key
// codes of a US keyboard layout, so that a control can test the codes it always tested.

#include "framework/Classes.h"
#include "wn_export.h"

#include <QChar>
#include <QPoint>
#include <Qt>

#include <cstdint>
#include <functional>

class QKeyEvent;

namespace wn {

constexpr std::uint16_t VK_BACK = 8;
constexpr std::uint16_t VK_TAB = 9;
constexpr std::uint16_t VK_RETURN = 13;
constexpr std::uint16_t VK_SHIFT = 16;
constexpr std::uint16_t VK_CONTROL = 17;
constexpr std::uint16_t VK_MENU = 18;
constexpr std::uint16_t VK_ESCAPE = 27;
constexpr std::uint16_t VK_SPACE = 32;
constexpr std::uint16_t VK_PRIOR = 33;
constexpr std::uint16_t VK_NEXT = 34;
constexpr std::uint16_t VK_END = 35;
constexpr std::uint16_t VK_HOME = 36;
constexpr std::uint16_t VK_LEFT = 37;
constexpr std::uint16_t VK_UP = 38;
constexpr std::uint16_t VK_RIGHT = 39;
constexpr std::uint16_t VK_DOWN = 40;
constexpr std::uint16_t VK_INSERT = 45;
constexpr std::uint16_t VK_DELETE = 46;
// '0'..'9' are 48..57 and 'A'..'Z' are 65..90.
constexpr std::uint16_t VK_NUMPAD0 = 96;
constexpr std::uint16_t VK_MULTIPLY = 106;
constexpr std::uint16_t VK_ADD = 107;
constexpr std::uint16_t VK_SUBTRACT = 109;
constexpr std::uint16_t VK_DECIMAL = 110;
constexpr std::uint16_t VK_DIVIDE = 111;
constexpr std::uint16_t VK_F1 = 112; // VK_F1 + n - 1 is Fn
constexpr std::uint16_t VK_F2 = 113;
constexpr std::uint16_t VK_OEM_1 = 186; // ; :
constexpr std::uint16_t VK_OEM_PLUS = 187;
constexpr std::uint16_t VK_OEM_COMMA = 188;
constexpr std::uint16_t VK_OEM_MINUS = 189;
constexpr std::uint16_t VK_OEM_PERIOD = 190;
constexpr std::uint16_t VK_OEM_2 = 191; // / ?
constexpr std::uint16_t VK_OEM_3 = 192; // ` ~
constexpr std::uint16_t VK_OEM_4 = 219; // [ {
constexpr std::uint16_t VK_OEM_5 = 220; // \ |
constexpr std::uint16_t VK_OEM_6 = 221; // ] }
constexpr std::uint16_t VK_OEM_7 = 222; // ' "

// The virtual-key code of a key event; 0 for keys that have none here.
WN_EXPORT std::uint16_t VirtualKeyOf(const QKeyEvent &event);
WN_EXPORT std::uint16_t VirtualKeyOf(int qtKey, Qt::KeyboardModifiers modifiers);

enum TShiftStateFlag : std::uint8_t { ssShift, ssAlt, ssCtrl, ssLeft, ssRight, ssMiddle, ssDouble };
using TShiftState = TSet<TShiftStateFlag>;

enum TMouseButton : std::uint8_t { mbLeft, mbRight, mbMiddle };

WN_EXPORT TShiftState ShiftStateOf(Qt::KeyboardModifiers modifiers, Qt::MouseButtons buttons = Qt::NoButton,
                                   bool doubleClick = false);
// The key and mouse callbacks of a control; a handler that clears Key swallows the key.
using TKeyEvent = std::function<void(QObject *Sender, std::uint16_t &Key, TShiftState Shift)>;
using TKeyPressEvent = std::function<void(QObject *Sender, QChar &Key)>;
using TMouseEvent =
    std::function<void(QObject *Sender, TMouseButton Button, TShiftState Shift, int X, int Y)>;
using TMouseMoveEvent = std::function<void(QObject *Sender, TShiftState Shift, int X, int Y)>;
using TMouseWheelUpDownEvent =
    std::function<void(QObject *Sender, TShiftState Shift, QPoint MousePos, bool &Handled)>;

// Buttons other than right and middle count as the left one.
WN_EXPORT TMouseButton MouseButtonOf(Qt::MouseButton button);

} // namespace wn
