// reports/index_page.h - the page that leads to all reports, as the mail client shows it. Its bytes
// are fixed: docs/formats/report-index.md.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "base/status.h"

namespace vespro::ModIndexPage {

// One entry for each of `report_folders`, in that order. `install_folder` is where the icons are.
// `entry_done` (may be empty) is called after each entry. Costs the same for a report of any size.
// kCannotWrite, and the old page stays.
Status Write(const std::filesystem::path& page,
             const std::vector<std::filesystem::path>& report_folders,
             const std::filesystem::path& install_folder, const std::function<void()>& entry_done);

// The page that says that there are none.
Status WriteEmpty(const std::filesystem::path& page);

// A path as the target of a link, in the code page. What would end or redirect the link is
// percent-encoded, and so is, as UTF-8, what the code page does not have; where that is UTF-8
// itself, all but ASCII. The rest is as it is.
std::string LinkTarget(const std::filesystem::path& path);

}  // namespace vespro::ModIndexPage
