#include "recipients/load.h"

#include <algorithm>
#include <random>
#include <set>

#include "base/lines.h"
#include "base/testing.h"
#include "recipients/testing.h"

namespace vespro {
namespace {

using ModRecipients::LoadAndDeduplicate;
using ModRecipients::Loaded;

std::string Repeat(std::string_view text, int times) {
  std::string out;
  for (int i = 0; i < times; ++i) out += text;
  return out;
}

std::vector<std::uint64_t> LinesOf(const ModRecipients::OddRows& rows) {
  std::vector<std::uint64_t> lines;
  for (const auto& row : rows.first) lines.push_back(row.line);
  return lines;
}

class LoadTest : public testing::Test {
 protected:
  Result<Loaded> Load(std::string_view bytes, ListKind kind, std::int16_t column = 0,
                      bool header = false) {
    const std::filesystem::path path = folder.Write("list", bytes);
    return LoadAndDeduplicate({ModFiles::ToUtf8(path), kind, column, header});
  }
  TemporaryFolder folder;
};

// The same rules, written for the eye: one line after the other, a set of strings.
struct Twin {
  std::string file;
  std::string duplicate_addresses;
  std::uint64_t distinct = 0, duplicates = 0;
  std::vector<std::uint64_t> without_address_lines;
};

Twin SlowTwin(std::string_view bytes, const Distribution& list) {
  Twin twin;
  std::set<std::string> seen;
  std::string_view rest = bytes;
  if (rest.starts_with("\xEF\xBB\xBF")) {
    twin.file = "\xEF\xBB\xBF";
    rest.remove_prefix(3);
  }
  const bool csv = list.kind == ListKind::kCsv;
  std::string_view line;
  for (std::uint64_t number = 1; NextLine(rest, line); ++number) {
    if (number == 1 && csv && list.header) {
      if (!line.empty()) twin.file.append(line).append("\r\n");
      continue;
    }
    std::string address;
    const ModRow::Found found = ModRow::AddressOf(line, list.kind, list.column, address);
    if (found != ModRow::Found::kAddress) {
      const bool is_blank = line.find_first_not_of(" ,\"'") == std::string_view::npos;
      if (csv && !is_blank) twin.without_address_lines.push_back(number);
      continue;
    }
    if (seen.insert(address).second) {
      ++twin.distinct;
      twin.file.append(csv ? std::string(line) : address).append("\r\n");
    } else {
      ++twin.duplicates;
      twin.duplicate_addresses.append(address).append("\n");
    }
  }
  if (twin.duplicates == 0) twin.file = bytes;
  return twin;
}

TEST_F(LoadTest, AgreesWithItsSlowTwin) {
  std::mt19937 random(20260);
  int rewritten = 0;
  for (int round = 0; round < 400; ++round) {
    const bool csv = round % 2 == 0;
    const std::string bytes = RandomList(random, csv);
    if (bytes.empty()) continue;
    Distribution list{ModFiles::ToUtf8(folder / "list"), csv ? ListKind::kCsv : ListKind::kText,
                      static_cast<std::int16_t>(csv ? random() % 3 : 0), random() % 2 == 0};
    folder.Write("list", bytes);
    Result<Loaded> loaded = LoadAndDeduplicate(list);
    ASSERT_TRUE(loaded.ok()) << loaded.status().text();
    const Twin twin = SlowTwin(bytes, list);
    const std::string what = testing::PrintToString(bytes);
    ASSERT_EQ(folder.Read("list"), twin.file) << what;
    ASSERT_EQ(loaded->duplicates, twin.duplicates) << what;
    ASSERT_EQ(loaded->distinct, twin.distinct) << what;
    ASSERT_EQ(loaded->duplicate_addresses, twin.duplicate_addresses) << what;
    ASSERT_EQ(LinesOf(loaded->without_address), twin.without_address_lines) << what;
    ASSERT_EQ(loaded->rewritten, twin.duplicates > 0) << what;
    rewritten += loaded->rewritten ? 1 : 0;
  }
  EXPECT_GT(rewritten, 100);
  EXPECT_EQ(folder.Count(), 1);
}

TEST_F(LoadTest, TextComesBackAsAddresses) {
  Result<Loaded> loaded = Load("\r\nAnn@B.org\r\nann@b.ORG \r\n\r\nEve@b.org", ListKind::kText);
  ASSERT_TRUE(loaded.ok());
  EXPECT_EQ(loaded->duplicates, 1U);
  EXPECT_EQ(loaded->duplicate_addresses, "ann@b.org\n");
  EXPECT_EQ(folder.Read("list"), "ann@b.org\r\neve@b.org\r\n");
}

TEST_F(LoadTest, CsvRowsComeBackAsRead) {
  Result<Loaded> loaded =
      Load("Mail@Home,Name\n'A@b',Ann\nalone\nC@d,\"Cy\"\na@B, Ann 2\n\n", ListKind::kCsv, 0, true);
  ASSERT_TRUE(loaded.ok());
  EXPECT_EQ(folder.Read("list"), "Mail@Home,Name\r\n'A@b',Ann\r\nalone\r\nC@d,\"Cy\"\r\n");
  // Who has no address is told; nobody is in a row without anything.
  loaded = Load("x,a@b\nno comma\n,\" \",\nBo, ,\nx,a@b\n", ListKind::kCsv, 1);
  ASSERT_TRUE(loaded.ok());
  EXPECT_EQ(LinesOf(loaded->without_address), (std::vector<std::uint64_t>{2, 4}));
  EXPECT_EQ(folder.Read("list"), "x,a@b\r\n");
}

TEST_F(LoadTest, OddRowsAreNobodysDuplicates) {
  const std::string bytes =
      "Name,Street,Mail\nAnn,Dyke 1,a@b\nBo,\"Quay 1, flat 2\",c@d\nCy,\"Quay 3, flat 2\",e@f\n"
      "\"Doe, Jo\",,j@b\nalone\n,,\nAnn,Dyke 1,A@b\nalone\n";
  const auto path = folder.Write("list", bytes);
  ModRecipients::LoadGuards guards;
  guards.keep_odd_rows = true;
  const Distribution list{ModFiles::ToUtf8(path), ListKind::kCsv, 2, true};
  Result<Loaded> loaded = LoadAndDeduplicate(list, {}, guards);
  ASSERT_TRUE(loaded.ok());
  EXPECT_EQ(loaded->duplicate_addresses, "a@b\n");
  EXPECT_EQ(loaded->distinct, 1U);
  EXPECT_EQ(LinesOf(loaded->without_address), (std::vector<std::uint64_t>{3, 4, 5, 6, 9}));
  EXPECT_EQ(loaded->without_address.first[0].found, "flat 2");
  EXPECT_EQ(loaded->without_address.first[2].found, "");
  EXPECT_EQ(folder.Read("list"),
            "Name,Street,Mail\r\nAnn,Dyke 1,a@b\r\nBo,\"Quay 1, flat 2\",c@d\r\n"
            "Cy,\"Quay 3, flat 2\",e@f\r\n\"Doe, Jo\",,j@b\r\nalone\r\nalone\r\n");
}

TEST_F(LoadTest, WithoutDuplicatesNothingIsWritten) {
  const std::string bytes = "B@c \n\nA@b";
  const std::filesystem::path path = folder.Write("list", bytes);
  const auto long_ago = std::filesystem::last_write_time(path) - std::chrono::hours(1);
  std::filesystem::last_write_time(path, long_ago);
  int lines = 0;
  Result<Loaded> loaded = LoadAndDeduplicate({ModFiles::ToUtf8(path), ListKind::kText},
                                             [&lines] { return ++lines > 0; });
  ASSERT_TRUE(loaded.ok());
  EXPECT_FALSE(loaded->rewritten);
  EXPECT_EQ(loaded->distinct, 2U);
  EXPECT_EQ(lines, 3);
  EXPECT_EQ(folder.Read("list"), bytes);
  EXPECT_EQ(std::filesystem::last_write_time(path), long_ago);
}

TEST_F(LoadTest, RefusesWhatIsNoListAndLeavesIt) {
  EXPECT_EQ(Load("", ListKind::kText).status().text(), ModRecipients::kBlankFile);
  const std::string binary = std::string("a@b\r\na@b\r\nP\0K", 13) + Repeat("a@b\n", 5);
  const Status status = Load(binary, ListKind::kText).status();
  EXPECT_EQ(status.code(), Code::kBadInput);
  EXPECT_NE(status.text().find("list', line 3"), std::string::npos) << status.text();
  EXPECT_EQ(folder.Read("list"), binary);
  const auto refused = [](const std::filesystem::path& path) {
    return LoadAndDeduplicate({ModFiles::ToUtf8(path), ListKind::kText}).status().code();
  };
  EXPECT_EQ(refused(folder.path()), Code::kBadInput);
  EXPECT_EQ(refused(folder / "missing"), Code::kNotFound);
}

TEST_F(LoadTest, LinesSpanBlocksAndGrowShorter) {
  // A line longer than a block, a CR LF and a lone CR on either side of every block's edge, and far
  // more lines than the first block lets expect.
  std::string bytes = std::string(600000, 'x') + "@b\r\n";
  for (int i = 0; i < 40000; ++i) {
    bytes += std::to_string(i % 30000) + "@b" + (i % 2 == 0 ? "\r\n" : "\r");
  }
  const Distribution list{ModFiles::ToUtf8(folder / "list"), ListKind::kText};
  const Twin twin = SlowTwin(bytes, list);
  Result<Loaded> loaded = Load(bytes, ListKind::kText);
  ASSERT_TRUE(loaded.ok());
  EXPECT_EQ(loaded->duplicates, 10000U);
  EXPECT_TRUE(loaded->duplicate_addresses == twin.duplicate_addresses);
  EXPECT_TRUE(folder.Read("list") == twin.file);
}

// More than one slab of memory, and lines as long as they may be: with every line end, first and
// last, and one byte more.
TEST_F(LoadTest, LongestLines) {
  const std::string longest(ModRow::kMaxLineBytes, 'x');
  for (const std::string end : {"\r\n", "\n", "\r"}) {
    const std::string twice = longest + end + "a@b" + end + longest;
    EXPECT_EQ(Load(twice, ListKind::kText)->duplicates, 1U);
    EXPECT_TRUE(folder.Read("list") == longest + "\r\na@b\r\n");
    const std::string over = "a@b" + end + "x" + twice;
    const Status status = Load(over, ListKind::kText).status();
    EXPECT_EQ(status.code(), Code::kBadInput);
    EXPECT_NE(status.text().find("list', line 2"), std::string::npos) << status.text();
    EXPECT_TRUE(folder.Read("list") == over);
  }
  std::string bytes;
  for (int i = 0; i < 40; ++i) bytes += std::to_string(i) + longest.substr(100) + "\r\n";
  EXPECT_EQ(Load(bytes + bytes.substr(0, 5 * longest.size()), ListKind::kText)->duplicates, 5U);
  EXPECT_TRUE(folder.Read("list").starts_with(bytes));
}

TEST_F(LoadTest, ManyLines) {
  // Enough for the tables to grow; one address comes back at the end.
  constexpr int kLines = 240000;
  std::string bytes;
  std::string kept;
  for (int i = 0; i < kLines; ++i) {
    const std::string address = "user" + std::to_string(i) + "@example.org";
    bytes += address + "\n" + (i % 3 == 0 ? "USER" + address.substr(4) + "\n" : "");
    kept += address + "\r\n";
  }
  Result<Loaded> loaded = Load(bytes + "user0@example.org", ListKind::kText);
  ASSERT_TRUE(loaded.ok());
  EXPECT_EQ(loaded->duplicates, 80001U);
  EXPECT_EQ(loaded->distinct, 240000U);
  EXPECT_TRUE(folder.Read("list") == kept);
  // Nothing but duplicates, and more short rows than are listed one by one.
  loaded = Load(Repeat("x,a@b\n", 5000) + Repeat("x\n", 5000), ListKind::kCsv, 1);
  ASSERT_TRUE(loaded.ok());
  EXPECT_EQ(loaded->duplicates, 4999U);
  EXPECT_EQ(loaded->without_address.count, 5000U);
  EXPECT_EQ(loaded->without_address.first.size(), ModRecipients::OddRows::kMaxRows);
  EXPECT_EQ(folder.Read("list"), "x,a@b\r\n");
}

}  // namespace
}  // namespace vespro
