#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "base/testing.h"
#include "settings/dialog_stories.h"
#include "settings/frm_mail_setting.h"

namespace vespro {
namespace {

namespace fs = std::filesystem;

constexpr char kFull[] =
    "Cannot add anymore entries, reached the maximum number of mail server (32700)";
constexpr char kRelay[] = "\"relay.example.net\",\"25\",\"\",\"\"\r\n";
constexpr char kAnn[] = "\"smtp.example.org\",\"587\",\"YW5u\",\"c2VjcmV0\"\r\n";  // ann, secret
constexpr char kDamaged[] = "\"relay.example.net\",\"25\",\"broken\r\n";

// Somebody with an account file, and the accounts dialog.
class Desk {
 public:
  explicit Desk(Story& story) : story_(story) {}
  ~Desk() { story_.driver().End(); }

  void Open() {
    story_.Start([this] {
      frmMailSetting dialog(story_.desktop(), folder / "Vespro.db");
      dialog.ShowModal(story_.desktop());
    });
  }
  void Have(const std::string& accounts) { folder.Write("Vespro.db", accounts); }
  std::string Accounts() { return folder.Read("Vespro.db"); }
  std::vector<std::string> Servers() {
    std::vector<std::string> servers;
    for (const Row& row : story_.Of("ListServer").rows) servers.push_back(row.text);
    return servers;
  }
  void Add(std::string_view server, std::string_view login, std::string_view password) {
    story_.Type("TextServer", server);
    if (login.empty()) {
      story_.Click("CheckNoAuthLogin");
    } else {
      story_.Type("TextLogin", login);
      story_.Type("TextPassword", password);
    }
    story_.Click("CmdAdd");
  }

  TemporaryFolder folder;

 private:
  Story& story_;
};

void AccountsAreAddedAndTakenAway(Story& story) {
  Desk desk(story);
  desk.Open();
  EXPECT_FALSE(story.Of("CmdRemove").enabled);
  EXPECT_EQ(story.TextOf("TextPort"), "25");
  desk.Add(" relay.example.net  ", "", "");
  EXPECT_TRUE(story.Of("CmdRemove").enabled);
  EXPECT_FALSE(story.Of("CheckNoAuthLogin").checked);
  EXPECT_TRUE(story.Of("TextLogin").enabled);
  story.Type("TextServer", "smtp.example.org");
  story.Type("TextPort", "587");
  story.Type("TextLogin", " ann ");
  story.Type("TextPassword", " secret ");
  story.Press(Key::kEnter);
  EXPECT_EQ(story.TextOf("TextPort"), "25");
  desk.Add("relay.example.net", "", "");
  EXPECT_FALSE(fs::exists(desk.folder / "Vespro.db")) << "nothing is saved before Close";
  story.Sees(R"(
+- Vespro Accounts -----------------------------------------------------------[x]-+
|        Add at least one SMTP server (email account from your ISP) below.        |
| (TIP)  Multiple servers can be added for fast email delivery.  Vespro can       |
|        direct more emails to one server over another by adding multiple entries |
|        for a particular server.                                                 |
| _Server Name:  [_______________________]  Port _No.:  [25_____________________] |
| _Login Name:   [_______________________]  _Password:  [_______________________] |
| [ ] No Authentication Required                                        >[=_Add=] |
| +-----------------------------------------------------------------------------+ |
| | Server Name                      | Port No.   | Login Name                  | |
| |-----------------------------------------------------------------------------| |
| | relay.example.net                | 25         |                             | |
| | smtp.example.org                 | 587        | ann                         | |
| | relay.example.net                | 25         |                             | |
| |                                                                             | |
| |                                                                             | |
| |                                                                             | |
| |                                                                             | |
| |                                                                             | |
| +-----------------------------------------------------------------------------+ |
| [ _Remove ]                                                          [ _Close ] |
+---------------------------------------------------------------------------------+
)");
  story.Click("CmdClose");
  story.SeesEnd();
  EXPECT_EQ(desk.Accounts(), std::string(kRelay) + kAnn + kRelay);

  desk.Open();
  story.Click("CmdRemove");
  EXPECT_EQ(desk.Servers().size(), 3U) << "no row is selected";
  story.Select("ListServer", 0);
  story.PressAlt('r');
  story.Select("ListServer", 1);
  story.Press(Key::kDelete);
  story.Press(Key::kDelete);
  EXPECT_EQ(desk.Servers(), std::vector<std::string>{"smtp.example.org"});
  story.Select("ListServer", 0);
  story.Press(Key::kEnter);
  story.Press(Key::kSpace);
  EXPECT_EQ(desk.Servers().size(), 1U) << "a key that is not Delete adds nothing";
  story.Press(Key::kDelete);
  EXPECT_FALSE(story.Of("CmdRemove").enabled);
  story.Press(Key::kDelete);
  story.PressAlt('c');
  story.SeesEnd();
  EXPECT_EQ(desk.Accounts(), "");
}

void ARowComesBackIntoTheBoxes(Story& story) {
  Desk desk(story);
  desk.Have(std::string(kAnn) + kRelay + "smtp.example.com,abc,Ym9i,\r\n");
  desk.Open();
  const auto login_boxes = [&] {
    std::string seen;
    for (const char* name : {"TextLogin", "TextPassword"}) {
      const ControlLook box = story.Of(name);
      seen += box.text + (box.enabled ? " on" : " off") +
              (box.background == Background::kSilver ? " silver;" : ";");
    }
    return seen;
  };
  story.Select("ListServer", 0);
  EXPECT_EQ(story.TextOf("TextServer") + ":" + story.TextOf("TextPort"), "smtp.example.org:587");
  EXPECT_EQ(login_boxes(), "ann on;****** on;");
  story.Select("ListServer", 1);
  EXPECT_EQ(story.TextOf("TextServer") + ":" + story.TextOf("TextPort"), "relay.example.net:25");
  EXPECT_TRUE(story.Of("CheckNoAuthLogin").checked);
  EXPECT_EQ(login_boxes(), " off silver; off silver;");
  story.Select("ListServer", 2);
  EXPECT_EQ(story.TextOf("TextPort"), "abc");
  EXPECT_FALSE(story.Of("CheckNoAuthLogin").checked);
  EXPECT_EQ(login_boxes(), "bob on; on;");

  story.Click("CheckNoAuthLogin");
  EXPECT_EQ(login_boxes(), "bob off silver; off silver;") << "the text is kept";
  story.Click("CheckNoAuthLogin");
  EXPECT_EQ(login_boxes(), " on; on;") << "and gone";
  story.Select("ListServer", 0);
  story.Click("CheckNoAuthLogin");
  story.Click("CmdAdd");
  EXPECT_EQ(login_boxes(), " on; on;");
  EXPECT_EQ(desk.Servers().size(), 4U) << "what was copied is added, not put in place";
  story.Click("CmdClose");
  story.SeesEnd();
  EXPECT_EQ(desk.Accounts(), std::string(kAnn) + kRelay +
                                 "\"smtp.example.com\",\"abc\",\"Ym9i\",\"\"\r\n"
                                 "\"smtp.example.org\",\"587\",\"\",\"\"\r\n");
}

void WhatIsMissingIsTold(Story& story) {
  Desk desk(story);
  desk.Open();
  story.Click("CmdAdd");
  story.Answers("Missing server name/port setting", "!", "OK");
  story.Type("TextServer", "smtp.example.org");
  story.Click("CmdAdd");
  story.Answers("Miss login name and password pair", "!", "OK");
  story.Type("TextLogin", "ann");
  story.Press(Key::kEnter);
  story.SeesWindows({"Vespro Accounts", "Vespro"});
  story.Answers("Miss login name and password pair", "!", "OK");
  EXPECT_EQ(story.TextOf("TextLogin"), "ann") << "the boxes stay as they are";
  story.Type("TextPort", "");
  story.Click("CheckNoAuthLogin");
  story.Click("CmdAdd");
  story.Answers("Missing server name/port setting", "!", "OK");
  story.Type("TextServer", "  ");
  story.Type("TextPort", " ");
  story.Click("CmdAdd");
  EXPECT_EQ(desk.Servers(), std::vector<std::string>{""}) << "blanks are something";
  story.Click("CmdClose");
  story.SeesEnd();
  EXPECT_EQ(desk.Accounts(), "\"\",\"\",\"\",\"\"\r\n");
}

void OnlyCloseSaves(Story& story) {
  Desk desk(story);
  desk.Have(std::string(kAnn) + "smtp.example.com,25,,\r\n");
  const std::string before = desk.Accounts();
  const auto unsaved = {+[](Story& s) { s.CloseByFrame(); },
                        +[](Story& s) {
                          s.Press(Key::kEscape);
                          s.SeesWindows({"Vespro Accounts"});
                          s.driver().End();
                        }};
  for (const auto& leave : unsaved) {
    desk.Open();
    desk.Add("relay.example.net", "", "");
    leave(story);
    story.SeesEnd();
    EXPECT_EQ(desk.Accounts(), before);
  }
  const fs::file_time_type long_ago =
      fs::last_write_time(desk.folder / "Vespro.db") - std::chrono::hours(1);
  fs::last_write_time(desk.folder / "Vespro.db", long_ago);
  desk.Open();
  story.Select("ListServer", 1);
  story.Type("TextServer", "elsewhere.example.org");
  story.Click("CmdClose");
  story.SeesEnd();
  EXPECT_EQ(desk.Accounts(), before) << "nothing was changed";
  EXPECT_EQ(fs::last_write_time(desk.folder / "Vespro.db"), long_ago);
}

void AnotherProgramsChangesStay(Story& story) {
  Desk desk(story);
  desk.Have(std::string(kRelay) + kDamaged + kAnn);
  desk.Open();
  EXPECT_EQ(desk.Servers()[1], "(damaged line 2: a quote is missing or out of place)");
  story.Type("TextServer", "typed");
  story.Select("ListServer", 1);
  EXPECT_EQ(story.TextOf("TextServer"), "") << "there is nothing to copy";
  story.Select("ListServer", 0);
  story.Click("CmdRemove");
  desk.Add("new.example.org", "", "");
  desk.Have(std::string("other.example.org,25,,\r\n") + kRelay + kDamaged + kAnn);
  story.Click("CmdClose");
  story.SeesEnd();
  EXPECT_EQ(desk.Accounts(), std::string("\"other.example.org\",\"25\",\"\",\"\"\r\n") + kDamaged +
                                 kAnn + "\"new.example.org\",\"25\",\"\",\"\"\r\n");

  desk.Open();
  story.Select("ListServer", 1);
  story.Click("CmdRemove");
  fs::remove(desk.folder / "Vespro.db");
  fs::create_directories(desk.folder / "Vespro.db");
  story.Click("CmdClose");
  story.SeesEnd();

  desk.Open();
  EXPECT_EQ(desk.Servers().size(), 0U) << "what can't be read is an empty list";
  desk.Add("new.example.org", "", "");
  story.Click("CmdClose");
  story.SeesEnd();
  EXPECT_TRUE(fs::is_directory(desk.folder / "Vespro.db"));
}

}  // namespace

void TellMoreThanTheListHolds(Story& story) {
  Desk desk(story);
  std::string accounts;
  for (int i = 0; i < 32702; ++i) accounts += kRelay;
  desk.Have(accounts);
  desk.Open();
  story.Answers(kFull, "!", "OK");
  EXPECT_EQ(desk.Servers().size(), 32701U);
  desk.Add("smtp.example.org", "", "");
  story.Answers(kFull, "!", "OK");
  EXPECT_EQ(desk.Servers().size(), 32701U);
  story.Select("ListServer", 7);
  story.Click("CmdRemove");
  desk.Add("smtp.example.org", "ann", "secret");
  EXPECT_EQ(desk.Servers().back(), "smtp.example.org");
  story.Click("CmdClose");
  story.SeesEnd();
  EXPECT_EQ(desk.Accounts().size(), accounts.size() - sizeof kRelay + 1 +
                                        std::string("\"smtp.example.org\",\"25\",\"YW5u\","
                                                    "\"c2VjcmV0\"\r\n")
                                            .size())
      << "nor is the one lost that was not shown";
}

std::vector<FormStory> AccountStories() {
  return {
      {"AccountsAreAddedAndTakenAway", AccountsAreAddedAndTakenAway},
      {"ARowComesBackIntoTheBoxes", ARowComesBackIntoTheBoxes},
      {"WhatIsMissingIsTold", WhatIsMissingIsTold},
      {"OnlyCloseSaves", OnlyCloseSaves},
      {"AnotherProgramsChangesStay", AnotherProgramsChangesStay},
  };
}

}  // namespace vespro
