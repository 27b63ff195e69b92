#include "merge/merge_list.h"

#include "base/files.h"
#include "base/text.h"
#include "merge/custom_words.h"
#include "merge/field_names.h"
#include "recipients/distribution.h"

namespace vespro::ModMailMerge {

std::optional<std::vector<std::string>> ReadFieldNames(const std::string& path) {
  const Result<ModDistribution::FirstRows> rows = ModDistribution::ReadFirstRows(path);
  if (!rows.ok() || ModText::Trim(rows->first).empty()) return std::nullopt;
  std::vector<std::string> names;
  for (FieldName& field : FieldNames(rows->first)) names.push_back(std::move(field.name));
  return names;
}

MergeEntries ReadMergeEntries(const Settings& settings) {
  MergeEntries offered;
  if (ModText::LeadingNumber(settings.Read(setting::kBccMode)) >= 1) {
    offered.prompt = kTurboPrompt;
    offered.captioned = false;
    return offered;
  }
  const std::string path = ModDistribution::Parse(settings.Read(setting::kMailList)).path;
  if (path.empty()) return offered;
  if (ModDistribution::KindOf(path) != ListKind::kCsv) {
    offered.prompt = kTextPrompt;
    return offered;
  }
  offered.enabled = true;
  std::optional<std::vector<std::string>> fields = ReadFieldNames(path);
  if (!fields.has_value()) return offered;
  offered.entries = std::move(*fields);
  offered.entries.emplace_back(kDateAndTime);
  for (const std::string_view name :
       {setting::kCustomWord1, setting::kCustomWord2, setting::kCustomWord3}) {
    if (std::string word = settings.Read(name); !word.empty()) {
      offered.entries.push_back(std::move(word));
    }
  }
  return offered;
}

void LoadMergeList(const Settings& settings, CommandBarComboBox& box) {
  // The host may have dropped the box; nobody is told of it.
  box.Clear().Ignore();
  box.SetText("").Ignore();
  const MergeEntries offered = ReadMergeEntries(settings);
  if (offered.captioned) box.SetCaption(kMergeListCaption).Ignore();
  if (!offered.prompt.empty()) box.SetText(offered.prompt).Ignore();
  if (offered.enabled) box.SetEnabled(true).Ignore();
  for (const std::string& entry : offered.entries) box.AddItem(entry).Ignore();
}

void ReloadMergeLists(AddIn& add_in, const Settings& settings) {
  std::vector<std::int16_t> keys;
  for (const auto& [key, window] : add_in.windows) keys.push_back(key);
  for (const std::int16_t key : keys) {
    const auto found = add_in.windows.find(key);
    if (found == add_in.windows.end()) continue;
    // Kept, since the window may go while its box is filled.
    const std::shared_ptr<CommandBarComboBox> box = found->second->merge_list;
    if (box != nullptr) LoadMergeList(settings, *box);
    add_in.desktop->DoEvents();
  }
}

void InsertChosen(CommandBarComboBox& box, Inspector& inspector, Desktop& desktop,
                  const Clock& clock) {
  const std::string chosen = box.Text();
  if (ModText::Trim(chosen).empty() || chosen == kTurboPrompt || chosen == kTextPrompt) return;
  const std::string text = chosen == kDateAndTime
                               ? ModClock::RegionalText(ModClock::ToLocal(clock.Now()))
                               : MergeWordOf(chosen);
  // Where one of them fails the user sees that nothing came.
  desktop.ClearClipboard().Ignore();
  const bool there = desktop.SetClipboardText(text).ok();
  if (there) inspector.PasteAtCaret().Ignore();
  box.SetText("").Ignore();
}

}  // namespace vespro::ModMailMerge
