#include "recipients/operations.h"

#include <algorithm>
#include <functional>
#include <random>
#include <set>

#include "base/lines.h"
#include "base/testing.h"
#include "recipients/load.h"
#include "recipients/testing.h"

namespace vespro {
namespace {

using namespace ModRecipients;  // NOLINT: its subject

using std::literals::operator""s;

constexpr std::string_view kMark = "\xEF\xBB\xBF";

class OperationsTest : public testing::Test {
 protected:
  std::string Path(std::string_view name) const { return ModFiles::ToUtf8(folder / name); }
  std::string Write(std::string_view name, std::string_view bytes) const {
    return ModFiles::ToUtf8(folder.Write(name, bytes));
  }
  TemporaryFolder folder;
};

// The rules once more, written for the eye.
std::string SlowMerge(std::string_view current, std::string_view second) {
  std::string merged = std::string(current) + "\r\n\r\n";
  if (second.starts_with(kMark)) second.remove_prefix(kMark.size());
  for (std::string_view line; NextLine(second, line);) merged += std::string(line) + "\r\n";
  return merged;
}

std::string SlowFilter(std::string_view bytes, const Distribution& list, std::string_view unwanted,
                       std::string& removed) {
  if (unwanted.starts_with(kMark)) unwanted.remove_prefix(kMark.size());
  std::set<std::string> lines;
  for (std::string_view line; NextLine(unwanted, line);) lines.emplace(line);
  std::string out;
  if (bytes.starts_with(kMark)) {
    out = kMark;
    bytes.remove_prefix(kMark.size());
  }
  removed.clear();
  bool header = list.kind == ListKind::kCsv && list.header;
  for (std::string_view line; NextLine(bytes, line); header = false) {
    std::string row(line);
    row.erase(0, row.find_first_not_of(' '));
    row.erase(row.find_last_not_of(' ') + 1);
    if (row.empty()) continue;
    ModRow::LowerRow(row, list.kind);
    std::string key = row;
    if (list.kind == ListKind::kCsv) {
      std::string rest = row + ",";
      for (int i = 0; i < list.column; ++i) rest.erase(0, rest.find(',') + 1);
      key = rest.substr(0, rest.find(','));
      std::erase(key, '"');
      std::erase(key, '\'');
    }
    if (!key.empty() && !header && lines.contains(key)) {
      removed += key + "\n";
    } else {
      out += row + "\r\n";
    }
  }
  return out;
}

TEST_F(OperationsTest, AgreeWithTheirSlowTwins) {
  std::mt19937 random(20261);
  std::uint64_t all_removed = 0;
  for (int round = 0; round < 200; ++round) {
    const bool csv = round % 2 == 0;
    const std::string bytes = RandomList(random, csv);
    const std::string other = RandomList(random, false);
    const std::string what =
        testing::PrintToString(bytes) + " and " + testing::PrintToString(other);
    const std::string current = Write("list.txt", bytes);
    const std::string second = Write("other.txt", other);
    const std::string merged = SlowMerge(bytes, other);
    ASSERT_TRUE(Merge(current, second).ok());
    ASSERT_EQ(folder.Read("list.txt"), merged) << what;

    const Distribution list{current, csv ? ListKind::kCsv : ListKind::kText,
                            static_cast<std::int16_t>(csv ? random() % 3 : 0), random() % 2 == 0};
    std::string removed;
    const std::string filtered = SlowFilter(merged, list, other, removed);
    Result<Filtered> done = Filter(list, second);
    ASSERT_TRUE(done.ok()) << done.status().text();
    ASSERT_EQ(folder.Read("list.txt"), filtered) << what;
    ASSERT_EQ(done->removed_addresses, removed) << what;
    ASSERT_EQ(done->removed, std::count(removed.begin(), removed.end(), '\n')) << what;
    ASSERT_EQ(folder.Read("other.txt"), other);
    all_removed += done->removed;
  }
  EXPECT_GT(all_removed, 500U);
  EXPECT_EQ(folder.Count(), 2);
}

TEST_F(OperationsTest, FilterComparesLinesAsTheyStand) {
  const Distribution list{Write("l.csv", "Name,Mail,\n A,'A@b' ,\nB\nC,\nD,c@D,\nE,,\nF,Mail\n"),
                          ListKind::kCsv, 1, true};
  // A blank after the field counts, capitals and blanks in the list do, an empty line matches
  // none.
  Result<Filtered> removed = Filter(list, Write("u.txt", "a@b\nC@D\nc@d \n\n  \nx,c@d\nmail"));
  ASSERT_TRUE(removed.ok()) << removed.status().text();
  EXPECT_EQ(removed->removed_addresses, "mail\n")
      << "the row, but not the header that says the same";
  EXPECT_EQ(removed->unmatchable, 3U) << "with capitals, and with a blank at the end";
  EXPECT_EQ(removed->first_unmatchable, "C@D");
  EXPECT_EQ(folder.Read("l.csv"), "name,mail,\r\na,'a@b' ,\r\nb\r\nc,\r\nd,c@d,\r\ne,,\r\n");
  // Looking first changes nothing; a table of unwanted lines is taken whole.
  const std::string before = folder.Read("l.csv");
  EXPECT_EQ(PreviewFilter(list, Write("u.csv", "a@b \nc@d"), false)->removed, 2U);
  EXPECT_EQ(folder.Read("l.csv"), before);
  EXPECT_EQ(Filter(list, Path("u.csv"))->removed, 2U);
  EXPECT_EQ(folder.Read("l.csv"), "name,mail,\r\nb\r\nc,\r\ne,,\r\n");
}

TEST_F(OperationsTest, OddRowsStayWhereTheyAreToBeKept) {
  const std::string table = "Name,Street,Mail\n\"Doe, Jo\",flat 2,j@b\nBo,Quay, c@d\nCy,Dyke,\n";
  const Distribution list{Write("l.csv", table), ListKind::kCsv, 2, true};
  const std::string unwanted = Write("u.txt", "flat 2\n c@d\n");
  const Result<Filtered> preview = PreviewFilter(list, unwanted, true);
  ASSERT_TRUE(preview.ok());
  EXPECT_EQ(preview->removed, 1U);
  ASSERT_EQ(preview->odd_rows.count, 2U);
  EXPECT_EQ(preview->odd_rows.first[0].found, "flat 2");
  EXPECT_EQ(preview->odd_rows.first[1].line, 4U);
  ModRecipients::LoadGuards guards;
  guards.keep_odd_rows = true;
  EXPECT_EQ(ModRecipients::DeduplicateAndFilter(list, unwanted, {}, guards)->filtered.removed, 1U);
  EXPECT_EQ(folder.Read("l.csv"), "name,street,mail\r\n\"doe, jo\",flat 2,j@b\r\ncy,dyke,\r\n");
  EXPECT_EQ(Filter(list, unwanted)->removed, 1U) << "where nobody said so";
}

TEST_F(OperationsTest, TheRowsThatGoAreToldAsRead) {
  const std::string table = "Name,Mail\nAnn Lee,A@x\nBob, b@x \nANN,a@x\nÇid,c@x\nDan,d@x\n";
  const Distribution list{Write("l.csv", "\xEF\xBB\xBF" + table), ListKind::kCsv, 1, true};
  const std::string unwanted = Write("u.txt", "a@x\nd@x\n");
  StringSink rows;
  std::string addresses;
  ModRecipients::LoadGuards guards;
  guards.removed_rows = &rows;
  guards.before_rows_go = [&](std::string_view go) {
    addresses.append(go).append(";");
    return Status();
  };
  ASSERT_TRUE(ModRecipients::DeduplicateAndFilter(list, unwanted, {}, guards).ok());
  EXPECT_EQ(rows.text, "\xEF\xBB\xBFName,Mail\r\nANN,a@x\r\nAnn Lee,A@x\r\nDan,d@x\r\n");
  EXPECT_EQ(addresses, "a@x\n;a@x\nd@x\n;") << "of the duplicate, then of the unwanted";

  // Without duplicates the filter writes the header; a failure keeps the list.
  rows.text.clear();
  Write("l.csv", table.substr(0, table.find("ANN")));
  guards.before_rows_go = [](std::string_view) { return Status(Code::kCannotWrite, "no room"); };
  const auto kept = ModRecipients::DeduplicateAndFilter(list, unwanted, {}, guards);
  EXPECT_EQ(kept.status().text(), "no room");
  EXPECT_EQ(rows.text, "Name,Mail\r\nAnn Lee,A@x\r\n");
  EXPECT_EQ(folder.Read("l.csv"), table.substr(0, table.find("ANN")));

  class Full final : public ByteSink {
    Status Write(std::string_view) override { return Status(Code::kCannotWrite, "disk full"); }
  } full;
  guards = {};
  guards.removed_rows = &full;
  EXPECT_EQ(ModRecipients::DeduplicateAndFilter(list, unwanted, {}, guards).status().text(),
            "disk full");
  Write("l.csv", table);
  EXPECT_EQ(ModRecipients::LoadAndDeduplicate(list, {}, guards).status().text(), "disk full");
  EXPECT_EQ(folder.Read("l.csv"), table);
}

TEST_F(OperationsTest, LargeFilesKeepEveryLine) {
  std::string bytes, rest, unwanted, second;
  for (int i = 0; i < 60000; ++i) {
    const std::string address = "user" + std::to_string(i) + "@example.org";
    bytes += address + (i % 3 == 0 ? "\n" : "\r\n");
    second += address + (i % 5 == 0 ? "\r" : "\r\n");
    if (i % 7 == 0) unwanted += address + "\r";
    if (i % 7 != 0) rest += address + "\r\n";
  }
  const std::string current = Write("l.txt", bytes);
  ASSERT_TRUE(Merge(current, Write("m.txt", second)).ok());
  EXPECT_TRUE(folder.Read("l.txt") == SlowMerge(bytes, second));
  Write("l.txt", bytes);
  Result<Filtered> removed = Filter({current, ListKind::kText}, Write("u.txt", unwanted));
  ASSERT_TRUE(removed.ok()) << removed.status().text();
  EXPECT_EQ(removed->removed, 8572U);
  EXPECT_TRUE(folder.Read("l.txt") == rest);
}

TEST_F(OperationsTest, WhatIsRefusedChangesNothing) {
  const std::string kept = "a@b\na@b\nc@d";
  const std::string list = Write("list.txt", kept);
  const std::string good = Write("good.txt", "a@b\n");
  Write("table.csv", "a@b\n");
  Write("binary.txt", std::string_view("c@d\nPK\0\0", 8));
  Write("late.txt", std::string(100'000, '\n') + "c@d\0\n"s);
  Write("wide.txt", "x\n" + std::string(ModRow::kMaxLineBytes + 1, 'x') + "\ny\n");
  Write("empty.txt", "");
  std::filesystem::create_directory(folder / "folder.txt");
  const std::string same = ModFiles::ToUtf8(folder.path() / "." / "list.txt");
  const auto merge = [&](std::string_view a, std::string_view b) { return Merge(a, b); };
  const auto filter = [&](std::string_view a, std::string_view b) {
    return Filter({std::string(a), ListKind::kText}, b).status();
  };
  const auto dedupe = [&](std::string_view a, std::string_view) {
    return LoadAndDeduplicate({std::string(a), ListKind::kText}).status();
  };
  const struct {
    std::function<Status(std::string_view, std::string_view)> operation;
    std::string current, second;
    Code code;
    std::string_view named;
  } rows[] = {
      {merge, list, list, Code::kUsage, kSameFile},
      {merge, list, same, Code::kUsage, kSameFile},
      {filter, list, same, Code::kUsage, kSameFile},
      {merge, list, Path("table.csv"), Code::kBadInput, kDifferentFormats},
      {merge, list, Path("gone.txt"), Code::kNotFound, "gone.txt"},
      {merge, Path("gone.txt"), good, Code::kNotFound, "gone.txt"},  // not made, either
      {filter, list, Path("gone.txt"), Code::kNotFound, "gone.txt"},
      {filter, Path("gone.txt"), good, Code::kNotFound, "gone.txt"},
      {dedupe, Path("gone.txt"), "", Code::kNotFound, "gone.txt"},
      {merge, list, Path("folder.txt"), Code::kBadInput, "folder.txt"},
      {merge, Path("folder.txt"), good, Code::kBadInput, "folder.txt"},
      {filter, list, Path("folder.txt"), Code::kBadInput, "folder.txt"},
      {filter, Path("folder.txt"), good, Code::kBadInput, "folder.txt"},
      {merge, list, Path("binary.txt"), Code::kBadInput, "binary.txt', line 2"},
      {merge, Path("binary.txt"), good, Code::kBadInput, "binary.txt', line 2"},
      {filter, list, Path("binary.txt"), Code::kBadInput, "binary.txt', line 2"},
      {filter, Path("binary.txt"), good, Code::kBadInput, "binary.txt', line 2"},
      {merge, list, Path("wide.txt"), Code::kBadInput, "wide.txt', line 2"},
      {filter, list, Path("wide.txt"), Code::kBadInput, "wide.txt', line 2"},
      {filter, Path("wide.txt"), good, Code::kBadInput, "wide.txt', line 2"},
      {dedupe, Path("wide.txt"), "", Code::kBadInput, "wide.txt', line 2"},
      {merge, list, Path("late.txt"), Code::kBadInput, "late.txt', line 100001"},
      {filter, list, Path("late.txt"), Code::kBadInput, "late.txt', line 100001"},
      {dedupe, Path("late.txt"), "", Code::kBadInput, "late.txt', line 100001"},
      {filter, Path("empty.txt"), good, Code::kBadInput, kBlankFile},
  };
  const std::ptrdiff_t files = folder.Count();
  for (const auto& row : rows) {
    const Status status = row.operation(row.current, row.second);
    EXPECT_EQ(status.code(), row.code) << status.text();
    EXPECT_NE(status.text().find(row.named), std::string::npos) << status.text();
    EXPECT_TRUE(folder.Read("list.txt") == kept) << status.text();
    EXPECT_EQ(folder.Read("wide.txt").size(), ModRow::kMaxLineBytes + 6);  // as written
    EXPECT_EQ(folder.Count(), files);
  }
  // Nothing to append, and nothing unwanted, are no faults.
  EXPECT_TRUE(Merge(list, Path("empty.txt")).ok());
  EXPECT_EQ(Filter({list, ListKind::kText}, Path("empty.txt"))->removed, 0U);
  EXPECT_EQ(folder.Read("list.txt"), "a@b\r\na@b\r\nc@d\r\n");
}

TEST_F(OperationsTest, GivingUpAtAnyLineLeavesTheList) {
  std::string kept, second;
  for (int i = 0; i < 30000; ++i) kept += "A" + std::to_string(i % 20000) + "@b\n";
  for (int i = 0; i < 30000; ++i) second += "a" + std::to_string(i) + "@example.org\n";
  const Distribution list{Write("l.txt", kept), ListKind::kText};
  const std::string other = Write("o.txt", second);
  for (const int last : {1, 2, 12345, 29999, 30000}) {
    int left = last;
    const OnLine give_up = [&left] { return --left > 0; };
    for (const auto& operation : std::initializer_list<std::function<Status()>>{
             [&] { return Merge(list.path, other, give_up); },
             [&] { return Filter(list, other, give_up).status(); },
             [&] { return LoadAndDeduplicate(list, give_up).status(); }}) {
      left = last;
      const Status status = operation();
      EXPECT_EQ(status.code(), Code::kCancelled) << last;
      EXPECT_NE(status.text().find("l.txt"), std::string::npos);
      EXPECT_TRUE(folder.Read("l.txt") == kept) << last;
      EXPECT_EQ(folder.Count(), 2);
    }
  }
}

// What is appended while a list is read must not be lost to the new file.
TEST_F(OperationsTest, AListThatGrowsMeanwhileIsNotReplaced) {
  const Distribution list{Write("l.txt", "a@b\na@b\n"), ListKind::kText};
  const std::string other = Write("o.txt", "c@d\n");
  std::string grown = "a@b\na@b\n";
  const OnLine meddle = [&] {
    grown += "new@b\n";
    Result<File> file = File::Open(folder / "l.txt", File::Mode::kAppend);
    return file.ok() && file->Write("new@b\n").ok();
  };
  EXPECT_EQ(LoadAndDeduplicate(list, meddle).status().code(), Code::kResumable);
  EXPECT_EQ(folder.Read("l.txt"), grown);
  EXPECT_EQ(Filter(list, other, meddle).status().code(), Code::kResumable);
  EXPECT_EQ(folder.Read("l.txt"), grown);
  // Between the two steps, too; the first has been done then, and that is told.
  int lines = 0;
  const Status status =
      DeduplicateAndFilter(list, other, [&] {
        return ++lines <= std::count(grown.begin(), grown.end(), '\n') || meddle();
      }).status();
  EXPECT_EQ(status.code(), Code::kResumable);
  EXPECT_NE(status.text().find("before that, 7 email duplicates"), std::string::npos)
      << status.text();
  EXPECT_EQ(folder.Count(), 2);
}

// What was appended to the old file is not in the new one.
TEST_F(OperationsTest, AMergeIntoAListThatIsReplacedIsNoSuccess) {
  const std::string current = Write("l.txt", "a@b\n");
  const std::string second = Write("o.txt", "c@d\n");
  const std::string other = Write("new.txt", "e@f\n");
  bool replaced = false;
  const Status status = Merge(current, second, [&] {
    std::error_code error;
    std::filesystem::rename(folder / "new.txt", folder / "l.txt", error);
    replaced = !error;  // some systems keep an open file in its place
    return true;
  });
  EXPECT_EQ(status.code(), replaced ? Code::kResumable : Code::kOk) << status.text();
  EXPECT_EQ(folder.Read("l.txt"), replaced ? "e@f\n" : "a@b\n\r\n\r\nc@d\r\n");
}

// Taking a merge back must not take what another program wrote meanwhile.
TEST_F(OperationsTest, AMergeThatIsNotAloneIsNotTakenBack) {
  const std::string current = Write("l.txt", "a@b\n");
  const OnLine meddle = [&] {
    Result<File> file = File::Open(folder / "l.txt", File::Mode::kAppend);
    EXPECT_TRUE(file.ok() && file->Write("theirs@b\n").ok());
    return false;
  };
  const Status status = Merge(current, Write("o.txt", "c@d\n"), meddle);
  EXPECT_EQ(status.code(), Code::kCancelled);
  EXPECT_NE(status.text().find("another program"), std::string::npos) << status.text();
  EXPECT_EQ(folder.Read("l.txt"), "a@b\n\r\n\r\ntheirs@b\n");
}

}  // namespace
}  // namespace vespro
