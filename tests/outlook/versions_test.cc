// The same story in every version of Outlook that the stand-in plays.
#include <gtest/gtest.h>

#include <string>

#include "base/files.h"
#include "base/text.h"
#include "outlook/story_host.h"
#include "stories/story_runner.h"

namespace vespro::standin {
namespace {

std::string Read(const char* file) {
  Result<std::string> text = ModFiles::ReadAll(ModFiles::FromUtf8(file));
  EXPECT_TRUE(text.ok()) << file;
  return text.ok() ? ModText::ReplaceAll(text.value(), "\r\n", "\n") : std::string();
}

class VersionsTest : public testing::TestWithParam<const char*> {};

TEST_P(VersionsTest, EachCommandReachesItsHandlerOnce) {
  const std::string story = Read(VESPRO_STORY);
  OutlookStoryHost host;
  ASSERT_TRUE(host.status().ok()) << host.status().text();
  ASSERT_TRUE(host.SetVersion(GetParam()).ok());
  EXPECT_EQ(FirstDifference(story, TellStory(host, story)), "");
  if (ModText::LeadingNumber(GetParam()) >= 12) return;
  // Up to there Outlook is asked for exactly what it has always been asked for: the file was
  // recorded before newer ones were followed.
  std::string calls;
  for (const std::string& call : host.Calls()) calls += call + "\n";
  EXPECT_EQ(FirstDifference(Read(VESPRO_CALLS), calls), "");
}

INSTANTIATE_TEST_SUITE_P(Outlook, VersionsTest,
                         testing::Values("9.0.0.2416", "10.0.0.2627", "11.0.0.5608", "12.0.0.4518",
                                         "14.0.0.4760", "16.0.0.4266"),
                         [](const auto& version) {
                           const std::string name = version.param;
                           return "Version" + name.substr(0, name.find('.'));
                         });

}  // namespace
}  // namespace vespro::standin
