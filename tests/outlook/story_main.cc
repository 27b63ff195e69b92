// outlook-story: tells a story (stories/README.md) with the add-in's DLL in the stand-in Outlook.
#include <cstdio>
#include <string>
#include <vector>

#include "base/command_line.h"
#include "base/files.h"
#include "outlook/story_host.h"
#include "stories/story_runner.h"

namespace vespro {
namespace {

int Run(const std::vector<std::string>& arguments) {
  const bool check = arguments.size() == 3 && arguments[1] == "--check";
  const bool calls = arguments.size() == 4 && arguments[1] == "--calls";
  if (arguments.size() != 2 && !check && !calls) {
    std::fputs(
        "usage: outlook-story [--check] FILE\n"
        "       outlook-story --calls VERSION FILE    every call that the add-in makes then\n",
        stderr);
    return 2;
  }
  const Result<std::string> story = ModFiles::ReadAll(ModFiles::FromUtf8(arguments.back()));
  if (!story.ok()) {
    std::fprintf(stderr, "%s\n", story.status().text().c_str());
    return 2;
  }
  standin::OutlookStoryHost host;
  if (!host.status().ok()) {
    std::fprintf(stderr, "%s\n", host.status().text().c_str());
    return 2;
  }
  if (calls) host.SetVersion(arguments[2]).Ignore();  // nothing is connected yet
  const std::string told = TellStory(host, story.value());
  if (calls) {
    for (const std::string& line : host.Calls()) std::printf("%s\n", line.c_str());
    return 0;
  }
  if (!check) {
    std::fputs(told.c_str(), stdout);
    return 0;
  }
  // Calls are the adaptor's own.
  const std::string difference = FirstDifference(WithoutCalls(story.value()), WithoutCalls(told));
  std::fputs(difference.c_str(), stdout);
  return difference.empty() ? 0 : 1;
}

}  // namespace
}  // namespace vespro

int main(int argc, char** argv) { return vespro::Run(vespro::ModCommandLine::Begin(argc, argv)); }
