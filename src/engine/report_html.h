// engine/report_html.h - the report's pages: report.html, report-2.html and so on. One thread.
//
// They are read in browsers of any age, with and without style sheets, by eye and by ear, on paper
// and on telephones. So: no script, a table with a caption and named headers, and what a style
// sheet does is only to please - a link to a state leads to its rows in any browser, and hides the
// others in a newer one.
#pragma once

#include <cstdint>
#include <filesystem>

#include "base/status.h"
#include "engine/journal.h"
#include "engine/report_facts.h"
#include "engine/report_rows.h"

namespace vespro::engine {

// A large job does not leave thousands of files.
inline constexpr std::uint64_t kMaxProblemPages = 1000, kMaxOthers = 10'000;

// Writes all pages and removes those that an earlier report had more. report.html, which people
// open, comes last.
Status WritePages(const std::filesystem::path& folder, const JournalState& state,
                  const ReportFacts& facts, const ReportCounts& counts,
                  const ModReportRows::NotReached& not_reached);

}  // namespace vespro::engine
