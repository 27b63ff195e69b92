// win32/win32_view.h - a form's window. The mail client's own thread.
#pragma once

#include <windows.h>

#include <memory>
#include <unordered_map>
#include <vector>

#include "forms/form.h"
#include "win32/fonts.h"
#include "win32/native_control.h"
#include "win32/owned.h"

namespace vespro {

class Win32Renderer;

class Win32View final : public FormView, private NativeHost {
 public:
  // Made at the resolution of `owner`, which may be nullptr.
  Win32View(Win32Renderer& renderer, Form& form, HWND owner);
  ~Win32View() override;

  void ShowLoading() override;
  void Show() override;
  void Hide() override;
  void SetTakesInput(bool takes_input) override;
  void Update(const Control& control, Change change, std::size_t row) override;
  void UpdateCaption() override;
  void SetFocus(const Control* control) override;

  Form& form() const { return form_; }
  // nullptr when the system took the window away, together with its owner.
  HWND window() const override { return window_.get(); }
  // The control's own window.
  HWND WindowOf(const Control& control) const { return natives_.at(&control)->window(); }
  const IconLibrary& shown_icons() const;
  // Which window it stays in front of.
  void SetOwner(HWND owner);
  // Becomes visible, as waiting, if Form_Load has run for a moment.
  void ShowIfLoading();
  // How much larger than it needs the user has made it, in pixels.
  Size Beyond() const;
  const Fonts& fonts() const override { return fonts_; }

 private:
  class Showing;

  IconLibrary& icons() override;
  bool showing() const override { return showing_ > 0; }
  bool Tell(const UserAction& action) override;
  void TellLater(NativeControl& control, Later what) override;
  HBRUSH Behind(const NativeControl& native, HDC dc) override;
  void OnMouse(const MSG& message) override;
  void MoveTo(HWND control, const Rectangle& where) override;
  bool TakesKey(NativeControl* native, UINT message, WPARAM wparam) override;

  void MakeWindow(HWND owner);
  void MakeControls();
  // Where on the screen it is, or will be.
  HWND Beside() const;
  void MoveToOwner();
  void ArrangeLater(bool may_shrink);
  void ArrangeNow();
  void Arrange(bool may_shrink);
  void Resize();
  void Place(const Measure& measure, const Size& margin);
  SIZE Outer(const Size& inner) const;
  // The window's size on this screen.
  SIZE Fitted(const Size& inner) const;
  void Move(HWND control, const Rectangle& where, UINT flags);
  int ScrollRange() const;
  void ScrollTo(int y);
  void ScrollTo(const Control& control);
  void UseResolution(UINT dpi);
  void ShowTooltip(const NativeControl& native);
  void ShowDefaultButton();
  void GiveFocus(HWND window);

  static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
  LRESULT Handle(UINT message, WPARAM wparam, LPARAM lparam);
  LRESULT Default(UINT message, WPARAM wparam, LPARAM lparam);
  LRESULT OnColor(UINT message, WPARAM wparam, LPARAM lparam);
  void EraseBehindPages(HDC dc);
  void OnTold(Later what, std::size_t index);
  void OnDestroyed();
  NativeControl* Native(HWND window) const;
  bool TakesKeyDown(NativeControl* native, WPARAM key);
  void ShowRowsOf(NativeControl& native);
  void OnSized();
  void OnScroll(WORD code);
  void LimitSize(MINMAXINFO& limits) const;

  Win32Renderer& renderer_;
  Form& form_;
  Fonts fonts_;
  std::vector<NativeControl*> in_order_;  // as Form::controls()
  std::unordered_map<const Control*, std::unique_ptr<NativeControl>> natives_;
  Owned<HWND> tooltips_;
  Owned<HWND> window_;
  int showing_ = 0;
  bool made_ = false;     // it has its controls
  bool loading_ = false;  // Form_Load runs
  DWORD loading_since_ = 0;
  bool placed_ = false;   // it has a place on the screen
  bool opening_ = false;  // the focus has yet to be given
  bool arrange_pending_ = false;
  bool may_shrink_ = false;
  Size needed_;           // by all that is in it, its margin included
  Size inner_;            // what it has; more than its window where that scrolls
  int scrolled_ = 0;      // how far down
  HDWP moves_ = nullptr;  // while all are placed
  WPARAM swallowed_ = 0;  // the character that a key acted upon would still become
};

}  // namespace vespro
