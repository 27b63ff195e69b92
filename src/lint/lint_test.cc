#include "lint/lint.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <functional>
#include <random>
#include <set>

#include "base/clock.h"
#include "base/files.h"
#include "base/testing.h"
#include "base/text.h"
#include "engine/list_source.h"
#include "engine/template.h"
#include "lint/list_check.h"
#include "merge/custom_words.h"
#include "recipients/testing.h"

namespace vespro::lint {
namespace {

// A mail and a list in which nothing is wrong.
struct Sample {
  std::string subject = "News for #FIRST_NAME";
  std::string text = "Dear #FIRST_NAME, see you in #TOWN.";
  std::string html =
      "<p style='color: #AA3311'>Dear #FIRST_NAME, see you in #TOWN.</p><img src='cid:logo.png'>";
  std::string picture = "logo.png";  // embedded; empty: none
  std::string from = "choir@club.example";
  std::string list =
      "E-Mail,First Name,Town,Note\r\nann@example.org,Ann,Hull,\r\nbob@example.org,Bob,York,x\r\n";
  std::string list_name = "list.csv";
  std::vector<std::string> words = {};
  int bcc_mode = 0;
  std::vector<Account> accounts = {{"smtp.club.example", "choir@club.example"}};
  std::string unsubscribe_url = {};
  std::string padding = {};  // an attachment
};

std::string MessageFile(const Sample& sample) {
  std::string parts;
  const auto part = [&parts](const std::string& head, const std::string& body) {
    parts += "--b\r\n" + head + "\r\n\r\n" + body + "\r\n";
  };
  if (!sample.text.empty()) part("Content-Type: text/plain; charset=utf-8", sample.text);
  if (!sample.html.empty()) part("Content-Type: text/html; charset=utf-8", sample.html);
  if (!sample.picture.empty()) {
    part("Content-Type: image/png; name=" + sample.picture + "\r\nContent-ID: <" + sample.picture +
             ">\r\nContent-Disposition: inline; filename=" + sample.picture,
         "png");
  }
  if (!sample.padding.empty()) {
    part("Content-Type: application/pdf\r\nContent-Disposition: attachment; filename=a.pdf",
         sample.padding);
  }
  return "TO: \r\nFROM: " + sample.from + "\r\nMIME-Version: 1.0\r\nSubject: " + sample.subject +
         "\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n" + parts + "--b--\r\n";
}

// Hundreds of files: none waits for the disk.
std::filesystem::path Put(const std::filesystem::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
  return path;
}

class LintTest : public ::testing::Test {
 protected:
  Result<Report> Lint(const Sample& sample) {
    const std::string name = std::to_string(++number_) + sample.list_name;
    Mail mail;
    mail.message_file = Put(folder_ / "Vespro.eml", MessageFile(sample));
    std::string words;
    for (const std::string& word : sample.words) words += word + "\r\n";
    Put(folder_ / ModMailMerge::kWordsFile, words);
    const std::filesystem::path list = Put(folder_ / name, sample.list);
    mail.list.path = ModFiles::ToUtf8(list);
    mail.list.kind = ModDistribution::KindOf(sample.list_name);
    mail.list.header = mail.list.kind == ListKind::kCsv;
    mail.bcc_mode = sample.bcc_mode;
    mail.accounts = sample.accounts;
    mail.unsubscribe.url = sample.unsubscribe_url;
    return Check(mail, randomness_);
  }
  TemporaryFolder folder_;
  CountingRandomness randomness_;
  int number_ = 0;
};

// "error unknown-word #NAMME 2:3,5" and so on: the rows' count and first lines, where there are
// any.
std::vector<std::string> Summary(const Report& report) {
  std::vector<std::string> lines;
  for (const Finding& finding : report.findings) {
    std::string line = std::string(SeverityName(finding.severity)) + " " + std::string(finding.id);
    if (!finding.subject.empty()) line += " " + finding.subject;
    if (finding.rows.count > 0) line += " " + std::to_string(finding.rows.count);
    for (const Rows::Row& row : finding.rows.first) line += " @" + std::to_string(row.line);
    lines.push_back(line);
  }
  return lines;
}

using Lines = std::vector<std::string>;

TEST_F(LintTest, EachPlantedFaultIsFoundAndNoOther) {
  const std::string head = "E-Mail,First Name,Town,Note\r\n";
  const struct {
    const char* why;
    std::function<void(Sample&)> plant;
    Lines found;
  } kFaults[] = {
      {"nothing is wrong", [](Sample&) {}, {}},
      {"a misspelt word, in the subject and a text",
       [](Sample& s) { s.subject = s.text = "Dear #FRIST_NAME"; },
       {"error unknown-word #FRIST_NAME"}},
      {"a word that only the HTML has",
       [](Sample& s) { s.html += "<b>#CITY</b>"; },
       {"error unknown-word #CITY"}},
      {"a word in an alt text and one that goes on",
       [](Sample& s) { s.html += "<img alt='#LOGO' src='https://example.org/a.png'>#TOWNS"; },
       {"error unknown-word #LOGO", "error unknown-word #TOWNS"}},
      {"a list of plain addresses fills nothing",
       [](Sample& s) { s.list_name = "list.txt", s.list = "ann@example.org\r\n"; },
       {"error unknown-word #FIRST_NAME", "error unknown-word #TOWN"}},
      {"a word in small letters beside its column",
       [](Sample& s) { s.text += " #First_name"; },
       {"warning small-word #First_name"}},
      {"a misspelt word where a link has a value",
       [](Sample& s) { s.html += "<a href='https://example.org/?id=#MEMBER&b=1'>x</a>"; },
       {"warning link-word #MEMBER"}},
      {"turbo mode fills nothing",
       [](Sample& s) { s.bcc_mode = 100; },
       {"error turbo-word #FIRST_NAME", "error turbo-word #TOWN"}},
      {"turbo mode and a link for one person",
       [](Sample& s) {
         s.bcc_mode = 100, s.subject = s.text = "News";
         s.html = "<a href='https://example.org/?t=#TOWN'>x</a><img src=cid:logo.png>";
       },
       {"error turbo-word #TOWN", "error turbo-link"}},
      {"turbo mode and a way out for one person",
       [](Sample& s) {
         s.bcc_mode = 100, s.subject = s.text = "News", s.html = "<img src=cid:logo.png>";
         s.unsubscribe_url = "https://example.org/{address}";
       },
       {"error turbo-link"}},
      {"a column hides an own word",
       [](Sample& s) { s.words = {"Town"}; },
       {"warning hidden-word #TOWN"}},
      {"an own word is not in the mail",
       [](Sample& s) { s.words = {"Best regards"}; },
       {"note unused-word #BEST REGARDS"}},
      {"semicolons",
       [](Sample& s) { s.list = "E-Mail;First Name\r\nann@example.org;Ann\r\n"; },
       {"error separator"}},
      {"tabs, and commas in a cell",
       [](Sample& s) { s.list = "E-Mail\tFirst, Last\r\nann@example.org\tAnn, Lee\r\n"; },
       {"error separator"}},
      {"nobody",
       [&](Sample& s) { s.list = head + "\r\nAnn,Ann,Hull,\r\n"; },
       {"error no-recipients", "warning bad-address 1 @3"}},
      {"rows without an address, but not the empty ones",
       [&](Sample& s) { s.list += ",Eve,Hull,\r\n\r\n,,,\r\n\"\",Ed,Hull,\r\n"; },
       {"warning no-address 2 @4 @7"}},
      {"addresses that can't be right",
       [&](Sample& s) { s.list += "a@b@c,A,B,\r\nd e@f.org,A,B,\r\nme,A,B,\r\n"; },
       {"warning bad-address 3 @4 @5 @6"}},
      {"the same address in capitals",
       [](Sample& s) { s.list += "ANN@example.org,Ann,Hull,\r\n"; },
       {"note duplicate 1 @4"}},
      {"a value that some lack, and only who gets a mail counts",
       [](Sample& s) {
         s.list += "eve@example.org, ,\"\",\r\nbob@example.org,,,\r\nio@example.org\r\n";
       },
       {"warning empty-field #FIRST_NAME 2 @4 @6", "warning empty-field #TOWN 2 @4 @6",
        "note duplicate 1 @5"}},
      {"commas in quotes, before and after what is used",
       [](Sample& s) {
         s.list +=
             "eve@example.org,\"Eve, dear\",Hull,\r\nio@example.org,Io,Hull,\"a, \"\"b\"\"\"\r\n";
       },
       {"warning quoted-comma 1 @4", "note quoted-comma 1 @5"}},
      {"a line break in quotes",
       [](Sample& s) { s.list += "eve@example.org,Eve,Hull,\"a\r\nb\"\r\n"; },
       {"warning bad-address 1 @5", "warning line-break 1 @4"}},
      {"a comma without quotes",
       [](Sample& s) { s.list += "eve@example.org,Eve,Hull,a,b\r\n"; },
       {"warning long-row 1 @4"}},
      {"no subject", [](Sample& s) { s.subject = " "; }, {"warning no-subject"}},
      {"HTML alone", [](Sample& s) { s.text = " \r\n"; }, {"warning no-text"}},
      {"pictures on the sender's disk",
       [](Sample& s) {
         s.html +=
             "<img src=logo.png><td background='C:\\a.png' style='background: url(\"b.png\")'>"
             "<img src='https://example.org/c.png'><img src='#TOWN.png'>";
       },
       {"warning local-picture logo.png", "warning local-picture C:\\a.png",
        "warning local-picture b.png"}},
      {"a picture that is not there, and one that is shown nowhere",
       [](Sample& s) { s.html = "<img src='cid:banner.png'>"; },
       {"warning missing-picture cid:banner.png", "warning unused-picture logo.png"}},
      {"a large mail",
       [](Sample& s) {
         for (int i = 0; i < 190'000; ++i)
           s.padding += "A line of fifty-eight bytes in a large attachment of text\r\n";
       },
       {"warning large"}},
      {"a sender of another domain",
       [](Sample& s) { s.from = "me@mail.example"; },
       {"warning from-domain me@mail.example"}},
  };
  for (const auto& fault : kFaults) {
    Sample sample;
    fault.plant(sample);
    const Result<Report> report = Lint(sample);
    ASSERT_TRUE(report.ok()) << fault.why << ": " << report.status().text();
    EXPECT_EQ(Summary(report.value()), fault.found) << fault.why;
    for (const Finding& finding : report->findings) {
      // A word or a file is named in the text, not only beside it.
      EXPECT_NE(finding.text.find(finding.subject), std::string::npos) << finding.text;
      EXPECT_EQ(finding.text.find('\n'), std::string::npos) << finding.text;
    }
  }
}

TEST_F(LintTest, WhatIsNoMergeWord) {
  Sample sample;
  sample.text =
      "#hashtag #CamelCase #1 # #- #FF6600 #fff #FFF #AABBCC https://example.org/a#NEWS "
      "www.example.org/#TOP C# &#65; #\xE6\x98\xA5\xE8\x8A\x82 #TOWN-hall, #TOWN.";
  sample.html =
      "<style>#HEAD { color: #ABCDEF }</style><a href='#TOP'>a</a><a href=https://e.org/#END>b</a>"
      "<td bgcolor='#FACADE' style='color: #BEEF'>&#65;&#x42;</td><img usemap=#MAP "
      "src=cid:logo.png>"
      "<script>#X</script><!DOCTYPE #Y>";
  const Result<Report> report = Lint(sample);
  ASSERT_TRUE(report.ok());
  EXPECT_EQ(Summary(report.value()), Lines{});
}

TEST_F(LintTest, TheWordThatIsMeantIsNamed) {
  const struct {
    const char *word, *meant;
  } kCases[] = {
      {"#FIRSTNAME", "#FIRST_NAME"},
      {"#FIRST", "#FIRST_NAME"},
      {"#FIRST-NAME", "#FIRST_NAME"},
      {"#TWON", "#TOWN"},
      {"#TOWNS", "#TOWN"},
      {"#TOW", "#TOWN"},
      {"#SALUTATION", ""},
      {"#BEST_REGARDS", "#BEST REGARDS"},
  };
  for (const auto& c : kCases) {
    Sample sample;
    sample.words = {"Best regards"};
    sample.text = std::string("#FIRST_NAME #TOWN #BEST REGARDS ") + c.word;
    const Result<Report> report = Lint(sample);
    ASSERT_TRUE(report.ok());
    ASSERT_EQ(report->findings.size(), 1U) << c.word;
    const std::string& text = report->findings.front().text;
    const std::string hint = std::string("Did you mean ") + c.meant + "?";
    EXPECT_EQ(text.find("Did you mean") != std::string::npos, *c.meant != '\0') << text;
    EXPECT_TRUE(*c.meant == '\0' || text.ends_with(hint)) << text;
  }
}

// What the engine leaves in a rendered text, found without the code that looks for words: what is
// filled becomes "<...>".
std::set<std::string> LeftStanding(const std::string& rendered) {
  std::set<std::string> words;
  for (std::size_t at = 0; (at = rendered.find('#', at)) != std::string::npos;) {
    std::size_t end = ++at;
    const auto in_name = [](char c) {
      const auto byte = static_cast<unsigned char>(c);
      return std::isalnum(byte) != 0 || byte >= 0x80 || c == '_' || c == '-';
    };
    while (end < rendered.size() && in_name(rendered[end])) {
      ++end;
    }
    std::string word = rendered.substr(at, end - at);
    while (word.ends_with('-')) word.pop_back();
    const bool capitals = std::none_of(word.begin(), word.end(), [](char c) {
      // The only letter beyond ASCII here is a small one.
      return std::islower(static_cast<unsigned char>(c)) != 0 ||
             static_cast<unsigned char>(c) >= 0x80;
    });
    if (!word.empty() && std::isupper(static_cast<unsigned char>(word.front())) != 0 && capitals) {
      words.insert("#" + word);
    }
  }
  return words;
}

// In random texts, plain and HTML, the unknown words are those that are left in the sent mail.
TEST_F(LintTest, UnknownWordsAreWhatTheEngineLeaves) {
  std::mt19937 random(7);
  static const Lines kPieces = {
      "#",       "#TOWN",  "#NAME", "NAME",     "#TOW",  "#TOWN_", "_",
      "-",       "#NAME-", "9",     "A",        "a",     " ",      ", ",
      "##",      "#Q",     "#ZIP",  "\xC3\xA9", "&amp;", "\r\n",   "#!HELLO WORLD",
      "#!HELLO", "#HELLO", "WORLD", "#9",       "#N_9"};
  static const Lines kMarkup = {"<b>", "</b>", "<p class=x>", "<br/>"};
  int words_seen = 0, clean = 0;
  for (int round = 0; round < 600; ++round) {
    const bool html = round % 2 == 1;
    std::string text = "x ";
    for (std::size_t i = random() % 12; i > 0; --i) {
      const Lines& from = html && random() % 4 == 0 ? kMarkup : kPieces;
      text += from[random() % from.size()];
    }
    Sample sample;
    sample.picture.clear();
    sample.subject = "x";
    sample.words = {"!Hello world"};
    (html ? sample.html : sample.text) = text;
    (html ? sample.text : sample.html) = "x";
    sample.list = "E-Mail,Town,Name,Town_\r\nann@example.org,!,!,!\r\n";
    const Result<Report> report = Lint(sample);
    ASSERT_TRUE(report.ok()) << text;
    std::set<std::string> unknown;
    for (const Finding& finding : report->findings) {
      if (finding.id == "unknown-word") unknown.insert(finding.subject);
    }
    const SystemClock clock;
    auto prepared = engine::Template::Prepare(
        MessageFile(sample), {0, "E-Mail,Town,Name,Town_", {}, sample.words}, clock, randomness_);
    ASSERT_TRUE(prepared.ok());
    engine::RenderedMessage message;
    const engine::Recipient ann{2, "ann@example.org", "ann@example.org,!,!,!"};
    prepared.value()->Render({&ann, 1}, message);
    std::string rendered;
    for (const std::string_view piece : message.pieces) rendered += piece;
    const Result<MimePart> root = ParseMime(rendered);
    ASSERT_TRUE(root.ok());
    std::string sent = DecodedText(root->children[html ? 1 : 0]).value();
    if (html) sent = ModText::ReplaceAll(ModText::ReplaceAll(sent, "<", " <"), "&amp;", " ");
    EXPECT_EQ(unknown, LeftStanding(sent)) << text;
    words_seen += static_cast<int>(unknown.size());
    clean += unknown.empty() ? 1 : 0;
  }
  EXPECT_GT(words_seen, 300);
  EXPECT_GT(clean, 60);
}

// Rows are counted as the engine will count them, whatever the list.
TEST_F(LintTest, RowsAreThoseOfTheEngine) {
  std::mt19937 random(3);
  for (int round = 0; round < 400; ++round) {
    const bool csv = round % 2 == 0;
    const std::string bytes = RandomList(random, csv);
    const Distribution list{
        ModFiles::ToUtf8(Put(folder_ / ("list" + std::to_string(round)), bytes)),
        csv ? ListKind::kCsv : ListKind::kText, static_cast<std::int16_t>(random() % 3),
        random() % 2 == 0};
    Result<engine::ListSource> source = engine::ListSource::Open(list, {}, randomness_);
    const Result<ListFacts> facts = CheckRows(list, {}, randomness_);
    ASSERT_EQ(source.ok(), facts.ok()) << bytes;
    if (!facts.ok()) continue;
    std::uint64_t duplicates = 0, unusable = 0, without = 0;
    source->OnSkip([&](const engine::Recipient& row, std::string_view reason, bool mend) {
      if (!mend) {
        ++duplicates;
      } else if (reason.starts_with("not an address")) {
        ++unusable;
      } else if (ModRow::HoldsSomething(row.row)) {
        ++without;
      }
      return Status();
    });
    while (true) {
      const auto next = source->Next(10);
      ASSERT_TRUE(next.ok());
      if (next->empty()) break;
    }
    EXPECT_EQ(facts->people, source->given()) << bytes;
    EXPECT_EQ(facts->duplicates.count, duplicates) << bytes;
    EXPECT_EQ(facts->unusable.count, unusable) << bytes;
    EXPECT_EQ(facts->without_address.count, without) << bytes;
  }
}

TEST(RowsTest, TheFirstAreNamedAndTheRestCounted) {
  Rows rows;
  EXPECT_EQ(RowsText(rows), "");
  rows.Add(3, "ann");
  EXPECT_EQ(RowsText(rows), "line 3 (ann)");
  rows.Add(7);
  EXPECT_EQ(RowsText(rows), "lines 3 (ann) and 7");
  for (std::uint64_t line = 8; line < 20; ++line) rows.Add(line);
  EXPECT_EQ(RowsText(rows), "lines 3 (ann), 7, 8, 9, 10 and 9 more");
}

}  // namespace
}  // namespace vespro::lint
