// recipients/dialog_stories.h - for tests only: what people do in the recipients' dialogs, and what
// they see and have in their files afterwards. Each story runs on any FormDriver.
#pragma once

#include <vector>

#include "forms/stories.h"

namespace vespro {

std::vector<FormStory> RecipientsStories();

}  // namespace vespro
