// recipients/dlg_map_csv.h - which column of a CSV table holds the addresses, and whether its first
// row is a header. Reads the table's path from the setting `MailList`, and completes the setting.
#pragma once

#include <string>

#include "forms/form.h"
#include "settings/settings.h"

namespace vespro {

class DlgMapCSV final : public Form {
 public:
  // Both must outlive it.
  DlgMapCSV(Desktop& desktop, Settings& settings);

  // For the next time it is shown: there is only CmdOk, which leaves duplicates alone.
  void set_confirm_only(bool confirm_only) { confirm_only_ = confirm_only; }
  // How it was left. Without confirming, by whatever way, `MailList` is empty: the choice is to be
  // made again.
  bool confirmed() const { return confirmed_; }

  Label Label1{this, "Label1", "Select email address from column"};
  ComboBox ComboFields{this, "ComboFields", "Select the email address"};
  Frame FrameColMap{this, "FrameColMap", "First line contains"};
  OptionButton OptionHeader{this, "OptionHeader", "Header"};
  OptionButton OptionValue{this, "OptionValue", "Value"};
  Button CmdFinish{this, "CmdFinish", "&Finish"};
  Button CancelButton{this, "CancelButton", "&Cancel"};
  Button CmdOk{this, "CmdOk", "OK"};

 private:
  Layout Arrange() override;
  void Form_Load() override;
  void Form_Unload() override;
  void CmdFinish_Click();
  void FillFields();

  Desktop& desktop_;
  Settings& settings_;
  std::string path_;
  bool confirm_only_ = false;
  bool confirmed_ = false;
};

}  // namespace vespro
