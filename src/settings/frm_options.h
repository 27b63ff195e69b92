// settings/frm_options.h - how mail is sent: the mode, the sender, the connections, the accounts;
// and the log files. Settings are read when it opens and stored by OK.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

#include "forms/form.h"
#include "settings/settings.h"

namespace vespro {

// What the options dialog leads to. Functions may be empty.
struct OptionsLinks {
  std::filesystem::path account_file;
  std::filesystem::path log_folder;          // a folder for each session
  std::function<void()> edit_words;          // shows the dialog of the user's own merge words
  std::function<void()> settings_changed;    // brings the open compose windows up to date
  std::function<Status()> delete_log_files;  // empties log_folder, or makes it
};

class frmOptions final : public Form {
 public:
  // What is passed by reference must outlive the dialog.
  frmOptions(Desktop& desktop, Settings& settings, OptionsLinks links);

  TabStrip TabOptions{this, "TabOptions"};

  Frame FrameOpMode{this, "FrameOpMode"};
  Image ImageMailInBox{this, "ImageMailInBox", {Icon::Kind::kResource, "MAILINBOX"}};
  OptionButton OptionTurboMode{this, "OptionTurboMode", "&Turbo Mode (recommended)"};
  Label LabelTurboMode{this, "LabelTurboMode", "Faster but no mail merge"};
  Label LabelBccTo{this, "LabelBccTo", "Each recipient will be commonly addressed as:"};
  TextBox TextBccTo{this, "TextBccTo"};
  OptionButton OptionPersonalisedMode{this, "OptionPersonalisedMode",
                                      "&Personalised Mode (with MailMerge)"};
  Label LabelPersonalisedMode{this, "LabelPersonalisedMode",
                              "One copy of mail per recipient.  Mail merge is available when use "
                              "with CSV formatted mailing list."};
  Button CmdMailMerge{this, "CmdMailMerge", "&Add Word"};
  Label LabelMailMerge{this, "LabelMailMerge", "Add frequently used words to the list"};

  Frame FrameSenderInfo{this, "FrameSenderInfo"};
  Image ImageMailInfo{this, "ImageMailInfo", {Icon::Kind::kResource, "MAILINFO"}};
  Label LabelSenderInfo{this, "LabelSenderInfo",
                        "Enter your name and email address given by your ISP."};
  Label LabelSenderName{this, "LabelSenderName", "Name:"};
  TextBox TextSenderName{this, "TextSenderName"};
  Label LabelSenderEmailAddress{this, "LabelSenderEmailAddress", "Email Address:"};
  TextBox TextSenderEmailAddress{this, "TextSenderEmailAddress"};
  Label LabelReplyEmailAddress{this, "LabelReplyEmailAddress", "Reply Address:"};
  TextBox TextReplyEmailAddress{this, "TextReplyEmailAddress"};

  Frame FrameConnection{this, "FrameConnection"};
  Image ImageServer{this, "ImageServer", {Icon::Kind::kResource, "SERVER"}};
  Label LabelServer{this, "LabelServer", "Outgoing Mail (SMTP)"};
  Button CmdMailSetting{this, "CmdMailSetting", "Accounts"};
  Image ImageConnection{this, "ImageConnection", {Icon::Kind::kResource, "CONNECTION"}};
  Label LabelNumConnection{this, "LabelNumConnection"};
  TextBox TextNumConnection{this, "TextNumConnection"};
  Label LabelConnection{this, "LabelConnection", "Number of email sent out simutaneously."};

  Frame FrameLogFiles{this, "FrameLogFiles"};
  Label LabelLogFiles{
      this, "LabelLogFiles",
      "Tip: Generated log file contains email statistics and activities performed."};
  Button CmdShowLogFiles{this, "CmdShowLogFiles", "Open Log Files"};
  Label LabelDeleteLogFiles{this, "LabelDeleteLogFiles",
                            "Regularly delete generated log files can save disk space."};
  Button CmdDeleteTempFiles{this, "CmdDeleteTempFiles", "&Delete Log Files"};

  Button cmdOK{this, "cmdOK", "OK"};
  Button cmdCancel{this, "cmdCancel", "Cancel"};

 private:
  Layout Arrange() override;
  void Form_Load() override;
  void TabOptions_Click();
  void OptionTurboMode_Click();
  void OptionPersonalisedMode_Click();
  Leave TextBccTo_Leave();
  Leave TextNumConnection_Leave();
  void CmdMailSetting_Click();
  void CmdShowLogFiles_Click();
  void CmdDeleteTempFiles_Click();
  void cmdOK_Click();

  bool IsTurbo() const;
  void ShowMode();
  void EnableCommonTo(bool enabled);
  Status DeleteLogFiles();

  Desktop& desktop_;
  Settings& settings_;
  const OptionsLinks links_;
  std::string mode_;  // a number: below 1 personalised, otherwise turbo
  int max_connections_ = 0;
  bool asked_common_to_ = false;  // and answered No
};

}  // namespace vespro
