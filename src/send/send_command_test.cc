#include "send/send_command.h"

#include "base/text.h"
#include "send/send_test_host.h"
#include "settings/account_file.h"

namespace vespro {
namespace {

class SendCommandTest : public SendTestHost {
 protected:
  SendCommandTest() {
    host.subject = "News";
    host.body = "Hello";
    folder.Write("Vespro.db",
                 "\"mail1\",\"25\",\"bG9naW4=\",\"cGFzcw==\"\r\n\"mail2\",\"26\",\"\",\"\"\r\n");
    Set(setting::kMailList, " C:\\Lists\\club.csv,CSV,2,HEADER ");
    Set(setting::kSenderEmail, "club@example.org");
  }

  void Send() {
    const Status status = ModSend::CmdSend_Click(context);
    EXPECT_TRUE(status.ok()) << status.text();
  }
  // Without the mark of a job whose folder the code page can't hold.
  std::string SessionFile(const char* name) {
    const std::string bytes = folder.Read("session/" + window.session_name + "/" + name);
    return bytes.starts_with("\xEF\xBB\xBF") ? bytes.substr(3) : bytes;
  }
  std::string SessionFolder() {
    return ModText::ReplaceAll(ModFiles::ToUtf8(folder.path()), "\\", "/") + "/session/" +
           window.session_name;
  }
  bool JobWasMade() const { return !window.session_name.empty(); }
};

TEST_F(SendCommandTest, TheWholeRoad) {
  Set(setting::kSenderName, "The Club");
  Set(setting::kReplyEmail, " ");
  Set(setting::kNumConnect, "5");
  Set(setting::kBccMode, "1");
  Set(setting::kCommonToField, "  All members");
  Set(setting::kReportPerPage, " 20 ");
  Send();
  EXPECT_EQ(SessionFile("Vespro.cfg"),
            "CONNECTION=5\r\n"
            "DISTRIBUTION FILE=C:/Lists/club.csv,CSV,2,HEADER\r\n"
            "BCC MODE=1\r\n"
            "MESSAGE FILE=" +
                SessionFolder() +
                "/Vespro.eml\r\n"
                "HOST=mail1,25,bG9naW4=,cGFzcw==\r\n"
                "HOST=mail2,26,,\r\n");
  const std::string message = SessionFile("Vespro.eml");
  const std::string head =
      "TO:   All members\r\nFROM: \"The Club\"<club@example.org>\r\nREPLY-TO:  \r\n";
  EXPECT_EQ(message.substr(0, head.size()), head);
  EXPECT_NE(message.find("\r\nSubject: News\r\n"), std::string::npos) << message;
  const std::vector<std::string> expected = {
      "SentOnBehalfOfName=\"The Club\"club@example.org",
      "To=C:/Lists/club.csv",
      "Close",
      "Move",
      "Start /opt/vespro/Vespro.exe -s \"" + SessionFolder() + "/Vespro.cfg\" -p \"20\"",
  };
  EXPECT_EQ(host.events, expected);
  EXPECT_TRUE(add_in.windows.empty());
}

TEST_F(SendCommandTest, DefaultsLeaveLinesOut) {
  Send();
  EXPECT_EQ(SessionFile("Vespro.cfg").substr(0, 18), "DISTRIBUTION FILE=");
  EXPECT_EQ(SessionFile("Vespro.eml").substr(0, 30), "TO: \r\nFROM: club@example.org\r\n");
  EXPECT_TRUE(
      Happened("Start /opt/vespro/Vespro.exe -s \"" + SessionFolder() + "/Vespro.cfg\" -p \"\""));
}

TEST_F(SendCommandTest, OnlyTheWindowInFrontSends) {
  window.active = false;
  Send();
  EXPECT_TRUE(host.events.empty());
  EXPECT_FALSE(JobWasMade());
}

TEST_F(SendCommandTest, WithoutAListTheDialogComes) {
  Set(setting::kMailList, "   ");
  Send();
  EXPECT_EQ(host.events, std::vector<std::string>{"DlgSelectFile"});
  EXPECT_FALSE(JobWasMade());
}

TEST_F(SendCommandTest, WithoutAnAccountTheDialogComes) {
  for (const char* accounts : {"", "missing"}) {
    host.events.clear();
    folder.Write("Vespro.db", "");
    if (*accounts != '\0') {
      ASSERT_TRUE(ModFiles::Remove(folder / "Vespro.db").ok());
    }
    Send();
    EXPECT_EQ(host.events, std::vector<std::string>{"frmMailSetting"});
    EXPECT_FALSE(JobWasMade());
  }
}

TEST_F(SendCommandTest, TheSenderIsAskedForOnce) {
  Set(setting::kSenderEmail, "");
  host.inputs = {"  ", " me@example.org "};
  Send();
  ASSERT_EQ(host.events.size(), 2U);
  EXPECT_EQ(host.events[0],
            "InputBox Vespro - Sender's Email Address Required: Enter your email address given by "
            "your ISP.\r\nThis setting will be saved in Sender Info section of Vespro Options.");
  EXPECT_EQ(host.events[1],
            "MsgBox[!] Vespro: Sender's email address is required.\r\nThis setting is configurable "
            "from Sender Info section within Vespro Options menu");
  EXPECT_FALSE(ModFiles::IsFile(folder / ("session/" + window.session_name + "/Vespro.cfg")));

  Send();
  EXPECT_EQ(settings.Read(setting::kSenderEmail), "me@example.org");
  EXPECT_EQ(SessionFile("Vespro.eml").substr(0, 28), "TO: \r\nFROM: me@example.org\r\n");
  EXPECT_EQ(settings.Read(setting::kMailList), " C:\\Lists\\club.csv,CSV,2,HEADER ");
}

TEST_F(SendCommandTest, LostFormattingIsAskedAboutInOldMailClientsOnly) {
  host.editor = EditorType::kRichText;
  Send();
  EXPECT_EQ(host.events[0].substr(0, 6), "SentOn");
  host.events.clear();
  host.version = "9.0.0.3821";
  host.answers = {MessageAnswer::kNo};
  Send();
  EXPECT_TRUE(
      Happened("MsgBox[!] Vespro: Warning: Text formatting will be lost.\r\nDo you want to "
               "continue?"));
  EXPECT_FALSE(Happened("Close"));
  EXPECT_FALSE(SessionFile("Vespro.cfg").empty()) << "the job stays, unsent";
}

TEST_F(SendCommandTest, AfterTheJobIsWrittenEveryStepIsTried) {
  host.fails = {{"SetTo", true}, {"Close", true}, {"Move", true}};
  Send();
  EXPECT_EQ(host.events.back().substr(0, 6), "Start ");
  host.fails["Start"] = true;
  add_in.windows[7] = Unowned(window);
  Send();
  EXPECT_TRUE(add_in.windows.empty());
}

TEST_F(SendCommandTest, WithoutABodyThereIsNoJob) {
  add_in.mail_client = nullptr;
  Send();
  EXPECT_EQ(SessionFile("Vespro.eml"), "TO: \r\nFROM: club@example.org\r\n");
  EXPECT_FALSE(ModFiles::IsFile(folder / ("session/" + window.session_name + "/Vespro.cfg")));
}

TEST_F(SendCommandTest, ASettingsLineEndMakesNoHeader) {
  Set(setting::kSenderName, "Club\r\nBCC: everyone@example.org");
  Send();
  const std::string head =
      "TO: \r\nFROM: \"Club  BCC: everyone@example.org\"<club@example.org>\r\nMIME-Version:";
  EXPECT_EQ(SessionFile("Vespro.eml").substr(0, head.size()), head);
}

TEST_F(SendCommandTest, ASessionFolderThatCannotBeMadeIsAFailure) {
  folder.Write("session", "a file");
  const Status status = ModSend::CmdSend_Click(context);
  EXPECT_EQ(status.code(), Code::kCannotWrite);
  EXPECT_FALSE(Happened("Close"));
}

}  // namespace
}  // namespace vespro
