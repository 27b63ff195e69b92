// settings/frm_mail_setting.h - the user's mail servers: the list in which accounts are added and
// removed. Only its Close button saves, and only what was changed.
#pragma once

#include <filesystem>

#include "forms/form.h"
#include "settings/account_file.h"

namespace vespro {

class frmMailSetting final : public Form {
 public:
  // `account_file` is the account file's path. `desktop` must outlive the dialog.
  frmMailSetting(Desktop& desktop, std::filesystem::path account_file);

  Image ImageTip{this, "ImageTip", {Icon::Kind::kResource, "TIP"}};
  Label LabelTip{this, "LabelTip",
                 "Add at least one SMTP server (email account from your ISP) below.  Multiple "
                 "servers can be added for fast email delivery.  Vespro can direct more emails to "
                 "one server over another by adding multiple entries for a particular server."};
  Label LabelServer{this, "LabelServer", "&Server Name:"};
  TextBox TextServer{this, "TextServer"};
  Label LabelPort{this, "LabelPort", "Port &No.:"};
  TextBox TextPort{this, "TextPort"};
  Label LabelLogin{this, "LabelLogin", "&Login Name:"};
  TextBox TextLogin{this, "TextLogin"};
  Label LabelPassword{this, "LabelPassword", "&Password:"};
  TextBox TextPassword{this, "TextPassword", TextBox::Style::kMasked};
  CheckBox CheckNoAuthLogin{this, "CheckNoAuthLogin", "No Authentication Required"};
  Button CmdAdd{this, "CmdAdd", "&Add"};
  ListView ListServer{
      this, "ListServer", {{"Server Name", 32}, {"Port No.", 10}, {"Login Name", 22}}};
  Button CmdRemove{this, "CmdRemove", "&Remove"};
  Button CmdClose{this, "CmdClose", "&Close"};

 private:
  Layout Arrange() override;
  void Form_Load() override;
  void CheckNoAuthLogin_Click();
  void CmdAdd_Click();
  void ListServer_Click();
  bool ListServer_Key(Key key);
  void CmdRemove_Click();
  void CmdClose_Click();

  void ShowEntry(const AccountEntry& entry);
  void ResetInputs();
  void NeedLogin(bool needed);
  void Say(const Status& refusal);

  Desktop& desktop_;
  const std::filesystem::path account_file_;
  AccountList accounts_;  // one for each row of ListServer
  bool changed_ = false;
};

}  // namespace vespro
