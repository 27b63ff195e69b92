#include "forms/boxes.h"

#include <vector>

#include "base/text.h"
#include "forms/scripted.h"

namespace vespro {

MessageForm::MessageForm(std::string_view text, MessageIcon icon, MessageButtons buttons,
                         std::string_view title)
    : Form("MessageForm", title) {
  static constexpr const char* kIcons[] = {"X", "?", "!", "i"};
  ImageIcon.set_icon({Icon::Kind::kResource, kIcons[static_cast<int>(icon)]});
  LabelText.set_caption(ModCaption::Literal(text));
  LabelText.set_size(60);
  const bool asks = buttons == MessageButtons::kYesNo;
  CmdOk.set_visible(!asks);
  CmdYes.set_visible(asks);
  CmdNo.set_visible(asks);
  set_closable(!asks);
  set_default(asks ? CmdYes : CmdOk);
  if (!asks) set_cancel(CmdOk);
  CmdOk.OnClick([this] { Answer(MessageAnswer::kOk); });
  CmdYes.OnClick([this] { Answer(MessageAnswer::kYes); });
  CmdNo.OnClick([this] { Answer(MessageAnswer::kNo); });
}

Layout MessageForm::Arrange() {
  return Rows(
      {Columns({ImageIcon, Fill(LabelText)}), Columns({Space(), CmdOk, CmdYes, CmdNo, Space()})});
}

MessageAnswer MessageForm::Ask(Desktop& desktop) {
  // What stays if the program ends before anybody answers.
  answer_ = CmdOk.visible() ? MessageAnswer::kOk : MessageAnswer::kNo;
  ShowModal(desktop);
  return answer_;
}

void MessageForm::Answer(MessageAnswer answer) {
  answer_ = answer;
  Unload();
}

PickerForm::PickerForm(const FileQuestion& question)
    : Form("PickerForm", question.title), folder_(question.folder) {
  LabelFolder.set_caption(ModCaption::Literal("Look in: " + question.folder));
  const std::vector<std::string_view> parts = ModText::Split(question.filter, '|');
  for (std::size_t i = 0; i + 1 < parts.size(); i += 2) {
    ListFilter.AddItem(std::string(parts[i]) + " -> " + std::string(parts[i + 1]));
  }
  ListFilter.set_size(60, 3);
  ListFilter.Select(ListFilter.rows().empty() ? -1 : 0);
  set_default(CmdOpen);
  set_cancel(CmdCancel);
  CmdOpen.OnClick([this] { CmdOpen_Click(); });
  CmdCancel.OnClick([this] { Unload(); });
}

Layout PickerForm::Arrange() {
  return Rows({LabelFolder, TextPath, ListFilter, Columns({Space(), CmdOpen, CmdCancel})});
}

std::string PickerForm::Ask(Desktop& desktop) {
  ShowModal(desktop);
  return path_;
}

void PickerForm::CmdOpen_Click() {
  path_ = TextPath.text();
  const bool is_bare = !path_.empty() && path_.find_first_of("/\\") == path_.npos;
  if (is_bare && !folder_.empty()) path_ = folder_ + "/" + path_;
  Unload();
}

std::string DrawMessage(std::string_view text, MessageIcon icon, MessageButtons buttons,
                        std::string_view title) {
  ScriptedDriver driver;
  driver.Start([&] { driver.desktop().MsgBox(text, icon, buttons, title); });
  return driver.Look();
}

}  // namespace vespro
