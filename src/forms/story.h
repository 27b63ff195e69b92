// forms/story.h - for tests only: a story told to a FormDriver. What a person cannot do in it fails
// the test at the story's line.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "forms/driver.h"

namespace vespro {

class Story {
 public:
  explicit Story(FormDriver& driver) : driver_(driver) {}

  FormDriver& driver() { return driver_; }
  Desktop& desktop() { return driver_.desktop(); }
  void Start(std::function<void()> program) { driver_.Start(std::move(program)); }

  void Focus(std::string_view control, int line = __builtin_LINE()) {
    Must(driver_.Focus(control), line);
  }
  void Type(std::string_view control, std::string_view text, int line = __builtin_LINE()) {
    Must(driver_.Type(control, text), line);
  }
  void Click(std::string_view control, int line = __builtin_LINE()) {
    Must(driver_.Click(control), line);
  }
  void Select(std::string_view control, int row, int line = __builtin_LINE()) {
    Must(driver_.Select(control, row), line);
  }
  void Press(Key key, int line = __builtin_LINE()) { Must(driver_.Press(key), line); }
  void PressAlt(char letter, int line = __builtin_LINE()) {
    Must(driver_.Press(Key::kAccess, letter), line);
  }
  void CloseByFrame(int line = __builtin_LINE()) { Must(driver_.CloseByFrame(), line); }
  void Enlarge(int columns, int lines, int line = __builtin_LINE()) {
    Must(driver_.Enlarge(columns, lines), line);
  }
  void PickFile(std::string_view path, int line = __builtin_LINE()) {
    Must(driver_.PickFile(path), line);
  }

  // The window on top, as a picture. `expected` may begin with a line end.
  void Sees(std::string_view expected, int line = __builtin_LINE()) {
    if (!expected.empty() && expected.front() == '\n') expected.remove_prefix(1);
    EXPECT_EQ(driver_.Look(), expected) << "at line " << line;
  }
  // The titles of all windows, from the bottom to the top.
  void SeesWindows(const std::vector<std::string>& titles, int line = __builtin_LINE()) {
    EXPECT_EQ(driver_.Windows(), titles) << "at line " << line;
  }
  // A message box on top; it is answered with the button of that caption.
  void Answers(std::string_view text, std::string_view icon, std::string_view button,
               int line = __builtin_LINE()) {
    EXPECT_EQ(ModCaption::Plain(Of("LabelText", line).caption), text) << "at line " << line;
    EXPECT_EQ(Of("ImageIcon", line).icon.name, icon) << "at line " << line;
    Click(button, line);
  }
  void SeesEnd(int line = __builtin_LINE()) {
    EXPECT_TRUE(driver_.Ended()) << "at line " << line << "; on top:\n" << driver_.Look();
  }
  void Cannot(const Status& status, int line = __builtin_LINE()) {
    EXPECT_FALSE(status.ok()) << "at line " << line;
  }
  ControlLook Of(std::string_view control, int line = __builtin_LINE()) {
    Result<ControlLook> look = driver_.Look(control);
    EXPECT_TRUE(look.ok()) << look.status().text() << ", at line " << line << "; on top:\n"
                           << driver_.Look();
    return look.ok() ? look.value() : ControlLook();
  }
  std::string TextOf(std::string_view control, int line = __builtin_LINE()) {
    return Of(control, line).text;
  }

 private:
  void Must(const Status& status, int line) {
    EXPECT_TRUE(status.ok()) << status.text() << ", at line " << line << "; on top:\n"
                             << driver_.Look();
  }

  FormDriver& driver_;
};

}  // namespace vespro
