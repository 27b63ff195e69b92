// recipients/list_tasks.h - what is done to a distribution file with the user in front of it:
// questions, the wait window, and what came of it. Each returns when the user has read that.
// Failures are told in a message box and end the task; the file is then as the functions of load.h
// and operations.h leave it. Paths are UTF-8. One thread: the mail client's own.
#pragma once

#include <string_view>

#include "base/status.h"
#include "host/desktop.h"
#include "recipients/distribution.h"
#include "settings/settings.h"

namespace vespro::ModListTasks {

// What is said of a file whose name tells no kind.
inline constexpr std::string_view kUnknownKind = "Unknown file type";

// A failure that has no words of its own here.
void ShowError(Desktop& desktop, const Status& failure);

// Asks first. Shows the duplicates that were removed.
void RemoveDuplicates(Desktop& desktop, const Distribution& list);

// Appends the second file to the current one.
void Merge(Desktop& desktop, std::string_view current, std::string_view second);

// Takes the addresses of `unwanted` out of the current file, and its duplicates too; for a CSV
// table the user confirms the mapping first. True when that was done: `MailList` is then the
// current file. When the user gives up, `MailList` is what it was.
bool Filter(Desktop& desktop, Settings& settings, std::string_view current,
            std::string_view unwanted);

}  // namespace vespro::ModListTasks
