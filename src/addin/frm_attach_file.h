// addin/frm_attach_file.h - the files that go with the mail in front, apart from what the mail
// client attaches by itself. Close keeps the changes in the mail's window; the frame's button drops
// them.
#pragma once

#include <memory>
#include <string_view>

#include "forms/form.h"
#include "host/add_in.h"
#include "settings/settings.h"

namespace vespro {

class frmAttachFile final : public Form {
 public:
  // What is passed must outlive the dialog.
  frmAttachFile(AddIn& add_in, Settings& settings);

  Image ImageLogo{this, "ImageLogo", {Icon::Kind::kResource, "VESPRO"}};
  Label LabelHelp{this, "LabelHelp", "These files are attached to the mail when it is sent."};
  ListView ListViewDisplay{this, "ListViewDisplay"};
  Button CmdAddAttach{this, "CmdAddAttach", "&Add ..."};
  Button CmdRemove{this, "CmdRemove", "&Remove"};
  Button CmdClose{this, "CmdClose", "&Close"};

 private:
  Layout Arrange() override;
  void Form_Load() override;
  void CmdAddAttach_Click();
  void CmdRemove_Click();
  void CmdClose_Click();

  // The followed window of the mail in front; nullptr when there is none.
  std::shared_ptr<ComposeWindow> ActiveWindow() const;
  void AddItem(std::string_view path);
  void EnableButtons();

  AddIn& add_in_;
  Settings& settings_;
};

}  // namespace vespro
