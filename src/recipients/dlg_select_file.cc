#include "recipients/dlg_select_file.h"

#include <utility>

#include "base/files.h"
#include "base/text.h"
#include "host/add_in.h"
#include "host/desktop.h"
#include "host/start_or_tell.h"
#include "host/tell_user.h"
#include "recipients/distribution.h"
#include "recipients/dlg_map_csv.h"
#include "recipients/list_tasks.h"

namespace vespro {
namespace {

constexpr std::string_view kFilter =
    "Text Files (*.txt, *.text)|*.txt; *.text| Comma Separated Files (*.csv)|*.csv| "
    "All Supported Files (*.txt, *.text, *.csv)|*.txt; *.text; *.csv|";

// From the root on, even where somebody typed less: the mail client's folder is none to rely on.
std::string PathIn(const TextBox& box) {
  const std::string_view path = ModText::Trim(box.text());
  if (path.empty()) return {};
  return ModFiles::ToUtf8(ModFiles::FullPath(ModFiles::FromUtf8(path)));
}

}  // namespace

DlgSelectFile::DlgSelectFile(Desktop& desktop, Settings& settings,
                             std::function<void()> list_changed)
    : Form("DlgSelectFile", std::string(kModuleName) + " - Select Distribution File"),
      desktop_(desktop),
      settings_(settings),
      list_changed_(std::move(list_changed)) {
  LabelHelp.set_size(64);
  TextSelectedFile.set_size(44);
  TextAdvancedSelect.set_size(40);
  set_default(CmdOk);
  set_cancel(CmdCancel);
  CmdFileSelect.OnClick([this] { CmdFileSelect_Click(); });
  CmdEdit.OnClick([this] { Edit(TextSelectedFile); });
  CmdAdvance.OnClick([this] { CmdAdvance_Click(); });
  TextAdvancedSelect.OnChange([this] { EnableForSecondFile(); });
  CmdAdvancedFileSel.OnClick([this] { CmdAdvancedFileSel_Click(); });
  CmdAdvanceEdit.OnClick([this] { Edit(TextAdvancedSelect); });
  CmdMergeFile.OnClick([this] { CmdMergeFile_Click(); });
  CmdFilter.OnClick([this] { CmdFilter_Click(); });
  CmdOk.OnClick([this] { CmdOk_Click(); });
  CmdCancel.OnClick([this] { Unload(); });
}

Layout DlgSelectFile::Arrange() {
  return Rows({Columns({ImageNote, Fill(LabelHelp)}), LabelSelectedFile,
               Columns({Fill(TextSelectedFile), CmdFileSelect, CmdEdit}),
               Columns({CmdAdvance, Space(), CmdOk, CmdCancel}),
               Inside(FrameAdvanced,
                      Rows({LabelAdvancedSelect,
                            Columns({Fill(TextAdvancedSelect), CmdAdvancedFileSel, CmdAdvanceEdit}),
                            Columns({CmdMergeFile, CmdFilter, Space()})}))});
}

void DlgSelectFile::Form_Load() {
  changed_path_.clear();
  TextSelectedFile.set_text(ModDistribution::Parse(settings_.Read(setting::kMailList)).path);
  TextAdvancedSelect.set_text("");
  EnableForSecondFile();
  ShowAdvanced(false);
}

void DlgSelectFile::CmdAdvance_Click() { ShowAdvanced(!FrameAdvanced.visible()); }

void DlgSelectFile::ShowAdvanced(bool shown) {
  FrameAdvanced.set_visible(shown);
  CmdAdvance.set_caption(shown ? "&Advanced <<" : "&Advanced >>");
}

// The unwanted are read line by line, each an address, so a table can't name them.
void DlgSelectFile::EnableForSecondFile() {
  const std::string path = PathIn(TextAdvancedSelect);
  CmdMergeFile.set_enabled(!path.empty());
  CmdAdvanceEdit.set_enabled(!path.empty());
  CmdFilter.set_enabled(!path.empty() && ModDistribution::KindOf(path) != ListKind::kCsv);
}

std::string DlgSelectFile::PickFile(std::string_view title) {
  const std::string path = desktop_.PickFile(
      {std::string(title), std::string(kFilter), settings_.Read(setting::kRecentDir)});
  if (path.empty()) return {};
  const std::string folder = ModFiles::ToUtf8(ModFiles::FromUtf8(path).parent_path());
  // Where it can't be kept, the next picker begins elsewhere.
  settings_.Write(setting::kRecentDir, folder).Ignore();
  return std::string(ModText::Trim(path));
}

void DlgSelectFile::CmdFileSelect_Click() {
  const std::string path = PickFile("Select Distribution File");
  if (!path.empty()) TextSelectedFile.set_text(path);
}

void DlgSelectFile::CmdAdvancedFileSel_Click() {
  const std::string path = PickFile("Select File");
  if (path.empty()) {
    CmdMergeFile.set_enabled(false);
    CmdAdvanceEdit.set_enabled(false);
    return;
  }
  TextAdvancedSelect.set_text(path);
  EnableForSecondFile();
}

void DlgSelectFile::Edit(const TextBox& box) {
  const std::string path = PathIn(box);
  const std::string editor = desktop_.TextEditor();
  StartOrTell(desktop_, {editor, {path}, editor + " " + path});
}

void DlgSelectFile::CmdMergeFile_Click() {
  ModListTasks::Merge(desktop_, PathIn(TextSelectedFile), PathIn(TextAdvancedSelect));
  ShowModal(desktop_);
}

void DlgSelectFile::CmdFilter_Click() {
  const std::string current = PathIn(TextSelectedFile);
  if (!ModListTasks::Filter(desktop_, settings_, current, PathIn(TextAdvancedSelect))) return;
  changed_path_ = current;
  if (list_changed_) list_changed_();
}

void DlgSelectFile::CmdOk_Click() {
  const std::string path = PathIn(TextSelectedFile);
  if (path.empty()) {
    return TellUser(desktop_, "No file selected ", MessageIcon::kExclamation);
  }
  if (!ModFiles::IsFile(ModFiles::FromUtf8(path))) {
    return TellUser(desktop_, ModDistribution::kNoSuchFile, MessageIcon::kExclamation);
  }
  if (path != changed_path_ && !Store(path)) return;
  if (list_changed_) list_changed_();
  Unload();
}

// False: it could not be stored.
bool DlgSelectFile::Store(const std::string& path) {
  if (const Status fits = ModDistribution::CheckPath(path); !fits.ok()) {
    ModListTasks::ShowError(desktop_, fits);
    return false;
  }
  const ListKind kind = ModDistribution::KindOf(path);
  const Status stored =
      settings_.Write(setting::kMailList, ModDistribution::ComposeUnmapped(path, kind));
  if (!stored.ok()) {
    ModListTasks::ShowError(desktop_, stored);
    return false;
  }
  switch (kind) {
    case ListKind::kText:
      Hide();
      ModListTasks::RemoveDuplicates(desktop_, {path, kind});
      break;
    case ListKind::kCsv:
      DlgMapCSV(desktop_, settings_).ShowModal(desktop_);
      break;
    case ListKind::kUnknown:
      TellUser(desktop_, ModListTasks::kUnknownKind, MessageIcon::kExclamation);
      break;
  }
  return true;
}

}  // namespace vespro
