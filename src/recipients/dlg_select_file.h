// recipients/dlg_select_file.h - the user chooses the distribution file, looks at it, and merges a
// second file into it or filters one out of it. OK stores the choice in the setting `MailList`.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "forms/form.h"
#include "settings/settings.h"

namespace vespro {

class DlgSelectFile final : public Form {
 public:
  // `list_changed` (may be empty) is called when the list that is stored may have other columns
  // than before. What is passed by reference must outlive the dialog.
  DlgSelectFile(Desktop& desktop, Settings& settings, std::function<void()> list_changed);

  Image ImageNote{this, "ImageNote", {Icon::Kind::kResource, "TIP"}};
  Label LabelHelp{this, "LabelHelp",
                  "Distribution file contains a list of recipient email addresses.  Acceptable "
                  "file formats are text and CSV.  For text file, there should be only one email "
                  "address per line."};
  Label LabelSelectedFile{this, "LabelSelectedFile", "Current distribution f&ile:"};
  TextBox TextSelectedFile{this, "TextSelectedFile"};
  Button CmdFileSelect{this, "CmdFileSelect", "&Browse..."};
  Button CmdEdit{this, "CmdEdit", "&Edit"};
  Button CmdAdvance{this, "CmdAdvance"};
  Button CmdOk{this, "CmdOk", "OK"};
  Button CmdCancel{this, "CmdCancel", "Cancel"};
  Frame FrameAdvanced{this, "FrameAdvanced", "Advanced"};
  Label LabelAdvancedSelect{this, "LabelAdvancedSelect", "&Second file:"};
  TextBox TextAdvancedSelect{this, "TextAdvancedSelect"};
  Button CmdAdvancedFileSel{this, "CmdAdvancedFileSel", "B&rowse..."};
  Button CmdAdvanceEdit{this, "CmdAdvanceEdit", "E&dit"};
  Button CmdMergeFile{this, "CmdMergeFile", "&Merge into current file"};
  Button CmdFilter{this, "CmdFilter", "&Filter out of current file"};

 private:
  Layout Arrange() override;
  void Form_Load() override;
  void CmdFileSelect_Click();
  void CmdAdvance_Click();
  void CmdAdvancedFileSel_Click();
  void CmdMergeFile_Click();
  void CmdFilter_Click();
  void CmdOk_Click();

  void ShowAdvanced(bool shown);
  void EnableForSecondFile();
  std::string PickFile(std::string_view title);
  void Edit(const TextBox& box);
  bool Store(const std::string& path);

  Desktop& desktop_;
  Settings& settings_;
  std::function<void()> list_changed_;
  // Changed by the advanced section, which has stored it; empty: none. OK leaves it at that.
  std::string changed_path_;
};

}  // namespace vespro
