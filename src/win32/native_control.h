// win32/native_control.h - one control of a form as a native window: made from the control's
// properties, shown anew when they change, and telling what the user does to it. The mail client's
// own thread.
#pragma once

#include <windows.h>

#include <memory>
#include <string>

#include "forms/form.h"
#include "win32/fonts.h"
#include "win32/icons.h"

namespace vespro {

class NativeControl;

// What the form's window is to the controls in it.
class NativeHost {
 public:
  // What a native control has done already, and is told of when it is through with it: the form may
  // turn it back, or ask the user something. kRows: rows have come, and are shown together.
  enum class Later { kFocus, kSelection, kRows };

  virtual HWND window() const = 0;
  virtual const Fonts& fonts() const = 0;
  virtual IconLibrary& icons() = 0;
  // Whether the form itself is setting something just now; then notifications are not the user's.
  virtual bool showing() const = 0;
  virtual bool Tell(const UserAction& action) = 0;
  virtual void TellLater(NativeControl& control, Later what) = 0;
  // What lies behind the control, to paint its background with `dc`: the page of a tab strip, or
  // nullptr for the form itself.
  virtual HBRUSH Behind(const NativeControl& native, HDC dc) = 0;
  // Before the control itself learns of it.
  virtual void OnMouse(const MSG& message) = 0;
  // Gives a control's window its place and shows it, together with all others'.
  virtual void MoveTo(HWND control, const Rectangle& where) = 0;
  // A keyboard message for the control - nullptr: for the form's window itself; true when the
  // control must not get it.
  virtual bool TakesKey(NativeControl* native, UINT message, WPARAM wparam) = 0;

 protected:
  ~NativeHost() = default;
};

class NativeControl {
 public:
  // Makes the window, not yet visible nor in its place. `host` and `control` must outlive it.
  static std::unique_ptr<NativeControl> Make(NativeHost& host, Control& control);
  NativeControl(const NativeControl&) = delete;
  NativeControl& operator=(const NativeControl&) = delete;
  // The window itself goes with the form's.
  virtual ~NativeControl();

  Control& control() const { return control_; }
  HWND window() const { return window_; }
  // The text of its window, UTF-8.
  std::string Text() const;

  virtual void Update(Change change, std::size_t row);
  virtual void UseFonts();
  virtual void Place(const Rectangle& where);
  // Enter presses this button.
  virtual void SetDefault(bool) {}

  // From the form's window: WM_COMMAND's code, and WM_NOTIFY.
  virtual void OnCommand(WORD) {}
  virtual LRESULT OnNotify(NMHDR&) { return 0; }
  // Tells what is selected, now that the user is through.
  virtual void TellSelection() {}
  // Shows the rows that are there by now.
  virtual void ShowRows() {}
  // Whether a drop-down list is open, which keys then belong to.
  virtual bool IsListOpen() const { return false; }
  // WM_CTLCOLOR...: sets up `dc`; nullptr leaves it to the system.
  virtual HBRUSH Color(HDC dc);
  // For what lies on it, at the same place of this control: nullptr when it covers nothing.
  virtual HBRUSH Body() { return nullptr; }

  // For the host: whether a message that tells `what` is on its way.
  bool pending(NativeHost::Later what) const { return pending_[static_cast<int>(what)]; }
  void set_pending(NativeHost::Later what, bool on) { pending_[static_cast<int>(what)] = on; }

 protected:
  NativeControl(NativeHost& host, Control& control) : host_(host), control_(control) {}
  void MakeWindow(const wchar_t* class_name, DWORD style, DWORD extended_style = 0);
  virtual LRESULT Handle(UINT message, WPARAM wparam, LPARAM lparam);
  // The window's own procedure.
  LRESULT Native(UINT message, WPARAM wparam, LPARAM lparam);
  LRESULT Send(UINT message, WPARAM wparam = 0, LPARAM lparam = 0) const;
  LRESULT SendText(UINT message, WPARAM wparam, std::string_view text) const;
  void SetText(std::string_view text);

  NativeHost& host_;

 private:
  static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
  void Detach();

  Control& control_;
  HWND window_ = nullptr;  // nullptr when it is gone, too
  WNDPROC native_ = nullptr;
  Owned<HBRUSH> silver_;
  bool pending_[3] = {};
};

// The two halves of Make.
std::unique_ptr<NativeControl> MakeSimple(NativeHost& host, Control& control);
std::unique_ptr<NativeControl> MakeList(NativeHost& host, Control& control);

}  // namespace vespro
