#include "support/diagnostic_report.h"

#include <gtest/gtest.h>

#include "base/testing.h"
#include "base/text.h"
#include "host/memory_host.h"
#include "settings/account_file.h"
#include "settings/file_backend.h"
#include "support/product.h"
#include "support/testing.h"

namespace vespro {
namespace {

// Two windows with mails, one of which is being composed.
class Client final : public MailClient, public Inspectors {
 public:
  std::string Name() const override { return name; }
  std::string Version() const override { return version; }
  std::shared_ptr<Inspector> ActiveInspector() override { return nullptr; }
  std::shared_ptr<vespro::Inspectors> Inspectors() override {
    return Unowned<vespro::Inspectors>(*this);
  }
  Result<int> ExplorerCount() const override { return 1; }
  Result<int> Count() const override { return 2; }
  void OnNewInspector(std::function<void(std::shared_ptr<Inspector>)>) override {}

  std::string name = "Outlook", version = "10.0.2627";
};

// One that is disconnected while it is asked.
class LeavingClient final : public MailClient, public std::enable_shared_from_this<LeavingClient> {
 public:
  explicit LeavingClient(AddIn& add_in) : add_in_(add_in) {}
  std::string Version() const override {
    Leave();
    return "10.0";
  }
  Result<int> ExplorerCount() const override {
    Leave();
    return 1;
  }
  std::shared_ptr<Inspector> ActiveInspector() override { return nullptr; }

 private:
  void Leave() const {
    const std::weak_ptr<const LeavingClient> self = weak_from_this();
    add_in_.mail_client = nullptr;
    EXPECT_FALSE(self.expired());
  }
  AddIn& add_in_;
};

class DiagnosticReportTest : public testing::Test {
 protected:
  DiagnosticReportTest() {
    add_in_.desktop = &host_;
    add_in_.mail_client = client_;
    add_in_.data_folder = folder_.path();
    add_in_.install_folder = "Program";
    add_in_.windows[0] = std::make_shared<ComposeWindow>();
  }
  std::string Report() { return ModDiagnostics::Report(add_in_, settings_, system_); }
  // Whether one of the report's lines is this.
  bool Says(const std::string& line) {
    return ("\r\n" + Report() + "\r\n").find("\r\n" + line + "\r\n") != std::string::npos;
  }

  TemporaryFolder folder_;
  FileBackend backend_{folder_ / "settings"};
  Settings settings_{backend_};
  MemoryHost host_;
  std::shared_ptr<Client> client_ = std::make_shared<Client>();
  SampleFacts system_;
  AddIn add_in_;
};

TEST_F(DiagnosticReportTest, AllLinesInOrder) {
  ASSERT_TRUE(settings_.Write(setting::kBccMode, "100").ok());
  ASSERT_TRUE(settings_.Write(setting::kNumConnect, "5").ok());
  ASSERT_TRUE(settings_.Write(setting::kMailList, "C:\\a.csv,CSV,1,HEADER").ok());
  ASSERT_TRUE(settings_.Write(setting::kReportPerPage, "20").ok());
  ASSERT_TRUE(settings_.Write(setting::kCommonToField, "Friends").ok());
  ASSERT_TRUE(settings_.Write(setting::kSenderEmail, "a@example.org").ok());
  ASSERT_TRUE(settings_.Write(setting::kSenderName, "Ann").ok());
  folder_.Write("Vespro.db", "\"a\",\"25\",\"\",\"\"\r\n\"b\",\"587\",\"YQ==\",\"Yg==\"\r\n");
  const std::string expected =
      "Vespro Version: " VESPRO_VERSION
      "\r\n"
      "Vespro.exe File Version: 2.00.05.12\r\n"
      "Outlook 2002 Version: 10.0.2627\r\n"
      "Internet Explorer Version: 6.0.2900.5512 Build 62900.5512\r\n"
      "MDAC Version: 2.81.1132.0\r\n"
      "OS: Windows XP\r\n"
      "OS Version: 5.1, Build No: 2600, Service Pack: Service Pack 3\r\n"
      "Explorer Count: 1\r\n"
      "Inspector Count: 2\r\n"
      "Vespro Inspector Count: 1\r\n"
      "Vespro Install Directory: Program\r\n"
      "Vespro User Directory: " +
      ModFiles::ToUtf8(folder_.path()) +
      "\r\n"
      "Mode: 100\r\n"
      "No. of Connections: 5\r\n"
      "Distribution File: C:\\a.csv,CSV,1,HEADER\r\n"
      "Report Per Page: 20\r\n"
      "To: Friends\r\n"
      "Sender Email: a@example.org\r\n"
      "Sender Name: Ann\r\n"
      "Accounts: \"a\",\"25\",\"\",\"\"\r\n\"b\",\"587\",\"YQ==\",\"Yg==\"\r\n"
      "\r\n"
      "Installed Applications:\r\n"
      "Outlook Toys\r\n"
      "Vespro for Outlook\r\n"
      "\r\n"
      "Running Applications: \r\n"
      "C:\\Windows\\explorer.exe\r\n"
      "C:\\Office\\outlook.exe";
  EXPECT_EQ(Report(), expected);
  EXPECT_GE(host_.do_events_calls, 3);
  EXPECT_EQ(ModDiagnostics::MailBody("R"),
            "Enter your problem description: "
            "\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\n"
            "*** Diagnostic Information ***\r\nR");
}

TEST_F(DiagnosticReportTest, WhatIsNotThereIsEmptyBehindItsLabel) {
  EXPECT_TRUE(Says("Mode: "));
  EXPECT_TRUE(Says("Accounts: "));
  folder_.Write("Vespro.db", " \r\n\r\n");
  EXPECT_TRUE(Says("Accounts: "));
  add_in_.mail_client = nullptr;
  EXPECT_TRUE(Says("Explorer Count: "));
}

TEST_F(DiagnosticReportTest, AClientThatLeavesMeanwhileIsHeld) {
  add_in_.mail_client = std::make_shared<LeavingClient>(add_in_);
  EXPECT_TRUE(Says("Outlook 2002 Version: 10.0"));
  host_.on_do_events = [this] {
    if (add_in_.mail_client != nullptr) return;
    host_.on_do_events = nullptr;
    add_in_.mail_client = std::make_shared<LeavingClient>(add_in_);
  };
  EXPECT_TRUE(Says("Explorer Count: 1"));
}

TEST_F(DiagnosticReportTest, TheMailClientByItsName) {
  const struct {
    const char *name, *version, *line;
  } rows[] = {
      {"Outlook", "9.0.0.3821", "Outlook 2000 Version: 9.0.0.3821"},
      {"Outlook", "16.0.0.17126", "Outlook 2002 Version: 16.0.0.17126"},
      {"Evolution", "3.46.4", "Evolution Version: 3.46.4"},
  };
  for (const auto& row : rows) {
    client_->name = row.name;
    client_->version = row.version;
    EXPECT_TRUE(Says(row.line)) << row.line;
  }
}

TEST_F(DiagnosticReportTest, PasswordsOnlyAsTheFileHasThem) {
  AccountEntry entry;
  entry.server = "mail.example.org";
  entry.port = "587";
  entry.login = "ann.login";
  entry.password = "Tulip9943x";
  ASSERT_TRUE(WriteAccountFile(folder_ / "Vespro.db", {entry}).ok());
  const std::string report = Report();
  EXPECT_NE(report.find("VHVsaXA5OTQzeA=="), std::string::npos);
  EXPECT_EQ(report.find(entry.password), std::string::npos);
  EXPECT_EQ(report.find(entry.login), std::string::npos);
  const std::string without =
      ModDiagnostics::Report(add_in_, settings_, system_, ModDiagnostics::Accounts::kLeftOut);
  EXPECT_EQ(without.find("VHVsaXA5OTQzeA=="), std::string::npos);
  EXPECT_NE(without.find("Accounts: (left out)\r\n"), std::string::npos);
}

}  // namespace
}  // namespace vespro
