// win32/keys.h - the keyboard's messages as keys that forms act on.
#pragma once

#include <windows.h>

#include <optional>

#include "forms/control.h"

namespace vespro::ModKeys {

// Of WM_KEYDOWN's virtual key, together with the Shift, Ctrl and Alt that are down now. Nothing for
// keys that forms don't act on, nor for those that an input method still works on.
std::optional<Key> FromKeyDown(WPARAM virtual_key);
// The virtual key of a key other than kAccess.
WPARAM VirtualKey(Key key);
// The character that WM_CHAR brings after the key; 0 where none comes.
WPARAM Character(Key key);

}  // namespace vespro::ModKeys
