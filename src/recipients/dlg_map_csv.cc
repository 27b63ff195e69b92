#include "recipients/dlg_map_csv.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "base/text.h"
#include "recipients/distribution.h"
#include "recipients/list_tasks.h"

namespace vespro {
namespace {

// Further columns the setting can't name.
constexpr std::size_t kMaxFields = std::size_t{std::numeric_limits<std::int16_t>::max()} + 1;

}  // namespace

DlgMapCSV::DlgMapCSV(Desktop& desktop, Settings& settings)
    : Form("DlgMapCSV", "Vespro CSV File"), desktop_(desktop), settings_(settings) {
  ComboFields.set_size(36);
  set_cancel(CancelButton);
  CmdFinish.OnClick([this] { CmdFinish_Click(); });
  CmdOk.OnClick([this] { CmdFinish_Click(); });
  CancelButton.OnClick([this] { Unload(); });
}

Layout DlgMapCSV::Arrange() {
  return Rows({Label1, ComboFields, Inside(FrameColMap, Rows({OptionHeader, OptionValue})),
               Columns({Space(), CmdFinish, CancelButton}), Columns({Space(), CmdOk, Space()})});
}

void DlgMapCSV::Form_Load() {
  confirmed_ = false;
  CmdFinish.set_visible(!confirm_only_);
  CancelButton.set_visible(!confirm_only_);
  CmdOk.set_visible(confirm_only_);
  set_default(confirm_only_ ? CmdOk : CmdFinish);
  path_ = ModDistribution::Parse(settings_.Read(setting::kMailList)).path;
  FillFields();
}

void DlgMapCSV::FillFields() {
  ComboFields.Clear();
  OptionValue.Choose();
  Result<ModDistribution::FirstRows> rows = ModDistribution::ReadFirstRows(path_);
  const Result<ModDistribution::Mapping> mapping =
      rows.ok() ? ModDistribution::ProposeMapping(rows->first, rows->second) : rows.status();
  if (!mapping.ok()) return ModListTasks::ShowError(desktop_, mapping.status());
  const std::vector<std::string>& fields = mapping.value().fields;
  for (std::size_t i = 0; i < std::min(fields.size(), kMaxFields); ++i) {
    ComboFields.AddItem(ModText::Printable(fields[i]));
  }
  ComboFields.Select(mapping.value().column);
  if (mapping.value().header) OptionHeader.Choose();
}

void DlgMapCSV::Form_Unload() {
  if (!confirmed_) {
    // However it was left: nothing may be sent by half a mapping.
    const Status stored = settings_.Write(setting::kMailList, "");
    if (!stored.ok()) ModListTasks::ShowError(desktop_, stored);
  }
  path_.clear();
  confirm_only_ = false;
}

void DlgMapCSV::CmdFinish_Click() {
  const Distribution list{path_, ListKind::kCsv, static_cast<std::int16_t>(ComboFields.selected()),
                          OptionHeader.checked()};
  const Status stored = settings_.Write(setting::kMailList, ModDistribution::Compose(list));
  if (!stored.ok()) return ModListTasks::ShowError(desktop_, stored);
  confirmed_ = true;
  if (!confirm_only_) ModListTasks::RemoveDuplicates(desktop_, list);
  Unload();
}

}  // namespace vespro
