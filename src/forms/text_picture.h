// forms/text_picture.h - a form as a person sees it, drawn with letters, for tests and manuals.
//
//   +- Accounts -----------------------[x]-+
//   |  Server: >[smtp.example.org______]   |   > has the focus, ~ can't be used
//   |  Password ~[......................]  |   a silver box is filled with dots
//   |  (o) One  [x] Two   [TEXT_______ v]  |   options, check box, drop-down list
//   |  [=_Close=]   [ _Add ]   (TIP)       |   default button, access keys, a picture by its name
//   +--------------------------------------+
//
// What is in lists is marked "*" when it is selected. Any thread, as long as the form rests.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "forms/form.h"

namespace vespro {

// What the screen shows of one control, as read from its window.
struct ControlLook {
  bool visible = true;
  bool enabled = true;
  bool focused = false;
  bool checked = false;
  Background background = Background::kDefault;
  std::string caption;  // with the access key's "&"
  std::string text;     // of a text box as it shows: masked ones as "***"
  bool marked = false;  // all of that text is selected: what is typed takes its place
  std::string tooltip;
  std::vector<Row> rows;
  int selected = -1;
  Icon icon;
};

// A text as the box shows it: as "*" for each character where it is masked.
std::string ShownText(const TextBox& box, std::string_view text);
// What a control should look like, by its own properties.
ControlLook LookOf(const Control& control, const Control* focus);

// The form must be loaded. `caption` is what its window's title shows; `look` is asked for every
// control; `beyond` is how much larger than it needs the user has made it. Lines end in LF.
std::string DrawForm(const Form& form, std::string_view caption,
                     const std::function<const ControlLook&(const Control&)>& look,
                     const Size& beyond);

// A text in lines of at most `columns` characters (0: any length), broken at blanks; its own line
// breaks stay. UTF-8.
std::vector<std::string> WrapText(std::string_view text, int columns);

}  // namespace vespro
