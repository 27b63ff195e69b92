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

using Asks = Client::Asks;

struct Version {
  const char* name;
  const char* version;
  Asks asks = Asks::kAfterConnection;
  bool has_bars = false;  // what it has of ours is there
};

class VersionsTest : public testing::TestWithParam<Version> {};

TEST_P(VersionsTest, EachCommandReachesItsHandlerOnce) {
  const std::string story = Read(VESPRO_STORY);
  OutlookStoryHost host;
  ASSERT_TRUE(host.status().ok()) << host.status().text();
  ASSERT_TRUE(host.SetVersion(GetParam().version).ok());
  host.set_asks_for_ribbons(GetParam().asks);
  EXPECT_EQ(FirstDifference(story, TellStory(host, story)), "");
  std::string calls;
  for (const std::string& call : host.Calls()) calls += call + "\n";
  const bool adds = calls.find("\nCommandBarControls.Add ") != calls.npos;
  EXPECT_EQ(adds, GetParam().has_bars);
  // Up to there Outlook is asked for exactly what it has always been asked for: the file was
  // recorded before newer ones were followed.
  if (ModText::LeadingNumber(GetParam().version) >= 12) return;
  EXPECT_EQ(FirstDifference(Read(VESPRO_CALLS), calls), "");
}

constexpr Version kVersions[] = {
    {"Outlook2000", "9.0.0.2416", Asks::kAfterConnection, true},
    {"Outlook2002", "10.0.0.2627", Asks::kAfterConnection, true},
    {"Outlook2003", "11.0.0.5608", Asks::kAfterConnection, true},
    {"Outlook2007", "12.0.0.4518", Asks::kAfterConnection, true},
    {"Outlook2010", "14.0.0.4760"},
    {"Outlook2016", "16.0.0.4266"},
    {"Outlook2016AsksEarly", "16.0.0.4266", Asks::kBeforeConnection},
    // The menu was there before it could be known.
    {"Outlook2016AsksLate", "16.0.0.4266", Asks::kUnannounced, true},
    {"Outlook2016NeverAsks", "16.0.0.4266", Asks::kNever, true},
};
INSTANTIATE_TEST_SUITE_P(Every, VersionsTest, testing::ValuesIn(kVersions),
                         [](const auto& version) { return version.param.name; });

}  // namespace
}  // namespace vespro::standin
