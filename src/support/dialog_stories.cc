#include "support/dialog_stories.h"

#include <gtest/gtest.h>

#include <memory>

#include "base/testing.h"
#include "forms/form.h"
#include "host/add_in.h"
#include "host/desktop_over.h"
#include "host/mail_client.h"
#include "settings/file_backend.h"
#include "support/diagnostic_report.h"
#include "support/frm_about.h"
#include "support/frm_diagnostics.h"
#include "support/product.h"
#include "support/testing.h"

namespace vespro {
namespace {

// A mail client that makes mails, unless it is told not to.
class Client final : public MailClient, public MailItem {
 public:
  std::string Version() const override { return "10.0.2627"; }
  std::shared_ptr<Inspector> ActiveInspector() override { return nullptr; }
  Result<std::shared_ptr<MailItem>> NewMail() override {
    if (!makes_mails) return Status(Code::kUnavailable, "no mails today");
    return Unowned<MailItem>(*this);
  }

  std::string Subject() const override { return {}; }
  std::string Body() const override { return body; }
  std::string HtmlBody() const override { return {}; }
  Status SetTo(std::string_view text) override {
    to = text;
    return {};
  }
  Status SetBody(std::string_view text) override {
    body = text;
    return {};
  }
  Status SetSentOnBehalfOfName(std::string_view) override { return {}; }
  std::size_t AttachmentCount() const override { return 0; }
  std::string AttachmentFileName(std::size_t) const override { return {}; }
  Status SaveAttachment(std::size_t, const std::filesystem::path&) override { return {}; }
  Status Display() override {
    ++displayed;
    windows_when_displayed = desktop->Screen()->shown().size();
    return {};
  }
  Status CloseAndSave() override { return {}; }
  Status MoveToSentFolder() override { return {}; }

  Desktop* desktop = nullptr;
  bool makes_mails = true;
  std::string to, body;
  int displayed = 0;
  std::size_t windows_when_displayed = 0;
};

// What the pointer shows, and which things were opened.
class WatchedDesktop final : public DesktopOver {
 public:
  using DesktopOver::DesktopOver;
  void SetHourglass(bool on) override { hourglass = on; }
  void DoEvents() override {
    under_hourglass += hourglass ? 1 : 0;
    DesktopOver::DoEvents();
  }
  int Shell(const ShellRequest& request) override {
    opened += request.operation + " " + request.file + " as " + std::to_string(request.show) + "\n";
    return shell_result;
  }
  void Log(std::string_view line) override { log.append(line).append("\n"); }

  bool hourglass = false;
  int under_hourglass = 0;  // how often events were let run
  int shell_result = 33;
  std::string opened, log;
};

class Desk {
 public:
  explicit Desk(Story& story) : desktop(story.desktop()), story_(story) {
    client->desktop = &desktop;
    add_in.desktop = &desktop;
    add_in.mail_client = client;
    add_in.data_folder = folder.path();
  }
  ~Desk() { story_.driver().End(); }

  void OpenDiagnostics() {
    story_.Start([this] { frmDiagnostics(add_in, settings, system).ShowModal(desktop); });
  }
  void OpenAbout() {
    story_.Start([this] { frmAbout(desktop).ShowModal(desktop); });
  }

  TemporaryFolder folder;
  FileBackend backend{folder / "settings"};
  Settings settings{backend};
  SampleFacts system;
  std::shared_ptr<Client> client = std::make_shared<Client>();
  WatchedDesktop desktop;
  AddIn add_in;

 private:
  Story& story_;
};

void TheReportIsReadAndSent(Story& story) {
  Desk desk(story);
  desk.OpenDiagnostics();
  story.SeesWindows({"Technical Support"});
  EXPECT_GT(desk.desktop.under_hourglass, 0);
  const std::string report = ModDiagnostics::Report(desk.add_in, desk.settings, desk.system);
  EXPECT_EQ(story.TextOf("TextInfo"), report);
  story.Cannot(story.driver().Type("TextInfo", "changed"));
  EXPECT_FALSE(desk.desktop.hourglass);
  story.Enlarge(8, 4);  // long paths
  story.PressAlt('S');
  story.SeesEnd();
  EXPECT_EQ(desk.client->to, product::kSupportMailbox);
  EXPECT_EQ(desk.client->body, ModDiagnostics::MailBody(report));
  EXPECT_EQ(desk.client->displayed, 1);
  EXPECT_EQ(desk.client->windows_when_displayed, 0U) << "the dialog goes first";
  EXPECT_FALSE(desk.desktop.hourglass);
}

void AMailThatCannotBeMadeLeavesTheReport(Story& story) {
  Desk desk(story);
  desk.client->makes_mails = false;
  desk.OpenDiagnostics();
  story.Click("CmdSendReport");
  story.SeesWindows({"Technical Support"});
  EXPECT_EQ(desk.desktop.log, "no mails today\n");
  EXPECT_FALSE(desk.desktop.hourglass);
  story.Press(Key::kEscape);
  story.SeesEnd();
  EXPECT_EQ(desk.client->displayed, 0);
}

void TheWebSiteIsOpened(Story& story) {
  Desk desk(story);
  desk.OpenAbout();
  story.SeesWindows({"About Vespro"});
  EXPECT_EQ(story.Of("LabelVersion").caption,
            std::string("Version ") + product::kVersion + " " + product::kRemark);
  EXPECT_EQ(story.Of("LabelContact").caption, product::kContact);
  EXPECT_EQ(story.Of("LabelContact").tooltip,
            "Make sure to include diagnostic information with the email");
  story.Click("LabelWeb");
  EXPECT_EQ(desk.desktop.opened, std::string("open ") + product::kWebAddress + " as 1\n");
  desk.desktop.shell_result = 31;
  story.Click("LabelWeb");
  story.Answers("No application is associated with this file type.", "X", "CmdOk");
  story.PressAlt('C');
  story.SeesEnd();
}

}  // namespace

std::vector<FormStory> SupportStories() {
  return {
      {"TheReportIsReadAndSent", TheReportIsReadAndSent},
      {"AMailThatCannotBeMadeLeavesTheReport", AMailThatCannotBeMadeLeavesTheReport},
      {"TheWebSiteIsOpened", TheWebSiteIsOpened},
  };
}

}  // namespace vespro
