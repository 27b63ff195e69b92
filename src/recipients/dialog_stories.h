// recipients/dialog_stories.h - for tests only: what people do in the recipients' dialogs, and what
// they see and have in their files afterwards. Each story runs on any FormDriver.
#pragma once

#include <vector>

#include "forms/story.h"

namespace vespro {

struct DialogStory {
  const char* name;  // a word
  void (*tell)(Story& story);
};
std::vector<DialogStory> RecipientsStories();

}  // namespace vespro
