// bench/dialogs.h - how long dialogs take to open. One thread.
#pragma once

#include "forms/renderer.h"
#include "host/desktop.h"

namespace vespro {

struct OpeningGoals {
  double long_list_ms;  // the accounts, of which there are as many as can be
  double others_ms;
};

// Opens each dialog several times, with the account list at its longest among them, from the moment
// its window is made until it is drawn and waits for the user; prints the medians. 1 when a goal is
// missed.
int TimeDialogs(FormRenderer& renderer, Desktop& desktop, const OpeningGoals& goals);

}  // namespace vespro
