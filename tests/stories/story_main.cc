// vespro-story: a person's steps in a mail client that has the add-in in it, and what comes of
// them.
#include <iostream>
#include <iterator>
#include <span>
#include <string>
#include <vector>

#include "base/command_line.h"
#include "base/files.h"
#include "stories/memory_story_host.h"
#include "stories/story_runner.h"

namespace vespro {
namespace {

// What is told otherwise than the story says; empty when nothing is.
Result<std::string> Check(const std::string& path, const std::string& version) {
  const Result<std::string> story = ModFiles::ReadAll(ModFiles::FromUtf8(path));
  if (!story.ok()) return story.status();
  MemoryStoryHost host;
  if (!version.empty()) host.SetVersion(version).Ignore();  // nothing is connected yet
  return FirstDifference(story.value(), TellStory(host, story.value()));
}

int CheckAll(std::span<const std::string> paths, const std::string& version) {
  int exit = 0;
  for (const std::string& path : paths) {
    const Result<std::string> difference = Check(path, version);
    if (!difference.ok()) {
      std::cerr << difference.status().text() << "\n";
      return 2;
    }
    if (difference.value().empty()) continue;
    std::cout << path << ":\n" << difference.value();
    exit = 1;
  }
  return exit;
}

int Tell(const std::string& path) {
  Result<std::string> story = std::string();
  if (path == "-") {
    story = std::string(std::istreambuf_iterator<char>(std::cin), {});
  } else {
    story = ModFiles::ReadAll(ModFiles::FromUtf8(path));
  }
  if (!story.ok()) {
    std::cerr << story.status().text() << "\n";
    return 2;
  }
  MemoryStoryHost host;
  std::cout << TellStory(host, story.value());
  return 0;
}

int Run(const std::vector<std::string>& arguments) {
  const std::span<const std::string> all(arguments);
  if (all.size() > 2 && all[1] == "--check") return CheckAll(all.subspan(2), {});
  if (all.size() > 3 && all[1] == "--check-as") return CheckAll(all.subspan(3), all[2]);
  if (all.size() == 2) return Tell(all[1]);
  std::cerr << "usage: vespro-story FILE\n"
               "       vespro-story --check FILE...\n"
               "       vespro-story --check-as VERSION FILE...\n"
               "  FILE   steps and what came of them (tests/stories/README.md); - is standard "
               "input, not to be checked\n";
  return 2;
}

}  // namespace
}  // namespace vespro

int main(int argc, char** argv) { return vespro::Run(vespro::ModCommandLine::Begin(argc, argv)); }
