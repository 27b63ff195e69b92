#include "recipients/distribution.h"

#include "base/testing.h"

namespace vespro {
namespace {

TEST(DistributionTest, KindByTheName) {
  const struct {
    std::string_view path;
    ListKind kind;
  } rows[] = {
      {"list.txt", ListKind::kText},
      {"list.TXT", ListKind::kText},
      {"list.TEXT", ListKind::kText},
      {"book.csv", ListKind::kCsv},
      {"a.txt.csv", ListKind::kText},  // "txt" is looked for first
      {"C:\\x.text\\list.csv", ListKind::kText},
      {"C:\\data.old\\list.csv", ListKind::kCsv},
      {"my.csvfiles\\list", ListKind::kCsv},
      {"txt", ListKind::kUnknown},
      {"csvtext.dat", ListKind::kUnknown},  // before the first dot
      {"list.", ListKind::kUnknown},
      {"", ListKind::kUnknown},
  };
  for (const auto& row : rows) EXPECT_EQ(ModDistribution::KindOf(row.path), row.kind) << row.path;
}

TEST(DistributionTest, SettingThereAndBack) {
  const struct {
    Distribution distribution;
    std::string_view setting;
  } rows[] = {
      {{"C:\\lists\\club.csv", ListKind::kCsv, 2, true}, "C:\\lists\\club.csv,CSV,2,HEADER"},
      {{"/home/ann/a.csv", ListKind::kCsv, -1, false}, "/home/ann/a.csv,CSV,-1,VALUE"},
      {{"/home/ann/a.txt", ListKind::kText, 0, false}, "/home/ann/a.txt,TEXT"},
      {{"list.dat", ListKind::kUnknown, 0, false}, "list.dat,"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(ModDistribution::Compose(row.distribution), row.setting);
    const Distribution parsed = ModDistribution::Parse(row.setting);
    EXPECT_EQ(parsed.path, row.distribution.path);
    EXPECT_EQ(parsed.kind, row.distribution.kind) << row.setting;
    EXPECT_EQ(parsed.column, row.distribution.column) << row.setting;
    EXPECT_EQ(parsed.header, row.distribution.header) << row.setting;
  }
  EXPECT_EQ(ModDistribution::Compose({"  a b.txt ", ListKind::kText}), "a b.txt,TEXT");
}

TEST(DistributionTest, OddSettings) {
  EXPECT_EQ(ModDistribution::Parse("").path, "");
  EXPECT_EQ(ModDistribution::Parse("   ").path, "");
  EXPECT_EQ(ModDistribution::Parse("a.csv,CSV,99999,HEADER").column, 32767);
  EXPECT_EQ(ModDistribution::Parse("a.csv,CSV,x,header").column, 0);
  EXPECT_FALSE(ModDistribution::Parse("a.csv,CSV,1,header").header);
  // A comma in the path: what is before it is taken, and no kind is made up.
  const Distribution torn = ModDistribution::Parse("C:\\a, b.csv,CSV,1,HEADER");
  EXPECT_EQ(torn.path, "C:\\a");
  EXPECT_EQ(torn.kind, ListKind::kUnknown);
}

TEST(DistributionTest, FirstRows) {
  TemporaryFolder folder;
  const struct {
    std::string_view bytes, first, second;
  } rows[] = {
      {"", "", ""},
      {"a,b", "a,b", ""},
      {"a,b\r\nc\r\nd", "a,b", "c"},
      {"a\rb\rc", "a", "b"},
      {"a\nb\n", "a", "b"},
      {"\r\n\r\nx", "", ""},
      {"\xEF\xBB\xBFName,Mail\r\n\xFC,x", "Name,Mail", "\xFC,x"},
  };
  for (const auto& row : rows) {
    const std::string path = ModFiles::ToUtf8(folder.Write("list.csv", row.bytes));
    Result<ModDistribution::FirstRows> read = ModDistribution::ReadFirstRows(path);
    ASSERT_TRUE(read.ok()) << read.status().text();
    EXPECT_EQ(read->first, row.first);
    EXPECT_EQ(read->second, row.second);
  }
}

TEST(DistributionTest, WhatIsNoListIsNamed) {
  TemporaryFolder folder;
  const auto failure = [](const std::filesystem::path& path) {
    return ModDistribution::ReadFirstRows(ModFiles::ToUtf8(path)).status();
  };
  EXPECT_EQ(failure(folder / "missing.csv").code(), Code::kNotFound);
  EXPECT_EQ(failure(folder.path()).code(), Code::kBadInput);
  const Status wide = failure(folder.Write("w.csv", "a\n" + std::string(2'000'000, ',')));
  EXPECT_EQ(wide.code(), Code::kBadInput) << "a cut row would lose columns";
  EXPECT_NE(wide.text().find("w.csv', line 2"), std::string::npos) << wide.text();
  const Status binary =
      failure(folder.Write("a.csv", std::string_view("a,b\r\nPK\x03\x04\0\0", 11)));
  EXPECT_EQ(binary.code(), Code::kBadInput);
  EXPECT_NE(binary.text().find("a.csv', line 2"), std::string::npos) << binary.text();
}

TEST(DistributionTest, ProposedMapping) {
  const struct {
    std::string_view first, second;
    std::vector<std::string> fields;
    std::int16_t column;
    bool header;
  } rows[] = {
      {"Name,Email,City", "Ann,ann@b.org,Rome", {"Name", "Email", "City"}, 1, true},
      {"Ann,Rome,ann@b.org", "x@y,,", {"Ann", "Rome", "ann@b.org"}, 2, false},
      {"a@b,Ann,c@d", "", {"a@b", "Ann", "c@d"}, 2, false},  // the last one wins
      {"Name,Mail,Mail 2", "Ann,a@b,c@d", {"Name", "Mail", "Mail 2"}, 2, true},
      {"Name,City", "Ann,Rome", {"Name", "City"}, 0, true},
      {"Name", "", {"Name"}, 0, true},
      {" \"Last, First\" , 'E-Mail'", "", {"Last", "First", "E-Mail"}, 0, true},
      {"Name,Mail", "\"Doe, J\",j@b", {"Name", "Mail"}, 0, true},  // beyond the columns
      {"Gr\xF6\xDF"
       "e",
       "",
       {"Gr\xC3\xB6\xC3\x9F"
        "e"},
       0,
       true},
  };
  for (const std::string_view blank : {"", "  ", "\"\"", " ' '"}) {
    EXPECT_FALSE(ModDistribution::ProposeMapping(blank, "a@b").ok()) << blank;
  }
  for (const auto& row : rows) {
    Result<ModDistribution::Mapping> mapping =
        ModDistribution::ProposeMapping(row.first, row.second);
    ASSERT_TRUE(mapping.ok()) << row.first;
    EXPECT_EQ(mapping->fields, row.fields) << row.first;
    EXPECT_EQ(mapping->column, row.column) << row.first;
    EXPECT_EQ(mapping->header, row.header) << row.first;
  }
  EXPECT_EQ(ModDistribution::ProposeMapping("   ", "a@b").status().text(),
            ModDistribution::kIncorrectCsv);
}

// A picture whose first bytes and lines look harmless.
TEST(DistributionTest, BinaryDataAnywhereNearTheStartIsNoList) {
  TemporaryFolder folder;
  const auto path = folder.Write("p.csv", std::string("\x89PNG\r\n\x1A\n\0\0\0\rIHDR", 16));
  const Status status = ModDistribution::ReadFirstRows(ModFiles::ToUtf8(path)).status();
  EXPECT_EQ(status.code(), Code::kBadInput);
  EXPECT_NE(status.text().find("line 3"), std::string::npos) << status.text();
}

}  // namespace
}  // namespace vespro
