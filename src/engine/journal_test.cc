#include "engine/journal.h"

#include <gtest/gtest.h>

#include <map>

#include "base/testing.h"

namespace vespro::engine {
namespace {

constexpr std::string_view kServer = "mail.example.com:25";
constexpr std::uint64_t kMessage = 0x0123456789abcdefu;
const Deferral kLater{1, std::string(kServer), "450 4.7.1 later"};
const ListIdentity kList{1000, 0xfeedface12345678u, 9};

Recipient Person(std::uint64_t line) {
  return {line, "p" + std::to_string(line) + "@example.com", "row " + std::to_string(line)};
}

Result<Journal> OpenIn(const TemporaryFolder& folder, bool fresh = false) {
  static const FixedClock clock{std::chrono::system_clock::time_point(std::chrono::seconds(1000))};
  return Journal::Open(folder.path(), kList, fresh, clock);
}

std::vector<JournalEvent> ReadAll(const TemporaryFolder& folder) {
  std::vector<JournalEvent> events;
  Result<JournalReader> reader = JournalReader::Open(folder / "journal");
  EXPECT_TRUE(reader.ok()) << reader.status().text();
  if (!reader.ok()) return events;
  for (JournalEvent event; reader->Next(event);) events.push_back(event);
  EXPECT_EQ(reader->damaged(), 0u);
  return events;
}

TEST(JournalTest, KeepsEveryByteOfAnEvent) {
  TemporaryFolder folder;
  const std::string nasty("tab\t cr\r lf\n nul\0 slash\\t \xC3\xA4\xFF end", 33);
  {
    Result<Journal> journal = OpenIn(folder);
    ASSERT_TRUE(journal.ok()) << journal.status().text();
    ASSERT_TRUE(journal->BeginRun(kMessage).ok());
    const Recipient who{3, nasty, nasty};
    ASSERT_TRUE(journal->Sending({&who, 1}, nasty).ok());
    ASSERT_TRUE(journal->PutBack(who, {3, nasty, nasty}).ok());
    ASSERT_TRUE(journal->Record(who, {State::kRefused, 7, nasty, nasty}).ok());
    ASSERT_TRUE(journal->Skip({4, "", nasty}, nasty, true).ok());
    ASSERT_TRUE(journal->EndRun(nasty).ok());
  }
  const std::vector<JournalEvent> events = ReadAll(folder);
  ASSERT_EQ(events.size(), 8u);
  EXPECT_EQ(events[0].list, kList);
  EXPECT_EQ(events[1].time, 1000);
  EXPECT_EQ(events[1].message, kMessage);
  EXPECT_EQ(events[3].recipient.address, nasty);
  EXPECT_EQ(events[3].outcome.server, nasty);
  EXPECT_EQ(events[4].kind, JournalEvent::Kind::kPutBack);
  EXPECT_EQ(events[4].recipient.line, 3u);
  EXPECT_EQ(events[4].outcome.attempts, 3);
  EXPECT_EQ(events[4].outcome.server, nasty);
  EXPECT_EQ(events[4].outcome.reply, nasty);
  EXPECT_EQ(events[5].outcome.state, State::kRefused);
  EXPECT_EQ(events[5].outcome.attempts, 7);
  EXPECT_EQ(events[5].outcome.reply, nasty);
  EXPECT_EQ(events[5].recipient.row, nasty);
  EXPECT_EQ(events[6].outcome.state, State::kSkipped);
  EXPECT_EQ(events[6].recipient.row, nasty);
  EXPECT_EQ(events[7].reason, nasty);
}

// The rows to mend are those that surely were not sent; a sent or uncertain one would be sent
// twice.
TEST(JournalTest, OnlyRowsSurelyNotSentAreToBeMended) {
  TemporaryFolder folder;
  Result<Journal> journal = OpenIn(folder);
  ASSERT_TRUE(journal.ok());
  for (State state : {State::kSent, State::kRefused, State::kFailed, State::kUnknown}) {
    ASSERT_TRUE(journal->Record(Person(1), {state, 1, "", ""}).ok());
  }
  ASSERT_TRUE(journal->Skip(Person(1), "duplicate", false).ok());
  ASSERT_TRUE(journal->Record({2, "plain@example.com", ""}, {State::kFailed, 1, "", ""}).ok());
  ASSERT_TRUE(journal->Commit().ok());
  std::vector<std::string> rows;
  for (const JournalEvent& event : ReadAll(folder)) {
    if (event.kind == JournalEvent::Kind::kOutcome) rows.push_back(event.recipient.row);
  }
  EXPECT_EQ(rows, (std::vector<std::string>{"", "row 1", "row 1", "", "", "plain@example.com"}));
}

// As a crash leaves it; not flushed, there are hundreds of them.
void Overwrite(const TemporaryFolder& folder, std::string_view bytes) {
  Result<File> file = File::Open(folder / "journal", File::Mode::kReplace);
  ASSERT_TRUE(file.ok() && file->Write(bytes).ok());
}

// What a run may claim after the power went: cut after any byte, each line is as the last whole
// event says, never better, and the journal goes on from there.
TEST(JournalTest, CutAtEveryByte) {
  TemporaryFolder folder;
  {
    Result<Journal> journal = OpenIn(folder);
    ASSERT_TRUE(journal.ok());
    ASSERT_TRUE(journal->BeginRun(kMessage).ok());
    const std::vector<Recipient> two = {Person(1), Person(2)};
    ASSERT_TRUE(journal->Sending(two, kServer).ok());
    ASSERT_TRUE(journal->Record(two[0], {State::kSent, 1, std::string(kServer), "250 ok"}).ok());
    ASSERT_TRUE(journal->PutBack(two[1], kLater).ok());
    ASSERT_TRUE(journal->Sending({&two[1], 1}, kServer).ok());
    ASSERT_TRUE(journal->Record(two[1], {State::kRefused, 2, std::string(kServer), "550 ."}).ok());
    ASSERT_TRUE(journal->Skip(Person(3), "no address", true).ok());
    ASSERT_TRUE(journal->EndRun("done").ok());
  }
  const std::string whole = folder.Read("journal");
  std::vector<std::size_t> ends;  // where each line's checksum is complete
  for (std::size_t at = 0; (at = whole.find('\n', at)) != std::string::npos; ++at)
    ends.push_back(at);
  ASSERT_EQ(ends.size(), 13u);  // one of them ends the empty line after the list's

  for (std::size_t cut = 0; cut <= whole.size(); ++cut) {
    Overwrite(folder, std::string_view(whole).substr(0, cut));
    Result<Journal> journal = OpenIn(folder);
    ASSERT_TRUE(journal.ok()) << cut << ": " << journal.status().text();
    const auto has = [&](std::size_t line) { return cut >= ends[line]; };
    const LineStates& states = journal->states();
    EXPECT_EQ(states.InDoubt(1), has(5) && !has(7)) << cut;
    EXPECT_EQ(states.OutcomeOf(1).has_value(), has(7)) << cut;
    EXPECT_EQ(states.InDoubt(2), (has(6) && !has(8)) || (has(9) && !has(10))) << cut;
    EXPECT_EQ(states.OutcomeOf(2).has_value(), has(10)) << cut;
    EXPECT_EQ(states.OutcomeOf(3).has_value(), has(11)) << cut;
    for (std::uint64_t line = 1; line <= kList.lines; ++line) EXPECT_FALSE(states.MayBeLost(line));
    EXPECT_EQ(journal->damaged(), 0u) << cut;

    ASSERT_TRUE(journal->Record(Person(7), {State::kSent, 1, "", ""}).ok());
    ASSERT_TRUE(journal->Commit().ok());
    EXPECT_EQ(OpenIn(folder).status().code(), Code::kResumable) << "it is for one at a time";
    { const Journal closed = std::move(journal).value(); }
    Result<Journal> again = OpenIn(folder);
    ASSERT_TRUE(again.ok()) << cut;
    EXPECT_EQ(again->states().OutcomeOf(7), State::kSent) << cut;
    EXPECT_EQ(again->states().Count(State::kSent), has(7) ? 2u : 1u) << cut;
    EXPECT_EQ(again->damaged(), 0u) << cut;
  }
}

// Whom it served is still to be read, but not of which list.
TEST(JournalTest, AJournalWithoutItsHeadIsNotTakenForAnEmptyOne) {
  TemporaryFolder folder;
  {
    Result<Journal> journal = OpenIn(folder);
    ASSERT_TRUE(journal.ok() && journal->BeginRun(kMessage).ok());
    const Recipient one = Person(1);
    ASSERT_TRUE(journal->Sending({&one, 1}, kServer).ok());
    ASSERT_TRUE(journal->Record(one, {State::kSent, 1, std::string(kServer), "250 ok"}).ok());
    ASSERT_TRUE(journal->Commit().ok());
  }
  const std::string bytes = folder.Read("journal");
  std::string no_list = bytes, no_line = bytes;
  no_list.erase(bytes.find("1\tL\t"), bytes.find("\n3\t") + 1 - bytes.find("1\tL\t"));
  std::replace(no_line.begin(), no_line.end(), '\t', ' ');
  for (const std::string& damaged : {no_list, no_line}) {
    Overwrite(folder, damaged);
    const Status status = OpenIn(folder).status();
    EXPECT_EQ(status.code(), Code::kBadInput);
    EXPECT_NE(status.text().find("--fresh"), std::string::npos) << status.text();
    EXPECT_EQ(folder.Read("journal"), damaged);
  }
}

bool IsNeverSentToAgain(const LineStates& states, std::uint64_t line) {
  return states.Outcomes(line) > 0 || states.InDoubt(line) || states.MayBeLost(line);
}

std::uint64_t CountLost(const LineStates& states, const ListIdentity& list) {
  std::uint64_t lost = 0;
  for (std::uint64_t line = 1; line <= list.lines; ++line) lost += states.MayBeLost(line) ? 1u : 0u;
  return lost;
}

// What a run does first with what the one before has left.
void Settle(Journal& journal) {
  for (std::uint64_t line = 1; line <= kList.lines; ++line) {
    if (journal.states().InDoubt(line) || journal.states().MayBeLost(line)) {
      ASSERT_TRUE(journal.Record(Person(line), {State::kUnknown, 1, "", "in doubt"}).ok());
    }
  }
}

// Two runs, both killed: 1 sent, 2 put back and refused, 3 skipped, 4 cut off and unknown, 5 sent,
// 6 on the wire; nothing was done about 7 to 9.
void WriteTwoRuns(const TemporaryFolder& folder) {
  const std::string server(kServer);
  std::vector<Recipient> p;
  for (std::uint64_t line = 0; line <= 6; ++line) p.push_back(Person(line));
  {
    Result<Journal> journal = OpenIn(folder);
    ASSERT_TRUE(journal.ok() && journal->BeginRun(kMessage).ok());
    ASSERT_TRUE(journal->Sending({&p[1], 2}, kServer).ok());
    ASSERT_TRUE(journal->Record(p[1], {State::kSent, 1, server, "250 ok"}).ok());
    ASSERT_TRUE(journal->PutBack(p[2], kLater).ok());
    ASSERT_TRUE(journal->Sending({&p[2], 1}, kServer).ok());
    ASSERT_TRUE(journal->Record(p[2], {State::kRefused, 2, server, "550 no"}).ok());
    ASSERT_TRUE(journal->Skip(p[3], "no address", true).ok());
    ASSERT_TRUE(journal->EndRun("stopped").ok());
    ASSERT_TRUE(journal->Sending({&p[4], 1}, kServer).ok() && journal->Commit().ok());
  }
  Result<Journal> journal = OpenIn(folder);
  ASSERT_TRUE(journal.ok() && journal->BeginRun(kMessage).ok());
  Settle(journal.value());
  ASSERT_TRUE(journal->Sending({&p[5], 2}, kServer).ok());
  ASSERT_TRUE(journal->Record(p[5], {State::kSent, 1, server, "250 ok"}).ok());
  ASSERT_TRUE(journal->Commit().ok());
}

// Wherever one bit is wrong: whoever may have a message is not sent to again, nobody has a verdict
// that was not his, and what comes after the damage is read as if there were none.
TEST(JournalTest, EveryFlippedBit) {
  TemporaryFolder folder;
  WriteTwoRuns(folder);
  const std::string whole = folder.Read("journal");
  const std::map<std::uint64_t, State> verdicts = {{1, State::kSent},    {2, State::kRefused},
                                                   {3, State::kSkipped}, {4, State::kUnknown},
                                                   {5, State::kSent},    {7, State::kSent}};
  std::uint64_t most_lost = 0;
  for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
    SCOPED_TRACE("byte " + std::to_string(bit / 8) + ", bit " + std::to_string(bit % 8));
    std::string bytes = whole;
    bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ (1 << bit % 8));
    Overwrite(folder, bytes);
    bool seven_sent = false;
    for (const bool again : {false, true}) {
      Result<Journal> journal = OpenIn(folder);
      ASSERT_TRUE(journal.ok()) << journal.status().text();
      // A head that was another version's is written anew.
      const bool is_mended = again && bytes[15] >= '1' && bytes[15] < '4';
      ASSERT_EQ(journal->damaged() > 0, !is_mended);
      const LineStates& states = journal->states();
      for (const std::uint64_t reached : {1u, 2u, 4u, 5u, 6u}) {
        ASSERT_TRUE(IsNeverSentToAgain(states, reached)) << reached << again;
      }
      for (std::uint64_t line = 1; line <= kList.lines; ++line) {
        const std::optional<State> outcome = states.OutcomeOf(line);
        const auto verdict = verdicts.find(line);
        ASSERT_TRUE(!outcome || *outcome == State::kUnknown ||
                    (verdict != verdicts.end() && *outcome == verdict->second))
            << line << again;
      }
      if (again) {
        ASSERT_EQ(states.InDoubtCount() + CountLost(states, kList), 0u);
        ASSERT_EQ(states.OutcomeOf(7) == State::kSent, seven_sent);
        continue;
      }
      most_lost = std::max(most_lost, CountLost(states, kList));
      seven_sent = !IsNeverSentToAgain(states, 7);
      ASSERT_TRUE(journal->BeginRun(kMessage).ok());
      Settle(journal.value());
      if (seven_sent) {
        const Recipient seven = Person(7);
        ASSERT_TRUE(journal->Sending({&seven, 1}, kServer).ok());
        ASSERT_TRUE(journal->Record(seven, {State::kSent, 1, "", ""}).ok());
      }
      ASSERT_TRUE(journal->Commit().ok());
    }
  }
  EXPECT_GT(most_lost, 0u) << "some damage hides an intent";
}

// Lines that are gone, doubled or out of their order, and another run's after this one's.
TEST(JournalTest, LinesOutOfTheirPlaceHideNobody) {
  TemporaryFolder folder, other_folder;
  WriteTwoRuns(folder);
  {
    Result<Journal> other = OpenIn(other_folder);
    const Recipient eight = Person(8);
    ASSERT_TRUE(other.ok() && other->BeginRun(kMessage).ok());
    ASSERT_TRUE(other->Sending({&eight, 1}, kServer).ok() && other->Commit().ok());
  }
  std::vector<std::string> lines;
  const std::string whole = folder.Read("journal");
  for (std::size_t at = 0; at < whole.size(); at += lines.back().size()) {
    lines.push_back(whole.substr(at, whole.find('\n', at) + 1 - at));
  }
  const auto check = [&](const std::vector<std::string>& changed, std::uint64_t most_lost) {
    std::string bytes;
    for (const std::string& line : changed) bytes += line;
    Overwrite(folder, bytes);
    Result<Journal> journal = OpenIn(folder);
    ASSERT_TRUE(journal.ok() || bytes.find("\tL\t") == std::string::npos);
    if (!journal.ok()) return;
    ASSERT_TRUE(journal->damaged() > 0 || changed == lines);
    for (const std::uint64_t reached : {1u, 2u, 4u, 5u, 6u}) {
      ASSERT_TRUE(IsNeverSentToAgain(journal->states(), reached)) << reached;
    }
    ASSERT_LE(CountLost(journal->states(), kList), most_lost);
  };
  for (std::size_t i = 1; i + 1 < lines.size(); ++i) {
    if (lines[i] == "\n") continue;
    SCOPED_TRACE("line " + std::to_string(i + 1) + ", " + lines[i]);
    std::vector<std::string> changed = lines;
    changed.erase(changed.begin() + static_cast<std::ptrdiff_t>(i));
    check(changed, kList.lines);
    for (std::size_t to = i + 1; to <= lines.size(); ++to) {
      changed = lines;
      changed.insert(changed.begin() + static_cast<std::ptrdiff_t>(to), lines[i]);
      check(changed, 0);
    }
    changed = lines;
    std::swap(changed[i], changed[i + 1]);
    if (changed[i] != "\n") check(changed, kList.lines);
  }
  std::vector<std::string> both = lines;
  both.push_back(other_folder.Read("journal"));
  Overwrite(folder, whole + both.back());
  const Result<Journal> journal = OpenIn(folder);
  ASSERT_TRUE(journal.ok());
  EXPECT_TRUE(journal->states().MayBeLost(8));
}

// An end without a line end is torn when it can be the beginning of one record, no longer.
TEST(JournalTest, ABlockThatIsLostAtTheEndIsNoTornRecord) {
  TemporaryFolder folder;
  WriteTwoRuns(folder);
  const std::string whole = folder.Read("journal");
  for (const char lost : {'\0', '\x11', '\x9F', '\xFF'}) {
    for (std::size_t from = whole.rfind("\tsent\t") - 20; from < whole.size() - 1; ++from) {
      SCOPED_TRACE(std::to_string(from) + " " + std::to_string(lost));
      Overwrite(folder, whole.substr(0, from) + std::string(whole.size() - from, lost));
      const Result<Journal> journal = OpenIn(folder);
      ASSERT_TRUE(journal.ok());
      ASSERT_GT(journal->damaged(), 0u);
      for (const std::uint64_t reached : {1u, 2u, 4u, 5u, 6u}) {
        ASSERT_TRUE(IsNeverSentToAgain(journal->states(), reached)) << reached;
      }
    }
  }
}

// Damage concerns only those whom a missing record can be about.
TEST(JournalTest, DamageIsBoundedByWhatTheOthersSay) {
  TemporaryFolder folder;
  const ListIdentity list{1, 1, 100'000};
  const SystemClock clock;
  const auto open = [&] { return Journal::Open(folder.path(), list, false, clock); };
  {
    Result<Journal> journal = open();
    ASSERT_TRUE(journal.ok() && journal->BeginRun(kMessage).ok());
    for (std::uint64_t line = 1; line <= 5000; ++line) {
      const Recipient one = Person(line);
      ASSERT_TRUE(journal->Sending({&one, 1}, kServer).ok());
      ASSERT_TRUE(journal->Record(one, {State::kSent, 1, "", "250"}).ok());
    }
    const Recipient last = Person(5001);
    ASSERT_TRUE(journal->Sending({&last, 1}, kServer).ok() && journal->Commit().ok());
  }
  const std::string whole = folder.Read("journal");
  const std::size_t middle = whole.find("\tI\t2500\t"), end = whole.rfind("\tI\t");
  const struct {
    const char* what;
    std::size_t at, bytes;
    std::uint64_t most, least;  // who is concerned
  } rows[] = {
      {"one intent, whose outcome is there", middle, 1, 0, 0},
      {"a block in the middle", middle, 4096, 60, 30},
      {"the last record", end, 1, 80, 1},
      {"all of the end", end - 4096, 4096 + 30, 4000, 40},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    std::string bytes = whole;
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(row.at), row.bytes, '\0');
    Overwrite(folder, bytes);
    Result<Journal> journal = open();
    ASSERT_TRUE(journal.ok());
    for (std::uint64_t line = 1; line <= 5001; ++line) {
      ASSERT_TRUE(IsNeverSentToAgain(journal->states(), line)) << line;
    }
    const std::uint64_t lost = CountLost(journal->states(), list);
    EXPECT_LE(lost, row.most);
    EXPECT_GE(lost, row.least);
  }
}

std::string FirstVersionLine(const std::string& text) {
  std::uint32_t sum = 2166136261u;
  for (const char c : text + "\t") sum = (sum ^ static_cast<unsigned char>(c)) * 16777619u;
  std::array<char, 10> hex{};
  std::snprintf(hex.data(), hex.size(), "%08x\n", static_cast<unsigned>(sum));
  return text + "\t" + hex.data();
}

// Without numbers any damaged line may be anybody's, but for the torn ends of earlier runs.
TEST(JournalTest, GoesOnWithAJournalOfTheFirstVersion) {
  TemporaryFolder folder;
  const std::string head = "vespro-journal 1\n" + FirstVersionLine("L\t1000\t9\tfeedface12345678") +
                           FirstVersionLine("R\t1000\t0123456789abcdef");
  const std::string intent = FirstVersionLine("I\t2\tp2@example.com\tmail.example.com:25");
  const std::string more = FirstVersionLine("R\t1001\t0123456789abcdef") +
                           FirstVersionLine("O\t1\tsent\t1\tp1@example.com\t\t250\t");
  std::string flipped = intent;
  flipped[10] ^= 1;
  std::string no_end = intent;
  no_end.back() ^= 1;
  const struct {
    const char* what;
    std::string bytes;
    std::uint64_t damaged, lost;
    bool two_is_free;
  } rows[] = {
      {"whole", head + intent + "\n" + more, 0, 0, false},
      {"a torn end in the middle", head + intent.substr(0, 20) + "\n" + more, 0, 0, true},
      {"a torn end", head + more + intent.substr(0, 20), 0, 0, true},
      {"damage", head + flipped + "\n" + more, 1, 8, false},
      {"damage that looks torn", head + no_end + "\n" + more, 1, 8, false},
      {"damage at the end", head + more + flipped, 1, 8, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    folder.Write("journal", row.bytes);
    for (const bool again : {false, true}) {
      Result<Journal> journal = OpenIn(folder);
      ASSERT_TRUE(journal.ok()) << journal.status().text();
      EXPECT_EQ(journal->damaged(), row.damaged);
      EXPECT_EQ(journal->states().OutcomeOf(1), State::kSent);
      EXPECT_EQ(CountLost(journal->states(), kList), again ? 0 : row.lost);
      EXPECT_EQ(!IsNeverSentToAgain(journal->states(), 2), row.two_is_free);
      EXPECT_TRUE(folder.Read("journal").starts_with("vespro-journal 4\nL\t1000"));
      ASSERT_TRUE(journal->BeginRun(kMessage).ok());
      Settle(journal.value());
      ASSERT_TRUE(journal->Commit().ok());
    }
  }
}

// The second one's deferrals have no words, and neither says how the list is read. A head that is
// upgraded is no damage, nor is what came before it.
TEST(JournalTest, GoesOnWithAJournalOfTheSecondAndThirdVersion) {
  for (const std::string version : {"2", "3"}) {
    SCOPED_TRACE(version);
    TemporaryFolder folder;
    const std::string put_back = version == "2" ? "6\tP\t2" : "6\tP\t2\t1\ts:25\t450 later";
    std::string bytes = "vespro-journal " + version + "\n";
    for (const std::string& line :
         {"1\tL\t" + version + "\t1000\t9\tfeedface12345678", std::string(),
          std::string("2\tR\t1000\t0123456789abcdef\t1000\t9\tfeedface12345678\t0"),
          std::string("3\tW\t10"), std::string("4\tI\t1\tp1@example.com\ts:25"),
          std::string("5\tI\t2\tp2@example.com\ts:25"), put_back,
          std::string("7\tO\t1\tsent\t1\tp1@example.com\ts:25\t250\t")}) {
      bytes += line.empty() ? "\n" : FirstVersionLine(line);
    }
    folder.Write("journal", bytes);
    for (const bool again : {false, true}) {
      Result<Journal> journal = OpenIn(folder);
      ASSERT_TRUE(journal.ok()) << journal.status().text();
      EXPECT_EQ(journal->damaged(), 0u);
      EXPECT_FALSE(journal->list_has_changed());
      EXPECT_EQ(journal->states().OutcomeOf(1), State::kSent);
      EXPECT_EQ(IsNeverSentToAgain(journal->states(), 2), again);
      EXPECT_TRUE(folder.Read("journal").starts_with(
          "vespro-journal 4\n" + FirstVersionLine("1\tL\t4\t1000\t9\tfeedface12345678\t0") +
          "\n2\tR"));
      const Recipient two = Person(2);
      ASSERT_TRUE(journal->Sending({&two, 1}, kServer).ok() && journal->PutBack(two, kLater).ok());
      ASSERT_TRUE(journal->Record(two, {State::kSent, 2, "", "250"}).ok());
      ASSERT_TRUE(journal->Commit().ok());
    }
  }
}

TEST(JournalTest, ALaterVersionAndWhatIsNoJournalAreRefusedUntilFresh) {
  TemporaryFolder folder;
  folder.Write("journal", "vespro-journal 5\n");
  EXPECT_EQ(OpenIn(folder).status().code(), Code::kBadInput);
  folder.Write("journal", "Dear diary\n");
  EXPECT_EQ(OpenIn(folder).status().code(), Code::kBadInput);
  ASSERT_TRUE(OpenIn(folder, true).ok());
  EXPECT_EQ(folder.Read("journal.old"), "Dear diary\n");
  ASSERT_TRUE(OpenIn(folder).ok());
}

TEST(JournalTest, LinesTheListDoesNotHaveAreDamage) {
  LineStates states(9);
  JournalEvent event;
  event.kind = JournalEvent::Kind::kOutcome;
  for (std::uint64_t line : {std::uint64_t{0}, std::uint64_t{10}, std::uint64_t{1} << 61}) {
    event.recipient.line = line;
    EXPECT_FALSE(states.Take(event)) << line;
    EXPECT_EQ(states.OutcomeOf(line), std::nullopt);
  }
  event.recipient.line = 9;
  EXPECT_TRUE(states.Take(event));
}

TEST(ListIdentityTest, CountsLinesAsTheReaderDoes) {
  TemporaryFolder folder;
  for (std::string_view bytes : {"", "a", "a\n", "a\r\nb\rc\n\nd", "\r\r\n", "\n\r", "a\r"}) {
    const auto path = folder.Write("list", bytes);
    Result<ListIdentity> list = IdentifyList(path);
    Result<LineReader> reader = LineReader::Open(path);
    ASSERT_TRUE(list.ok() && reader.ok());
    for (std::string_view line; reader->Next(line);) {
    }
    EXPECT_EQ(list->lines, reader->line_number()) << bytes;
    EXPECT_EQ(list->bytes, bytes.size());
  }
  // One letter changed anywhere, in the second block too, is another list.
  std::string bytes(300 * 1024, 'x');
  std::map<std::uint64_t, std::size_t> seen;
  for (std::size_t at : {0u, 1u, 262143u, 262144u, 307199u}) {
    std::string edited = bytes;
    edited[at] = 'y';
    Result<ListIdentity> list = IdentifyList(folder.Write("list", edited));
    ASSERT_TRUE(list.ok());
    EXPECT_TRUE(seen.emplace(list->hash, at).second) << at;
  }
}

}  // namespace
}  // namespace vespro::engine
