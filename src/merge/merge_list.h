// merge/merge_list.h - the list of merge words in a compose window's toolbar: what it offers, and
// what choosing from it puts into the mail. Text is UTF-8. One thread: the mail client's.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/clock.h"
#include "base/status.h"
#include "host/add_in.h"
#include "host/command_bars.h"
#include "host/desktop.h"
#include "host/mail_client.h"
#include "settings/settings.h"

namespace vespro::ModMailMerge {

inline constexpr char kMergeListCaption[] = "MailMerge with Vespro";
inline constexpr char kDateAndTime[] = "Date & Time";
// Shown in place of entries: the mode is turbo, or the list is a list of plain addresses.
inline constexpr char kTurboPrompt[] = "Switch to Personalised Mode for MailMerge";
inline constexpr char kTextPrompt[] = "Switch to personalised mode for MailMerge";

// The fields of a table's first row, header or not; nothing when it can't be read or is blank.
std::optional<std::vector<std::string>> ReadFieldNames(const std::string& path);

// What the settings and the current list offer now.
struct MergeEntries {
  std::string prompt;     // shown in place of entries; empty: none
  bool captioned = true;  // false: the caption stays as it is
  bool enabled = false;   // there is a table: the box can be used
  std::vector<std::string> entries;
};
MergeEntries ReadMergeEntries(const Settings& settings);

// Fills the box anew. A box that is gone is left alone.
void LoadMergeList(const Settings& settings, CommandBarComboBox& box);
// The same for every open compose window, with pending events let run after each. A window may
// close or open meanwhile.
void ReloadMergeLists(AddIn& add_in, const Settings& settings);

// The user has chosen from the box: the merge word of the entry, or the date and time of now, goes
// into the body by way of the clipboard, which keeps it. A prompt puts in nothing. The box is empty
// afterwards, so that the same entry can be chosen again.
void InsertChosen(CommandBarComboBox& box, Inspector& inspector, Desktop& desktop,
                  const Clock& clock);

}  // namespace vespro::ModMailMerge
