#include "addin/frm_attach_file.h"

#include <string>

#include "base/files.h"
#include "base/text.h"
#include "host/desktop.h"
#include "host/mail_client.h"
#include "host/tell_user.h"

namespace vespro {

frmAttachFile::frmAttachFile(AddIn& add_in, Settings& settings)
    : Form("frmAttachFile", std::string(kModuleName) + " Attachments"),
      add_in_(add_in),
      settings_(settings) {
  ListViewDisplay.set_size(50, 8);
  CmdAddAttach.OnClick([this] { CmdAddAttach_Click(); });
  CmdRemove.OnClick([this] { CmdRemove_Click(); });
  CmdClose.OnClick([this] { CmdClose_Click(); });
  ListViewDisplay.OnKey([this](Key key) {
    if (key == Key::kDelete) CmdRemove_Click();
    return key == Key::kDelete;
  });
}

Layout frmAttachFile::Arrange() {
  return Rows({Columns({ImageLogo, Fill(LabelHelp)}), ListViewDisplay,
               Columns({CmdAddAttach, CmdRemove, Space(), CmdClose})});
}

void frmAttachFile::Form_Load() {
  ListViewDisplay.Clear();
  if (const auto window = ActiveWindow()) {
    for (const std::string_view path : ModText::Split(window->attachment_list, ',')) {
      if (!path.empty()) AddItem(path);
    }
  }
  EnableButtons();
}

std::shared_ptr<ComposeWindow> frmAttachFile::ActiveWindow() const {
  const std::shared_ptr<MailClient> client = add_in_.mail_client;
  const auto front = client != nullptr ? client->ActiveInspector() : nullptr;
  if (front == nullptr) return nullptr;
  for (const auto& [key, window] : add_in_.windows) {
    const auto inspector = window->inspector;
    if (inspector != nullptr && inspector->Identity() == front->Identity()) return window;
  }
  return nullptr;
}

// Files of one name in two folders look alike but for their tooltips.
void frmAttachFile::AddItem(std::string_view path) {
  Row row;
  row.text = ModFiles::ToUtf8(ModFiles::FromUtf8(path).filename());
  row.key = ModFiles::PathKey(path);
  row.tooltip = path;
  row.icon = {Icon::Kind::kFileType, std::string(path)};
  ListViewDisplay.AddRow(std::move(row));
}

void frmAttachFile::EnableButtons() { CmdRemove.set_enabled(!ListViewDisplay.rows().empty()); }

void frmAttachFile::CmdAddAttach_Click() {
  Desktop& desktop = *add_in_.desktop;
  const std::string path = desktop.PickFile(
      {"Insert Attachment", "All Files (*.*)|*.*|", settings_.Read(setting::kRecentDir)});
  if (path.empty()) return;
  // The list parts paths by commas: this one would be looked for in two pieces, and be missing.
  if (path.find(',') != std::string::npos) {
    return TellUser(desktop,
                    path +
                        " can't be attached, since its path has a comma in it. Rename the file, or "
                        "copy it to another folder, and add that one.",
                    MessageIcon::kExclamation);
  }
  if (ListViewDisplay.FindKey(ModFiles::PathKey(path)) >= 0) {
    return TellUser(desktop, path + " is already attached", MessageIcon::kInformation);
  }
  AddItem(path);
  EnableButtons();
}

void frmAttachFile::CmdRemove_Click() {
  const int row = ListViewDisplay.selected();
  if (row < 0) return;
  ListViewDisplay.RemoveRow(row);
  EnableButtons();
}

void frmAttachFile::CmdClose_Click() {
  if (const auto window = ActiveWindow()) {
    window->attachment_list.clear();
    for (const Row& row : ListViewDisplay.rows()) window->attachment_list += "," + row.tooltip;
  }
  Unload();
}

}  // namespace vespro
