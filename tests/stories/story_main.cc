// vespro-story: a person's steps in a mail client that has the add-in in it, and what comes of
// them.
#include <iostream>
#include <iterator>
#include <string>

#include "base/command_line.h"
#include "base/files.h"
#include "stories/memory_story_host.h"
#include "stories/story_runner.h"

namespace vespro {
namespace {

int Run(const std::vector<std::string>& arguments) {
  const bool as_version = arguments.size() == 4 && arguments[1] == "--check-as";
  const bool check = as_version || (arguments.size() == 3 && arguments[1] == "--check");
  if (arguments.size() != 2 && !check) {
    std::cerr << "usage: vespro-story [--check | --check-as VERSION] FILE\n"
                 "  FILE   steps and what came of them (tests/stories/README.md); - is standard "
                 "input\n";
    return 2;
  }
  Result<std::string> story = std::string();
  if (arguments.back() == "-") {
    story = std::string(std::istreambuf_iterator<char>(std::cin), {});
  } else {
    story = ModFiles::ReadAll(ModFiles::FromUtf8(arguments.back()));
  }
  if (!story.ok()) {
    std::cerr << story.status().text() << "\n";
    return 2;
  }
  MemoryStoryHost host;
  if (as_version) host.SetVersion(arguments[2]).Ignore();  // nothing is connected yet
  const std::string told = TellStory(host, story.value());
  if (!check) {
    std::cout << told;
    return 0;
  }
  const std::string difference = FirstDifference(story.value(), told);
  std::cout << difference;
  return difference.empty() ? 0 : 1;
}

}  // namespace
}  // namespace vespro

int main(int argc, char** argv) { return vespro::Run(vespro::ModCommandLine::Begin(argc, argv)); }
