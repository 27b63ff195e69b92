// forms/stories.h - for tests only: what every renderer has to get right, told once. Each
// renderer's test runs them all with a driver of its own.
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "forms/story.h"

namespace vespro {

struct FormStory {
  std::string name;  // letters and digits
  std::function<void(Story&)> tell;
};
inline void PrintTo(const FormStory& story, std::ostream* out) { *out << story.name; }

// In each, the program may still run at the end.
std::vector<FormStory> FormStories();

}  // namespace vespro
