// forms/boxes.h - how the scripted desktop shows what real ones have natively.
#pragma once

#include <string>
#include <string_view>

#include "forms/form.h"
#include "host/desktop.h"

namespace vespro {

// A message box: the icon, the text, and the buttons "OK" or "Yes" and "No".
class MessageForm final : public Form {
 public:
  MessageForm(std::string_view text, MessageIcon icon, MessageButtons buttons,
              std::string_view title);
  // Escape and the frame answer OK; a question stays until it is answered.
  MessageAnswer Ask(Desktop& desktop);

 private:
  Layout Arrange() override;
  bool Form_CloseByFrame() override { return CmdOk.visible(); }
  void Answer(MessageAnswer answer);

  Image ImageIcon{this, "ImageIcon"};
  Label LabelText{this, "LabelText"};
  Button CmdOk{this, "CmdOk", "OK"};
  Button CmdYes{this, "CmdYes", "&Yes"};
  Button CmdNo{this, "CmdNo", "&No"};
  MessageAnswer answer_ = MessageAnswer::kOk;
};

// A file picker as bare as can be: the question, and a box for the path.
class PickerForm final : public Form {
 public:
  explicit PickerForm(const FileQuestion& question);
  std::string Ask(Desktop& desktop);

 private:
  Layout Arrange() override;
  void CmdOpen_Click();

  Label LabelFolder{this, "LabelFolder"};
  TextBox TextPath{this, "TextPath"};
  ListBox ListFilter{this, "ListFilter"};
  Button CmdOpen{this, "CmdOpen", "&Open"};
  Button CmdCancel{this, "CmdCancel", "Cancel"};
  std::string folder_;  // where a bare name is looked for, as the system's picker does
  std::string path_;
};

// What a message box looks like in a picture of the screen (forms/text_picture.h).
std::string DrawMessage(std::string_view text, MessageIcon icon, MessageButtons buttons,
                        std::string_view title);

}  // namespace vespro
