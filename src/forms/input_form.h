// forms/input_form.h - every desktop's input box.
#pragma once

#include <string>
#include <string_view>

#include "forms/form.h"
#include "host/desktop.h"

namespace vespro {

class InputForm final : public Form {
 public:
  InputForm(std::string_view prompt, std::string_view title, std::string_view initial);
  // What was typed; empty when it was cancelled.
  std::string Ask(Desktop& desktop);

 private:
  Layout Arrange() override;
  void CmdOk_Click();

  Label LabelPrompt{this, "LabelPrompt"};
  TextBox TextAnswer{this, "TextAnswer"};
  Button CmdOk{this, "CmdOk", "OK"};
  Button CmdCancel{this, "CmdCancel", "Cancel"};
  std::string answer_;
};

}  // namespace vespro
