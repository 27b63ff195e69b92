#include "reports/report_commands.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "base/testing.h"
#include "host/memory_host.h"
#include "settings/file_backend.h"

namespace vespro {
namespace {

using Events = std::vector<std::string>;

// A main window with a bar in which addresses are typed.
class MainWindow final : public MailClient, public Explorer {
 public:
  MainWindow() {
    web->visible = false;
    box->id = 1740;
  }
  std::string Version() const override { return "10.0"; }
  std::shared_ptr<Inspector> ActiveInspector() override { return nullptr; }
  std::shared_ptr<Explorer> ActiveExplorer() override { return Unowned<Explorer>(*this); }
  std::shared_ptr<CommandBars> Bars() override { return Unowned<CommandBars>(bars); }
  void Listen(ExplorerEvents) override {}

  MemoryOffice office;
  MemoryCommandBars bars{office};
  std::shared_ptr<MemoryBar> web = bars.AddBar("Web");
  std::shared_ptr<MemoryComboBox> box =
      std::dynamic_pointer_cast<MemoryComboBox>(web->Add(ControlType::kComboBox).value());
};

class ReportCommandsTest : public testing::Test {
 protected:
  ReportCommandsTest() {
    add_in_.desktop = &host_;
    add_in_.mail_client = window_;
    add_in_.data_folder = folder_.path();
    EXPECT_TRUE(ModFiles::EnsureFolder(folder_ / "session"));
  }
  void AddSession(const std::string& name, bool html, bool text) {
    EXPECT_TRUE(ModFiles::EnsureFolder(folder_ / ("session/" + name)));
    if (html) folder_.Write("session/" + name + "/report.html", "<title>" + name + "</title>");
    if (text) folder_.Write("session/" + name + "/report.txt", "text");
  }
  std::string PageAddress() const { return "file://" + ModFiles::ToUtf8(folder_ / "index.html"); }
  std::string Setting() const { return settings_.Read(setting::kReportPerPage); }

  TemporaryFolder folder_;
  MemoryHost host_;
  std::shared_ptr<MainWindow> window_ = std::make_shared<MainWindow>();
  FileBackend backend_{folder_ / "settings"};
  Settings settings_{backend_};
  AddIn add_in_;
};

TEST_F(ReportCommandsTest, ViewShowsThePageInTheMainWindow) {
  AddSession("1", true, true);
  AddSession("2", false, true);
  AddSession("3", true, true);
  ModReports::ViewReports(add_in_);
  EXPECT_EQ(host_.events, (Events{"Hourglass on", "Hourglass off"}));
  EXPECT_EQ(host_.do_events_calls, 2);
  EXPECT_EQ(window_->box->text, PageAddress());
  EXPECT_EQ(window_->box->executed, 1);
  EXPECT_TRUE(window_->web->visible);
  const std::string page = folder_.Read("index.html");
  EXPECT_NE(page.find("2. "), std::string::npos);
  EXPECT_EQ(page.find("3. "), std::string::npos) << "a session without a page is none";
}

TEST_F(ReportCommandsTest, WhoeverViewsMeanwhileDoesNotEndTheHourglass) {
  AddSession("1", true, true);
  host_.on_do_events = [this] {
    host_.on_do_events = nullptr;
    ModReports::ViewReports(add_in_);
    host_.events.emplace_back("viewed");
  };
  ModReports::ViewReports(add_in_);
  EXPECT_EQ(host_.events, (Events{"Hourglass on", "viewed", "Hourglass off"}));
  EXPECT_EQ(window_->box->executed, 2);
}

TEST_F(ReportCommandsTest, WithoutReportsTheOldPageStays) {
  folder_.Write("index.html", "old");
  ModReports::ViewReports(add_in_);
  EXPECT_EQ(host_.events,
            (Events{"Hourglass on", "MsgBox[i] Vespro: No reports available", "Hourglass off"}));
  EXPECT_EQ(folder_.Read("index.html"), "old");
  EXPECT_EQ(window_->box->executed, 0);
}

TEST_F(ReportCommandsTest, WithoutTheBarTheBrowserShowsThePage) {
  AddSession("1", true, true);
  window_->box->deleted = true;
  host_.shell_result = 31;
  ModReports::ViewReports(add_in_);
  EXPECT_EQ(host_.events,
            (Events{"Hourglass on",
                    "Shell open " + ModFiles::ToUtf8(folder_ / "index.html") + " () in () as 1",
                    "MsgBox[x] Vespro: No application is associated with this file type.",
                    "Hourglass off"}));
}

TEST_F(ReportCommandsTest, PurgeTakesTheTwoReportsOfASessionAndNothingElse) {
  AddSession("1", true, true);
  AddSession("2", false, true);
  folder_.Write("session/1/journal", "j");
  folder_.Write("session/1/report-2.html", "more");
  host_.answers = {MessageAnswer::kNo};
  ModReports::PurgeReports(add_in_);
  EXPECT_TRUE(ModFiles::IsFile(folder_ / "session/1/report.html"));
  host_.events.clear();

  ModReports::PurgeReports(add_in_);
  EXPECT_EQ(host_.events,
            (Events{"MsgBox[?] Vespro: Are you sure you want to delete all HTML and TEXT reports?",
                    "MsgBox[i] Vespro: Reports purged"}));
  EXPECT_FALSE(ModFiles::IsFile(folder_ / "session/1/report.html"));
  EXPECT_FALSE(ModFiles::IsFile(folder_ / "session/1/report.txt"));
  for (const char* left :
       {"session/1/journal", "session/1/report-2.html", "session/2/report.txt"}) {
    EXPECT_TRUE(ModFiles::IsFile(folder_ / left)) << left;
  }
  EXPECT_NE(folder_.Read("index.html").find("No Vespro Delivery Reports"), std::string::npos);
  EXPECT_EQ(window_->box->executed, 1);

  host_.events.clear();
  ModReports::PurgeReports(add_in_);
  EXPECT_EQ(host_.events.back(), "MsgBox[i] Vespro: No reports available");
  EXPECT_EQ(window_->box->executed, 1);
}

TEST_F(ReportCommandsTest, APurgeThatFailsShowsWhatIsLeft) {
  constexpr char kFailure[] =
      "MsgBox[x] Vespro: report in use. Close the program that shows the report and purge again.";
  std::string stays;
  const ModReports::Remover remove = [&stays](const std::filesystem::path& file) {
    if (file.filename() == stays) return Status(Code::kCannotWrite, "report in use");
    return ModFiles::Remove(file);
  };
  const auto page_has = [this](const char* text) {
    return folder_.Read("index.html").find(text) != std::string::npos;
  };
  folder_.Write("index.html", "old");
  AddSession("1", true, true);
  stays = "report.html";
  ModReports::PurgeReports(add_in_, remove);
  EXPECT_EQ(host_.events.back(), kFailure);
  EXPECT_FALSE(ModFiles::IsFile(folder_ / "session/1/report.txt"));
  EXPECT_TRUE(page_has("No Vespro Delivery Reports")) << "half a report is not listed";
  EXPECT_EQ(window_->box->executed, 1);

  AddSession("1", true, true);
  AddSession("2", true, true);
  const ModReports::Remover only_second = [](const std::filesystem::path& file) {
    if (file.parent_path().filename() == "1") return Status(Code::kCannotWrite, "report in use");
    return ModFiles::Remove(file);
  };
  ModReports::PurgeReports(add_in_, only_second);
  EXPECT_EQ(host_.events.back(), kFailure);
  EXPECT_TRUE(page_has("1. 1<"));
  EXPECT_FALSE(page_has("2. "));
  EXPECT_EQ(window_->box->executed, 2);

  // Nor can the page be written: the old one is not shown.
  ASSERT_TRUE(ModFiles::Remove(folder_ / "index.html").ok());
  ASSERT_TRUE(ModFiles::EnsureFolder(folder_ / "index.html"));
  ModReports::PurgeReports(add_in_, only_second);
  EXPECT_EQ(host_.events.back(), kFailure);
  ModReports::PurgeReports(add_in_);
  EXPECT_NE(host_.events.back().find("index.html"), std::string::npos) << host_.events.back();
  EXPECT_EQ(window_->box->executed, 2);
}

TEST_F(ReportCommandsTest, PerPageIsFrom1To500) {
  const struct {
    const char *answer, *stored, *message;
  } rows[] = {
      {"500", "500", nullptr},
      {" 25 lines", "25", nullptr},
      {"500.9", "500", nullptr},
      {"", "500", nullptr},
      {"501", "500", "Cannot display more than  500 status per page"},
      {"99999999999999999999999", "500", "Cannot display more than  500 status per page"},
      {"0", "500", "Cannot set value to  0"},
      {"-3", "500", "Cannot set value to  -3"},
      {"abc ", "500", "Cannot set value to  abc "},
  };
  for (const auto& row : rows) {
    host_.events.clear();
    host_.inputs = {row.answer};
    ModReports::LimitPerPage(add_in_, settings_);
    EXPECT_EQ(Setting(), row.stored) << row.answer;
    Events events = {
        "InputBox Vespro - No. of entries per report page: Enter the number of delivery status "
        "shown per page.\r\nMaximum allow: 500\r\n\r\nThis setting will be effective the next time "
        "you run Vespro"};
    if (row.message != nullptr) events.push_back("MsgBox[x] Vespro: " + std::string(row.message));
    EXPECT_EQ(host_.events, events) << row.answer;
  }
}

TEST_F(ReportCommandsTest, WhyANumberIsNotStored) {
  ASSERT_TRUE(ModFiles::EnsureFolder(folder_ / "settings"));
  const Status stored = ModReports::SetPerPage(settings_, "20");
  EXPECT_EQ(stored.code(), Code::kCannotWrite);
  EXPECT_TRUE(stored.text().starts_with("Cannot set value to  20: ")) << stored.text();
  EXPECT_NE(stored.text().find(ModFiles::ToUtf8(folder_ / "settings")), std::string::npos)
      << stored.text();
}

}  // namespace
}  // namespace vespro
