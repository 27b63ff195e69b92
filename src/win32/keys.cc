#include "win32/keys.h"

#include <array>

namespace vespro::ModKeys {
namespace {

struct KnownKey {
  Key key;
  WPARAM virtual_key;
  WPARAM character;
};
constexpr std::array kKnown = {
    KnownKey{Key::kEnter, VK_RETURN, L'\r'},
    KnownKey{Key::kEscape, VK_ESCAPE, 0x1B},
    KnownKey{Key::kTab, VK_TAB, L'\t'},
    KnownKey{Key::kBackTab, VK_TAB, L'\t'},
    KnownKey{Key::kSpace, VK_SPACE, L' '},
    KnownKey{Key::kDelete, VK_DELETE, 0},
    KnownKey{Key::kUp, VK_UP, 0},
    KnownKey{Key::kDown, VK_DOWN, 0},
    KnownKey{Key::kLeft, VK_LEFT, 0},
    KnownKey{Key::kRight, VK_RIGHT, 0},
    KnownKey{Key::kNextPage, VK_TAB, L'\t'},
    KnownKey{Key::kPreviousPage, VK_TAB, L'\t'},
};

bool IsDown(int virtual_key) { return GetKeyState(virtual_key) < 0; }

const KnownKey* Find(Key key) {
  for (const KnownKey& known : kKnown) {
    if (known.key == key) return &known;
  }
  return nullptr;
}

}  // namespace

std::optional<Key> FromKeyDown(WPARAM virtual_key) {
  if (IsDown(VK_MENU)) return std::nullopt;
  if (IsDown(VK_CONTROL)) {
    if (virtual_key == VK_NEXT) return Key::kNextPage;
    if (virtual_key == VK_PRIOR) return Key::kPreviousPage;
    if (virtual_key != VK_TAB) return std::nullopt;
    return IsDown(VK_SHIFT) ? Key::kPreviousPage : Key::kNextPage;
  }
  if (virtual_key == VK_TAB) return IsDown(VK_SHIFT) ? Key::kBackTab : Key::kTab;
  // Shift and Delete cut, Shift and an arrow select.
  if (IsDown(VK_SHIFT) && virtual_key != VK_RETURN && virtual_key != VK_ESCAPE) return std::nullopt;
  for (const KnownKey& known : kKnown) {
    if (known.virtual_key == virtual_key) return known.key;
  }
  return std::nullopt;
}

WPARAM VirtualKey(Key key) {
  const KnownKey* known = Find(key);
  return known == nullptr ? 0 : known->virtual_key;
}

WPARAM Character(Key key) {
  const KnownKey* known = Find(key);
  return known == nullptr ? 0 : known->character;
}

}  // namespace vespro::ModKeys
