// reports/report_commands.h - what the delivery reports' menu does: show all reports, delete them,
// set how many recipients a page shows. For the mail client's thread.
#pragma once

#include <filesystem>
#include <functional>
#include <string_view>

#include "base/files.h"
#include "base/status.h"
#include "host/add_in.h"
#include "settings/settings.h"

namespace vespro::ModReports {

// The greatest number of recipients on a page.
inline constexpr int kMaxPerPage = 500;

// Writes the page that leads to all reports and gives its path; lets events run after each entry.
// kNotFound when there are none, and the old page stays; kCannotWrite.
Result<std::filesystem::path> MakeIndex(AddIn& add_in);
// The same on the screen, with the hourglass meanwhile; failures are told to the user.
void ViewReports(AddIn& add_in);

struct Purged {
  // kCancelled after a No, kNotFound when there were no reports, kCannotWrite when some stayed or
  // the page can't be written. The user has been told.
  Status status;
  bool has_page = false;  // a page was written that says what is left
};
using Remover = std::function<Status(const std::filesystem::path&)>;

// Asks, deletes the two reports of every session that has both, says so, and writes the page that
// says that there are none; where some stayed, the page that leads to those. `remove` deletes a
// file that may be gone already.
Purged Purge(AddIn& add_in, const Remover& remove = ModFiles::Remove);
// The same, and shows the page if there is a new one.
void PurgeReports(AddIn& add_in, const Remover& remove = ModFiles::Remove);

// Stores the number with which `answer` begins. kUsage, with nothing stored, when it is none of 1
// to kMaxPerPage; kCannotWrite, with the reason. The texts are for a message box.
Status SetPerPage(Settings& settings, std::string_view answer);
// Asks for the number and stores it.
void LimitPerPage(AddIn& add_in, Settings& settings);

}  // namespace vespro::ModReports
