// outlook/frame.h - a window of the stand-in on the screen: the bars as menus and buttons that can
// be clicked, and for an item the boxes in which a person writes it.
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "outlook/bars.h"
#include "win32/owned.h"

namespace vespro::standin {

class Frame {
 public:
  struct Told {
    std::function<void()> activated;
    std::function<void()> closed;  // the frame's close button
    std::function<void()> edited;  // the person has written something
  };
  // Not shown yet. `bars` and what is told must outlive it.
  Frame(std::string_view title, Bars& bars, bool has_item, Told told);
  Frame(const Frame&) = delete;
  Frame& operator=(const Frame&) = delete;
  ~Frame();

  HWND window() const { return window_.get(); }
  void Show();
  std::string Title() const;

  // What is written; the caret is where it was.
  struct Written {
    std::string to, subject, body;
  };
  Written Read() const;
  void Write(const Written& written);
  // Puts the clipboard's text at the caret of the body, as the Paste command does. False: there is
  // none.
  bool Paste();
  // What an explorer shows.
  void ShowText(std::string_view text);

 private:
  struct Place {
    RECT area;
    Control* control;
  };

  static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
  LRESULT Handle(UINT message, WPARAM wparam, LPARAM lparam);
  void MakeBoxes();
  void Arrange();
  void Paint(HDC dc);
  std::vector<Place> Places(HDC dc) const;
  void ClickAt(POINT point);
  void Open(const Control& popup, POINT where);
  void OpenList(Control& box, POINT where);
  HWND Child(int number) const { return GetDlgItem(window_.get(), number); }

  Bars& bars_;
  const bool has_item_;
  const Told told_;
  bool writing_ = false;  // what the boxes say now is ours
  Owned<HWND> window_;
};

}  // namespace vespro::standin
