// tests/dialogs/walk.h - a dialog used by hand, or by a script: steps are read as lines and done as
// a person would do them, and what that person sees is printed. The same steps run on every driver.
//
//   type CONTROL TEXT      into a text box, in place of what it holds
//   click CONTROL          a button, an option, a check box; a message box's button, too
//   select CONTROL ROW     a row by its text, or by its number from 1
//   focus CONTROL
//   press KEY              enter, escape, tab, backtab, ctrl+tab, space, delete, up, down, left,
//                          right, or alt+LETTER
//   pick PATH              answers the file picker; without a path it is cancelled
//   answer BUTTON          the same as click, for a message box
//   close                  the frame's close button
//   look [CONTROL]         the window on top as a picture, or what one control shows
//
// A control is named by its name or its caption, in double quotes where that has blanks. Lines that
// begin with "#" are passed over.
#pragma once

#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "forms/driver.h"
#include "terminal/home.h"

namespace vespro {

// A dialog on a user's own settings and data.
struct HomeDialog {
  std::string name;
  std::function<void(Desktop&, Home&)> show;  // waits until it is closed
};
std::vector<HomeDialog> HomeDialogs();

// One of the steps above. What `look` sees goes to `out`.
Status DoDialogStep(FormDriver& driver, std::string_view line, std::ostream& out);
// The next word of a line, in quotes or up to a blank, which is taken off.
std::string TakeWord(std::string_view& line);

// Shows the dialog of that name on the home in `folder`, reads steps to the end of `steps` and
// prints what comes of them on `out`. 0; 1 when a step could not be done; 2 when there is no such
// dialog or the home can't be opened.
int WalkThrough(FormDriver& driver, const std::string& name, const std::string& folder,
                std::istream& steps, std::ostream& out);

}  // namespace vespro
