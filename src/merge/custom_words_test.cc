#include "merge/custom_words.h"

#include <gtest/gtest.h>

#include "base/testing.h"

namespace vespro {
namespace {

using Words = std::vector<std::string>;

TEST(CustomWordsTest, WordsComeBackFromTheirFile) {
  TemporaryFolder folder;
  const auto load = [&folder] {
    const Result<Words> words = ModMailMerge::LoadCustomWords(folder.path());
    EXPECT_TRUE(words.ok()) << words.status().text();
    return words.ok() ? words.value() : Words();
  };
  EXPECT_TRUE(ModMailMerge::SaveCustomWords(folder.path(), {"", " ", ""}).ok());
  EXPECT_FALSE(ModFiles::IsFile(folder / ModMailMerge::kWordsFile));
  EXPECT_EQ(load(), Words{});
  EXPECT_TRUE(ModMailMerge::SaveCustomWords(folder.path(),
                                            {" Best  regards ", "", "Gr\xC3\xBC\xC3\x9F\r\ne"})
                  .ok());
  EXPECT_EQ(load(), (Words{"Best  regards", "Gr\xC3\xBC\xC3\x9F  e"}));
  folder.Write(ModMailMerge::kWordsFile, "\xFF\r\n");
  EXPECT_EQ(ModMailMerge::LoadCustomWords(folder.path()).status().code(), Code::kBadInput);
}

TEST(CustomWordsTest, TheMergeWordOfAnEntry) {
  EXPECT_EQ(ModMailMerge::MergeWordOf("FIRST_NAME"), "#FIRST_NAME");
  EXPECT_EQ(ModMailMerge::MergeWordOf(" Best regards "), "#BEST REGARDS");
  EXPECT_EQ(ModMailMerge::MergeWordOf("gr\xC3\xB6sse"), "#GR\xC3\x96SSE");
}

}  // namespace
}  // namespace vespro
