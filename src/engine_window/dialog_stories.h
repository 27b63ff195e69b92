// engine_window/dialog_stories.h - for tests only: the stories of the engine's window.
#pragma once

#include <vector>

#include "forms/stories.h"

namespace vespro {

std::vector<FormStory> EngineWindowStories();

}  // namespace vespro
