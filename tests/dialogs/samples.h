// tests/dialogs/samples.h - every dialog on sample data, by name: for the pictures in the manual
// and for screenshots. What they show is the same on every machine.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "host/desktop.h"

namespace vespro {

struct DialogSample {
  std::string name;                    // the dialog's, and its state: "DlgMapCSV-confirm"
  std::function<void(Desktop&)> show;  // shows it and waits until it is closed
  std::string explanation;             // one line
};

// Makes its sample lists in `work_folder`, which must stay. frmWait has nothing to close it with.
std::vector<DialogSample> DialogSamples(const std::filesystem::path& work_folder);

}  // namespace vespro
