#include "win32/win32_renderer.h"

#include <commctrl.h>

#include <string_view>

#include "win32/guard.h"
#include "win32/win32_view.h"

namespace vespro {
namespace {

bool IsForm(HWND window) {
  wchar_t name[32] = {};
  GetClassNameW(window, name, 32);
  return std::wstring_view(name) == Win32Renderer::kWindowClass;
}

BOOL CALLBACK NoteUsable(HWND window, LPARAM list) {
  return AtEdge("the windows", [&]() -> BOOL {
    if (IsWindowVisible(window) && IsWindowEnabled(window) && !IsForm(window)) {
      reinterpret_cast<std::vector<HWND>*>(list)->push_back(window);
    }
    return TRUE;
  });
}

}  // namespace

Win32Renderer::HostBlock::HostBlock(HWND owner) {
  EnumThreadWindows(GetCurrentThreadId(), NoteUsable, reinterpret_cast<LPARAM>(&disabled_));
  std::erase(disabled_, owner);
  for (const HWND window : disabled_) EnableWindow(window, FALSE);
}

Win32Renderer::HostBlock::~HostBlock() {
  for (const HWND window : disabled_) EnableWindow(window, TRUE);
}

Win32Renderer::~Win32Renderer() { UnregisterClassW(kWindowClass, OurModule()); }

std::unique_ptr<FormView> Win32Renderer::CreateView(Form& form, FormView* owner) {
  INITCOMMONCONTROLSEX kinds{};
  kinds.dwSize = sizeof(kinds);
  kinds.dwICC = ICC_STANDARD_CLASSES | ICC_LISTVIEW_CLASSES | ICC_TAB_CLASSES | ICC_BAR_CLASSES;
  const VisualStyles::InUse new_look(styles_);
  InitCommonControlsEx(&kinds);
  const HWND before = owner == nullptr ? nullptr : static_cast<Win32View*>(owner)->window();
  return std::make_unique<Win32View>(*this, form, before != nullptr ? before : Front());
}

void Win32Renderer::RunWhile(const std::function<bool()>& go_on) {
  for (;;) {
    UnloadLost();
    if (!go_on()) return;
    MSG message{};
    const BOOL got = GetMessageW(&message, nullptr, 0, 0);
    if (got <= 0) {
      // The program ends; the loops below have to know, too.
      if (got == 0) PostQuitMessage(static_cast<int>(message.wParam));
      return;
    }
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
}

void Win32Renderer::ShowLoading() {
  for (Win32View* view : visible_) view->ShowIfLoading();
}

HWND Win32Renderer::Front() const {
  for (auto view = visible_.rbegin(); view != visible_.rend(); ++view) {
    if (IsWindowVisible((*view)->window())) return (*view)->window();
  }
  return host_window_ ? host_window_() : nullptr;
}

void Win32Renderer::Add(Win32View& view) { views_.push_back(&view); }

void Win32Renderer::Remove(Win32View& view) {
  std::erase(views_, &view);
  std::erase(lost_, &view);
}

void Win32Renderer::Shown(Win32View& view) {
  if (visible_.empty()) {
    host_ = host_window_ ? host_window_() : nullptr;
    block_ = std::make_unique<HostBlock>(nullptr);
  }
  std::erase(visible_, &view);
  visible_.push_back(&view);
  ChainOwners();
}

void Win32Renderer::Hidden(Win32View& view) {
  if (std::erase(visible_, &view) == 0) return;
  // The system destroys windows together with their owner, so nothing stays with a hidden one.
  ChainOwners();
  view.SetOwner(visible_.empty() ? host_ : nullptr);
  if (visible_.empty()) block_.reset();
}

void Win32Renderer::ChainOwners() {
  for (Win32View* view : visible_) view->SetOwner(host_);
  for (std::size_t i = 1; i < visible_.size(); ++i) {
    visible_[i]->SetOwner(visible_[i - 1]->window());
  }
}

void Win32Renderer::Lost(Win32View& view) {
  lost_.push_back(&view);
  Hidden(view);
}

void Win32Renderer::UnloadLost() {
  while (!lost_.empty()) {
    Win32View* view = lost_.back();
    lost_.pop_back();
    view->form().Unload();
  }
}

}  // namespace vespro
