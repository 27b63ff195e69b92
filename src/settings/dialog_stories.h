// settings/dialog_stories.h - for tests only: what people do in the accounts and options dialogs,
// and what they see and have in their files afterwards. Each story runs on any FormDriver.
#pragma once

#include <vector>

#include "forms/stories.h"

namespace vespro {

// In the accounts dialog, frmMailSetting.
std::vector<FormStory> AccountStories();
// In the options, frmOptions.
std::vector<FormStory> OptionsStories();
// Apart, since it needs 32,702 accounts.
void TellMoreThanTheListHolds(Story& story);

}  // namespace vespro
