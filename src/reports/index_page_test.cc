#include "reports/index_page.h"

#include <gtest/gtest.h>

#include "base/code_page.h"
#include "base/testing.h"
#include "base/text.h"

namespace vespro {
namespace {

namespace fs = std::filesystem;

constexpr char kSeparator = static_cast<char>(fs::path::preferred_separator);

// "/" stands for the system's separator; {A}, {B} for folders, {CREATED} for a date.
constexpr char kPage[] =
    "<html><title>Vespro Delivery Reports</title><body>\r\n"
    "<table border=\"0\" width=\"100%\" cellspacing=\"0\" cellpadding=\"0\" height=\"37\">\r\n"
    "<tr>\r\n"
    "<td width=\"100%\" bgcolor=\"#FFFFFF\" height=\"21\" style=\"border-bottom: 2 solid "
    "#C0C0C0\">\r\n"
    "<font color=\"#000000\" face=\"Arial\" size=\"3\"><b>\r\n"
    "Vespro Reports Available</b></font>\r\n"
    "</td></tr></table><br>\r\n"
    "<table border=\"0\" width=\"100%\" cellspacing=\"0\" cellpadding=\"0\">\r\n"
    "<tr><td width=\"40%\" height=\"16\">\r\n"
    "<font color=\"#000000\" face=\"Arial\" size=\"2\">\r\n"
    "1. Spring \xE4&amp; news</font></td>\r\n"
    "<td width=\"30%\" height=\"16\">\r\n"
    "<font color=\"#000000\" face=\"Arial\" size=\"2\">\r\n"
    "{CREATED}</td>\r\n"
    "<td width=\"30%\" height=\"16\">\r\n"
    "<font color=\"#000000\" face=\"Arial\" size=\"2\">\r\n"
    "<img src=\"{INSTALL}\\images\\ie.ico\"><a href=\" {A}\\report.html\">HTML</a>\r\n"
    "&nbsp;<img src=\" {INSTALL}\\images\\text.ico\"><a href=\" {A}\\report.txt \">Text</a>\r\n"
    "&nbsp;<img src=\" {INSTALL}\\images\\explorer.ico\"><a href=\" {A} \" "
    "target=\"_blank\">All Files</a>\r\n"
    "&nbsp;</font></td></tr>\r\n"
    "<tr><td width=\"40%\" height=\"16\">\r\n"
    "<font color=\"#000000\" face=\"Arial\" size=\"2\">\r\n"
    "2. </font></td>\r\n"
    "<td width=\"30%\" height=\"16\">\r\n"
    "<font color=\"#000000\" face=\"Arial\" size=\"2\">\r\n"
    "Unknown</td>\r\n"
    "<td width=\"30%\" height=\"16\">\r\n"
    "<font color=\"#000000\" face=\"Arial\" size=\"2\">\r\n"
    "<img src=\"{INSTALL}\\images\\ie.ico\"><a href=\" {B}\\report.html\">HTML</a>\r\n"
    "&nbsp;<img src=\" {INSTALL}\\images\\text.ico\"><a href=\" {B}\\report.txt \">Text</a>\r\n"
    "&nbsp;<img src=\" {INSTALL}\\images\\explorer.ico\"><a href=\" {B} \" "
    "target=\"_blank\">All Files</a>\r\n"
    "&nbsp;</font></td></tr>\r\n"
    "</table><br>\r\n"
    "<table border=\"0\" width=\"100%\" cellspacing=\"0\" cellpadding=\"0\" height=\"37\">\r\n"
    "<tr>\r\n"
    "<td width=\"100%\" bgcolor=\"#FFFFFF\" height=\"21\" style=\"border-top: 2 solid "
    "#C0C0C0\">\r\n"
    "<font color=\"#000000\" face=\"Arial\" size=\"1\">\r\n"
    "Tips: Use text report for faster response when viewing delivery status on distribution file "
    "that contains greater than 100,000 recipients.<br>To navigate between reports, use back and "
    "forward buttons on Outlook Web Toolbar.</font>\r\n"
    "</td></tr></table></body></html>\r\n";

TEST(IndexPageTest, HasItsBytes) {
  TemporaryFolder folder;
  folder.Write("index.html", std::string(100000, 'x'));
  ASSERT_TRUE(ModFiles::EnsureFolder(folder / "a"));
  folder.Write("a/report.html", "<html><Title>Spring \xE4&amp; news</TITLE>\r\n<title>no");
  int done = 0;
  const Status written = ModIndexPage::Write(folder / "index.html", {folder / "a", folder / "gone"},
                                             folder / "Program", [&] { ++done; });
  ASSERT_TRUE(written.ok()) << written.text();
  EXPECT_EQ(done, 2);
  // Made just now; a file system may keep no such time.
  const auto created = ModFiles::EntryAt(folder / "a").created;
  const std::string date =
      created.has_value()
          ? ModCodePage::FromUtf8(ModClock::RegionalText(ModClock::ToLocal(*created)))
          : "Unknown";
  if (created.has_value()) {
    const int year = ModClock::ToLocal(std::chrono::system_clock::now()).year;
    EXPECT_NE(date.find(std::to_string(year).substr(2)), std::string::npos) << date;
  }
  std::string expected = ModText::ReplaceAll(kPage, "\\", std::string(1, kSeparator));
  expected = ModText::ReplaceAll(expected, "{CREATED}", date);
  expected = ModText::ReplaceAll(expected, "{A}", ModIndexPage::LinkTarget(folder / "a"));
  expected = ModText::ReplaceAll(expected, "{B}", ModIndexPage::LinkTarget(folder / "gone"));
  expected =
      ModText::ReplaceAll(expected, "{INSTALL}", ModIndexPage::LinkTarget(folder / "Program"));
  EXPECT_EQ(folder.Read("index.html"), expected);

  ASSERT_TRUE(ModIndexPage::WriteEmpty(folder / "index.html").ok());
  EXPECT_EQ(folder.Read("index.html"),
            "<html><title>Vespro Delivery Reports</title><body>\r\n"
            "<table border=\"0\" width=\"100%\" cellspacing=\"0\" cellpadding=\"0\" "
            "height=\"37\">\r\n"
            "<tr>\r\n"
            "<td width=\"100%\" bgcolor=\"#000000\" height=\"21\" style=\"border-bottom: 2 solid "
            "#C0C0C0\">\r\n"
            "<font color=\"#FFFFFF\" face=\"Arial\" size=\"3\"><b>\r\n"
            "No Vespro Delivery Reports Available</b></font></td>\r\n"
            "</tr></table></body></html>\r\n");
}

TEST(IndexPageTest, OnlyWhatMisleadsALinkIsEncoded) {
  const struct {
    const char *name, *target, *why;
  } rows[] = {
      {"0104261200001", "0104261200001", "a session"},
      {"R & D, 'new' (2)", "R & D, 'new' (2)", "plain enough"},
      {"a#b?c%20d", "a%23b%3Fc%2520d", "ends the path"},
      {"a\"b<c>d|e", "a%22b%3Cc%3Ed%7Ce", "ends the attribute or the tag, or is a drive's colon"},
      {"a&copy", "a%26copy", "a character reference"},
      {"a\tb\nc", "a%09b%0Ac", "browsers drop them"},
      {"end ", "end%20", "browsers drop it"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(ModIndexPage::LinkTarget(ModFiles::FromUtf8(row.name)), row.target) << row.why;
  }
  // As the code page has it, where browsers expect that; a page of UTF-8 they don't expect.
  const struct {
    const char *name, *encoded;
  } letters[] = {{"\xC3\xA9", "%C3%A9"}, {"\xE2\x98\x83\xF0\x9F\x90\xA7", "%E2%98%83%F0%9F%90%A7"}};
  for (const auto& letter : letters) {
    const std::string bytes = ModCodePage::FromUtf8(letter.name);
    const bool is_read = ModCodePage::CanHold(letter.name) && bytes != letter.name;
    EXPECT_EQ(ModIndexPage::LinkTarget(ModFiles::FromUtf8(letter.name)),
              is_read ? bytes : letter.encoded);
  }
  const std::string backslash = ModIndexPage::LinkTarget(ModFiles::FromUtf8("a\\b"));
  EXPECT_EQ(backslash, kSeparator == '\\' ? "a\\b" : "a%5Cb");
}

}  // namespace
}  // namespace vespro
