// A list that was edited between two runs of its job.
#include "engine/list_change.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <optional>
#include <random>
#include <set>

#include "engine/engine_testing.h"
#include "engine/list_source.h"
#include "engine/report_reader.h"

namespace vespro::engine {
namespace {

using Kind = JournalEvent::Kind;
using States = std::map<std::string, std::string>;  // by address

class ListChangeTest : public EngineTest {
 protected:
  void WriteList(const std::string& rows, const std::string& mapping = "0,HEADER") {
    folder_.Write("list.csv", rows);
    folder_.Write("Vespro.cfg", "CONNECTION=2\r\nDISTRIBUTION FILE=list.csv,CSV," + mapping +
                                    "\r\nBCC MODE=0\r\nMESSAGE FILE=message.eml\r\n"
                                    "HOST=mail.x.org,25,,\r\n");
  }

  // Everybody in the report but duplicates, and whether its counts are those of its rows.
  States Reported() {
    States states;
    Result<ReportReader> reader = ReportReader::Open(folder_ / "report.txt");
    EXPECT_TRUE(reader.ok()) << reader.status().text();
    if (!reader.ok()) return states;
    StateCounts rows{};
    for (ReportRow row; reader->Next(row);) {
      ++rows[static_cast<std::size_t>(row.state)];
      if (row.reply.find("duplicate") != std::string_view::npos) continue;
      const bool is_first = states.emplace(row.address, StateName(row.state)).second;
      EXPECT_TRUE(is_first) << row.address;
    }
    EXPECT_EQ(rows, reader->head().by_state) << folder_.Read("report.txt");
    return states;
  }
};

constexpr std::string_view kBegun =
    "Mail,Name\nann@x.org,Ann\nbob@x.org,Bob\nnobody,Nick\nANN@x.org,Ann again\ncid@x.org,Cid\n"
    "dan@x.org,Dan\neve@x.org,Eve\nfay@x.org,Fay\n";

// Stopped with ann sent to, bob refused, cid unknown, dan on the wire; eve and fay not reached.
TEST_F(ListChangeTest, WhoHasAVerdictKeepsItAndTheOthersAreMailed) {
  const States verdicts = {{"ann@x.org", "sent"},
                           {"bob@x.org", "refused"},
                           {"cid@x.org", "unknown"},
                           {"dan@x.org", "unknown"}};
  const struct {
    const char* edit;
    std::string list;
    std::string mapping;
    Addresses mailed;
    std::string told;  // how many are done, are left, are gone
  } rows[] = {
      {"a row in front",
       "Mail,Name\nnew@x.org,New\n" + std::string(kBegun.substr(10)),
       "0,HEADER",
       {"new@x.org", "eve@x.org", "fay@x.org"},
       "4 people on it are done (1 sent, 1 refused, 2 unknown) and are not mailed again, 3 have"},
      {"order, header, a name, letters' case",
       "E-Mail,Vorname\nfay@x.org,Fay\nDAN@x.org,Daniel\ncid@x.org,Cid\nbob@x.org,B\neve@x.org,E\n"
       "ann@x.org,Ann\n",
       "0,HEADER",
       {"fay@x.org", "eve@x.org"},
       "4 people on it are done"},
      {"an address mended, another removed, bad rows mended",
       "Mail,Name\nann@x.org,Ann\nrob@x.org,Bob\nnick@x.org,Nick\ndan@x.org,Dan\neve@x.org,E\n",
       "0,HEADER",
       {"rob@x.org", "nick@x.org", "eve@x.org"},
       "2 people on it are done (1 sent, 1 unknown) and are not mailed again, 3 have no verdict "
       "yet, 2 who are done are not on it any more"},
      {"the first of two rows removed, a third one added",
       "Mail,Name\nbob@x.org,Bob\nAnn@x.org,Ann again\ncid@x.org,C\ndan@x.org,D\nann@X.ORG,3\n"
       "new@x.org,N\nnew@x.org,N2\n",
       "0,HEADER",
       {"new@x.org"},
       "are not mailed again, 1 has no verdict yet\n"},
      {"another column of addresses",
       "Name,Mail\nAnn,\"ann@x.org\"\nDan, dan@x.org\nZoe,zoe@x.org\n",
       "1,HEADER",
       {"zoe@x.org"},
       "2 people on it are done"},
      {"no header any more",
       "new@x.org,New\nann@x.org,Ann\n",
       "0,VALUE",
       {"new@x.org"},
       "1 person on it is done (1 sent) and is not mailed again, 1 has no verdict yet, 3 who are"},
      {"everybody removed",
       "Mail,Name\n",
       "0,HEADER",
       {},
       "0 people on it are done and are not mailed again, 0 have no verdict yet, 4 who"},
  };
  for (const auto& row : rows) {
    for (const bool json : {false, true}) {
      SCOPED_TRACE(std::string(row.edit) + (json ? ", json" : ""));
      ModFiles::Remove(folder_ / "journal").Ignore();  // the last round's
      options_.json = json;
      WriteList(std::string(kBegun));
      FakeDelivery first;
      first.verdicts = {{"bob@x.org", State::kRefused}, {"cid@x.org", State::kUnknown}};
      first.stop_after = 3;
      first.stop_on_the_wire = true;
      EXPECT_EQ(Run(first), kExitInterrupted);
      EXPECT_EQ(first.sent.size(), 4u);

      WriteList(row.list, row.mapping);
      FakeDelivery second;
      Run(second);
      EXPECT_EQ(second.sent, row.mailed);
      EXPECT_TRUE(err_.text.find(row.told) != std::string::npos) << err_.text;
      const States now = Reported();
      for (const auto& [address, state] : now) {
        const auto before = verdicts.find(address);
        const bool is_new =
            std::find(row.mailed.begin(), row.mailed.end(), address) != row.mailed.end();
        EXPECT_EQ(state, is_new                     ? "sent"
                         : before != verdicts.end() ? before->second
                                                    : "skipped")
            << address;
      }
      for (const std::string& address : row.mailed) EXPECT_TRUE(now.contains(address)) << address;
      EXPECT_EQ(out_.text.find("\"event\":\"list_changed\"") != std::string::npos, json);
      EXPECT_EQ(
          out_.text.find("\"address\":\"dan@x.org\",\"state\":\"unknown\"") != std::string::npos,
          json)
          << "whoever was on the wire is told";

      // Whoever is back on the list still has his verdict.
      WriteList(std::string(kBegun));
      FakeDelivery third;
      Run(third);
      Addresses rest;
      for (const char* address : {"eve@x.org", "fay@x.org"}) {
        if (std::find(row.mailed.begin(), row.mailed.end(), address) == row.mailed.end()) {
          rest.push_back(address);
        }
      }
      EXPECT_EQ(third.sent, rest);
    }
  }
}

// What is to be corrected is the row as it is now, under the list's header.
TEST_F(ListChangeTest, ReportsShowTheListAsItIsNow) {
  WriteList(std::string(kBegun));
  FakeDelivery first;
  first.verdicts = {{"bob@x.org", State::kRefused}};
  first.refusal = "550 no";
  first.stop_after = 2;
  first.tallies.resize(1);
  EXPECT_EQ(Run(first), kExitInterrupted);
  EXPECT_EQ(folder_.Read("failed.csv"),
            "state,reason,Mail,Name\r\nrefused,550 no,bob@x.org,Bob\r\n"
            "skipped,line 4: not an address: no (at),nobody,Nick\r\n");
  WriteList("Name,Mail,City\nBobby,bob@x.org,Ulm\nEve,eve@x.org,Bonn\n", "1,HEADER");
  FakeDelivery second;
  EXPECT_EQ(Run(second), kExitSomeNotSent);
  EXPECT_EQ(folder_.Read("failed.csv"),
            "state,reason,Name,Mail,City\r\nrefused,550 no,Bobby,bob@x.org,Ulm\r\n");
  EXPECT_EQ(Reported(), (States{{"bob@x.org", "refused"}, {"eve@x.org", "sent"}}));
}

// The file that keeps them back may not be named any more.
TEST_F(ListChangeTest, WhoIsNotToBeMailedStaysSo) {
  WriteList("Mail\nann@x.org\nbob@x.org\ncid@x.org\n");
  options_.suppress = {folder_.Write("stop.txt", "bob@x.org")};
  FakeDelivery first;
  first.stop_after = 1;
  EXPECT_EQ(Run(first), kExitInterrupted);
  options_.suppress.clear();
  WriteList("Mail\nbob@x.org\nann@x.org\ndan@x.org\n");
  FakeDelivery second;
  EXPECT_EQ(Run(second), kExitAllSent);
  EXPECT_EQ(second.sent, Addresses{"dan@x.org"});
  EXPECT_EQ(Reported(),
            (States{{"ann@x.org", "sent"}, {"bob@x.org", "skipped"}, {"dan@x.org", "sent"}}));
  EXPECT_FALSE(ModFiles::IsFile(folder_ / "failed.csv"));
}

// Another mapping of the same bytes makes other people of the rows.
TEST_F(ListChangeTest, AnotherColumnOfTheSameListIsAChange) {
  const std::string list = "Mail,Work\nann@x.org,bob@y.org\nbob@y.org,cid@y.org\n";
  WriteList(list);
  FakeDelivery first;
  EXPECT_EQ(Run(first), kExitAllSent);
  WriteList(list, "1,HEADER");
  FakeDelivery second;
  EXPECT_EQ(Run(second), kExitAllSent);
  EXPECT_EQ(second.sent, Addresses{"cid@y.org"});
}

TEST_F(ListChangeTest, ADeferralAndAnUnknownOneSentAgainAreKept) {
  WriteList("Mail\nann@x.org\nbob@x.org\n");
  FakeDelivery first;
  first.verdicts = {{"ann@x.org", State::kUnknown}};
  EXPECT_EQ(Run(first), kExitSomeNotSent);
  options_.resend_unknown = true;
  FakeDelivery again;
  again.stop_after = 0;
  again.stop_on_the_wire = true;
  EXPECT_EQ(Run(again), kExitInterrupted);
  options_.resend_unknown = false;
  WriteList("Mail\nbob@x.org\nnew@x.org\nann@x.org\n");
  FakeDelivery third;
  EXPECT_EQ(Run(third), kExitSomeNotSent);
  EXPECT_EQ(third.sent, Addresses{"new@x.org"});
  options_.resend_unknown = true;
  FakeDelivery last;
  EXPECT_EQ(Run(last), kExitAllSent);
  EXPECT_EQ(last.sent, Addresses{"ann@x.org"});
}

// Removes a row, mends an address, adds two rows, and maybe more.
std::string RandomList(std::mt19937& random, std::vector<std::string>& people, int& next_name) {
  const auto pick = [&random](std::size_t below) {
    return std::uniform_int_distribution<std::size_t>(0, below - 1)(random);
  };
  if (!people.empty()) {
    people.erase(people.begin() + static_cast<std::ptrdiff_t>(pick(people.size())));
  }
  if (!people.empty()) people[pick(people.size())] = "m" + std::to_string(next_name++) + "@x.org";
  for (int i = 0; i < 2; ++i) people.push_back("p" + std::to_string(next_name++) + "@x.org");
  if (pick(3) == 0) people.push_back(people.back());
  if (pick(3) == 0) people.push_back("bad " + std::to_string(next_name++));
  if (pick(2) == 0) std::shuffle(people.begin(), people.end(), random);
  std::string list = pick(2) == 0 ? "Mail,Name\n" : "Adresse,Vorname\n";
  for (const std::string& address : people) {
    list += (pick(2) == 0 ? "" : " ") + address + ",N" + std::to_string(pick(9)) + "\n";
  }
  return list;
}

// Stopped, killed and edited again and again: nobody is mailed twice, in the end everybody on the
// list has a verdict, and each report adds up to the list as it is then.
TEST_F(ListChangeTest, EditedAgainAndAgain) {
  std::random_device device;
  const unsigned seed = device();
  std::mt19937 random(seed);
  SCOPED_TRACE("seed " + std::to_string(seed));
  const auto pick = [&random](std::size_t below) {
    return std::uniform_int_distribution<std::size_t>(0, below - 1)(random);
  };
  for (int round = 0; round < 12; ++round) {
    ModFiles::Remove(folder_ / "journal").Ignore();  // the last round's
    std::vector<std::string> people = {"a@x.org", "b@x.org", "c@x.org", "d@x.org"};
    int next_name = 0;
    std::set<std::string> served;  // accepted, refused, on the wire: never again
    std::string list;
    for (int run = 0; run < 8; ++run) {
      const bool is_last = run == 7;
      if (run == 0 || pick(3) > 0) list = RandomList(random, people, next_name);
      WriteList(list);
      FakeDelivery delivery;
      for (const std::string& person : people) {
        constexpr State kSome[] = {State::kSent, State::kSent, State::kRefused, State::kFailed,
                                   State::kUnknown};
        delivery.verdicts[person] = kSome[pick(5)];
      }
      if (!is_last) delivery.stop_after = pick(4);
      delivery.stop_on_the_wire = pick(2) == 0;
      const int exit = Run(delivery);
      ASSERT_TRUE(exit == kExitInterrupted || exit == kExitSomeNotSent || exit == kExitAllSent)
          << exit << err_.text;
      for (const std::string& address : delivery.sent) {
        ASSERT_TRUE(served.insert(address).second) << address << " was mailed twice";
      }
      const bool on_the_wire = exit == kExitInterrupted && delivery.stop_on_the_wire;
      const States now = Reported();
      for (const std::string& person : people) {
        if (person.starts_with("bad")) continue;
        const bool in_doubt = on_the_wire && person == delivery.sent.back();
        ASSERT_EQ(now.contains(person), !in_doubt) << person << "\n" << folder_.Read("report.txt");
        if (!in_doubt) {
          ASSERT_EQ(now.at(person) != "not reached", served.contains(person)) << person;
        }
      }
      std::set<std::string> rows(people.begin(), people.end());
      ASSERT_EQ(now.size() + (on_the_wire ? 1 : 0), rows.size());
      if (is_last) {
        for (const std::string& person : people) {
          EXPECT_TRUE(person.starts_with("bad") || served.contains(person)) << person;
        }
      }
    }
  }
}

// A first part of an earlier version, without how the list was read.
TEST_F(ListChangeTest, AfterAnEarlierVersionsJournal) {
  const auto line = [](const std::string& text) {
    std::uint32_t sum = 2166136261u;
    for (const char c : text + "\t") sum = (sum ^ static_cast<unsigned char>(c)) * 16777619u;
    std::array<char, 10> hex{};
    std::snprintf(hex.data(), hex.size(), "%08x\n", static_cast<unsigned>(sum));
    return text + "\t" + hex.data();
  };
  const std::string list = "Mail\nann@x.org\nbob@x.org\ncid@x.org\n";
  WriteList(list);
  const Result<ListIdentity> identity = IdentifyList(folder_ / "list.csv");
  ASSERT_TRUE(identity.ok());
  std::array<char, 17> hex{};
  std::snprintf(hex.data(), hex.size(), "%016llx", static_cast<unsigned long long>(identity->hash));
  const std::string bytes = std::to_string(identity->bytes) + "\t", hash = hex.data();
  const std::string run = "\t1000\t0123456789abcdef\t" + bytes + "4\t" + hash + "\t0";
  const std::string unnumbered[] = {"I\t2\tann@x.org\ts:25", "I\t3\tbob@x.org\ts:25",
                                    "O\t2\tsent\t1\tann@x.org\ts:25\t250\t"};
  std::string first = "vespro-journal 1\n" + line("L\t" + bytes + "4\t" + hash) + "\n" +
                      line("R\t1000\t0123456789abcdef");
  for (const std::string& record : unnumbered) first += line(record);
  std::map<std::string, std::string> journals = {{"1", first}};
  for (const std::string version : {"2", "3"}) {
    std::string& journal = journals[version];
    journal = "vespro-journal " + version + "\n" +
              line("1\tL\t" + version + "\t" + bytes + "4\t" + hash) + "\n" + line("2\tR" + run) +
              line("3\tW\t10");
    int number = 4;
    for (const std::string& record : unnumbered) {
      journal += line(std::to_string(number++) + "\t" + record);
    }
  }
  for (const auto& [version, journal] : journals) {
    SCOPED_TRACE(version);
    folder_.Write("journal", journal);
    WriteList("Name,Mail\nC,cid@x.org\nB,bob@x.org\nA,ann@x.org\nD,dan@x.org\n", "1,HEADER");
    FakeDelivery delivery;
    delivery.stop_after = 1;
    EXPECT_EQ(Run(delivery), kExitInterrupted);
    EXPECT_EQ(delivery.sent, Addresses{"cid@x.org"});
    WriteList(list);
    FakeDelivery rest;
    EXPECT_EQ(Run(rest), kExitSomeNotSent);
    EXPECT_EQ(rest.sent, Addresses{});
    EXPECT_EQ(Reported(),
              (States{{"ann@x.org", "sent"}, {"bob@x.org", "unknown"}, {"cid@x.org", "sent"}}));
  }
}

// The list's change itself, damaged or cut off anywhere: whoever has a verdict is not sent to,
// whether the journal is then still about the list before or about the new one.
class DamagedChangeTest : public ::testing::Test {
 protected:
  static constexpr std::string_view kServer = "mail.x.org:25";
  const ListIdentity before_{1000, 1, 9, 2}, after_{900, 2, 6, 2};
  const FixedClock clock_{std::chrono::system_clock::time_point(std::chrono::seconds(1000))};
  CountingRandomness randomness_;
  TemporaryFolder folder_;
  std::size_t change_begins_ = 0;

  static std::string Address(const std::string& name) { return name + "@x.org"; }

  // Of the list before: ann and bob sent to, cid unknown, dan on the wire. The new one has bob on
  // line 1, new people on 2, ann on 3, new ones on 4, dan on 5, nobody on 6. line 2 is sent to, 4
  // is on the wire.
  void SetUp() override {
    {
      Result<Journal> journal = Journal::Open(folder_.path(), before_, false, clock_);
      ASSERT_TRUE(journal.ok() && journal->BeginRun(1).ok());
      std::vector<Recipient> people;
      for (const char* name : {"ann", "bob", "cid", "dan"}) {
        people.push_back({people.size() + 1, Address(name), ""});
      }
      ASSERT_TRUE(journal->Sending(people, kServer).ok());
      for (std::size_t i = 0; i < 3; ++i) {
        const State state = i == 2 ? State::kUnknown : State::kSent;
        ASSERT_TRUE(journal->Record(people[i], {state, 1, std::string(kServer), "words"}).ok());
      }
      ASSERT_TRUE(journal->Commit().ok());
    }
    change_begins_ = folder_.Read("journal").size();
    Result<Journal> journal = Journal::Open(folder_.path(), after_, false, clock_);
    ASSERT_TRUE(journal.ok() && journal->list_has_changed());
    ASSERT_TRUE(journal->BeginList().ok());
    const auto keep = [&](std::uint64_t line, const char* name, State state) {
      JournalEvent kept;
      kept.recipient = {line, Address(name), ""};
      kept.outcome = {state, 1, std::string(kServer), "words"};
      ASSERT_TRUE(journal->Keep(kept).ok());
    };
    keep(1, "bob", State::kSent);
    keep(3, "ann", State::kSent);
    keep(5, "dan", State::kUnknown);
    keep(0, "cid", State::kUnknown);
    ASSERT_TRUE(journal->BeginRun(1).ok());
    EXPECT_FALSE(journal->list_has_changed());
    EXPECT_EQ(journal->states().Count(State::kSent), 2u);
    const Recipient two{2, Address("two"), ""}, four{4, Address("four"), ""};
    ASSERT_TRUE(journal->Sending({&two, 1}, kServer).ok());
    ASSERT_TRUE(journal->Record(two, {State::kSent, 1, std::string(kServer), "250"}).ok());
    ASSERT_TRUE(journal->Sending({&four, 1}, kServer).ok() && journal->Commit().ok());
  }

  // Nothing where nobody is sent to.
  std::optional<std::set<std::string>> MayBeSentTo(const std::string& bytes,
                                                   const ListIdentity& list) {
    {
      // Not flushed, there are thousands of them.
      Result<File> file = File::Open(folder_ / "journal", File::Mode::kReplace);
      EXPECT_TRUE(file.ok() && file->Write(bytes).ok());
    }
    Result<Journal> journal = Journal::Open(folder_.path(), list, false, clock_);
    if (!journal.ok()) return std::nullopt;
    const std::map<std::uint64_t, std::string> on_before = {{1, "ann"}, {2, "bob"}, {3, "cid"},
                                                            {4, "dan"}, {5, "two"}, {6, "four"}};
    const std::map<std::uint64_t, std::string> on_after = {
        {1, "bob"}, {2, "two"}, {3, "ann"}, {4, "four"}, {5, "dan"}};
    std::set<std::string> free;
    if (!journal->list_has_changed()) {
      const LineStates& states = journal->states();
      for (const auto& [line, name] : list == after_ ? on_after : on_before) {
        const bool has_verdict =
            states.Outcomes(line) > 0 || states.InDoubt(line) || states.MayBeLost(line);
        if (!has_verdict) free.insert(name);
      }
      return free;
    }
    if (journal->states().MayBeLostCount() > 0) return std::nullopt;  // see CarryOver
    Result<VerdictIndex> index =
        VerdictIndex::Read(Journal::PathIn(folder_.path()), journal->state(), randomness_);
    EXPECT_TRUE(index.ok());
    for (const auto& [line, name] : on_before) {
      if (!index->MayHave(Address(name))) free.insert(name);
    }
    return free;
  }
};

TEST_F(DamagedChangeTest, CutAtEveryByte) {
  const std::string whole = folder_.Read("journal");
  // A record counts when its checksum is there.
  const auto end_of = [&whole](std::string_view record) {
    return whole.find('\n', whole.find(record));
  };
  for (std::size_t cut = change_begins_; cut <= whole.size(); ++cut) {
    SCOPED_TRACE(cut);
    const auto free = MayBeSentTo(whole.substr(0, cut), after_);
    ASSERT_TRUE(free.has_value());
    std::set<std::string> expected;
    if (cut < end_of("\tI\t2\ttwo")) expected.insert("two");
    if (cut < end_of("\tI\t4\tfour")) expected.insert("four");
    EXPECT_EQ(*free, expected);
  }
}

TEST_F(DamagedChangeTest, ABitOfEveryByte) {
  const std::string whole = folder_.Read("journal");
  int refused = 0, open = 0;
  for (const ListIdentity& list : {after_, before_}) {
    for (std::size_t at = 0; at < whole.size(); ++at) {
      SCOPED_TRACE(std::to_string(at) + (list == after_ ? "" : ", the list put back"));
      std::string bytes = whole;
      bytes[at] = static_cast<char>(bytes[at] ^ (1 << at % 8));
      const auto free = MayBeSentTo(bytes, list);
      ++(free.has_value() ? open : refused);
      ASSERT_EQ(free.value_or(std::set<std::string>()), std::set<std::string>());
    }
  }
  EXPECT_GT(open, refused);
}

}  // namespace
}  // namespace vespro::engine
