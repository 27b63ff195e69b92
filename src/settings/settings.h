// settings/settings.h - the add-in's lasting settings: every name, what it means, who sets it. All
// values are text; a number is its decimal text. Format of the file: docs/formats/settings.md.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "host/settings_backend.h"

namespace vespro {

namespace setting {
inline constexpr std::string_view kMailList = "MailList";
inline constexpr std::string_view kCommonToField = "CommonToField";
inline constexpr std::string_view kNumConnect = "NumConnect";
inline constexpr std::string_view kBccMode = "BccMode";
inline constexpr std::string_view kSenderName = "SenderName";
inline constexpr std::string_view kSenderEmail = "SenderEmail";
inline constexpr std::string_view kReplyEmail = "ReplyEmail";
inline constexpr std::string_view kDefaultNumConnect = "DefaultNumConnect";
inline constexpr std::string_view kMaxNumConnect = "MaxNumConnect";
inline constexpr std::string_view kDefaultBccMode = "DefaultBccMode";
inline constexpr std::string_view kRecentDir = "RecentDir";
inline constexpr std::string_view kCustomWord1 = "CustomWord1";
inline constexpr std::string_view kCustomWord2 = "CustomWord2";
inline constexpr std::string_view kCustomWord3 = "CustomWord3";
inline constexpr std::string_view kReportPerPage = "Report Per Page";
}  // namespace setting

struct SettingRow {
  std::string_view name;  // as stored, its blanks and capitals too
  std::string_view meaning;
  std::string_view set_by;
  std::string_view when_absent;
  std::string_view installed;  // what the installation writes; empty: nothing
};

inline constexpr std::array<SettingRow, 15> kSettingRows = {{
    {setting::kMailList,
     "The distribution file: its path and kind, and for a CSV table the address column (from 0) "
     "and "
     "whether the first row is a header.",
     "the distribution file dialog", "sending asks for a distribution file", ""},
    {setting::kCommonToField,
     "The text that all recipients see as To when one message goes to many (turbo mode).",
     "the options dialog", "no common text", ""},
    {setting::kNumConnect, "How many connections the engine opens at once.", "the options dialog",
     "the engine opens 5; the dialog shows DefaultNumConnect", ""},
    {setting::kBccMode,
     "The mode: 0 personalises a message for each recipient, a number from 1 puts up to that many "
     "recipients on one message (turbo mode).",
     "the options dialog", "personalised", ""},
    {setting::kSenderName, "The sender's name.", "the options dialog", "no name", ""},
    {setting::kSenderEmail, "The sender's e-mail address.",
     "the options dialog, or the question for it when something is sent",
     "sending asks for the address", ""},
    {setting::kReplyEmail, "The address that answers go to.", "the options dialog",
     "answers go to the sender", ""},
    {setting::kDefaultNumConnect, "The number of connections shown while NumConnect is not set.",
     "the installation only", "none is shown", "5"},
    {setting::kMaxNumConnect, "The largest number of connections that the options dialog accepts.",
     "the installation only", "a bound of 0", "50"},
    {setting::kDefaultBccMode, "The value that BccMode gets when turbo mode is chosen.",
     "the installation only", "choosing turbo mode stores 0, which is personalised", "100"},
    {setting::kRecentDir, "The folder in which a file was last chosen.",
     "the distribution file dialog", "the file picker's own", ""},
    {setting::kCustomWord1, "The first merge word of the user's own.", "the custom words dialog",
     "no such word", ""},
    {setting::kCustomWord2, "The second merge word of the user's own.", "the custom words dialog",
     "no such word", ""},
    {setting::kCustomWord3, "The third merge word of the user's own.", "the custom words dialog",
     "no such word", ""},
    {setting::kReportPerPage, "How many recipients a page of a delivery report shows.",
     "the question for it in the reports menu", "the engine's own number, 100", ""},
}};

// The settings over any backend. Nothing is kept: each call goes to the backend. The backend must
// outlive it. Threads as the backend.
class Settings {
 public:
  explicit Settings(SettingsBackend& backend) : backend_(backend) {}

  // As stored, not trimmed; "" when it is absent or can't be read.
  std::string Read(std::string_view name) const;
  // As a string. kCannotWrite with what failed.
  Status Write(std::string_view name, std::string_view value);
  // The names that are stored, known or not, in the backend's order.
  std::vector<std::string> List() const;

 private:
  SettingsBackend& backend_;
};

// What the options ask of a number of connections: kUsage, with the text for a person, when it is
// 0, none, or above `most`. A negative one passes, as it always has.
Status CheckConnections(std::string_view text, int most);

// The row of a name in any case; nullptr when there is no such setting.
const SettingRow* FindSetting(std::string_view name);

}  // namespace vespro
