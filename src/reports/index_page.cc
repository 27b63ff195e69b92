#include "reports/index_page.h"

#include <algorithm>
#include <string_view>

#include "base/clock.h"
#include "base/code_page.h"
#include "base/files.h"
#include "base/text.h"
#include "reports/report_index.h"

namespace vespro::ModIndexPage {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kHead =
    "<html><title>Vespro Delivery Reports</title><body>\r\n"
    "<table border=\"0\" width=\"100%\" cellspacing=\"0\" cellpadding=\"0\" height=\"37\">\r\n"
    "<tr>\r\n";
constexpr std::string_view kListTop =
    "<td width=\"100%\" bgcolor=\"#FFFFFF\" height=\"21\""
    " style=\"border-bottom: 2 solid #C0C0C0\">\r\n"
    "<font color=\"#000000\" face=\"Arial\" size=\"3\"><b>\r\n"
    "Vespro Reports Available</b></font>\r\n"
    "</td></tr></table><br>\r\n"
    "<table border=\"0\" width=\"100%\" cellspacing=\"0\" cellpadding=\"0\">\r\n";
constexpr std::string_view kFont = "<font color=\"#000000\" face=\"Arial\" size=\"2\">\r\n";
constexpr std::string_view kSecondCells = "<td width=\"30%\" height=\"16\">\r\n";
constexpr std::string_view kFoot =
    "</table><br>\r\n"
    "<table border=\"0\" width=\"100%\" cellspacing=\"0\" cellpadding=\"0\" height=\"37\">\r\n"
    "<tr>\r\n"
    "<td width=\"100%\" bgcolor=\"#FFFFFF\" height=\"21\""
    " style=\"border-top: 2 solid #C0C0C0\">\r\n"
    "<font color=\"#000000\" face=\"Arial\" size=\"1\">\r\n"
    "Tips: Use text report for faster response when viewing delivery status on distribution file"
    " that contains greater than 100,000 recipients.<br>To navigate between reports, use back and"
    " forward buttons on Outlook Web Toolbar.</font>\r\n"
    "</td></tr></table></body></html>\r\n";
constexpr std::string_view kNothing =
    "<td width=\"100%\" bgcolor=\"#000000\" height=\"21\""
    " style=\"border-bottom: 2 solid #C0C0C0\">\r\n"
    "<font color=\"#FFFFFF\" face=\"Arial\" size=\"3\"><b>\r\n"
    "No Vespro Delivery Reports Available</b></font></td>\r\n"
    "</tr></table></body></html>\r\n";

constexpr char kSeparator = static_cast<char>(fs::path::preferred_separator);

std::string CreatedText(const fs::path& folder) {
  const ModFiles::Entry entry = ModFiles::EntryAt(folder);
  if (!entry.created.has_value()) return "Unknown";
  return ModCodePage::FromUtf8(ModClock::RegionalText(ModClock::ToLocal(*entry.created)));
}

// The icons' place, up to their names.
std::string IconsIn(const fs::path& install_folder) {
  return LinkTarget(install_folder) + kSeparator + "images" + kSeparator;
}

std::string EntryHtml(std::size_t number, const fs::path& folder, const std::string& icons) {
  const std::string title = ModReportIndex::TitleOfReport(folder / ModReportIndex::kHtmlReport);
  const std::string target = LinkTarget(folder);
  std::string html = "<tr><td width=\"40%\" height=\"16\">\r\n";
  html += kFont;
  html += std::to_string(number) + ". " + title + "</font></td>\r\n";
  html += kSecondCells;
  html += kFont;
  html += CreatedText(folder) + "</td>\r\n";
  html += kSecondCells;
  html += kFont;
  html += "<img src=\"" + icons + "ie.ico\"><a href=\" " + target + kSeparator +
          ModReportIndex::kHtmlReport + "\">HTML</a>\r\n";
  html += "&nbsp;<img src=\" " + icons + "text.ico\"><a href=\" " + target + kSeparator +
          ModReportIndex::kTextReport + " \">Text</a>\r\n";
  html += "&nbsp;<img src=\" " + icons + "explorer.ico\"><a href=\" " + target +
          " \" target=\"_blank\">All Files</a>\r\n";
  html += "&nbsp;</font></td></tr>\r\n";
  return html;
}

// Whether an ASCII character of a path would end or redirect a link. Browsers take a backslash for
// a slash, and "|" after a letter for a drive's colon.
bool MisleadsLink(char c, char next) {
  constexpr std::string_view kAlways = "\"<>%#?|";
  if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) return true;
  if (c == '\\') return kSeparator != '\\';
  // The beginning of a character reference, perhaps.
  if (c == '&') return (next >= 'a' && next <= 'z') || (next >= 'A' && next <= 'Z');
  return kAlways.find(c) != std::string_view::npos;
}

void AppendPercent(std::string& out, std::string_view bytes) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    out += {'%', kDigits[byte >> 4], kDigits[byte & 0xF]};
  }
}

bool IsAscii(char c) { return static_cast<unsigned char>(c) < 0x80; }
bool ContinuesCharacter(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

}  // namespace

std::string LinkTarget(const fs::path& path) {
  const std::string text = ModFiles::ToUtf8(path);
  std::string target;
  for (std::size_t at = 0, end = 0; at < text.size(); at = end) {
    end = at + 1;
    if (IsAscii(text[at])) {
      const char next = end < text.size() ? text[end] : '\0';
      // A blank at the end is no part of a link.
      const bool lost = text[at] == ' ' && end == text.size();
      if (lost || MisleadsLink(text[at], next)) {
        AppendPercent(target, {&text[at], 1});
      } else {
        target += text[at];
      }
      continue;
    }
    while (end < text.size() && ContinuesCharacter(text[end])) ++end;
    const std::string_view character = std::string_view(text).substr(at, end - at);
    // The page names no charset, and browsers take it for a code page; that it is UTF-8 they can
    // only guess, and then and now guess wrong.
    const std::string bytes = ModCodePage::FromUtf8(character);
    const bool can_be_read =
        ModText::IsUtf8(character) && ModCodePage::CanHold(character) && bytes != character;
    if (can_be_read) {
      target += bytes;
    } else {
      AppendPercent(target, character);
    }
  }
  return target;
}

Status Write(const fs::path& page, const std::vector<fs::path>& report_folders,
             const fs::path& install_folder, const std::function<void()>& entry_done) {
  Result<AtomicFile> file = AtomicFile::Create(page, Access::kPrivate);
  if (!file.ok()) return file.status();
  if (Status status = file->Write(std::string(kHead).append(kListTop)); !status.ok()) return status;
  const std::string icons = IconsIn(install_folder);
  std::size_t number = 0;
  for (const fs::path& folder : report_folders) {
    if (Status status = file->Write(EntryHtml(++number, folder, icons)); !status.ok())
      return status;
    if (entry_done) entry_done();
  }
  if (Status status = file->Write(kFoot); !status.ok()) return status;
  return file->Commit();
}

Status WriteEmpty(const fs::path& page) {
  return ModFiles::ReplaceWith(page, std::string(kHead).append(kNothing), Access::kPrivate);
}

}  // namespace vespro::ModIndexPage
