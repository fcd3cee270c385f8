#include "app/qt_keys.h"

#include "shell/main_window.h"
#include "source_design/node_tune.h"

namespace kaitoro {

namespace {
constexpr int kKeypad0 = 0x60, kKeypadMultiply = 0x6A, kKeypadAdd = 0x6B, kKeypadSubtract = 0x6D,
              kKeypadDecimal = 0x6E;
}  // namespace

int key_code_from_qt(int qt_key, Qt::KeyboardModifiers modifiers) {
    const bool keypad = modifiers.testFlag(Qt::KeypadModifier);
    if (qt_key >= Qt::Key_A && qt_key <= Qt::Key_Z) return 'A' + (qt_key - Qt::Key_A);
    if (qt_key >= Qt::Key_0 && qt_key <= Qt::Key_9)
        return keypad ? kKeypad0 + (qt_key - Qt::Key_0) : '0' + (qt_key - Qt::Key_0);
    switch (qt_key) {
        // Shifted digits of the main keyboard.
        case Qt::Key_ParenRight:
            return '0';
        case Qt::Key_Exclam:
            return '1';
        case Qt::Key_At:
            return '2';
        case Qt::Key_NumberSign:
            return '3';
        case Qt::Key_Dollar:
            return '4';
        case Qt::Key_Percent:
            return '5';
        case Qt::Key_AsciiCircum:
            return '6';
        case Qt::Key_Ampersand:
            return '7';
        case Qt::Key_Asterisk:
            return keypad ? kKeypadMultiply : '8';
        case Qt::Key_ParenLeft:
            return '9';
        case Qt::Key_Minus:
            return keypad ? kKeypadSubtract : kKeyMinus;
        case Qt::Key_Underscore:
            return kKeyMinus;
        case Qt::Key_Equal:
            return kKeyPlusEquals;
        case Qt::Key_Plus:
            return keypad ? kKeypadAdd : kKeyPlusEquals;
        case Qt::Key_Comma:
        case Qt::Key_Less:
            return kKeyComma;
        case Qt::Key_Period:
            return keypad ? kKeypadDecimal : kKeyPeriod;
        case Qt::Key_Greater:
            return kKeyPeriod;
        case Qt::Key_BracketLeft:
        case Qt::Key_BraceLeft:
            return kKeyBracketLeft;
        case Qt::Key_BracketRight:
        case Qt::Key_BraceRight:
            return kKeyBracketRight;
        case Qt::Key_Space:
            return kKeySpace;
        case Qt::Key_Return:
        case Qt::Key_Enter:
            return kKeyEnter;
        case Qt::Key_Escape:
            return kKeyEscape;
        case Qt::Key_Tab:
        case Qt::Key_Backtab:
            return kKeyTab;
        case Qt::Key_Backspace:
            return kKeyBackspace;
        case Qt::Key_Delete:
            return kKeyDelete;
        case Qt::Key_Left:
            return kKeyLeft;
        case Qt::Key_Up:
            return kKeyUp;
        case Qt::Key_Right:
            return kKeyRight;
        case Qt::Key_Down:
            return kKeyDown;
        case Qt::Key_PageUp:
            return kKeyPageUp;
        case Qt::Key_PageDown:
            return kKeyPageDown;
        case Qt::Key_Shift:
            return kKeyShift;
        case Qt::Key_Control:
            return kKeyControl;
        default:
            return 0;
    }
}

}  // namespace kaitoro
