#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "base/testing.h"
#include "base/text.h"
#include "host/desktop_over.h"
#include "settings/dialog_stories.h"
#include "settings/frm_options.h"

namespace vespro {
namespace {

constexpr char kTitle[] = "Vespro Options";
constexpr char kMissingTo[] =
    "Missing common To: field for operation in Turbo Mode.  Do you want to set this value?";
constexpr char kBadNumber[] = "Invalid number of connections configured";

enum Tab { kOperatingMode, kSenderInfo, kMailServer, kLogFile };

// Settings in memory, and what was written in its order.
class WatchedBackend final : public SettingsBackend {
 public:
  std::map<std::string, std::string, std::less<>> values;
  std::vector<std::string> written;
  Status fails;

  void CreateKey() override {}
  Status WriteValue(std::string_view name, std::string_view value, std::uint32_t) override {
    if (!fails.ok()) return fails;
    written.push_back(std::string(name) + "=" + std::string(value));
    values.insert_or_assign(std::string(name), std::string(value));
    return {};
  }
  Value ReadValue(std::string_view name) override {
    const auto found = values.find(name);
    return found == values.end() ? Value{"", kMissing} : Value{found->second, 0};
  }
  std::vector<std::string> ListValues() override { return {}; }
};

class WatchedDesktop final : public DesktopOver {
 public:
  using DesktopOver::DesktopOver;
  std::vector<std::string> events;

  void SetHourglass(bool on) override {
    events.emplace_back(on ? "hourglass" : "no hourglass");
    DesktopOver::SetHourglass(on);
  }
  Status Start(const CommandLine& command) override {
    events.push_back(command.text);
    return {};
  }
  void Log(std::string_view line) override { events.emplace_back(line); }
};

// Somebody with the settings of a fresh installation, and the options dialog.
class Desk {
 public:
  explicit Desk(Story& story) : desktop(story.desktop()), story_(story) {
    backend.values = {
        {"MaxNumConnect", "10"}, {"DefaultNumConnect", "5"}, {"DefaultBccMode", "100"}};
  }
  ~Desk() { story_.driver().End(); }

  void Open() {
    OptionsLinks links;
    links.account_file = folder / "Vespro.db";
    links.log_folder = folder / "session";
    links.edit_words = [this] { desktop.events.emplace_back("words"); };
    links.settings_changed = [this] { backend.written.emplace_back("refresh"); };
    links.delete_log_files = [this] {
      desktop.events.emplace_back("delete");
      return delete_fails;
    };
    backend.written.clear();
    story_.Start([this, links] { frmOptions(desktop, settings, links).ShowModal(desktop); });
  }
  std::string Stored(std::string_view name) { return settings.Read(name); }
  // Which option is on, and how the common To box looks.
  std::string Mode() {
    const ControlLook box = story_.Of("TextBccTo");
    return std::string(story_.Of("OptionTurboMode").checked ? "turbo" : "") +
           (story_.Of("OptionPersonalisedMode").checked ? "personalised" : "") +
           (box.enabled ? " on" : " off") +
           (box.background == Background::kSilver ? " silver" : "");
  }

  TemporaryFolder folder;
  WatchedBackend backend;
  Settings settings{backend};
  WatchedDesktop desktop;
  Status delete_fails;

 private:
  Story& story_;
};

void EverythingIsSetOnFourTabs(Story& story) {
  Desk desk(story);
  desk.Open();
  story.Sees(R"(
+- Vespro Options ------------------------------------------------------------[x]-+
|>[Operating Mode] Sender Info  Mail Server  Log File                             |
| +-----------------------------------------------------------------------------+ |
| | (MAILINBOX)  ( ) _Turbo Mode (recommended)                                  | |
| |                  Faster but no mail merge                                   | |
| |                  Each recipient will be commonly addressed as:              | |
| |                 ~[........................................................] | |
| |              (o) _Personalised Mode (with MailMerge)                        | |
| |                  One copy of mail per recipient.  Mail merge is available   | |
| |                  when use with CSV formatted mailing list.                  | |
| |                  [ _Add Word ]  Add frequently used words to the list       | |
| +-----------------------------------------------------------------------------+ |
|                                                              [=OK=]  [ Cancel ] |
+---------------------------------------------------------------------------------+
)");
  story.Click("OptionTurboMode");
  story.Type("TextBccTo", " All members ");
  story.Select("TabOptions", kSenderInfo);
  story.Sees(R"(
+- Vespro Options ------------------------------------------------------------[x]-+
|> Operating Mode [Sender Info] Mail Server  Log File                             |
| +-----------------------------------------------------------------------------+ |
| | (MAILINFO)  Enter your name and email address given by your ISP.            | |
| |             Name:           [_____________________________________________] | |
| |             Email Address:  [_____________________________________________] | |
| |             Reply Address:  [_____________________________________________] | |
| |                                                                             | |
| |                                                                             | |
| |                                                                             | |
| |                                                                             | |
| +-----------------------------------------------------------------------------+ |
|                                                              [=OK=]  [ Cancel ] |
+---------------------------------------------------------------------------------+
)");
  story.Type("TextSenderName", " The Club ");
  story.Type("TextSenderEmailAddress", "club@example.org ");
  story.Type("TextReplyEmailAddress", " answers@example.org");
  story.Select("TabOptions", kMailServer);
  story.Sees(R"(
+- Vespro Options ------------------------------------------------------------[x]-+
|> Operating Mode  Sender Info [Mail Server] Log File                             |
| +-----------------------------------------------------------------------------+ |
| | (SERVER)      Outgoing Mail (SMTP)  [ Accounts ]                            | |
| | (CONNECTION)  No. of connection(1-10):  [5_______]                          | |
| |               Number of email sent out simutaneously.                       | |
| |                                                                             | |
| |                                                                             | |
| |                                                                             | |
| |                                                                             | |
| |                                                                             | |
| +-----------------------------------------------------------------------------+ |
|                                                              [=OK=]  [ Cancel ] |
+---------------------------------------------------------------------------------+
)");
  story.Type("TextNumConnection", " 8 ");
  story.Select("TabOptions", kLogFile);
  story.Sees(R"(
+- Vespro Options ------------------------------------------------------------[x]-+
|> Operating Mode  Sender Info  Mail Server [Log File]                            |
| +-----------------------------------------------------------------------------+ |
| | Tip: Generated log file contains email statistics and activities performed. | |
| | [ Open Log Files ]                                                          | |
| | Regularly delete generated log files can save disk space.                   | |
| | [ _Delete Log Files ]                                                       | |
| |                                                                             | |
| |                                                                             | |
| |                                                                             | |
| |                                                                             | |
| +-----------------------------------------------------------------------------+ |
|                                                              [=OK=]  [ Cancel ] |
+---------------------------------------------------------------------------------+
)");
  EXPECT_TRUE(desk.backend.written.empty());
  story.Click("cmdOK");
  story.SeesEnd();
  EXPECT_EQ(desk.backend.written,
            (std::vector<std::string>{"SenderName=The Club", "SenderEmail=club@example.org",
                                      "ReplyEmail=answers@example.org", "CommonToField=All members",
                                      "BccMode=100", "NumConnect=8", "refresh"}));
  desk.Open();
  EXPECT_EQ(desk.Mode(), "turbo on");
  EXPECT_EQ(story.TextOf("TextBccTo"), "All members");
  story.Select("TabOptions", kSenderInfo);
  EXPECT_EQ(story.TextOf("TextReplyEmailAddress"), "answers@example.org");
  story.Select("TabOptions", kMailServer);
  EXPECT_EQ(story.TextOf("TextNumConnection"), "8");
}

void TheModeStaysAsStoredUntilAnOptionIsClicked(Story& story) {
  const struct {
    const char* stored;
    const char* mode;
    const char* saved;
  } cases[] = {{"", "personalised off silver", "0"},
               {"0", "personalised off silver", "0"},
               {"-3", "personalised off silver", "-3"},
               {"1", "turbo on", "1"},
               {"0.6", "personalised off silver", "0.6"},
               {"40 or so", "turbo on", "40"},
               {"70000", "turbo on", "70000"}};
  Desk desk(story);
  desk.backend.values["CommonToField"] = "All";
  for (const auto& c : cases) {
    SCOPED_TRACE(c.stored);
    desk.backend.values["BccMode"] = c.stored;
    desk.Open();
    EXPECT_EQ(desk.Mode(), c.mode);
    story.Select("TabOptions", kLogFile);
    story.Select("TabOptions", kOperatingMode);
    EXPECT_EQ(desk.Mode(), c.mode);
    story.Click("cmdOK");
    story.SeesEnd();
    EXPECT_EQ(desk.Stored("BccMode"), c.saved);
  }
  desk.Open();
  story.PressAlt('p');
  EXPECT_EQ(desk.Mode(), "personalised off silver");
  story.Click("cmdOK");
  story.SeesEnd();
  EXPECT_EQ(desk.Stored("BccMode"), "0");

  desk.Open();
  desk.backend.values["DefaultBccMode"] = "70";
  story.PressAlt('t');
  EXPECT_EQ(desk.Mode(), "turbo on");
  story.Press(Key::kEnter);
  story.SeesEnd();
  EXPECT_EQ(desk.Stored("BccMode"), "70") << "as it is set when the mode is chosen";

  desk.backend.values.erase("DefaultBccMode");
  desk.Open();
  story.Click("OptionPersonalisedMode");
  story.Click("OptionTurboMode");
  EXPECT_EQ(desk.Mode(), "turbo on");
  story.Select("TabOptions", kSenderInfo);
  story.Select("TabOptions", kOperatingMode);
  EXPECT_EQ(desk.Mode(), "personalised off silver") << "turbo mode has no number here";
}

void AMissingCommonToIsAskedForOnce(Story& story) {
  Desk desk(story);
  desk.backend.values["BccMode"] = "1";
  desk.Open();
  story.Focus("TextBccTo");
  story.Click("cmdOK");
  story.Answers(kMissingTo, "?", "Yes");
  EXPECT_TRUE(story.Of("TextBccTo").focused);
  story.Select("TabOptions", kSenderInfo);
  story.Answers(kMissingTo, "?", "Yes");
  EXPECT_TRUE(story.Of("FrameOpMode").visible);
  story.Press(Key::kTab);
  story.Answers(kMissingTo, "?", "No");
  EXPECT_FALSE(story.Of("TextBccTo").focused);
  story.Focus("TextBccTo");
  story.Select("TabOptions", kSenderInfo);
  EXPECT_TRUE(story.Of("FrameSenderInfo").visible) << "asked once";
  story.Click("cmdOK");
  story.SeesEnd();

  desk.Open();
  story.Focus("TextBccTo");
  story.Press(Key::kEnter);
  story.Answers(kMissingTo, "?", "No");
  story.SeesEnd();
  EXPECT_EQ(desk.backend.written.size(), 7U);

  desk.Open();
  story.Type("TextBccTo", " ");
  story.Click("cmdOK");
  story.SeesEnd();
  EXPECT_EQ(desk.Stored("CommonToField"), "") << "a blank is something, until it is stored";
}

void ConnectionsAreCheckedWhenTheBoxIsLeft(Story& story) {
  Desk desk(story);
  for (const char* good : {"1", "10", "-2", "2.5", "3.5", " 7 people", "10.5"}) {
    SCOPED_TRACE(good);
    desk.Open();
    story.Select("TabOptions", kMailServer);
    EXPECT_EQ(story.Of("LabelNumConnection").caption, "No. of connection(1-10):");
    story.Type("TextNumConnection", good);
    story.Click("cmdOK");
    story.SeesEnd();
    EXPECT_EQ(desk.Stored("NumConnect"), ModText::Trim(good)) << "as it was typed";
  }
  desk.backend.values["NumConnect"] = "";
  desk.Open();
  story.Select("TabOptions", kMailServer);
  EXPECT_EQ(story.TextOf("TextNumConnection"), "5");
  for (const char* bad : {"", "0", "abc", "11", "0.5", "10.6", "12abc", "70000"}) {
    SCOPED_TRACE(bad);
    story.Type("TextNumConnection", bad);
    story.Click("cmdOK");
    story.Answers(kBadNumber, "!", "OK");
    story.Press(Key::kEnter);
    story.Answers(kBadNumber, "!", "OK");
    story.Select("TabOptions", kOperatingMode);
    story.Answers(kBadNumber, "!", "OK");
    EXPECT_TRUE(story.Of("TextNumConnection").focused);
  }
  EXPECT_TRUE(desk.backend.written.empty());
  story.Press(Key::kEscape);
  story.SeesEnd();

  desk.backend.values["NumConnect"] = "99";
  desk.backend.values.erase("MaxNumConnect");
  desk.Open();
  story.Select("TabOptions", kMailServer);
  EXPECT_EQ(story.Of("LabelNumConnection").caption, "No. of connection(1-0):");
  story.Click("cmdOK");
  story.SeesEnd();
  EXPECT_EQ(desk.Stored("NumConnect"), "99") << "a box that was not in use is not checked";
}

void NothingIsStoredWithoutOk(Story& story) {
  Desk desk(story);
  desk.backend.values["SenderName"] = "The Club";
  const auto values = desk.backend.values;
  const auto leave = {+[](Story& s) { s.Click("cmdCancel"); },
                      +[](Story& s) { s.Press(Key::kEscape); }, +[](Story& s) { s.CloseByFrame(); },
                      +[](Story& s) { s.driver().End(); }};
  for (const auto& by : leave) {
    desk.Open();
    story.Click("OptionTurboMode");
    story.Select("TabOptions", kSenderInfo);
    story.Type("TextSenderName", "Somebody");
    story.Select("TabOptions", kMailServer);
    story.Type("TextNumConnection", "none");
    by(story);
    story.SeesEnd();
    EXPECT_EQ(desk.backend.values, values);
  }
  desk.backend.fails = Status(Code::kCannotWrite, "the disk is full");
  desk.Open();
  story.Click("cmdOK");
  story.SeesEnd();
  EXPECT_EQ(desk.backend.written, std::vector<std::string>{"refresh"});
  ASSERT_EQ(desk.desktop.events.size(), 6U);
  EXPECT_EQ(desk.desktop.events[0], "SenderName is not stored: the disk is full");
}

void OtherDialogsSaveByThemselves(Story& story) {
  Desk desk(story);
  desk.Open();
  story.PressAlt('a');
  EXPECT_EQ(desk.desktop.events, std::vector<std::string>{"words"});
  story.Select("TabOptions", kMailServer);
  story.Click("CmdMailSetting");
  story.SeesWindows({kTitle, "Vespro Accounts"});
  story.Type("TextServer", "smtp.example.org");
  story.Click("CheckNoAuthLogin");
  story.Click("CmdAdd");
  story.Click("CmdClose");
  story.SeesWindows({kTitle});
  story.Press(Key::kEscape);
  story.SeesEnd();
  EXPECT_EQ(desk.folder.Read("Vespro.db"), "\"smtp.example.org\",\"25\",\"\",\"\"\r\n");
  EXPECT_TRUE(desk.backend.written.empty());
}

void LogFilesAreOpenedAndDeleted(Story& story) {
  Desk desk(story);
  desk.Open();
  story.Select("TabOptions", kLogFile);
  story.Click("CmdShowLogFiles");
  std::filesystem::path session = desk.folder / "session";
  EXPECT_TRUE(std::filesystem::is_directory(session));
  const std::string viewer = desk.desktop.FolderViewer();
  EXPECT_EQ(
      desk.desktop.events,
      std::vector<std::string>{viewer + " \"" + ModFiles::ToUtf8(session.make_preferred()) + "\""});
  desk.desktop.events.clear();
  const std::vector<std::string> deleting = {"hourglass", "delete", "no hourglass"};
  story.PressAlt('d');
  story.Answers("Log files deleted", "i", "OK");
  EXPECT_EQ(desk.desktop.events, deleting);
  desk.delete_fails = Status(Code::kResumable, "an engine is at work");
  desk.desktop.events.clear();
  story.Click("CmdDeleteTempFiles");
  EXPECT_EQ(desk.desktop.events, deleting) << "the pointer is as usual when the message comes";
  story.Answers("an engine is at work\r\nMake sure Vespro, or explorer is not running.", "!", "OK");
  story.SeesWindows({kTitle});
}

}  // namespace

std::vector<FormStory> OptionsStories() {
  return {
      {"EverythingIsSetOnFourTabs", EverythingIsSetOnFourTabs},
      {"TheModeStaysAsStoredUntilAnOptionIsClicked", TheModeStaysAsStoredUntilAnOptionIsClicked},
      {"AMissingCommonToIsAskedForOnce", AMissingCommonToIsAskedForOnce},
      {"ConnectionsAreCheckedWhenTheBoxIsLeft", ConnectionsAreCheckedWhenTheBoxIsLeft},
      {"NothingIsStoredWithoutOk", NothingIsStoredWithoutOk},
      {"OtherDialogsSaveByThemselves", OtherDialogsSaveByThemselves},
      {"LogFilesAreOpenedAndDeleted", LogFilesAreOpenedAndDeleted},
  };
}

}  // namespace vespro
