#include "recipients/list_tasks.h"

#include <cstdint>
#include <string>

#include "base/files.h"
#include "host/add_in.h"
#include "host/tell_user.h"
#include "recipients/dlg_map_csv.h"
#include "recipients/frm_list_box.h"
#include "recipients/frm_wait.h"
#include "recipients/load.h"
#include "recipients/operations.h"

namespace vespro::ModListTasks {
namespace {

Result<std::uint64_t> FileSize(std::string_view path) {
  Result<File> file = File::Open(ModFiles::FromUtf8(path), File::Mode::kRead);
  return file.ok() ? file->Size() : file.status();
}

// The wait window while it lives.
class Waiting {
 public:
  explicit Waiting(Desktop& desktop) : desktop_(desktop) { window_.Show(desktop); }
  ModRecipients::OnLine OnLine() {
    return [this] {
      desktop_.DoEvents();
      return true;
    };
  }

 private:
  Desktop& desktop_;
  frmWait window_;
};

Result<ModRecipients::Loaded> RemoveDuplicatesSilently(Desktop& desktop, const Distribution& list) {
  Waiting waiting(desktop);
  return ModRecipients::LoadAndDeduplicate(list, waiting.OnLine());
}

Result<ModRecipients::Cleared> FilterSilently(Desktop& desktop, const Distribution& list,
                                              std::string_view unwanted) {
  Waiting waiting(desktop);
  return ModRecipients::DeduplicateAndFilter(list, unwanted, waiting.OnLine());
}

Status MergeSilently(Desktop& desktop, std::string_view current, std::string_view second) {
  Waiting waiting(desktop);
  return ModRecipients::Merge(current, second, waiting.OnLine());
}

// Has the user confirm the column and the header of `list`. False when it was given up, or when
// the table has no columns: without one every row would be nobody's.
bool AskMapping(Desktop& desktop, Settings& settings, Distribution& list) {
  const std::string before = settings.Read(setting::kMailList);
  Status stored =
      settings.Write(setting::kMailList, ModDistribution::ComposeUnmapped(list.path, list.kind));
  if (!stored.ok()) {
    ShowError(desktop, stored);
    return false;
  }
  DlgMapCSV dialog(desktop, settings);
  dialog.set_confirm_only(true);
  dialog.ShowModal(desktop);
  const Distribution mapped = ModDistribution::Parse(settings.Read(setting::kMailList));
  list.column = mapped.column;
  list.header = mapped.header;
  if (dialog.confirmed() && list.column >= 0) return true;
  stored = settings.Write(setting::kMailList, before);
  if (!stored.ok()) ShowError(desktop, stored);
  return false;
}

// Before anything is asked or changed.
Status CheckFilter(const Distribution& list, std::string_view unwanted) {
  if (Status path = ModDistribution::CheckPath(list.path); !path.ok()) return path;
  if (Status fits = ModRecipients::CheckFilter(list.path, unwanted); !fits.ok()) return fits;
  return ModDistribution::ProbeText(list.path);
}

std::string FilterSummary(std::uint64_t removed) {
  if (removed == 0) return "No unwanted emails found in the current distribution file";
  return "Filtered out " + std::to_string(removed) +
         " unwanted emails from the current distribution file";
}

// Rows of a table that its new file does not have any more, and nobody removed.
void ShowSkippedRows(Desktop& desktop, std::uint64_t rows) {
  if (rows == 0) return;
  TellUser(desktop,
           std::to_string(rows) + (rows == 1 ? " row" : " rows") +
               " without an address left out of the file",
           MessageIcon::kExclamation);
}

}  // namespace

void ShowError(Desktop& desktop, const Status& failure) {
  const bool blank = failure.text() == ModRecipients::kBlankFile;
  TellUser(desktop, failure.text(), blank ? MessageIcon::kExclamation : MessageIcon::kCritical);
}

void RemoveDuplicates(Desktop& desktop, const Distribution& list) {
  const Result<std::uint64_t> size = FileSize(list.path);
  if (!size.ok()) return ShowError(desktop, size.status());
  if (size.value() == 0) {
    return ShowError(desktop, Status(Code::kBadInput, std::string(ModRecipients::kBlankFile)));
  }
  if (desktop.MsgBox("Do you want to remove duplicate emails?", MessageIcon::kQuestion,
                     MessageButtons::kYesNo, kModuleName) != MessageAnswer::kYes) {
    return;
  }
  const Result<ModRecipients::Loaded> loaded = RemoveDuplicatesSilently(desktop, list);
  if (!loaded.ok()) return ShowError(desktop, loaded.status());
  if (loaded.value().duplicates == 0) {
    return TellUser(desktop, "No email duplicates found", MessageIcon::kInformation);
  }
  FrmListBox window;
  window.Fill(loaded.value());
  window.ShowModal(desktop);
  ShowSkippedRows(desktop, loaded.value().without_address.count);
}

void Merge(Desktop& desktop, std::string_view current, std::string_view second) {
  Status merged = ModRecipients::CheckMerge(current, second);
  if (merged.ok()) merged = MergeSilently(desktop, current, second);
  if (!merged.ok()) return ShowError(desktop, merged);
  TellUser(desktop, "File Merged into the current distribution file", MessageIcon::kInformation);
}

bool Filter(Desktop& desktop, Settings& settings, std::string_view current,
            std::string_view unwanted) {
  Distribution list{std::string(current), ModDistribution::KindOf(current)};
  if (const Status fits = CheckFilter(list, unwanted); !fits.ok()) {
    ShowError(desktop, fits);
    return false;
  }
  if (list.kind == ListKind::kUnknown) {
    TellUser(desktop, kUnknownKind, MessageIcon::kExclamation);
    return false;
  }
  const std::string before = settings.Read(setting::kMailList);
  if (list.kind == ListKind::kCsv && !AskMapping(desktop, settings, list)) return false;
  const Result<ModRecipients::Cleared> cleared = FilterSilently(desktop, list, unwanted);
  if (!cleared.ok()) {
    ShowError(desktop, cleared.status());
    // The mapping may have been confirmed; the list is the one that it was all the same.
    if (const Status put_back = settings.Write(setting::kMailList, before); !put_back.ok()) {
      ShowError(desktop, put_back);
    }
    return false;
  }
  const Status stored = settings.Write(setting::kMailList, ModDistribution::Compose(list));
  if (!stored.ok()) ShowError(desktop, stored);
  if (cleared->loaded.rewritten) ShowSkippedRows(desktop, cleared->loaded.without_address.count);
  TellUser(desktop, FilterSummary(cleared->filtered.removed), MessageIcon::kInformation);
  return stored.ok();
}

}  // namespace vespro::ModListTasks
