// reports/report_index.h - which session folders hold a finished job's reports.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace vespro::ModReportIndex {

inline constexpr char kHtmlReport[] = "report.html";
inline constexpr char kTextReport[] = "report.txt";

// The direct subfolders of the sessions' folder that hold both reports, in the file system's own
// order. A folder that can't be read holds none. Links are not followed: they may lead anywhere.
std::vector<std::filesystem::path> ReportFolders(const std::filesystem::path& sessions_folder);

// The title of a report's page, its bytes as they are there: the text between the first <title>
// and the first </title> (any case) of its first field, which ends at a comma or a line end. Empty
// when there is none.
std::string TitleOf(std::string_view html);
// The same for a file, of which only the beginning is read; empty when it can't be read.
std::string TitleOfReport(const std::filesystem::path& report);

}  // namespace vespro::ModReportIndex
