#include "reports/report_index.h"

#include <gtest/gtest.h>

#include "base/testing.h"

namespace vespro {
namespace {

TEST(ReportIndexTest, Titles) {
  const struct {
    const char* html;
    const char* title;
  } rows[] = {
      {"<!DOCTYPE html><html><head><title>Spring news</title>\n<body>", "Spring news"},
      {"<TITLE>a &amp; b</Title>", "a &amp; b"},
      {"<title>cut by, a comma</title>", ""},
      {"<html>\n<title>on the second line</title>", ""},
      {"</title><title>the wrong way round", ""},
      {"<title></title>", ""},
      {"", ""},
  };
  for (const auto& row : rows) EXPECT_EQ(ModReportIndex::TitleOf(row.html), row.title) << row.html;
}

TEST(ReportIndexTest, AFolderNeedsBothReports) {
  TemporaryFolder folder;
  EXPECT_TRUE(ModReportIndex::ReportFolders(folder / "missing").empty());
  for (const char* name : {"both", "html only", "text only", "none"}) {
    ASSERT_TRUE(ModFiles::EnsureFolder(folder / name));
  }
  folder.Write("both/report.html", "<title>T</title>");
  folder.Write("both/report.txt", "");
  folder.Write("html only/report.html", "");
  folder.Write("text only/report.txt", "");
  folder.Write("report.txt", "");
  folder.Write("report.html", "");
  const auto found = ModReportIndex::ReportFolders(folder.path());
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0], folder / "both");
  EXPECT_EQ(ModReportIndex::TitleOfReport(found[0] / "report.html"), "T");
  EXPECT_EQ(ModReportIndex::TitleOfReport(folder / "missing.html"), "");
}

}  // namespace
}  // namespace vespro
