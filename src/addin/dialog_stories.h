// addin/dialog_stories.h - for tests only: what people do in the add-in's own dialogs. Each story
// runs on any FormDriver.
#pragma once

#include <vector>

#include "forms/stories.h"

namespace vespro {

std::vector<FormStory> AddinDialogStories();

}  // namespace vespro
