// Qt's key events as the program's key codes (Windows virtual-key numbering, the physical key
// named on a US keyboard): Shift+3 is still the 3 key, '_' the minus key, '+' the equals key,
// while the keypad keeps codes of its own that no command uses.
#pragma once

#include <Qt>

namespace kaitoro {

// 0 for keys the program has no code for.
int key_code_from_qt(int qt_key, Qt::KeyboardModifiers modifiers);

}  // namespace kaitoro
