// The reports' pages, made from a journal alone.
#include "engine/report.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "base/testing.h"
#include "base/text.h"
#include "engine/report_reader.h"

namespace vespro::engine {
namespace {

// "p7@x.org" on line 7, and so on.
class Rest final : public WorkSource {
 public:
  Rest(std::uint64_t first, std::uint64_t count) : next_(first), end_(first + count) {}
  Result<std::vector<Recipient>> Next(std::size_t max) override {
    std::vector<Recipient> people;
    for (; people.size() < max && next_ < end_; ++next_) {
      people.push_back({next_, "p" + std::to_string(next_) + "@x.org", ""});
    }
    return people;
  }

 private:
  std::uint64_t next_, end_;
};

class ReportTest : public ::testing::Test {
 protected:
  void SetUp() override {
    list_.lines = 30'000;
    Result<Journal> journal = Journal::Open(folder_.path(), list_, false, clock_);
    ASSERT_TRUE(journal.ok()) << journal.status().text();
    journal_.emplace(std::move(journal).value());
  }

  // So many in a row; those that are skipped as duplicates, unless they are to be mended.
  void Add(State state, int count, bool mend = false) {
    for (int i = 0; i < count; ++i) {
      ++line_;
      const std::string address = std::string(StateName(state)) + std::to_string(line_) + "@x.org";
      const Recipient person{line_, address, state == State::kSent ? "" : address};
      const Status written =
          state == State::kSkipped
              ? journal_->Skip(person, "a reason", mend)
              : journal_->Record(person, {state, 1, "mail.x.org:25", "the server's words"});
      ASSERT_TRUE(written.ok()) << written.text();
    }
  }

  // `not_reached`: so many people of the list after the others.
  void Write(std::size_t per_page, std::uint64_t not_reached = 0) {
    ASSERT_TRUE(journal_->Commit().ok());
    Result<ReportCounts> counts = CountJournal(folder_.path());
    ASSERT_TRUE(counts.ok()) << counts.status().text();
    counts->by_state[static_cast<std::size_t>(State::kNotReached)] = not_reached;
    ReportFacts facts;
    facts.not_reached = [&](const LineStates&) -> Result<std::unique_ptr<WorkSource>> {
      return std::unique_ptr<WorkSource>(std::make_unique<Rest>(line_ + 1, not_reached));
    };
    facts.subject = "News";
    facts.list.kind = ListKind::kCsv;
    facts.entries_per_page = per_page;
    const Status written = WriteReports(folder_.path(), facts, counts.value());
    ASSERT_TRUE(written.ok()) << written.text();
  }

  std::string Page(int number) const {
    return folder_.Read(number == 1 ? "report.html" : "report-" + std::to_string(number) + ".html");
  }
  bool HasPage(int number) const {
    return ModFiles::IsFile(folder_ / ("report-" + std::to_string(number) + ".html"));
  }

  TemporaryFolder folder_;
  FixedClock clock_{std::chrono::system_clock::time_point(std::chrono::seconds(1'700'000'000))};
  ListIdentity list_;
  std::optional<Journal> journal_;
  std::uint64_t line_ = 0;
};

std::size_t Count(std::string_view text, std::string_view what) {
  std::size_t count = 0;
  for (std::size_t at = text.find(what); at != std::string_view::npos; at = text.find(what, at + 1))
    ++count;
  return count;
}

// The addresses in the order of the page.
std::vector<std::string> PeopleOn(const std::string& page) {
  constexpr std::string_view kRow = "<th scope=\"row\">";
  std::vector<std::string> people;
  for (std::size_t at = page.find(kRow); at != std::string::npos; at = page.find(kRow, at)) {
    at += kRow.size();
    people.push_back(page.substr(at, page.find('<', at) - at));
  }
  return people;
}

// What a link leads to: the first rows after its anchor, on its page.
std::string FirstBehind(const std::string& page, std::string_view state) {
  const std::size_t group = page.find("<tbody id=\"" + std::string(state) + "\"");
  return group == std::string::npos ? "" : PeopleOn(page.substr(group)).at(0);
}

TEST_F(ReportTest, EveryStateIsALinkToItsFirstRows) {
  Add(State::kSent, 5);
  Add(State::kSkipped, 2);
  Add(State::kUnknown, 1);
  Add(State::kSkipped, 1, true);
  Add(State::kRefused, 4);
  Add(State::kFailed, 2);
  Write(4);
  // refused 10-13; failed 14 15, unknown 8, skipped 9; skipped 6 7, sent 1 2; sent 3 4 5
  EXPECT_EQ(PeopleOn(Page(2)), (std::vector<std::string>{"failed14@x.org", "failed15@x.org",
                                                         "unknown8@x.org", "skipped9@x.org"}));
  const struct {
    const char* link;
    int page;
    const char* state;
    const char* first;
  } kLinks[] = {
      {"report.html#refused\">4 refused", 1, "refused", "refused10@x.org"},
      {"report-2.html#failed\">2 failed", 2, "failed", "failed14@x.org"},
      {"report-2.html#unknown\">1 unknown", 2, "unknown", "unknown8@x.org"},
      {"report-2.html#skipped\">3 skipped", 2, "skipped", "skipped9@x.org"},
      {"report-3.html#sent\">5 sent", 3, "sent", "sent1@x.org"},
  };
  for (const auto& [link, page, state, first] : kLinks) {
    for (const int from : {1, 2, 3, 4}) {
      EXPECT_NE(Page(from).find(link), std::string::npos) << link << " on page " << from;
    }
    EXPECT_EQ(FirstBehind(Page(page), state), first);
  }
  // Whoever looks at one state goes on with it: it ends on page 1, or continues on the next.
  EXPECT_EQ(Page(1).find(">More "), std::string::npos);
  EXPECT_NE(Page(2).find("<a href=\"report-3.html#skipped\">More skipped"), std::string::npos);
  EXPECT_NE(Page(3).find("<a href=\"report-4.html#sent\">More sent"), std::string::npos);
  EXPECT_EQ(FirstBehind(Page(3), "skipped"), "skipped6@x.org");
  EXPECT_NE(Page(1).find("15 recipients"), std::string::npos);
  EXPECT_NE(Page(2).find("<caption>Recipients 5 to 8 of 15"), std::string::npos);
  EXPECT_FALSE(HasPage(5));
}

TEST_F(ReportTest, ALargeJobLeavesAllProblemsAndFewPages) {
  Add(State::kSent, 9'000);
  Add(State::kSkipped, 4'000);
  Add(State::kSkipped, 10, true);
  Add(State::kRefused, 990);
  Write(500);
  std::map<std::string, std::size_t> shown;
  int pages = 0;
  for (int number = 1; number == 1 || HasPage(number); ++number) {
    ++pages;
    for (const char* state : {"refused", "skipped", "sent"}) {
      shown[state] += Count(Page(number), ">" + std::string(state) + "</b>");
    }
  }
  EXPECT_EQ(pages, 22);
  EXPECT_EQ(shown["refused"], 990u);
  EXPECT_EQ(shown["skipped"], 4'010u);
  EXPECT_EQ(shown["sent"], 6'000u) << "10,000 who are no problem, in all";
  for (const int number : {1, 22}) {
    EXPECT_NE(Page(number).find("All 14,000 are in <a href=\"report.txt\">"), std::string::npos);
  }
  EXPECT_EQ(Count(folder_.Read("report.txt"), "@x.org\t"), 14'000u);
}

// Whatever goes wrong with a million recipients, a folder does not get a file for each of them.
TEST_F(ReportTest, ProblemsHaveNoMoreThanAThousandPages) {
  Add(State::kSent, 1'005);
  Add(State::kFailed, 10);
  Add(State::kSkipped, 20, true);
  Add(State::kRefused, 985);
  Write(1);
  EXPECT_TRUE(HasPage(2'000));
  EXPECT_FALSE(HasPage(2'001));
  std::map<std::string, int> shown;
  for (int number = 1; number <= 2'000; ++number) {
    const std::vector<std::string> people = PeopleOn(Page(number));
    ASSERT_EQ(people.size(), 1u) << number;
    ++shown[people[0].substr(0, people[0].find_first_of("0123456789"))];
  }
  EXPECT_EQ(shown, (std::map<std::string, int>{
                       {"refused", 985}, {"failed", 10}, {"skipped", 5}, {"sent", 1'000}}));
  EXPECT_NE(Page(1).find("at most 1,000 pages of them"), std::string::npos);
  EXPECT_EQ(Count(folder_.Read("report.txt"), "@x.org\t"), 2'020u);
}

TEST_F(ReportTest, AStateWithoutARowOnAnyPageLeadsToTheText) {
  Add(State::kSent, 1);
  Add(State::kSkipped, 10'001);
  Write(500);
  EXPECT_NE(Page(1).find("href=\"report.txt\">1 sent<"), std::string::npos);
  EXPECT_EQ(FirstBehind(Page(1), "skipped"), "skipped2@x.org");
  EXPECT_FALSE(HasPage(21));
}

TEST_F(ReportTest, NobodyIsAPageAsWell) {
  Write(100);
  EXPECT_NE(Page(1).find("0 recipients"), std::string::npos);
  EXPECT_EQ(Count(Page(1), "<tbody"), 0u);
}

TEST_F(ReportTest, TheTextIsReadAsItWasWritten) {
  Add(State::kSent, 2);
  Add(State::kSkipped, 1);
  Add(State::kFailed, 1);
  ASSERT_TRUE(journal_->BeginRun(1).ok());
  Write(100);
  Result<ReportReader> reader = ReportReader::Open(folder_ / "report.txt");
  ASSERT_TRUE(reader.ok()) << reader.status().text();
  EXPECT_EQ(reader->head().subject, "News");
  EXPECT_EQ(reader->head().started_at, 1'700'000'000) << reader->head().started;
  EXPECT_EQ(reader->head().Total(), 4u);
  EXPECT_EQ(reader->head().Of(State::kSent), 2u);
  EXPECT_EQ(reader->head().accounts,
            (decltype(reader->head().accounts){{"Account", "mail.x.org:25 sent 2 failed 1"}}));
  std::string rows;
  for (ReportRow row; reader->Next(row);) {
    rows.append(row.address).append("|").append(StateName(row.state)).append("|");
    rows.append(row.attempts).append("|").append(row.server).append("|").append(row.reply) += "\n";
  }
  EXPECT_TRUE(reader->status().ok()) << reader->status().text();
  EXPECT_EQ(rows,
            "sent1@x.org|sent|1|mail.x.org:25|the server's words\n"
            "sent2@x.org|sent|1|mail.x.org:25|the server's words\n"
            "skipped3@x.org|skipped|0||line 3: a reason\n"
            "failed4@x.org|failed|1|mail.x.org:25|the server's words\n");
}

// They are named after the problems, with what a server said of them, and are nothing to correct.
TEST_F(ReportTest, WhoWasNotReachedIsNamed) {
  Add(State::kSent, 2);
  Add(State::kRefused, 1);
  const Recipient waiting{4, "p4@x.org", ""};
  ASSERT_TRUE(journal_->PutBack(waiting, {2, "mx.x.org:25", "450 4.7.1 later"}).ok());
  Write(3, 10'050);
  const std::string text = folder_.Read("report.txt");
  EXPECT_NE(text.find("unknown: 0\r\nnot reached: 10050\r\n"), std::string::npos);
  EXPECT_NE(text.find("p4@x.org\tnot reached\t2\tmx.x.org:25\t450 4.7.1 later\r\n"
                      "p5@x.org\tnot reached\t0\t\t\r\n"),
            std::string::npos);
  EXPECT_TRUE(text.ends_with("p10053@x.org\tnot reached\t0\t\t\r\n"));
  EXPECT_EQ(PeopleOn(Page(1)),
            (std::vector<std::string>{"refused3@x.org", "p4@x.org", "p5@x.org"}));
  EXPECT_NE(Page(1).find("<strong>10,053 recipients</strong>"), std::string::npos);
  EXPECT_NE(Page(1).find("<a class=\"key not-reached\" href=\"report.html#not-reached\">10,050 not "
                         "reached</a>"),
            std::string::npos);
  EXPECT_EQ(FirstBehind(Page(1), "not-reached"), "p4@x.org");
  EXPECT_NE(Page(1).find("href=\"report.txt\">2 sent"), std::string::npos) << "no room for them";
  EXPECT_EQ(folder_.Read("failed.csv").find("p4"), std::string::npos);
  Result<ReportReader> reader = ReportReader::Open(folder_ / "report.txt");
  ASSERT_TRUE(reader.ok()) << reader.status().text();
  EXPECT_EQ(reader->head().Of(State::kNotReached), 10'050u);
  std::uint64_t rows = 0;
  for (ReportRow row; reader->Next(row);) rows += row.state == State::kNotReached ? 1 : 0;
  EXPECT_EQ(rows, 10'050u);
}

// What came first explains the delay; the same words are not said twice.
TEST_F(ReportTest, ADeferralIsShownWithWhatCameOfIt) {
  const Deferral later{1, "mx.x.org:25", "450 4.7.1 <greylisted>"};
  const Recipient people[] = {
      {1, "ann@x.org", ""}, {2, "bob@x.org", "bob@x.org"}, {3, "cid@x.org", "cid@x.org"}};
  for (const Recipient& person : people) {
    ASSERT_TRUE(journal_->PutBack(person, {1, "mx.x.org:25", "421 busy"}).ok());
    ASSERT_TRUE(journal_->PutBack(person, later).ok());
  }
  ASSERT_TRUE(journal_->Record(people[0], {State::kSent, 3, "mx.x.org:25", "250 ok"}).ok());
  ASSERT_TRUE(journal_->Record(people[1], {State::kFailed, 3, "mx.x.org:25", later.reply}).ok());
  // The third one still waits: a run that is stopped says nothing of him.
  Write(100);
  const std::string text = folder_.Read("report.txt");
  EXPECT_NE(text.find("ann@x.org\tsent\t3\tmx.x.org:25\t250 ok (deferred before: 450 4.7.1 "
                      "<greylisted>, mx.x.org:25)\r\n"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("bob@x.org\tfailed\t3\tmx.x.org:25\t450 4.7.1 <greylisted>\r\n"),
            std::string::npos)
      << text;
  EXPECT_EQ(text.find("cid"), std::string::npos);
  EXPECT_NE(Page(1).find("(deferred before: 450 4.7.1 &lt;greylisted&gt;"), std::string::npos);
  EXPECT_EQ(folder_.Read("failed.csv").find("deferred"), std::string::npos);
}

// An editor or a spreadsheet may have been at it.
TEST_F(ReportTest, ATextThatIsNoReportIsRefusedAndADamagedOneTold) {
  for (const char* text : {"", "\r\n", "hello", "From: x\r\n\r\n", "Subject: x\r\nno colon\r\n\r\n",
                           "Subject: x\r\nFrom: y\r\n"}) {
    folder_.Write("report.txt", text);
    EXPECT_EQ(ReportReader::Open(folder_ / "report.txt").status().code(), Code::kBadInput) << text;
  }
  folder_.Write("report.txt",
                "Subject: \x1b[2Jx\nStarted: 2023-13-14 99:99:99 +0000\nsent: 1x\nrefused: 3\n"
                "Colour: new\n\na@x.org\tsent\t\t\t\nb@x.org\tsent\t1\n");
  Result<ReportReader> reader = ReportReader::Open(folder_ / "report.txt");
  ASSERT_TRUE(reader.ok()) << reader.status().text();
  EXPECT_EQ(reader->head().subject, "?[2Jx") << "nothing for a terminal to obey";
  EXPECT_EQ(reader->head().started_at, 0);
  EXPECT_EQ(reader->head().Total(), 3u);
  ReportRow row;
  ASSERT_TRUE(reader->Next(row));
  EXPECT_EQ(row.address, "a@x.org");
  EXPECT_EQ(row.reply, "");
  EXPECT_FALSE(reader->Next(row));
  EXPECT_NE(reader->status().text().find("line 8"), std::string::npos) << reader->status().text();
}

// Relative luminance and contrast as WCAG 2 defines them.
double Luminance(const std::string& color) {  // "#rrggbb" or "#rgb"
  const std::size_t digits = color.size() > 4 ? 2 : 1;
  double sum = 0;
  for (std::size_t i = 0; i < 3; ++i) {
    std::string part = color.substr(1 + i * digits, digits);
    if (digits == 1) part += part;
    const double share = std::stoi(part, nullptr, 16) / 255.0;
    const double linear = share <= 0.03928 ? share / 12.92 : std::pow((share + 0.055) / 1.055, 2.4);
    sum += linear * (i == 0 ? 0.2126 : i == 1 ? 0.7152 : 0.0722);
  }
  return sum;
}
double Contrast(const std::string& a, const std::string& b) {
  const double la = Luminance(a), lb = Luminance(b);
  return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

// The colour that the first rule for `selector` gives the property; a failure when it gives none.
std::string ColorOf(const std::string& style, const std::string& selector,
                    const std::string& property) {
  const std::size_t rule = style.find(selector);
  const std::size_t open = style.find('{', rule);
  const std::string body = style.substr(open, style.find('}', open) - open);
  for (const char* before : {"{", ";"}) {
    const std::size_t at = body.find(before + property + ":#");
    if (rule == std::string::npos || at == std::string::npos) continue;
    const std::size_t value = at + 1 + property.size() + 1;
    return body.substr(value, body.find(';', value) - value);
  }
  ADD_FAILURE() << "no " << property << " for " << selector;
  return "#000";
}

TEST_F(ReportTest, ColoursStandOutInBothLooks) {
  Add(State::kSent, 1);
  Write(100);
  const std::string page = Page(1);
  const std::size_t dark = page.find("(prefers-color-scheme:dark)");
  ASSERT_NE(dark, std::string::npos);
  for (const std::string& look : {page.substr(page.find("<style>"), dark), page.substr(dark)}) {
    const std::string ground = ColorOf(look, "body{", "background");
    EXPECT_GE(Contrast(ColorOf(look, "body{", "color"), ground), 4.5);
    EXPECT_GE(Contrast(ColorOf(look, "a{color", "color"), ground), 4.5);
    EXPECT_GE(Contrast(ColorOf(look, "dt,.hint", "color"), ground), 4.5);
    const std::string letters = ColorOf(look, ".key,td b{", "color");
    for (const char* state : {"sent", "refused", "failed", "skipped", "unknown", "not-reached"}) {
      const std::string color = ColorOf(look, std::string(".bar .") + state, "background");
      EXPECT_GE(Contrast(letters, color), 4.5) << state;
      EXPECT_GE(Contrast(ground, color), 3.0) << state;
    }
  }
}

}  // namespace
}  // namespace vespro::engine
