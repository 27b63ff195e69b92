#include "engine/journal.h"

#include <gtest/gtest.h>

#include <map>

#include "base/testing.h"

namespace vespro::engine {
namespace {

constexpr std::string_view kServer = "mail.example.com:25";
constexpr std::uint64_t kMessage = 0x0123456789abcdefu;
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
    ASSERT_TRUE(journal->Record(who, {State::kRefused, 7, nasty, nasty}).ok());
    ASSERT_TRUE(journal->Skip({4, "", nasty}, nasty, true).ok());
    ASSERT_TRUE(journal->EndRun(nasty).ok());
  }
  const std::vector<JournalEvent> events = ReadAll(folder);
  ASSERT_EQ(events.size(), 6u);
  EXPECT_EQ(events[0].list, kList);
  EXPECT_EQ(events[1].time, 1000);
  EXPECT_EQ(events[1].message, kMessage);
  EXPECT_EQ(events[2].recipient.address, nasty);
  EXPECT_EQ(events[2].outcome.server, nasty);
  EXPECT_EQ(events[3].outcome.state, State::kRefused);
  EXPECT_EQ(events[3].outcome.attempts, 7);
  EXPECT_EQ(events[3].outcome.reply, nasty);
  EXPECT_EQ(events[3].recipient.row, nasty);
  EXPECT_EQ(events[4].outcome.state, State::kSkipped);
  EXPECT_EQ(events[4].recipient.row, nasty);
  EXPECT_EQ(events[5].reason, nasty);
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

// What a run may claim after the power went: cut after any byte, each line stands as the last whole
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
    ASSERT_TRUE(journal->PutBack({&two[1], 1}).ok());
    ASSERT_TRUE(journal->Sending({&two[1], 1}, kServer).ok());
    ASSERT_TRUE(journal->Record(two[1], {State::kRefused, 2, std::string(kServer), "550 ."}).ok());
    ASSERT_TRUE(journal->Skip(Person(3), "no address", true).ok());
    ASSERT_TRUE(journal->EndRun("done").ok());
  }
  const std::string whole = folder.Read("journal");
  std::vector<std::size_t> ends;  // where each line's checksum is complete
  for (std::size_t at = 0; (at = whole.find('\n', at)) != std::string::npos; ++at)
    ends.push_back(at);
  ASSERT_EQ(ends.size(), 11u);

  for (std::size_t cut = 0; cut <= whole.size(); ++cut) {
    Overwrite(folder, std::string_view(whole).substr(0, cut));
    Result<Journal> journal = OpenIn(folder);
    ASSERT_TRUE(journal.ok()) << cut << ": " << journal.status().text();
    const auto has = [&](std::size_t line) { return cut >= ends[line]; };
    const LineStates& states = journal->states();
    EXPECT_EQ(states.InDoubt(1), has(3) && !has(5)) << cut;
    EXPECT_EQ(states.OutcomeOf(1).has_value(), has(5)) << cut;
    EXPECT_EQ(states.InDoubt(2), (has(4) && !has(6)) || (has(7) && !has(8))) << cut;
    EXPECT_EQ(states.OutcomeOf(2).has_value(), has(8)) << cut;
    EXPECT_EQ(states.OutcomeOf(3).has_value(), has(9)) << cut;
    EXPECT_LE(journal->damaged(), 1u) << cut;

    ASSERT_TRUE(journal->Record(Person(7), {State::kSent, 1, "", ""}).ok());
    ASSERT_TRUE(journal->Commit().ok());
    Result<Journal> again = OpenIn(folder);
    ASSERT_TRUE(again.ok()) << cut;
    EXPECT_EQ(again->states().OutcomeOf(7), State::kSent) << cut;
    EXPECT_EQ(again->states().Count(State::kSent), has(5) ? 2u : 1u) << cut;
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
  }
  std::string bytes = folder.Read("journal");
  const std::size_t list_line = bytes.find('\n') + 1;
  std::string no_list = bytes, no_line = bytes;
  no_list[bytes.find('\n', list_line) - 1] ^= 1;
  std::replace(no_line.begin(), no_line.end(), '\t', ' ');
  for (const std::string& damaged : {no_list, no_line}) {
    Overwrite(folder, damaged);
    const Status status = OpenIn(folder).status();
    EXPECT_EQ(status.code(), Code::kBadInput);
    EXPECT_NE(status.text().find("--fresh"), std::string::npos) << status.text();
    EXPECT_EQ(folder.Read("journal"), damaged);
  }
}

TEST(JournalTest, DamagedLinesArePassedOver) {
  TemporaryFolder folder;
  {
    Result<Journal> journal = OpenIn(folder);
    ASSERT_TRUE(journal.ok());
    for (std::uint64_t line = 1; line <= 3; ++line) {
      ASSERT_TRUE(journal->Record(Person(line), {State::kSent, 1, "", ""}).ok());
    }
  }
  const std::string whole = folder.Read("journal");
  const std::size_t first = whole.find("\nO\t1") + 1, second = whole.find("\nO\t2") + 1;
  for (std::size_t at = first; at + 1 < second; ++at) {
    std::string bytes = whole;
    bytes[at] = static_cast<char>(bytes[at] ^ 0x10);
    Overwrite(folder, bytes);
    Result<Journal> journal = OpenIn(folder);
    ASSERT_TRUE(journal.ok());
    EXPECT_EQ(journal->damaged(), 1u) << at;
    EXPECT_EQ(journal->states().OutcomeOf(1), std::nullopt) << at;
    EXPECT_EQ(journal->states().Count(State::kSent), 2u) << at;
  }
}

TEST(JournalTest, AnotherListOrVersionIsRefusedUntilFresh) {
  TemporaryFolder folder;
  folder.Write("journal", "vespro-journal 2\n");
  EXPECT_EQ(OpenIn(folder).status().code(), Code::kBadInput);
  folder.Write("journal", "Dear diary\n");
  EXPECT_EQ(OpenIn(folder).status().code(), Code::kBadInput);
  ASSERT_TRUE(OpenIn(folder, true).ok());
  EXPECT_EQ(folder.Read("journal.old"), "Dear diary\n");
  ASSERT_TRUE(OpenIn(folder).ok());

  const SystemClock clock;
  ListIdentity edited = kList;
  ++edited.hash;
  Result<Journal> other = Journal::Open(folder.path(), edited, false, clock);
  EXPECT_EQ(other.status().code(), Code::kBadInput);
  EXPECT_NE(other.status().text().find("--fresh"), std::string::npos) << other.status().text();
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
