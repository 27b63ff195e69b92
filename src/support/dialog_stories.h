// support/dialog_stories.h - for tests only: what people do in the support dialogs, and what they
// see. Each story runs on any FormDriver.
#pragma once

#include <vector>

#include "forms/stories.h"

namespace vespro {

std::vector<FormStory> SupportStories();

}  // namespace vespro
