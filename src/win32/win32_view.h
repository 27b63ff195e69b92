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

 private:
  class Showing;

  const Fonts& fonts() const override { return fonts_; }
  IconLibrary& icons() override;
  bool showing() const override { return showing_ > 0; }
  bool Tell(const UserAction& action) override;
  void TellLater(NativeControl& control, Later what) override;
  HBRUSH Behind(const NativeControl& native, HDC dc) override;
  bool TakesKey(NativeControl* native, UINT message, WPARAM wparam) override;

  void MakeWindow(HWND owner);
  void MakeControls();
  void MoveToOwner();
  void Arrange();
  void Resize(Size inner);
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

  Win32Renderer& renderer_;
  Form& form_;
  Fonts fonts_;
  std::vector<NativeControl*> in_order_;  // as Form::controls()
  std::unordered_map<const Control*, std::unique_ptr<NativeControl>> natives_;
  Owned<HWND> tooltips_;
  Owned<HWND> window_;
  int showing_ = 0;
  bool placed_ = false;   // it has a place on the screen
  WPARAM swallowed_ = 0;  // the character that a key acted upon would still become
};

}  // namespace vespro
