#include "settings/frm_mail_setting.h"

#include <string>
#include <utility>

#include "base/text.h"
#include "host/add_in.h"
#include "host/desktop.h"
#include "host/tell_user.h"

namespace vespro {
namespace {

constexpr char kUsualPort[] = "25";

// The cells after the second are carried along and not shown.
enum Cell { kPort, kLogin, kPassword };

}  // namespace

frmMailSetting::frmMailSetting(Desktop& desktop, std::filesystem::path account_file)
    : Form("frmMailSetting", std::string(kModuleName) + " Accounts"),
      desktop_(desktop),
      account_file_(std::move(account_file)) {
  LabelTip.set_size(72);
  TextPort.set_size(10);
  ListServer.set_size(0, 8);
  ListServer.set_tooltip("Click & DELETE");
  set_default(CmdAdd);
  CheckNoAuthLogin.OnClick([this] { CheckNoAuthLogin_Click(); });
  CmdAdd.OnClick([this] { CmdAdd_Click(); });
  ListServer.OnClick([this] { ListServer_Click(); });
  ListServer.OnKey([this](Key key) { return ListServer_Key(key); });
  CmdRemove.OnClick([this] { CmdRemove_Click(); });
  CmdClose.OnClick([this] { CmdClose_Click(); });
}

Layout frmMailSetting::Arrange() {
  return Rows({Columns({ImageTip, Fill(LabelTip)}),
               Grid(4, {LabelServer, Fill(TextServer), LabelPort, TextPort, LabelLogin,
                        Fill(TextLogin), LabelPassword, Fill(TextPassword)}),
               Columns({CheckNoAuthLogin, Space(), CmdAdd}), ListServer,
               Columns({CmdRemove, Space(), CmdClose})});
}

void frmMailSetting::Form_Load() {
  ListServer.Clear();
  // An unreadable file makes an empty list; SaveChanges won't take it for an empty file.
  const Status loaded =
      accounts_.Load(account_file_, [this](const Status& refusal) { Say(refusal); });
  if (!loaded.ok()) desktop_.Log("The accounts are not shown: " + loaded.text());
  for (const AccountEntry& entry : accounts_.entries()) ShowEntry(entry);
  ResetInputs();
  changed_ = false;
}

void frmMailSetting::ShowEntry(const AccountEntry& entry) {
  if (entry.damaged) {
    ListServer.AddRow({"(damaged " + entry.damage + ")",
                       {"", "", ""},
                       {},
                       "This line of the file can't be read, and stays as it is.",
                       {}});
    return;
  }
  ListServer.AddRow({entry.server,
                     {entry.port, std::string(ModText::Trim(entry.login)),
                      std::string(ModText::Trim(entry.password))},
                     {},
                     {},
                     {}});
}

void frmMailSetting::CmdAdd_Click() {
  const bool no_login = CheckNoAuthLogin.checked();
  if (const Status valid = AccountList::Validate(TextServer.text(), TextPort.text(),
                                                 TextLogin.text(), TextPassword.text(), no_login);
      !valid.ok()) {
    return Say(valid);
  }
  AccountEntry entry;
  entry.server = TextServer.text();
  entry.port = TextPort.text();
  if (!no_login) {
    entry.login = TextLogin.text();
    entry.password = TextPassword.text();
  }
  if (const Status added = accounts_.Add(std::move(entry)); !added.ok()) {
    Say(added);
  } else {
    ShowEntry(accounts_.entries().back());
  }
  changed_ = true;
  ResetInputs();
}

void frmMailSetting::CmdRemove_Click() {
  const int row = ListServer.selected();
  if (row < 0) return;
  changed_ = true;
  accounts_.Remove(static_cast<std::size_t>(row));
  ListServer.RemoveRow(row);
  ResetInputs();
}

// Other keys do nothing here, so that Enter does not add what a click has copied into the boxes.
bool frmMailSetting::ListServer_Key(Key key) {
  if (key == Key::kDelete) CmdRemove_Click();
  return key == Key::kDelete || key == Key::kEnter;
}

void frmMailSetting::ListServer_Click() {
  const int index = ListServer.selected();
  if (index < 0) return;
  const Row& row = ListServer.rows()[static_cast<std::size_t>(index)];
  if (accounts_.entries()[static_cast<std::size_t>(index)].damaged) return ResetInputs();
  TextServer.set_text(row.text);
  TextPort.set_text(row.cells[kPort]);
  const bool has_login = !row.cells[kLogin].empty();
  NeedLogin(has_login);
  CheckNoAuthLogin.set_checked(!has_login);
  TextLogin.set_text(row.cells[kLogin]);
  TextPassword.set_text(has_login ? row.cells[kPassword] : "");
}

void frmMailSetting::CheckNoAuthLogin_Click() {
  NeedLogin(!CheckNoAuthLogin.checked());
  if (CheckNoAuthLogin.checked()) return;
  TextLogin.set_text("");
  TextPassword.set_text("");
}

void frmMailSetting::NeedLogin(bool needed) {
  for (TextBox* box : {&TextLogin, &TextPassword}) {
    box->set_enabled(needed);
    box->set_background(needed ? TextServer.background() : Background::kSilver);
  }
}

void frmMailSetting::ResetInputs() {
  TextServer.set_text("");
  TextPort.set_text(kUsualPort);
  TextLogin.set_text("");
  TextPassword.set_text("");
  CheckNoAuthLogin.set_checked(false);
  NeedLogin(true);
  CmdRemove.set_enabled(!ListServer.rows().empty());
}

// Whatever goes wrong, the dialog closes.
void frmMailSetting::CmdClose_Click() {
  if (changed_) {
    const Status saved = accounts_.SaveChanges(account_file_);
    if (!saved.ok()) desktop_.Log("The accounts are not saved: " + saved.text());
  }
  Unload();
}

void frmMailSetting::Say(const Status& refusal) {
  TellUser(desktop_, refusal.text(), MessageIcon::kExclamation);
}

}  // namespace vespro
