#include "engine/report.h"

#include <system_error>

#include "base/text.h"
#include "engine/report_html.h"
#include "engine/report_rows.h"

namespace vespro::engine {
namespace {

namespace fs = std::filesystem;
using ModReportRows::ForEach;
using ModReportRows::LocalTimeText;
using ModReportRows::NotReached;
using ModReportRows::Value;
using ModReportRows::Who;
using ModReportRows::Words;

struct Scan {
  JournalState state;
  std::int64_t started = 0;
  std::set<std::string> in_clear;
};

Result<Scan> ScanJournal(const fs::path& folder) {
  Result<JournalReader> reader = JournalReader::Open(Journal::PathIn(folder));
  if (!reader.ok()) return reader.status();
  Scan scan;
  for (JournalEvent event; reader->Next(event);) {
    if (event.kind == JournalEvent::Kind::kRun && scan.started == 0) scan.started = event.time;
    if (event.kind == JournalEvent::Kind::kInClear) scan.in_clear.insert(event.outcome.server);
    scan.state.Take(event);
  }
  if (!reader->status().ok()) return reader->status();
  return scan;
}

// ASCII without commas, quotes, line ends and "@": lists are split at every comma, and the address
// column is looked for by its "@".
std::string CsvReason(std::string_view text) {
  std::string plain;
  for (char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == ',')
      plain += ';';
    else if (c == '@')
      plain += "(at)";
    else if (byte < 0x20 || byte == 0x7F)
      plain += ' ';
    else if (byte >= 0x80)
      plain += '?';
    else if (c != '"' && c != '\'')
      plain += c;
  }
  return plain;
}

// A header names the fields for the merge words. A list without one names them by its first row,
// which is a person's, and so may be the header of a job that sends again: as a header it must have
// no "@".
std::string FailedHeader(const ReportFacts& facts) {
  const Distribution& list = facts.list;
  std::string names = list.kind == ListKind::kText ? "address" : facts.first_row;
  std::string address;
  ModRow::AddressOf(names, list.kind, list.column, address);
  if (!list.header || ModRow::LooksLikeAddress(address)) {
    names = ModText::ReplaceAll(names, "@", "(at)");
  }
  return (facts.byte_order_mark ? "\xEF\xBB\xBF" : "") + ("state,reason," + names) + "\r\n";
}

std::string FailedRow(const JournalEvent& event, const ReportFacts& facts) {
  const std::string& row = event.recipient.row;
  std::string line(StateName(event.outcome.state));
  line += "," + CsvReason(Words(event)) + ",";
  return line + (facts.list.kind == ListKind::kText ? ModText::ReplaceAll(row, ",", ";") : row) +
         "\r\n";
}

std::string TextRow(const JournalEvent& event, std::string_view deferral) {
  std::string line = Who(event);
  line.append("\t").append(StateName(event.outcome.state)).append("\t");
  line += std::to_string(event.outcome.attempts) + "\t" + Value(event.outcome.server) + "\t";
  return line + Words(event, deferral) + "\r\n";
}

Status WriteText(const fs::path& folder, const JournalState& state, const ReportFacts& facts,
                 const ReportCounts& counts, const NotReached& not_reached) {
  Result<AtomicFile> file = AtomicFile::Create(folder / "report.txt", Access::kPrivate);
  if (!file.ok()) return file.status();
  std::string head = "Subject: " + Value(facts.subject) + "\r\n" +
                     (facts.finished ? "" : "Not finished: " + Value(facts.how_to_go_on) + "\r\n") +
                     "From: " + Value(facts.from) + "\r\nList: " + Value(facts.list.path) +
                     "\r\nStarted: " + LocalTimeText(counts.started) +
                     "\r\nEnded: " + (facts.ended == 0 ? "" : LocalTimeText(facts.ended)) +
                     "\r\nResult: " + Value(facts.result) + "\r\n";
  for (const State each : kReportOrder) {
    if (each == State::kNotReached && counts.Of(each) == 0) continue;
    head.append(StateName(each)).append(": ") += std::to_string(counts.Of(each)) + "\r\n";
  }
  for (const auto& [server, by_state] : counts.by_server) {
    head += "Account: " + Value(server);
    for (const State each : kStateOrder) {
      const std::uint64_t count = by_state[static_cast<std::size_t>(each)];
      if (count > 0) head.append(" ").append(StateName(each)).append(" ") += std::to_string(count);
    }
    head += "\r\n";
  }
  for (const AccountTally& account : facts.accounts) {
    if (!account.login_refused.empty()) {
      head +=
          "Login refused: " + Value(account.server) + ": " + Value(account.login_refused) + "\r\n";
    }
    if (!account.disabled.empty()) {
      head += "Given up: " + Value(account.server) + ": " + Value(account.disabled) + "\r\n";
    }
    if (!account.limited.empty()) {
      head += "Limited: " + Value(account.server) + ": " + Value(account.limited) + "\r\n";
    }
  }
  for (const std::string& server : counts.in_clear) {
    head += "In clear: " + Value(server) + ": " + kInClear + "\r\n";
  }
  if (Status status = file->Write(head + "\r\n"); !status.ok()) return status;
  const auto take = [&file](const JournalEvent& event, std::string_view deferral) {
    return file->Write(TextRow(event, deferral));
  };
  if (Status rows = ForEach(folder, state, take); !rows.ok()) return rows;
  if (Status rows = not_reached.ForFirst(UINT64_MAX, take); !rows.ok()) return rows;
  return file->Commit();
}

Status WriteFailed(const fs::path& folder, const JournalState& state, const ReportFacts& facts,
                   const ReportCounts& counts) {
  const fs::path path = folder / "failed.csv";
  if (counts.to_mend == 0) return ModFiles::Remove(path);
  Result<AtomicFile> file = AtomicFile::Create(path, Access::kPrivate);
  if (!file.ok()) return file.status();
  if (Status head = file->Write(FailedHeader(facts)); !head.ok()) return head;
  // A row without an address comes after those with one: the first row shows the address column.
  bool some_without = false;
  for (const bool with_address : {true, false}) {
    if (!with_address && !some_without) break;
    Status rows = ForEach(folder, state, [&](const JournalEvent& event, std::string_view) {
      const std::string& row = event.recipient.row;
      if (row.empty()) return Status();
      std::string address;
      ModRow::AddressOf(row, facts.list.kind, facts.list.column, address);
      const bool has_address = address.find('@') != std::string::npos;
      some_without = some_without || !has_address;
      return has_address == with_address ? file->Write(FailedRow(event, facts)) : Status();
    });
    if (!rows.ok()) return rows;
  }
  return file->Commit();
}

Result<NotReached> OpenNotReached(const fs::path& folder, const ReportFacts& facts,
                                  const ReportCounts& counts, const JournalState& state) {
  NotReached not_reached(facts, state);
  if (counts.Of(State::kNotReached) > 0) {
    if (Status read = not_reached.ReadDeferrals(folder); !read.ok()) return read;
  }
  return not_reached;
}

// What a run that was killed while it wrote has left, under names that nobody writes to again.
void RemoveLeftovers(const fs::path& folder) {
  std::error_code error;
  std::vector<fs::path> leftovers;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
    const std::string name = ModFiles::ToUtf8(entry.path().filename());
    const bool ours = name.starts_with("report") || name.starts_with("failed.csv");
    if (ours && name.find(".tmp") != std::string::npos) leftovers.push_back(entry.path());
  }
  for (const fs::path& file : leftovers) fs::remove(file, error);
}

}  // namespace

std::uint64_t ReportCounts::Total() const {
  std::uint64_t total = 0;
  for (std::uint64_t count : by_state) total += count;
  return total;
}

Result<ReportCounts> CountJournal(const fs::path& folder) {
  Result<Scan> scan = ScanJournal(folder);
  if (!scan.ok()) return scan.status();
  ReportCounts counts;
  counts.started = scan->started;
  counts.in_clear = std::move(scan->in_clear);
  counts.in_doubt = scan->state.lines().InDoubtCount();
  Status read = ForEach(folder, scan->state, [&](const JournalEvent& event, std::string_view) {
    const auto state = static_cast<std::size_t>(event.outcome.state);
    ++counts.by_state[state];
    if (!event.outcome.server.empty()) ++counts.by_server[event.outcome.server][state];
    if (!event.recipient.row.empty()) {
      ++counts.to_mend;
      if (event.outcome.state == State::kSkipped) ++counts.skipped_to_mend;
    }
    return Status();
  });
  if (!read.ok()) return read;
  return counts;
}

Status WriteReports(const fs::path& folder, const ReportFacts& facts, const ReportCounts& counts) {
  Result<Scan> scan = ScanJournal(folder);
  if (!scan.ok()) return scan.status();
  const JournalState& state = scan->state;
  Result<NotReached> not_reached = OpenNotReached(folder, facts, counts, state);
  if (!not_reached.ok()) return not_reached.status();
  RemoveLeftovers(folder);
  Status status = WriteText(folder, state, facts, counts, not_reached.value());
  if (!status.ok()) return status;
  if (status = WriteFailed(folder, state, facts, counts); !status.ok()) return status;
  return WritePages(folder, state, facts, counts, not_reached.value());
}

Status ForNotReached(const fs::path& folder, const ReportFacts& facts, const ReportCounts& counts,
                     const ModReportRows::Take& take) {
  if (counts.Of(State::kNotReached) == 0) return {};
  Result<Scan> scan = ScanJournal(folder);
  if (!scan.ok()) return scan.status();
  Result<NotReached> not_reached = OpenNotReached(folder, facts, counts, scan->state);
  return not_reached.ok() ? not_reached->ForFirst(UINT64_MAX, take) : not_reached.status();
}

}  // namespace vespro::engine
