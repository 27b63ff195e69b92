// tests/stories/story_runner.h - a story as text, done and told. README.md has the steps and what
// is printed for each.
#pragma once

#include <string>
#include <string_view>

#include "stories/story_host.h"

namespace vespro {

// Does the steps of the story and gives the story as it happened: comments and steps as they are,
// with what followed each. Lines end in LF.
std::string TellStory(StoryHost& host, std::string_view story);

// Without the lines in which adaptors differ: calls of the mail client and its events.
std::string WithoutCalls(std::string_view story);

// Both stories' first lines that differ, for a person; empty when they are equal.
std::string FirstDifference(std::string_view expected, std::string_view told);

}  // namespace vespro
