#include "settings/settings.h"

#include "base/code_page.h"
#include "base/testing.h"
#include "base/text.h"
#include "settings/file_backend.h"
#include "settings/overlay_backend.h"
#include "settings/password.h"

namespace vespro {
namespace {

TEST(SettingsTest, OverTheFile) {
  TemporaryFolder folder;
  FileBackend backend(folder / "a/b/settings");
  Settings settings(backend);
  EXPECT_EQ(settings.Read(setting::kMailList), "");
  EXPECT_TRUE(settings.List().empty());
  EXPECT_EQ(folder.Count(), 0);  // reading makes nothing
  ASSERT_TRUE(settings.Write(setting::kReportPerPage, " 20 ").ok());
  ASSERT_TRUE(settings.Write(setting::kMailList, "").ok());
  EXPECT_EQ(settings.Read("REPORT per PAGE"), " 20 ");
  EXPECT_EQ(settings.List(), (std::vector<std::string>{"Report Per Page", "MailList"}));
  EXPECT_EQ(FindSetting("maillist")->name, setting::kMailList);
  EXPECT_EQ(FindSetting("Nothing"), nullptr);
}

TEST(SettingsTest, InstallerDefaults) {
  TemporaryFolder folder;
  FileBackend backend(folder / "settings");
  Settings settings(backend);
  folder.Write("defaults", "maxnumconnect = 7\nSenderName = nobody\nDefaultBccMode = \"torn\n");
  ASSERT_TRUE(settings.Write(setting::kDefaultNumConnect, "3").ok());
  ASSERT_TRUE(WriteInstallerDefaults(backend, folder / "defaults").ok());
  EXPECT_EQ(settings.Read(setting::kDefaultNumConnect), "3");  // was there
  EXPECT_EQ(settings.Read(setting::kMaxNumConnect), "7");      // the packager's
  EXPECT_EQ(settings.Read(setting::kDefaultBccMode), "100");   // ours
  EXPECT_EQ(settings.Read(setting::kSenderName), "");          // not a packager's to set
  ASSERT_TRUE(settings.Write(setting::kMaxNumConnect, "").ok());
  ASSERT_TRUE(WriteInstallerDefaults(backend, folder / "missing").ok());
  EXPECT_EQ(settings.Read(setting::kMaxNumConnect), "");  // emptied on purpose
}

TEST(SettingsTest, OverlayHoldsForOneRun) {
  TemporaryFolder folder;
  FileBackend below(folder / "settings");
  ASSERT_TRUE(Settings(below).Write("BccMode", "100").ok());
  OverlayBackend overlay(below);
  overlay.Set("bccmode", "0");
  overlay.Set("SenderName", "Ann");
  Settings settings(overlay);
  EXPECT_EQ(settings.Read("BccMode"), "0");
  ASSERT_TRUE(settings.Write("SENDERNAME", "Eve").ok());
  ASSERT_TRUE(settings.Write("ReplyEmail", "r@b").ok());
  EXPECT_EQ(settings.Read("SenderName"), "Eve");
  EXPECT_EQ(settings.List(), (std::vector<std::string>{"BccMode", "ReplyEmail", "SenderName"}));
  EXPECT_EQ(Settings(below).Read("BccMode"), "100");
  EXPECT_EQ(Settings(below).Read("SenderName"), "");
  EXPECT_EQ(Settings(below).Read("ReplyEmail"), "r@b");
}

TEST(PasswordTest, ThereAndBack) {
  const struct {
    std::string_view text, encoded;
  } rows[] = {
      {"", ""},       {"   ", ""},       {"a", "YQ=="},
      {"ab", "YWI="}, {" abc ", "YWJj"}, {"a b\"'", "YSBiIic="},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(ModPassword::EncodePassword(row.text), row.encoded);
    Result<std::string> decoded = ModPassword::DecodePassword(" " + std::string(row.encoded) + " ");
    ASSERT_TRUE(decoded.ok()) << row.encoded;
    EXPECT_EQ(decoded.value(), ModText::Trim(row.text));
  }
  // One line at any length, and letters beyond ASCII as the code page has them.
  const std::string long_text = std::string(300, 'x') + "\xC3\xA4";
  const std::string encoded = ModPassword::EncodePassword(long_text);
  EXPECT_EQ(encoded.find_first_of("\r\n"), std::string::npos);
  EXPECT_EQ(ModPassword::DecodePassword(encoded).value(), long_text);
  EXPECT_EQ(ModPassword::EncodePassword("\xC3\xA4"),
            ModCodePage::FromUtf8("\xC3\xA4").size() == 1 ? "5A==" : "w6Q=");
}

TEST(PasswordTest, DamageIsNamedAndNotRepeated) {
  for (const std::string_view damaged : {"YQ", "YQ=", "!!!!", "YW Jj", "YQ==YQ=="}) {
    const Status status = ModPassword::DecodePassword(damaged).status();
    EXPECT_EQ(status.code(), Code::kBadInput) << damaged;
    EXPECT_EQ(status.text().find(damaged), std::string::npos) << status.text();
  }
}

}  // namespace
}  // namespace vespro
