#include "reports/session_files.h"

#include <gtest/gtest.h>

#include "base/testing.h"

namespace vespro {
namespace {

using Names = std::vector<std::string>;

TEST(SessionFilesTest, WhatIsAboutRecipientsGoesAndTheRestIsNamed) {
  TemporaryFolder folder;
  for (const char* name :
       {"Vespro.cfg", "Vespro.eml", "journal", "journal.old", "journal.lock", "report.html",
        "report-2.html", "report.txt", "failed.csv", "engine.log", "report.ods", "my notes.txt"}) {
    folder.Write(name, "x");
  }
  ASSERT_TRUE(ModFiles::EnsureFolder(folder / "report pictures.html"));
  folder.Write("report pictures.html/a", "x");
  const Result<ModSessionFiles::Cleaned> cleaned = ModSessionFiles::RemoveResults(folder.path());
  ASSERT_TRUE(cleaned.ok()) << cleaned.status().text();
  EXPECT_EQ(cleaned->removed,
            (Names{"Vespro.cfg", "engine.log", "failed.csv", "journal", "journal.lock",
                   "journal.old", "report-2.html", "report.html", "report.txt"}));
  EXPECT_EQ(cleaned->left,
            (Names{"Vespro.eml", "my notes.txt", "report pictures.html", "report.ods"}));
  EXPECT_EQ(folder.Count(), 4);
}

}  // namespace
}  // namespace vespro
