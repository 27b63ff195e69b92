#include "terminal/job_accounts.h"

#include "base/files.h"
#include "base/testing.h"
#include "settings/password.h"

namespace vespro {
namespace {

std::string Encoded(const char* text) { return ModPassword::EncodePassword(text); }

std::string Line(const std::string& server, const char* login, const char* password) {
  return "\"" + server + "\",\"587\",\"" + Encoded(login) + "\",\"" + Encoded(password) + "\"\r\n";
}

TEST(JobAccountsTest, APasswordThatWasCorrectedIsUsed) {
  TemporaryFolder folder;
  const std::string ann = "HOST=mail.a,587," + Encoded("ann") + ",", now = Encoded("now"),
                    was = Encoded("was");
  const struct {
    const char* why;
    std::string accounts, before, after;
  } rows[] = {
      {"corrected", Line("mail.a", "ann", "now"), ann + was + "\r\n", ann + now + "\r\n"},
      {"every share of it", Line("MAIL.A", "ann", "now"), ann + was + "\r\n" + ann + was,
       ann + now + "\r\n" + ann + now},
      {"none was stored", Line("mail.a", "ann", "now"), ann + "\n", ann + now + "\n"},
      {"another login", Line("mail.a", "bo", "now"), ann + was, ann + was},
      {"another server", Line("mail.b", "ann", "now"), ann + was, ann + was},
      {"another port", "mail.a,25," + Encoded("ann") + "," + now, ann + was, ann + was},
      {"damaged", "mail.a,587," + Encoded("ann") + ",n", ann + was, ann + was},
      {"removed", "", ann + was, ann + was},
      {"two, one of them as in the job",
       Line("mail.a", "ann", "was") + Line("mail.a", "ann", "now"), ann + was, ann + was},
      {"two, both new", Line("mail.a", "ann", "older") + Line("mail.a", "ann", "now"), ann + was,
       ann + now},
      {"no login", Line("mail.a", "", ""), "HOST=mail.a,587,,", "HOST=mail.a,587,,"},
      {"no account", Line("mail.a", "ann", "now"), "HOST=mail.a,587," + Encoded("ann"),
       "HOST=mail.a,587," + Encoded("ann")},
      {"all else stays", Line("mail.a", "ann", "now"),
       "\xEF\xBB\xBFMESSAGE FILE=HOST=\rHOST=x\n\r\n" + ann + was + "\rBCC MODE= 1 ",
       "\xEF\xBB\xBFMESSAGE FILE=HOST=\rHOST=x\n\r\n" + ann + now + "\rBCC MODE= 1 "},
  };
  for (const auto& row : rows) {
    const auto job = folder.Write("Vespro.cfg", row.before);
    EXPECT_TRUE(ModJobAccounts::RefreshPasswords(folder.Write("Vespro.db", row.accounts), job,
                                                 folder / "lock")
                    .ok())
        << row.why;
    EXPECT_EQ(folder.Read("Vespro.cfg"), row.after) << row.why;
  }
}

TEST(JobAccountsTest, NotWhileAnEngineIsAtWork) {
  TemporaryFolder folder;
  const std::string job = "HOST=mail.a,587," + Encoded("ann") + "," + Encoded("was") + "\r\n";
  folder.Write("Vespro.cfg", job);
  folder.Write("Vespro.db", Line("mail.a", "ann", "now"));
  const auto refresh = [&folder] {
    return ModJobAccounts::RefreshPasswords(folder / "Vespro.db", folder / "Vespro.cfg",
                                            folder / "lock");
  };
  {
    const Result<FileLock> engine = FileLock::Take(folder / "lock", FileLock::Wait::kNo);
    EXPECT_TRUE(refresh().ok());
    EXPECT_EQ(folder.Read("Vespro.cfg"), job);
  }
  EXPECT_TRUE(refresh().ok());
  EXPECT_NE(folder.Read("Vespro.cfg"), job);
}

}  // namespace
}  // namespace vespro
