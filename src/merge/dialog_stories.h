// merge/dialog_stories.h - for tests only: what people do in the mail merge dialog, and what they
// see and have in their settings afterwards. Each story runs on any FormDriver.
#pragma once

#include <vector>

#include "forms/stories.h"

namespace vespro {

std::vector<FormStory> MergeDialogStories();

}  // namespace vespro
