// reports/report_commands.h - what the delivery reports' menu does: show all reports, delete them,
// set how many recipients a page shows. For the mail client's thread.
#pragma once

#include <filesystem>
#include <string_view>

#include "base/status.h"
#include "host/add_in.h"
#include "settings/settings.h"

namespace vespro::ModReports {

// The greatest number of recipients on a page.
inline constexpr int kMostPerPage = 500;

// Writes the page that leads to all reports and gives its path; lets events run after each entry.
// kNotFound when there are none, and the old page stays; kCannotWrite.
Result<std::filesystem::path> MakeIndex(AddIn& add_in);
// The same on the screen, with the hourglass meanwhile; failures are told to the user.
void ViewReports(AddIn& add_in);

// Asks, deletes the two reports of every session that has both, says so, and writes the page that
// says that there are none. kCancelled after a No, kNotFound when there are none. kCannotWrite when
// some stayed; the page then leads to those. The user has been told of all of these.
Status Purge(AddIn& add_in);
// The same, and shows the page.
void PurgeReports(AddIn& add_in);

// Stores the number with which `answer` begins. kUsage, with nothing stored, when it is none of 1
// to kMostPerPage; kCannotWrite. The texts are for a message box.
Status SetPerPage(Settings& settings, std::string_view answer);
// Asks for the number and stores it.
void LimitPerPage(AddIn& add_in, Settings& settings);

}  // namespace vespro::ModReports
