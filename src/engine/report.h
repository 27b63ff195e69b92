// engine/report.h - what a job's user reads afterwards, made from its journal: report.txt,
// report.html with report-2.html and so on, and failed.csv. One thread.
//
// The journal is read several times as a stream, and so is the list for those who were not reached:
// a report needs one byte a line of the list, what the list's reader needs, and the words of those
// who wait for another attempt. Each file is written beside its place and renamed.
#pragma once

#include <filesystem>

#include "base/status.h"
#include "engine/journal.h"
#include "engine/report_facts.h"
#include "engine/report_rows.h"

namespace vespro::engine {

// Counts every recipient of the list that the journal names last once, by the last outcome.
Result<ReportCounts> CountJournal(const std::filesystem::path& folder);

// Writes all reports into the session folder. The pages show problems - refused, failed,
// unknown, and skipped rows that are to be mended - on at most `kMaxProblemPages`, and the first
// `kMaxOthers` of the others (report_html.h); report.txt has everybody, those last whom a stopped
// run has not reached. failed.csv holds the rows
// that surely were not sent: state and reason, then the row as read. It can be used as a list: it
// always has a header, and the reason has neither commas nor quotes nor an "@". Duplicates,
// suppressed and unknown recipients are not in it, since sending to it would mail them wrongly.
// Without such rows there is no failed.csv.
Status WriteReports(const std::filesystem::path& folder, const ReportFacts& facts,
                    const ReportCounts& counts);

// Gives those whom a stopped run has not reached, as the reports name them.
Status ForNotReached(const std::filesystem::path& folder, const ReportFacts& facts,
                     const ReportCounts& counts, const ModReportRows::Take& take);

}  // namespace vespro::engine
