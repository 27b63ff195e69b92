#include "engine/report.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <system_error>
#include <unordered_map>

#include "base/text.h"
#include "recipients/list_text.h"

namespace vespro::engine {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMaxValueBytes = 1000;
constexpr std::array<State, kStates> kStateOrder = {State::kSent, State::kRefused, State::kFailed,
                                                    State::kSkipped, State::kUnknown};

// Reads the journal once more and gives the last outcome of each line.
class LastOutcomes {
 public:
  explicit LastOutcomes(const LineStates& states) : states_(states) {}

  Status ForEach(const fs::path& folder, const std::function<Status(const JournalEvent&)>& take) {
    Result<JournalReader> reader = JournalReader::Open(Journal::PathIn(folder));
    if (!reader.ok()) return reader.status();
    std::unordered_map<std::uint64_t, unsigned> seen;  // of the few lines with several outcomes
    for (JournalEvent event; reader->Next(event);) {
      if (event.kind != JournalEvent::Kind::kOutcome) continue;
      const std::uint64_t line = event.recipient.line;
      const unsigned outcomes = states_.Outcomes(line);
      if (outcomes == 0 || (outcomes > 1 && ++seen[line] != outcomes)) continue;
      if (Status status = take(event); !status.ok()) return status;
    }
    return reader->status();
  }

 private:
  const LineStates& states_;
};

struct Scan {
  LineStates states;
  std::int64_t started = 0;
};

Result<Scan> ScanJournal(const fs::path& folder, const ListIdentity& list) {
  Result<JournalReader> reader = JournalReader::Open(Journal::PathIn(folder));
  if (!reader.ok()) return reader.status();
  Scan scan{LineStates(list.lines), 0};
  for (JournalEvent event; reader->Next(event);) {
    if (event.kind == JournalEvent::Kind::kRun && scan.started == 0) scan.started = event.time;
    scan.states.Take(event);
  }
  if (!reader->status().ok()) return reader->status();
  return scan;
}

std::string LocalTimeText(std::int64_t seconds) {
  const LocalTime local =
      ModClock::ToLocal(std::chrono::system_clock::time_point(std::chrono::seconds(seconds)));
  const int offset = local.utc_offset_minutes;
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02d-%02d %02d:%02d:%02d %c%02d%02d", local.year,
                local.month, local.day, local.hour, local.minute, local.second,
                offset < 0 ? '-' : '+', std::abs(offset) / 60, std::abs(offset) % 60);
  return text.data();
}

std::string Value(std::string_view text) { return ModText::Printable(text, kMaxValueBytes); }

// Who a row is about: the address, or the row itself when it has none.
std::string Who(const JournalEvent& event) {
  const Recipient& recipient = event.recipient;
  return Value(ListText(recipient.address.empty() ? recipient.row : recipient.address));
}

std::string Words(const JournalEvent& event) {
  const std::string reply = Value(event.outcome.reply);
  if (event.outcome.state != State::kSkipped) return reply;
  return "line " + std::to_string(event.recipient.line) + ": " + reply;
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
// which is a person's: as a header it must have no "@".
std::string FailedHeader(const ReportFacts& facts) {
  const Distribution& list = facts.list;
  std::string names = list.kind == ListKind::kText ? "address" : facts.first_row;
  if (!list.header) names = ModText::ReplaceAll(names, "@", "(at)");
  return (facts.byte_order_mark ? "\xEF\xBB\xBF" : "") + ("state,reason," + names) + "\r\n";
}

std::string FailedRow(const JournalEvent& event, const ReportFacts& facts) {
  const std::string& row = event.recipient.row;
  std::string line(StateName(event.outcome.state));
  line += "," + CsvReason(Words(event)) + ",";
  return line + (facts.list.kind == ListKind::kText ? ModText::ReplaceAll(row, ",", ";") : row) +
         "\r\n";
}

Status WriteText(const fs::path& folder, const LineStates& states, const ReportFacts& facts,
                 const ReportCounts& counts) {
  Result<AtomicFile> file = AtomicFile::Create(folder / "report.txt", Access::kPrivate);
  if (!file.ok()) return file.status();
  std::string head =
      "Subject: " + Value(facts.subject) + "\r\nFrom: " + Value(facts.from) +
      "\r\nList: " + Value(facts.list.path) + "\r\nStarted: " + LocalTimeText(counts.started) +
      "\r\nEnded: " + LocalTimeText(facts.ended) + "\r\nResult: " + Value(facts.result) + "\r\n";
  for (State state : kStateOrder) {
    head.append(StateName(state)).append(": ") += std::to_string(counts.Of(state)) + "\r\n";
  }
  for (const auto& [server, by_state] : counts.by_server) {
    head += "Account: " + Value(server);
    for (State state : kStateOrder) {
      const std::uint64_t count = by_state[static_cast<std::size_t>(state)];
      if (count > 0) head.append(" ").append(StateName(state)).append(" ") += std::to_string(count);
    }
    head += "\r\n";
  }
  for (const AccountTally& account : facts.accounts) {
    if (!account.login_refused.empty()) {
      head +=
          "Login refused: " + Value(account.server) + ": " + Value(account.login_refused) + "\r\n";
    }
    if (!account.taken_out.empty()) {
      head += "Given up: " + Value(account.server) + ": " + Value(account.taken_out) + "\r\n";
    }
  }
  if (Status status = file->Write(head + "\r\n"); !status.ok()) return status;
  Status rows = LastOutcomes(states).ForEach(folder, [&](const JournalEvent& event) {
    std::string line = Who(event);
    line.append("\t").append(StateName(event.outcome.state)).append("\t");
    line += std::to_string(event.outcome.attempts) + "\t" + Value(event.outcome.server) + "\t" +
            Words(event) + "\r\n";
    return file->Write(line);
  });
  if (!rows.ok()) return rows;
  return file->Commit();
}

Status WriteFailed(const fs::path& folder, const LineStates& states, const ReportFacts& facts,
                   const ReportCounts& counts) {
  const fs::path path = folder / "failed.csv";
  if (counts.to_mend == 0) return ModFiles::Remove(path);
  Result<AtomicFile> file = AtomicFile::Create(path, Access::kPrivate);
  if (!file.ok()) return file.status();
  if (Status head = file->Write(FailedHeader(facts)); !head.ok()) return head;
  // A row without an address comes after those with one: the first row shows the address column.
  for (const bool with_address : {true, false}) {
    Status rows = LastOutcomes(states).ForEach(folder, [&](const JournalEvent& event) {
      const std::string& row = event.recipient.row;
      if (row.empty()) return Status();
      std::string address;
      ModRow::AddressOf(row, facts.list.kind, facts.list.column, address);
      const bool has_address = address.find('@') != std::string::npos;
      return has_address == with_address ? file->Write(FailedRow(event, facts)) : Status();
    });
    if (!rows.ok()) return rows;
  }
  return file->Commit();
}

constexpr std::string_view kStyle =
    "<style>\n"
    "body{font:15px/1.45 system-ui,sans-serif;margin:1.5em auto;max-width:70em;padding:0 1em;"
    "color:#222;background:#fff}\n"
    "h1{font-size:1.4em}dl{display:grid;grid-template-columns:max-content 1fr;gap:.2em 1em}"
    "dt{color:#666}dd{margin:0;overflow-wrap:anywhere}\n"
    ".bar{display:flex;height:1.2em;border-radius:.3em;overflow:hidden;background:#ddd}\n"
    ".sent{background:#2e7d32}.refused{background:#c62828}.failed{background:#ef6c00}"
    ".skipped{background:#757575}.unknown{background:#6a1b9a}\n"
    ".key{color:#fff;border-radius:.3em;padding:.1em .5em;margin-right:.4em;white-space:nowrap;"
    "display:inline-block}p .key{margin-bottom:.3em}\n"
    "table{border-collapse:collapse;width:100%}th,td{text-align:left;padding:.3em .6em;"
    "border-bottom:1px solid #ddd;vertical-align:top;overflow-wrap:anywhere}\n"
    "nav a,nav b{margin-right:.8em}\n"
    "@media(max-width:40em){thead{display:none}tr{display:block;border-bottom:1px solid #999;"
    "padding:.5em 0}td{display:block;border:0;padding:.1em 0}"
    "td:nth-child(3)::before{content:\"Attempts: \"}}\n"
    "@media(prefers-color-scheme:dark){body{color:#ddd;background:#1b1b1b}a{color:#8ab4f8}}\n"
    "</style>\n";

std::string PageName(std::uint64_t page) {
  return page == 1 ? "report.html" : "report-" + std::to_string(page) + ".html";
}

// Plain ASCII without a comma: the index of reports reads the title up to the first comma, and puts
// it into a page of another charset.
std::string TitleText(std::string_view subject) {
  std::string title;
  const std::string text = ModText::EscapeHtml(Value(subject.empty() ? "(no subject)" : subject));
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    if (lead < 0x80) {
      title += text[i] == ',' ? ';' : text[i];
      ++i;
      continue;
    }
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    std::uint32_t character = lead & (0xFFu >> (length + 1));
    for (std::size_t k = 1; k < length && i + k < text.size(); ++k) {
      character = character << 6 | (static_cast<unsigned char>(text[i + k]) & 0x3Fu);
    }
    title += "&#" + std::to_string(character) + ';';
    i += length;
  }
  return title;
}

std::string Html(std::string_view text) { return ModText::EscapeHtml(Value(text)); }

// Puts the pages together, each as it fills; report.html, which people open, comes last.
class PageWriter {
 public:
  PageWriter(const fs::path& folder, const ReportFacts& facts, const ReportCounts& counts)
      : folder_(folder), facts_(facts), counts_(counts) {
    const std::uint64_t total = std::max<std::uint64_t>(counts.Total(), 1);
    pages_ = (total + facts.entries_per_page - 1) / facts.entries_per_page;
    page_ = PageHead();
  }

  Status Add(const JournalEvent& event) {
    if (on_page_ == facts_.entries_per_page) {
      if (Status status = EndPage(); !status.ok()) return status;
      ++number_;
      page_ = PageHead();
      on_page_ = 0;
    }
    ++on_page_;
    const std::string name(StateName(event.outcome.state));
    page_ += "<tr><td>" + ModText::EscapeHtml(Who(event)) + "</td><td><span class=\"key " + name +
             "\">" + name + "</span></td><td>" + std::to_string(event.outcome.attempts) +
             "</td><td>" + Html(event.outcome.server) + "</td><td>" +
             ModText::EscapeHtml(Words(event)) + "</td></tr>\n";
    return {};
  }

  Status Finish() {
    if (Status status = EndPage(); !status.ok()) return status;
    for (std::uint64_t stale = number_ + 1; ModFiles::IsFile(folder_ / PageName(stale)); ++stale) {
      if (Status status = ModFiles::Remove(folder_ / PageName(stale)); !status.ok()) return status;
    }
    return ModFiles::ReplaceWith(folder_ / PageName(1), first_page_, Access::kPrivate);
  }

 private:
  std::string PageHead() const {
    const std::string page_of = number_ == 1 ? std::string() : " - page " + std::to_string(number_);
    std::string html = "<!DOCTYPE html><html lang=\"en\"><head><meta charset=\"utf-8\"><title>" +
                       TitleText(facts_.subject) + page_of + "</title>\n" +
                       "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n";
    html.append(kStyle) += "</head><body>\n<h1>" +
                           Html(facts_.subject.empty() ? "(no subject)" : facts_.subject) +
                           "</h1>\n";
    if (number_ == 1) html += Summary();
    return html + Links() +
           "<table><thead><tr><th>Address</th><th>State</th><th>Attempts</th><th>Server</th>"
           "<th>Reply</th></tr></thead><tbody>\n";
  }

  std::string Summary() const {
    std::string html = "<div class=\"bar\">";
    for (State state : kStateOrder) {
      if (counts_.Of(state) == 0) continue;
      html.append("<span class=\"").append(StateName(state)).append("\" style=\"flex-grow:") +=
          std::to_string(counts_.Of(state)) + "\"></span>";
    }
    html += "</div>\n<p>";
    for (State state : kStateOrder) {
      html.append("<span class=\"key ").append(StateName(state)).append("\">") +=
          std::to_string(counts_.Of(state)) + " ";
      html.append(StateName(state)) += "</span>\n";  // where a narrow page may break
    }
    html += "</p>\n<dl>" + Fact("Result", facts_.result) + Fact("From", facts_.from) +
            Fact("List", facts_.list.path) + Fact("Started", LocalTimeText(counts_.started)) +
            Fact("Ended", LocalTimeText(facts_.ended));
    for (const auto& [server, by_state] : counts_.by_server) {
      std::string text;
      for (State state : kStateOrder) {
        const std::uint64_t count = by_state[static_cast<std::size_t>(state)];
        if (count == 0) continue;
        if (!text.empty()) text += ", ";
        (text += std::to_string(count) + " ").append(StateName(state));
      }
      html += Fact(server, text);
    }
    for (const AccountTally& account : facts_.accounts) {
      if (!account.login_refused.empty()) {
        html += Fact(account.server, "login refused: " + account.login_refused);
      }
      if (!account.taken_out.empty())
        html += Fact(account.server, "given up: " + account.taken_out);
    }
    if (counts_.to_mend > 0) {
      html += "<dt>To correct</dt><dd><a href=\"failed.csv\">failed.csv</a></dd>";
    }
    return html + "</dl>\n";
  }

  static std::string Fact(std::string_view name, std::string_view value) {
    return "<dt>" + Html(name) + "</dt><dd>" + Html(value) + "</dd>\n";
  }

  std::string Links() const {
    if (pages_ == 1) return {};
    std::string html = "<nav>";
    const auto link = [&](std::uint64_t page, const std::string& text) {
      if (page == number_ || page < 1 || page > pages_) return;
      html += "<a href=\"" + PageName(page) + "\">" + text + "</a>";
    };
    link(1, "First");
    if (number_ > 2) link(number_ - 1, "Previous");
    html += "<b>Page " + std::to_string(number_) + " of " + std::to_string(pages_) + "</b>";
    if (number_ + 1 < pages_) link(number_ + 1, "Next");
    link(pages_, "Last");
    return html + "</nav>\n";
  }

  Status EndPage() {
    page_ += "</tbody></table>\n" + Links() + "</body></html>\n";
    if (number_ == 1) {
      first_page_ = std::move(page_);
      return {};
    }
    // Not flushed one by one: there may be thousands, and the journal can make them again.
    const fs::path temporary = folder_ / "report-page.tmp";
    Result<File> file = File::Open(temporary, File::Mode::kReplace, Access::kPrivate);
    if (!file.ok()) return file.status();
    if (Status status = file->Write(page_); !status.ok()) return status;
    if (Status status = file->Close(); !status.ok()) return status;
    return ModFiles::Rename(temporary, folder_ / PageName(number_));
  }

  const fs::path& folder_;
  const ReportFacts& facts_;
  const ReportCounts& counts_;
  std::uint64_t pages_ = 1, number_ = 1;
  std::size_t on_page_ = 0;
  std::string page_, first_page_;
};

// Who still has to be looked at comes first.
int Urgency(State state) {
  if (state == State::kSent) return 2;
  return state == State::kSkipped ? 1 : 0;
}

Status WritePages(const fs::path& folder, const LineStates& states, const ReportFacts& facts,
                  const ReportCounts& counts) {
  PageWriter pages(folder, facts, counts);
  for (int urgency = 0; urgency <= 2; ++urgency) {
    Status status = LastOutcomes(states).ForEach(folder, [&](const JournalEvent& event) {
      return Urgency(event.outcome.state) == urgency ? pages.Add(event) : Status();
    });
    if (!status.ok()) return status;
  }
  return pages.Finish();
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

Result<ReportCounts> CountJournal(const fs::path& folder, const ListIdentity& list) {
  Result<Scan> scan = ScanJournal(folder, list);
  if (!scan.ok()) return scan.status();
  ReportCounts counts;
  counts.started = scan->started;
  counts.in_doubt = scan->states.InDoubtCount();
  Status read = LastOutcomes(scan->states).ForEach(folder, [&](const JournalEvent& event) {
    const auto state = static_cast<std::size_t>(event.outcome.state);
    ++counts.by_state[state];
    if (!event.outcome.server.empty()) ++counts.by_server[event.outcome.server][state];
    if (!event.recipient.row.empty()) ++counts.to_mend;
    return Status();
  });
  if (!read.ok()) return read;
  return counts;
}

Status WriteReports(const fs::path& folder, const ListIdentity& list, const ReportFacts& facts,
                    const ReportCounts& counts) {
  Result<Scan> scan = ScanJournal(folder, list);
  if (!scan.ok()) return scan.status();
  const LineStates& states = scan->states;
  RemoveLeftovers(folder);
  if (Status status = WriteText(folder, states, facts, counts); !status.ok()) return status;
  if (Status status = WriteFailed(folder, states, facts, counts); !status.ok()) return status;
  return WritePages(folder, states, facts, counts);
}

}  // namespace vespro::engine
