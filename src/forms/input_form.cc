#include "forms/input_form.h"

namespace vespro {

InputForm::InputForm(std::string_view prompt, std::string_view title, std::string_view initial)
    : Form("InputForm", title) {
  LabelPrompt.set_caption(ModCaption::Literal(prompt));
  LabelPrompt.set_size(50);
  TextAnswer.set_size(50);
  TextAnswer.set_text(initial);
  set_default(CmdOk);
  set_cancel(CmdCancel);
  CmdOk.OnClick([this] { CmdOk_Click(); });
  CmdCancel.OnClick([this] { Unload(); });
}

Layout InputForm::Arrange() {
  return Rows({LabelPrompt, TextAnswer, Columns({Space(), CmdOk, CmdCancel})});
}

std::string InputForm::Ask(Desktop& desktop) {
  SetFocus(TextAnswer);
  ShowModal(desktop);
  return answer_;
}

void InputForm::CmdOk_Click() {
  answer_ = TextAnswer.text();
  Unload();
}

}  // namespace vespro
