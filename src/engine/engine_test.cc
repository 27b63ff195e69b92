#include "engine/engine.h"

#include <gtest/gtest.h>

#include <map>
#include <nlohmann/json.hpp>

#include "base/text.h"
#include "engine/engine_testing.h"
#include "engine/go_on_file.h"
#include "engine/job.h"
#include "engine/job_status.h"
#include "engine/journal.h"
#include "engine/list_source.h"
#include "engine/options.h"
#include "engine/preview.h"
#include "engine/progress.h"
#include "engine/session_lock.h"
#include "settings/password.h"

namespace vespro::engine {
namespace {

// Local times differ from machine to machine.
std::string WithoutTimes(std::string text) {
  for (const std::string key : {"Started: ", "Ended: "}) {
    const std::size_t at = text.find(key);
    if (at == std::string::npos) continue;
    text.erase(at, text.find("\r\n", at) + 2 - at);
  }
  return text;
}

TEST_F(EngineTest, AJobCanBeLookedAtBeforeItIsStarted) {
  folder_.Write("gone.txt", "d@x.org\r\n");
  options_.suppress = {folder_ / "gone.txt"};
  options_.job_file = folder_ / "Vespro.cfg";
  FakeDelivery none;
  EngineEnvironment world{clock_, randomness_, out_, err_, false, std::ref(none)};
  const Result<JobOutlook> outlook = LookAtJob(options_, world);
  ASSERT_TRUE(outlook.ok()) << outlook.status().text();
  EXPECT_EQ(outlook->subject, "Hi, #NAME <now>");
  EXPECT_EQ(outlook->from, "The Club <club@x.org>");
  EXPECT_EQ(outlook->servers, (std::vector<std::string>{"mail.x.org:25"}));
  EXPECT_EQ(outlook->people, 3u) << "a, b and c";
  EXPECT_EQ(outlook->unusable, 1u) << "nobody";
  EXPECT_EQ(outlook->left_out, 2u) << "a duplicate, a suppressed one";
  EXPECT_GT(outlook->message_bytes, 100u);
  EXPECT_FALSE(ModFiles::IsFile(folder_ / "journal"));
  options_.suppress = {folder_ / "missing.txt"};
  EXPECT_EQ(LookAtJob(options_, world).status().code(), Code::kNotFound);
}

TEST_F(EngineTest, AnInterruptedJobSaysHowManyAreLeftAndHowToGoOn) {
  options_.job_file = folder_ / "Vespro.cfg";
  const auto status = [this] {
    Result<JobStatus> read = ReadJobStatus(options_, randomness_);
    EXPECT_TRUE(read.ok()) << read.status().text();
    return read.ok() ? read.value() : JobStatus();
  };
  using Phase = JobStatus::Phase;
  JobStatus now = status();
  EXPECT_EQ(now.phase, Phase::kNotBegun);
  EXPECT_EQ(now.left, 4u);
  EXPECT_EQ(now.subject, "Hi, #NAME <now>");

  FakeDelivery delivery;
  delivery.stop_after = 1;
  EXPECT_EQ(Run(delivery), kExitInterrupted);
  const std::string command = "; go on with: " + RunCommand(options_.job_file);
  EXPECT_EQ(err_.text, "vespro-engine: interrupted, 3 left" + command + "\n");
  EXPECT_NE(command.find(" run "), std::string::npos) << command;
  now = status();
  EXPECT_EQ(now.phase, Phase::kStopped);
  EXPECT_EQ(now.left, 3u);
  EXPECT_EQ(now.Of(State::kSent), 1u);
  {
    const Result<FileLock> engine =
        FileLock::Take(folder_ / kJournalLock, FileLock::Wait::kUntilFree);
    EXPECT_EQ(status().phase, Phase::kRunning);
    EXPECT_EQ(Run(delivery), kExitRunAgain);
    EXPECT_NE(err_.text.find(" status "), std::string::npos) << err_.text;
  }
  delivery.stop_after = 2;
  delivery.stop_on_the_wire = true;  // a kill leaves one in doubt
  EXPECT_EQ(Run(delivery), kExitInterrupted);
  now = status();
  EXPECT_EQ(now.in_doubt, 1u);
  EXPECT_EQ(now.left, 0u);
  EXPECT_EQ(now.phase, Phase::kStopped) << "the next run settles the doubt";
  FakeDelivery rest;
  EXPECT_EQ(Run(rest), kExitSomeNotSent);
  EXPECT_NE(out_.text.find("run "), std::string::npos);
  EXPECT_NE(out_.text.find(" -- --resend-unknown"), std::string::npos) << out_.text;
  EXPECT_EQ(status().phase, Phase::kFinished);

  folder_.Write("list.csv", "Mail,Name\r\nz@x.org,Zoe\r\n");
  EXPECT_EQ(status().left, 1u) << "whoever is new on the list";
  EXPECT_TRUE(status().list_changed);
  ModFiles::Remove(folder_ / "list.csv").Ignore();  // seen by the next line
  EXPECT_EQ(status().left, std::nullopt);
}

// Whatever ends the job, from its first message on somebody without a command line finds it, and
// the way on.
TEST_F(EngineTest, UntilItIsFinishedAJobSaysHowToGoOn) {
  options_.job_file = folder_ / "Vespro.cfg";
  const auto check = [this](const char* when, bool finished) {
    SCOPED_TRACE(when);
    EXPECT_EQ(ModGoOnFile::IsThere(folder_.path()), !finished);
    const std::string html = folder_.Read("report.html"), text = folder_.Read("report.txt");
    const std::size_t told = html.find("This mailing is not finished.");
    EXPECT_EQ(told == std::string::npos, finished);
    EXPECT_TRUE(finished || told < html.find("class=\"bar\"")) << "first of all";
    EXPECT_EQ(html.find("<title>Not finished: ") == std::string::npos, finished);
    EXPECT_EQ(text.find("\r\nNot finished: To go on with it") == std::string::npos, finished);
  };
  FakeDelivery delivery;
  delivery.stop_after = 1;
  EngineEnvironment world{clock_, randomness_, out_, err_, false, {}};
  world.deliver = [&](auto&&... rest) {
    check("before the first message", false);
    DeliveryEnd end = delivery(rest...);
    end.accounts = delivery.tallies;
    return end;
  };
  EXPECT_EQ(RunEngine(options_, world), kExitInterrupted);
  check("stopped", false);
  delivery.stop_after = 100;
  EXPECT_EQ(RunEngine(options_, world), kExitSomeNotSent);
  check("finished", true);

  // The end is in the journal, but the power went before the reports were written.
  ASSERT_TRUE(ModGoOnFile::Write(folder_.path()).ok());
  folder_.Write("report.html", "as it was before");
  EXPECT_EQ(RunEngine(options_, world), kExitSomeNotSent);
  check("finished, and told so now", true);

  options_.fresh = true;
  delivery.stop_after = 0;
  delivery.tallies = {{}};
  delivery.tallies[0].remedy = AccountTally::Remedy::kAnotherJob;
  delivery.stop_reason = DeliveryEnd::Reason::kNoLogin;
  EXPECT_EQ(RunEngine(options_, world), kExitLogin);
  EXPECT_NE(folder_.Read("report.html").find("The result says why"), std::string::npos);
  EXPECT_FALSE(ModGoOnFile::IsThere(folder_.path())) << "this job would only stop again";
}

TEST_F(EngineTest, AWholeJobAndItsReports) {
  FakeDelivery delivery;
  delivery.verdicts = {{"b@x.org", State::kRefused}, {"c@x.org", State::kUnknown}};
  EXPECT_EQ(Run(delivery), kExitSomeNotSent);
  EXPECT_EQ(delivery.sent, (Addresses{"a@x.org", "b@x.org", "c@x.org", "d@x.org"}));
  EXPECT_EQ(err_.text, "");
  EXPECT_TRUE(out_.text.starts_with("2 sent, 1 refused, 2 skipped, 1 unknown; report: "))
      << out_.text;

  EXPECT_EQ(WithoutTimes(folder_.Read("report.txt")),
            "Subject: Hi, #NAME <now>\r\nFrom: The Club <club@x.org>\r\nList: " + Path("list.csv") +
                "\r\nResult: finished\r\nsent: 2\r\nrefused: 1\r\nfailed: 0\r\nskipped: 2\r\n"
                "unknown: 1\r\nAccount: mail.x.org:25 sent 2 refused 1 unknown 1\r\n\r\n"
                "a@x.org\tsent\t1\tmail.x.org:25\t250 ok\r\n"
                "b@x.org\trefused\t1\tmail.x.org:25\t550 \"no\", <go> away\r\n"
                "nobody\tskipped\t0\t\tline 4: not an address: no \"@\"\r\n"
                "a@x.org\tskipped\t0\t\tline 5: duplicate of an earlier line\r\n"
                "c@x.org\tunknown\t1\tmail.x.org:25\t550 \"no\", <go> away\r\n"
                "d@x.org\tsent\t1\tmail.x.org:25\t250 ok\r\n");
  // Neither the duplicate nor the unknown: sending to this file must mail nobody twice.
  EXPECT_EQ(folder_.Read("failed.csv"),
            "state,reason,Mail,Name\r\n"
            "refused,550 no; <go> away,b@x.org,\"Bob, Jr\"\r\n"
            "skipped,line 4: not an address: no (at),nobody,Nick\r\n");

  const std::string html = folder_.Read("report.html");
  const std::string first = html.substr(0, html.find('\n'));
  const std::size_t title = first.find("<title>Hi; #NAME &lt;now&gt;</title>");
  ASSERT_NE(title, std::string::npos) << first;
  EXPECT_EQ(first.substr(0, title).find(','), std::string::npos) << first;
  std::vector<std::size_t> order;  // problems, then skipped rows, then the others
  for (const char* cell : {">b@x.org<", ">c@x.org<", ">nobody<", ">d@x.org<"}) {
    order.push_back(html.find(cell));
    ASSERT_NE(order.back(), std::string::npos) << cell;
  }
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
  EXPECT_EQ(html.find("<go>"), std::string::npos);
  EXPECT_EQ(html.find("<script"), std::string::npos);
  EXPECT_NE(html.find("name=\"viewport\""), std::string::npos);
}

// Whoever takes it for the next list without looking mails those who failed, and nobody else, and
// the merge words find their fields.
TEST_F(EngineTest, FailedCsvIsAList) {
  const struct {
    const char* name;
    std::string list, mapping, head, merged;
  } rows[] = {
      {"header", "\xEF\xBB\xBFName,Mail\nbad,nobody\nAnn,a@x.org\nBob,B@x.org\nCid,c@x.org\n",
       "list.csv,CSV,1,HEADER", "\xEF\xBB\xBFstate,reason,Name,Mail\r\n", "NAME"},
      {"no header", "Zoe,z@x.org\nbad,nobody\nAnn,a@x.org\nBob,B@x.org\n", "list.csv,CSV,1,VALUE",
       "state,reason,Zoe,z(at)x.org\r\n", "ZOE"},
      {"a person for a header, whom nobody is to mail",
       "Zoe,z@x.org\nbad,nobody\nAnn,a@x.org\nBob,B@x.org\n", "list.csv,CSV,1,HEADER",
       "state,reason,Zoe,z(at)x.org\r\n", "ZOE"},
      {"plain", "z@x.org\nno,body\na@x.org\nB@x.org\n", "list.txt,TEXT", "state,reason,address\r\n",
       ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    folder_.Write(row.mapping.substr(0, row.mapping.find(',')), row.list);
    folder_.Write("Vespro.cfg", "DISTRIBUTION FILE=" + row.mapping +
                                    "\r\nMESSAGE FILE=message.eml\r\nHOST=mail.x.org,25,,\r\n");
    options_.fresh = true;
    FakeDelivery delivery;
    delivery.verdicts = {{"a@x.org", State::kRefused}, {"b@x.org", State::kFailed}};
    delivery.refusal = "550 <a@x.org>, \"who\"?\tAsk postmaster@x.org";
    EXPECT_EQ(Run(delivery), kExitSomeNotSent);
    const std::string failed = folder_.Read("failed.csv");
    EXPECT_TRUE(failed.starts_with(row.head)) << failed;

    const std::string path = Path("failed.csv");
    Result<ModDistribution::FirstRows> first = ModDistribution::ReadFirstRows(path);
    ASSERT_TRUE(first.ok());
    Result<ModDistribution::Mapping> mapping =
        ModDistribution::ProposeMapping(first->first, first->second);
    ASSERT_TRUE(mapping.ok());
    const Distribution list{path, ListKind::kCsv, mapping->column, mapping->header};
    Result<ListSource> source = ListSource::Open(list, {}, randomness_);
    ASSERT_TRUE(source.ok());
    Result<std::vector<Recipient>> people = source->Next(10);
    ASSERT_TRUE(people.ok() && people->size() == 2u) << failed;
    EXPECT_EQ(people->front().address, "a@x.org") << failed;
    EXPECT_EQ(people->back().address, "b@x.org") << failed;
    EXPECT_EQ(source->skipped(), 1u) << "the row to be corrected";
    if (row.merged.empty()) continue;
    Result<std::string> mail = RenderRow(
        {folder_.Write("hi.eml", "TO: \r\nFROM: \"C\"<c@x.org>\r\nSubject: Hi\r\n\r\nDear #" +
                                     row.merged + "!\r\n"),
         0,
         list,
         1,
         {}},
        clock_, randomness_);
    ASSERT_TRUE(mail.ok()) << mail.status().text();
    EXPECT_NE(mail->find("Dear=20Ann"), std::string::npos) << mail.value();
  }
}

TEST_F(EngineTest, AFinishedJobIsNotSentAgainAndStaysAsItIs) {
  FakeDelivery delivery;
  delivery.verdicts = {{"b@x.org", State::kFailed}};
  EXPECT_EQ(Run(delivery), kExitSomeNotSent);
  const std::string journal = folder_.Read("journal"), report = folder_.Read("report.txt"),
                    page = folder_.Read("report.html");
  EngineEnvironment later{later_, randomness_, out_, err_, false, std::ref(delivery)};
  delivery.sent.clear();
  for (const bool purged : {false, true}) {
    SCOPED_TRACE(purged);
    if (purged) {
      ASSERT_TRUE(ModFiles::Remove(folder_ / "report.html").ok());
    }
    out_.text.clear();
    EXPECT_EQ(RunEngine(options_, later), kExitSomeNotSent);
    EXPECT_EQ(delivery.sent, Addresses{});
    EXPECT_TRUE(out_.text.starts_with("this job was finished before; nobody is left\n3 sent"))
        << out_.text;
    EXPECT_NE(out_.text.find(SendAgainCommand(options_.job_file)), std::string::npos) << out_.text;
    EXPECT_EQ(folder_.Read("journal"), journal);
    EXPECT_EQ(folder_.Read("report.txt"), report);
    EXPECT_EQ(folder_.Read("report.html"), page) << "with the time that it ended";
  }
  FakeDelivery again;
  options_.fresh = true;
  EXPECT_EQ(Run(again), kExitSomeNotSent);
  EXPECT_EQ(again.sent.size(), 4u);
  EXPECT_TRUE(folder_.Read("journal.old").starts_with(journal));
}

TEST_F(EngineTest, ExitsZeroWhenOnlyDuplicatesWereSkipped) {
  folder_.Write("list.csv", "Mail,Name\na@x.org,A\na@x.org,B\n\n");
  FakeDelivery delivery;
  EXPECT_EQ(Run(delivery), kExitAllSent);
  EXPECT_FALSE(ModFiles::IsFile(folder_ / "failed.csv"));
}

// Stopped after every possible message, in and between messages: taken together the runs send to
// everybody, and to nobody twice.
TEST_F(EngineTest, StoppedAnywhereAndStartedAgain) {
  for (std::size_t stop = 0; stop <= 4; ++stop) {
    for (bool on_the_wire : {false, true}) {
      SCOPED_TRACE(std::to_string(stop) + (on_the_wire ? " on the wire" : ""));
      ModFiles::Remove(folder_ / "journal").Ignore();  // the last round's
      FakeDelivery first;
      first.stop_after = stop;
      first.stop_on_the_wire = on_the_wire;
      const bool stopped = stop < 4;
      EXPECT_EQ(Run(first), stopped ? kExitInterrupted : kExitSomeNotSent);
      FakeDelivery second;
      EXPECT_EQ(Run(second), kExitSomeNotSent);
      Addresses all = first.sent;
      all.insert(all.end(), second.sent.begin(), second.sent.end());
      EXPECT_EQ(all, (Addresses{"a@x.org", "b@x.org", "c@x.org", "d@x.org"}));
      const bool one_unknown = stopped && on_the_wire;
      EXPECT_EQ(out_.text.find("1 unknown") != std::string::npos, one_unknown) << out_.text;
      if (one_unknown) {
        EXPECT_NE(folder_.Read("report.txt").find("\tunknown\t1\tmail.x.org:25\t"),
                  std::string::npos);
      }

      // Suppressed or not, the first message may have arrived.
      options_.resend_unknown = true;
      options_.suppress = {folder_.Write("stop.txt", first.sent.empty() ? "" : first.sent.back())};
      FakeDelivery suppressed;
      EXPECT_EQ(Run(suppressed), kExitSomeNotSent);
      EXPECT_EQ(suppressed.sent, Addresses{});
      EXPECT_EQ(out_.text.find("1 unknown") != std::string::npos, one_unknown) << out_.text;

      options_.suppress.clear();
      FakeDelivery third;
      EXPECT_EQ(Run(third), kExitSomeNotSent);
      EXPECT_EQ(third.sent.size(), one_unknown ? 1u : 0u);
      EXPECT_NE(out_.text.find("4 sent, 2 skipped;"), std::string::npos) << out_.text;
      options_.resend_unknown = false;
    }
  }
}

// One row and one count for each, whatever was said of him first, and no second message.
TEST_F(EngineTest, ACorrectedVerdictCountsOnce) {
  for (const bool json : {false, true}) {
    SCOPED_TRACE(json);
    ModFiles::Remove(folder_ / "journal").Ignore();  // the last round's
    options_.json = json;
    FakeDelivery first;
    first.verdicts = {{"b@x.org", State::kRefused}};
    first.corrected = {"a@x.org", "b@x.org"};
    first.stop_after = 3;
    EXPECT_EQ(Run(first), kExitInterrupted);
    const auto counts = [this] {
      const std::string report = folder_.Read("report.txt");
      const std::size_t at = report.find("sent: ");
      return report.substr(at, report.find("\r\n\r\n") - at);
    };
    EXPECT_EQ(counts(),
              "sent: 1\r\nrefused: 0\r\nfailed: 0\r\nskipped: 2\r\nunknown: 2\r\n"
              "not reached: 1\r\nAccount: mail.x.org:25 sent 1 unknown 2");

    FakeDelivery second;
    EXPECT_EQ(Run(second), kExitSomeNotSent);
    EXPECT_EQ(second.sent, Addresses{"d@x.org"}) << "the others may have it";
    EXPECT_EQ(counts(),
              "sent: 2\r\nrefused: 0\r\nfailed: 0\r\nskipped: 2\r\nunknown: 2\r\n"
              "Account: mail.x.org:25 sent 2 unknown 2");
    EXPECT_EQ(folder_.Read("report.txt").find("a@x.org\tsent"), std::string::npos);
    EXPECT_EQ(folder_.Read("failed.csv").find("b@x.org"), std::string::npos)
        << "whoever sends to it would mail him twice";
  }
}

// One bit of a line, or a line's end, or whole lines, of a job that was cut off: taken together the
// runs send to nobody twice, and whoever got nothing is sent to or called unknown, aloud.
TEST_F(EngineTest, ADamagedJournalMailsNobodyTwice) {
  FakeDelivery first;
  first.stop_after = 2;
  first.stop_on_the_wire = true;
  EXPECT_EQ(Run(first), kExitInterrupted);
  const std::string journal = folder_.Read("journal");
  std::vector<std::string> damaged_journals;
  for (std::size_t at = 0; at < journal.size(); at += 3) {
    damaged_journals.push_back(journal);
    damaged_journals.back()[at] = static_cast<char>(journal[at] ^ 4);
  }
  // Not the last lines: nothing would show that.
  const std::size_t last = journal.rfind('\n', journal.size() - 2);
  for (std::size_t from = journal.find("\n3\t"); from < last; from = journal.find('\n', from + 1)) {
    for (std::size_t to = journal.find('\n', from + 1); to <= last;
         to = journal.find('\n', to + 1)) {
      damaged_journals.push_back(journal.substr(0, from) + journal.substr(to));
    }
  }
  std::size_t runs_with_lost = 0;
  for (const std::string& damaged : damaged_journals) {
    SCOPED_TRACE(damaged);
    folder_.Write("journal", damaged);
    FakeDelivery second;
    EXPECT_EQ(Run(second), kExitSomeNotSent);
    Addresses all = first.sent;
    all.insert(all.end(), second.sent.begin(), second.sent.end());
    std::sort(all.begin(), all.end());
    EXPECT_EQ(std::adjacent_find(all.begin(), all.end()), all.end());
    EXPECT_NE(err_.text.find("damaged or missing line"), std::string::npos) << err_.text;
    const std::string report = folder_.Read("report.txt");
    for (const char* address : {"a@x.org", "b@x.org", "c@x.org", "d@x.org"}) {
      const bool unknown = report.find(std::string(address) + "\tunknown") != std::string::npos;
      EXPECT_TRUE(unknown || std::binary_search(all.begin(), all.end(), address)) << address;
    }
    if (second.sent == Addresses{"d@x.org"}) continue;
    ++runs_with_lost;
    EXPECT_NE(err_.text.find(" -- --resend-unknown"), std::string::npos) << err_.text;
    EXPECT_NE(out_.text.find(" unknown"), std::string::npos) << out_.text;
  }
  EXPECT_GT(runs_with_lost, 0u);
}

// Others carried the job, so that nobody would look for it.
TEST_F(EngineTest, AnAccountThatDidNotWorkIsNamed) {
  folder_.Write("list.csv", "Mail,Name\na@x.org,A\n");
  FakeDelivery delivery;
  delivery.tallies.resize(3);
  delivery.tallies[0].server = "good.x.org:25";
  delivery.tallies[1].server = "old.x.org:587";
  delivery.tallies[1].login_refused = "535 5.7.8 who are you";
  delivery.tallies[2].server = "far.x.org:25";
  delivery.tallies[2].disabled = "connection refused";
  options_.json = true;
  EXPECT_EQ(Run(delivery), kExitSomeNotSent);
  const std::string json = out_.text.substr(out_.text.rfind("{\"event\""));
  const nlohmann::json end = nlohmann::json::parse(json);
  ASSERT_EQ(end["accounts_not_working"].size(), 2u);
  for (const std::string text :
       {"old.x.org:587", "535 5.7.8 who are you", "far.x.org:25", "connection refused"}) {
    for (const std::string& told :
         {json, err_.text, folder_.Read("report.txt"), folder_.Read("report.html")}) {
      EXPECT_NE(told.find(text), std::string::npos) << text << " in " << told;
    }
  }
  EXPECT_EQ(err_.text.find("good.x.org"), std::string::npos);
}

// With the rows that can't be sent to, wherever they are, so that the counts add up to the list.
TEST_F(EngineTest, AStoppedRunNamesWhomItDidNotReach) {
  for (const bool json : {false, true}) {
    SCOPED_TRACE(json);
    options_.json = json;
    options_.fresh = true;
    FakeDelivery delivery;
    delivery.stop_after = 1;
    EXPECT_EQ(Run(delivery), kExitInterrupted);
    const std::string report = folder_.Read("report.txt");
    EXPECT_NE(report.find("sent: 1\r\nrefused: 0\r\nfailed: 0\r\nskipped: 2\r\nunknown: 0\r\n"
                          "not reached: 3\r\n"),
              std::string::npos)
        << report;
    for (const char* name : {"b", "c", "d"}) {
      EXPECT_NE(report.find(std::string(name) + "@x.org\tnot reached\t0\t\t\r\n"),
                std::string::npos)
          << report;
    }
    EXPECT_EQ(folder_.Read("failed.csv").find("b@x.org"), std::string::npos);
    if (!json) {
      EXPECT_TRUE(out_.text.starts_with("1 sent, 2 skipped, 3 not reached; report: ")) << out_.text;
      continue;
    }
    EXPECT_NE(out_.text.find("{\"event\":\"not_reached\",\"line\":3,\"address\":\"b@x.org\","),
              std::string::npos)
        << out_.text;
    EXPECT_NE(out_.text.find("\"not_reached\":3"), std::string::npos) << out_.text;
  }
}

TEST_F(EngineTest, MailInClearIsNamed) {
  FakeDelivery delivery;
  delivery.tallies.resize(2);
  delivery.tallies[0].server = "plain.x.org:25";
  delivery.tallies[0].in_clear = true;
  delivery.tallies[1].server = "good.x.org:25";
  EXPECT_EQ(Run(delivery), kExitSomeNotSent);
  const std::string told = "plain.x.org:25: mail went in clear, without TLS";
  EXPECT_NE(out_.text.find(told + "\n"), std::string::npos) << out_.text;
  EXPECT_NE(folder_.Read("report.txt").find("In clear: " + told), std::string::npos);
  EXPECT_NE(folder_.Read("report.html").find("mail went in clear"), std::string::npos);
  options_.json = options_.fresh = true;
  Run(delivery);
  options_.fresh = false;
  folder_.Write("list.csv", folder_.Read("list.csv") + "e@x.org,Eve\r\n");
  FakeDelivery next;  // mails over TLS only
  Run(next);
  EXPECT_EQ(next.sent, Addresses{"e@x.org"});
  EXPECT_NE(out_.text.find("\"in_clear\":[\"plain.x.org:25\"]"), std::string::npos) << out_.text;
}

TEST_F(EngineTest, AChangedMessageIsTold) {
  FakeDelivery delivery;
  delivery.stop_after = 1;
  EXPECT_EQ(Run(delivery), kExitInterrupted);
  const std::string message = folder_.Read("message.eml");
  for (const bool changed : {false, true, false}) {
    if (changed) folder_.Write("message.eml", message + "Bye\r\n");
    FakeDelivery next;
    next.stop_after = 1;
    Run(next);
    EXPECT_EQ(err_.text.find("the message has changed") != std::string::npos, changed) << err_.text;
  }
}

TEST_F(EngineTest, AListThatIsChangedWhileItIsSentToIsNotFinished) {
  const std::string list = folder_.Read("list.csv");
  // In its place: some systems don't replace a file that is read.
  const auto change = [&](File::Mode mode, std::string_view bytes) {
    Result<File> file = File::Open(folder_ / "list.csv", mode);
    EXPECT_TRUE(file.ok() && file->Write(bytes).ok());
  };
  FakeDelivery delivery;
  delivery.at_end = [&] { change(File::Mode::kAppend, "late@x.org,Late\r\n"); };
  EXPECT_EQ(Run(delivery), kExitSomeNotSent) << "what is appended is for another job";
  options_.fresh = true;
  delivery.at_end = [&] { change(File::Mode::kReplace, "Mail,Name\r\nz@x.org,New\r\n" + list); };
  EXPECT_EQ(Run(delivery), kExitRunAgain);
  EXPECT_NE(err_.text.find("list was changed"), std::string::npos) << err_.text;
  EXPECT_NE(folder_.Read("report.txt").find("list was changed"), std::string::npos);
  EXPECT_NE(err_.text.find(", 1 left; go on with: "), std::string::npos) << err_.text;
  options_.fresh = false;
  FakeDelivery rest;
  EXPECT_EQ(Run(rest), kExitSomeNotSent);
  EXPECT_EQ(rest.sent, Addresses{"z@x.org"});
}

TEST_F(EngineTest, TwoEnginesOnOneJob) {
  Result<FileLock> other = FileLock::Take(folder_ / kJournalLock, FileLock::Wait::kNo);
  ASSERT_TRUE(other.ok());
  FakeDelivery delivery;
  EXPECT_EQ(Run(delivery), kExitRunAgain);
  EXPECT_NE(err_.text.find("another engine"), std::string::npos) << err_.text;
  EXPECT_EQ(delivery.sent, Addresses{});
}

// Whatever is removed or renamed while an engine works: no other one sends a second copy, then or
// later, and nobody is left out. Some systems refuse to remove or rename what is locked.
TEST_F(EngineTest, NoSecondEngineWhateverBecomesOfItsFiles) {
  namespace fs = std::filesystem;
  const struct {
    std::vector<const char*> removed;
    const char* renamed;
    bool fresh;
  } kCases[] = {{{"journal.lock"}, nullptr, false},
                {{"journal.lock"}, nullptr, true},
                {{"journal.lock"}, "journal", false},
                {{"journal.lock"}, "journal", true},
                {{}, "journal", false}};
  for (const auto& row : kCases) {
    SCOPED_TRACE(std::string(row.renamed != nullptr ? row.renamed : "nothing") + " is renamed, " +
                 std::to_string(row.removed.size()) + " removed" + (row.fresh ? ", --fresh" : ""));
    std::error_code error;
    for (const char* name : {"journal", "journal.old", "journal.lock"}) {
      fs::remove(folder_ / name, error);
    }
    FakeDelivery first, second;
    first.verdicts = {{"b@x.org", State::kUnknown}};
    first.at_end = [&] {
      for (const char* name : row.removed) fs::remove(folder_ / name, error);
      if (row.renamed != nullptr) {
        fs::rename(folder_ / row.renamed, folder_ / (std::string(row.renamed) + ".away"), error);
      }
      const Result<JobStatus> status = ReadJobStatus(options_, randomness_);
      ASSERT_TRUE(status.ok()) << status.status().text();
      EXPECT_EQ(status->phase, JobStatus::Phase::kRunning);
      options_.fresh = row.fresh;
      EngineEnvironment world{clock_, randomness_, out_, err_, false, std::ref(second)};
      EXPECT_EQ(RunEngine(options_, world), kExitRunAgain);
      options_.fresh = false;
    };
    const int exit = Run(first);
    EXPECT_EQ(first.sent.size(), 4u);
    EXPECT_EQ(second.sent, Addresses{});
    const bool moved = ModFiles::IsFile(folder_ / "journal.away");
    EXPECT_EQ(exit, moved ? kExitRunAgain : kExitSomeNotSent) << err_.text;
    if (moved) {
      EXPECT_NE(err_.text.find("put it back"), std::string::npos) << err_.text;
      EXPECT_EQ(Run(second), kExitBadInput) << "until it is put back";
      fs::rename(folder_ / "journal.away", folder_ / "journal");
    }
    EXPECT_EQ(Run(second), kExitSomeNotSent) << err_.text;
    EXPECT_EQ(second.sent, Addresses{});
    EXPECT_TRUE(out_.text.find("3 sent, 2 skipped, 1 unknown") != std::string::npos) << out_.text;
  }
}

TEST_F(EngineTest, AMissingVerdictIsAnInternalError) {
  FakeDelivery delivery;
  delivery.forget_one = true;
  EXPECT_EQ(Run(delivery), kExitInternal);
  EXPECT_NE(folder_.Read("report.txt").find("do not add up"), std::string::npos);
}

TEST_F(EngineTest, ADeliveryThatFindsAFaultOfOursSaysSo) {
  FakeDelivery delivery;
  delivery.stop_after = 1;
  delivery.stop_reason = DeliveryEnd::Reason::kCannotRecord;
  delivery.stop_status = Status(Code::kInternal, "internal error: a second outcome for line 2");
  EXPECT_EQ(Run(delivery), kExitInternal) << "not one that running again may mend";
  EXPECT_NE(err_.text.find("a second outcome for line 2"), std::string::npos) << err_.text;
}

TEST_F(EngineTest, TurboHasARowForEachPerson) {
  WriteJob(3);
  FakeDelivery delivery;
  EXPECT_EQ(Run(delivery), kExitSomeNotSent);
  EXPECT_NE(out_.text.find("4 sent"), std::string::npos) << out_.text;
}

TEST_F(EngineTest, PagesAndTheirLinks) {
  std::string list = "Mail,Name\n";
  for (int i = 0; i < 7; ++i) list += "p" + std::to_string(i) + "@x.org,\n";
  folder_.Write("list.csv", list);
  folder_.Write("report-4.html", "an earlier run's");
  options_.entries_per_page = 3;
  FakeDelivery delivery;
  delivery.verdicts = {{"p6@x.org", State::kFailed}};
  EXPECT_EQ(Run(delivery), kExitSomeNotSent);
  const std::string first = folder_.Read("report.html"), last = folder_.Read("report-3.html");
  EXPECT_NE(first.find(">p6@x.org<"), std::string::npos);
  EXPECT_NE(first.find("href=\"report-2.html\""), std::string::npos);
  EXPECT_NE(last.find(">p5@x.org<"), std::string::npos);
  EXPECT_NE(last.find("href=\"report.html\""), std::string::npos);
  EXPECT_EQ(last.find("report-4.html"), std::string::npos);
  EXPECT_FALSE(ModFiles::IsFile(folder_ / "report-4.html"));
}

TEST_F(EngineTest, DryRunRendersAndTouchesNothingElse) {
  options_.dry_run = folder_ / "mail";
  FakeDelivery delivery;
  EXPECT_EQ(Run(delivery), kExitAllSent);
  EXPECT_EQ(delivery.sent, Addresses{});
  EXPECT_EQ(folder_.Count(), 4);  // the list, the message, the job, and mail
  Addresses greetings;
  for (const auto& entry : std::filesystem::directory_iterator(folder_ / "mail/new")) {
    const std::string text = ModFiles::ReadAll(entry.path()).value();
    const std::size_t dear = text.find("Dear");
    greetings.push_back(text.substr(dear));
  }
  std::sort(greetings.begin(), greetings.end());
  EXPECT_EQ(greetings,
            (Addresses{"Dear=20\"Bob\r\n", "Dear=20Ann\r\n", "Dear=20Cid\r\n", "Dear=20Dan\r\n"}));
}

TEST_F(EngineTest, PreviewOfARow) {
  const Distribution list{Path("list.csv"), ListKind::kCsv, 0, true};
  Result<std::string> third =
      RenderRow({folder_ / "message.eml", 0, list, 5, {"https://x.org/leave?a={address}", "", ""}},
                clock_, randomness_);
  ASSERT_TRUE(third.ok()) << third.status().text();
  EXPECT_NE(third->find("List-Unsubscribe: <https://x.org/leave?a=c%40x.org>"), std::string::npos);
  EXPECT_NE(third->find("To: c@x.org\r\n"), std::string::npos);
  EXPECT_NE(third->find("Dear=20Cid"), std::string::npos);
  const auto why = [&](std::uint64_t row) {
    return RenderRow({folder_ / "message.eml", 0, list, row, {}}, clock_, randomness_)
        .status()
        .text();
  };
  EXPECT_NE(why(3).find("row 3 (line 4): not an address"), std::string::npos) << why(3);
  EXPECT_NE(why(4).find("duplicate"), std::string::npos) << why(4);
  EXPECT_NE(why(7).find("only 6 rows"), std::string::npos) << why(7);
}

TEST_F(EngineTest, ExitCodes) {
  FakeDelivery delivery;
  delivery.stop_after = 0;
  delivery.stop_reason = DeliveryEnd::Reason::kNoLogin;
  EXPECT_EQ(Run(delivery), kExitLogin);
  delivery.stop_reason = DeliveryEnd::Reason::kCannotRecord;
  EXPECT_EQ(Run(delivery), kExitRunAgain);
  options_.json = true;
  delivery.stop_after = 9;
  EXPECT_EQ(Run(delivery), kExitSomeNotSent);
  // Each line by itself: a start, everybody's verdict, the end.
  std::map<std::string, int> events;
  nlohmann::json last;
  for (const std::string_view line : ModText::Split(out_.text, '\n')) {
    if (line.empty()) continue;
    last = nlohmann::json::parse(line);
    ++events[last["event"]];
  }
  EXPECT_EQ(events["start"], 1);
  EXPECT_EQ(events["recipient"], static_cast<int>(last["sent"])) << out_.text;
  EXPECT_EQ(last["skipped"], 2) << "told by the run that was stopped";
  EXPECT_EQ(last["event"], "end");
  EXPECT_EQ(last["result"], "finished");
  EXPECT_EQ(last["sent"], 4);
  options_.json = false;
  delivery.stop_reason = DeliveryEnd::Reason::kStopped;
  delivery.stop_after = 0;
  delivery.stop_status = Status(Code::kBadInput, "no certificates in it");
  options_.fresh = true;
  EXPECT_EQ(Run(delivery), kExitBadInput) << "running it again does not help";
  options_.dry_run = folder_ / "dry";
  options_.list.only = "z@x.org";
  EXPECT_EQ(Run(delivery), kExitBadInput);
  options_.dry_run.clear();
  folder_.Write("message.eml", "no head");
  EXPECT_EQ(Run(delivery), kExitBadInput);
  folder_.Write("Vespro.cfg", "MESSAGE FILE=x\r\nDISTRIBUTION FILE=x,TEXT\r\n");
  EXPECT_EQ(Run(delivery), kExitNoAccount);
  ModFiles::Remove(folder_ / "Vespro.cfg").Ignore();  // seen by the next line
  EXPECT_EQ(Run(delivery), kExitBadInput);
}

TEST(JobTest, ReadsTheWholeFile) {
  const std::string secret = ModPassword::EncodePassword("s3cret");
  Result<Job> job = ParseJob(
      "CONNECTION= 5\r\nDISTRIBUTION FILE=C:/l/a.csv,CSV,2,VALUE\r\n"
      "BCC MODE=50\r\nMESSAGE FILE=C:/s/V.eml\r\nFUTURE=1\r\n"
      "HOST=mail,25,login,\r\nc2VjcmV0cGFzcw==\r\nHOST=one,25,,\r\nHOST=two,587," +
      ModPassword::EncodePassword("ann") + "," + secret + "\r\nHOST=one,25,,\r\nHOST=bad,smtp,," +
      secret + "\r\n");
  ASSERT_TRUE(job.ok()) << job.status().text();
  EXPECT_EQ(job->connections, 5u);
  EXPECT_EQ(job->list.path, "C:/l/a.csv");
  EXPECT_EQ(job->list.column, 2);
  EXPECT_FALSE(job->list.header);
  EXPECT_EQ(job->bcc_mode, 50);
  EXPECT_EQ(ModFiles::ToUtf8(job->message_file), "C:/s/V.eml");
  ASSERT_GE(job->accounts.size(), 3u);
  const Account& two = job->accounts[job->accounts.size() - 2];
  EXPECT_EQ(two.server, "two");
  EXPECT_EQ(two.port, 587);
  EXPECT_EQ(two.login, "ann");
  EXPECT_EQ(two.password, "s3cret");
  std::string warnings;
  for (const std::string& warning : job->warnings) warnings += warning + "\n";
  EXPECT_NE(warnings.find("'FUTURE'"), std::string::npos) << warnings;
  EXPECT_NE(warnings.find("'bad'"), std::string::npos) << warnings;
  EXPECT_EQ(warnings.find(secret), std::string::npos) << warnings;
  EXPECT_EQ(warnings.find("c2Vj"), std::string::npos) << warnings;
}

TEST(JobTest, TheNumberOfConnections) {
  const std::string rest = "DISTRIBUTION FILE=a,TEXT\nMESSAGE FILE=m\nHOST=h,25,,\n";
  const struct {
    std::string line;
    std::size_t connections;
    bool warned;
  } rows[] = {
      {"", 5, false},
      {"CONNECTION=12abc\n", 12, false},
      {"CONNECTION=500\n", 500, false},
      {"CONNECTION=many\n", 5, true},
      {"CONNECTION=0\n", 5, true},
      {"CONNECTION=-2\n", 5, true},
      {"CONNECTION=501\n", 500, true},
  };
  for (const auto& row : rows) {
    const Result<Job> job = ParseJob(row.line + rest);
    ASSERT_TRUE(job.ok()) << row.line;
    EXPECT_EQ(job->connections, row.connections) << row.line;
    EXPECT_EQ(job->warnings.size(), row.warned ? 1U : 0U) << row.line;
  }
}

TEST(JobTest, WhatIsMissingIsNamed) {
  const std::string list = "DISTRIBUTION FILE=a,TEXT\n", message = "MESSAGE FILE=m\n",
                    host = "HOST=h,25,,\n";
  const struct {
    std::string bytes;
    Code code;
    std::string text;
  } rows[] = {
      {"", Code::kBadInput, "DISTRIBUTION FILE="},
      {message + host + "DISTRIBUTION FILE=\n", Code::kBadInput, "DISTRIBUTION FILE="},
      {message + host + "DISTRIBUTION FILE=a.dat\n", Code::kBadInput, "TEXT or CSV"},
      {list + host, Code::kBadInput, "MESSAGE FILE="},
      {list + message, Code::kConfig, "HOST="},
      {list + message + "HOST=h,0,,\n", Code::kConfig, "port"},
      {list + message + "HOST=h,25,%%%,\n", Code::kConfig, "login"},
      {list + message + "HOST=h,25,,p%ss\n", Code::kConfig, "password"},
      {list + message + "HOST=h 1,25,,\n", Code::kConfig, "server"},
      {list + message + "HOST=h\n", Code::kConfig, "four fields"},
  };
  for (const auto& row : rows) {
    Result<Job> job = ParseJob(row.bytes);
    ASSERT_FALSE(job.ok()) << row.bytes;
    EXPECT_EQ(job.status().code(), row.code) << row.bytes;
    EXPECT_NE(job.status().text().find(row.text), std::string::npos) << job.status().text();
    EXPECT_EQ(job.status().text().find("p%ss"), std::string::npos);
  }
  // After a byte-order mark a job is UTF-8, whatever the code page is.
  const std::string mark = "\xEF\xBB\xBF";
  Result<Job> marked = ParseJob(mark + "MESSAGE FILE=\xC5\x82\n" + list + host);
  ASSERT_TRUE(marked.ok()) << marked.status().text();
  EXPECT_EQ(ModFiles::ToUtf8(marked->message_file), "\xC5\x82");
  EXPECT_FALSE(ParseJob(mark + "MESSAGE FILE=\xC5\n" + list + host).ok());
  Result<Job> bare = ParseJob(list + message + host);
  ASSERT_TRUE(bare.ok());
  EXPECT_EQ(bare->bcc_mode, 0);
}

TEST(OptionsTest, RatesAndPages) {
  EXPECT_DOUBLE_EQ(ParseRate("30/min").value(), 0.5);
  EXPECT_DOUBLE_EQ(ParseRate("2.5/s").value(), 2.5);
  EXPECT_DOUBLE_EQ(ParseRate("7200/h").value(), 2);
  EXPECT_DOUBLE_EQ(ParseRate("86400/day").value(), 1);
  for (const char* bad : {"", "30", "/s", "0/s", "-1/s", "1/month", "1 /s", "nan/s", "1/s "}) {
    EXPECT_EQ(ParseRate(bad).status().code(), Code::kUsage) << bad;
  }
  EXPECT_EQ(ParseEntriesPerPage("20"), 20u);
  for (const char* bad : {"", "0", "501", "x", "-3"}) EXPECT_EQ(ParseEntriesPerPage(bad), 100u);
}

TEST(ProgressLineTest, RedrawsOnATerminalAndKeepsQuietElsewhere) {
  StringSink terminal, file;
  const ProgressLine::Moment start{};
  ProgressLine drawn(terminal, true, start), written(file, false, start);
  Progress progress;
  progress.sent = 100;
  for (int ms = 0; ms <= 20'000; ms += 50) {
    const auto now = start + std::chrono::milliseconds(ms);
    drawn.Show(progress, ms < 10'000 ? 1000 : 0, now);
    written.Show(progress, 100, now);
  }
  drawn.Finish();
  EXPECT_EQ(std::count(terminal.text.begin(), terminal.text.end(), '\r'), 200);
  EXPECT_TRUE(terminal.text.ends_with("\n"));
  EXPECT_EQ(file.text,
            "100 sent, 0 refused, 0 failed, 100 left, 10.0/s, 0:10 to go\n"
            "100 sent, 0 refused, 0 failed, 100 left, 5.0/s, 0:20 to go\n");
}

TEST(ProgressLineTest, SaysWhoAskedForLessAndWhatItGets) {
  using std::chrono::seconds;
  const ProgressLine::Moment now = ProgressLine::Moment() + std::chrono::hours(1);
  Progress progress;
  LimitNotes notes;
  EXPECT_TRUE(notes.New(progress, now).empty());
  progress.limits = {{.server = "mx:25", .words = "454 too fast", .per_second = 13.3}};
  EXPECT_EQ(notes.New(progress, now),
            std::vector<std::string>{"mx:25 asks for less: 454 too fast; it gets at most 13.3 "
                                     "recipients a second"});
  progress.limits[0].per_second = 13.1;
  EXPECT_TRUE(notes.New(progress, now).empty()) << "each kind once";
  EXPECT_TRUE(ProgressLine::Text(progress, 5, seconds(1))
                  .ends_with("; mx:25 at most 13.1 recipients a second"));
  progress.limits[0].connections = 3;
  EXPECT_EQ(notes.New(progress, now).size(), 1U);
  for (const int rest : {600, 1300}) {
    progress.limits[0].words = "421 4.7.28 rest";
    progress.limits[0].rests_until = now + seconds(rest);
    const std::vector<std::string> told = notes.New(progress, now);
    ASSERT_EQ(told.size(), 1U);
    EXPECT_TRUE(told[0].ends_with(rest == 600 ? "nothing for 10:00" : "nothing for 21:40"));
    EXPECT_TRUE(notes.New(progress, now).empty());
  }
}

}  // namespace
}  // namespace vespro::engine
