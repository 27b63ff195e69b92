#include "engine/report_html.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "base/files.h"
#include "base/text.h"
#include "engine/report_rows.h"

namespace vespro::engine {
namespace {

namespace fs = std::filesystem;
using ModReportRows::ForFirst;
using ModReportRows::kProblemsFirst;
using ModReportRows::LocalTimeText;
using ModReportRows::Value;
using ModReportRows::Who;
using ModReportRows::Words;

// Every colour is set off from its ground by 4.5:1 at least, in the light and in the dark look.
constexpr std::string_view kStyle =
    "<style>\n"
    "body{font:15px/1.45 system-ui,\"Segoe UI\",Arial,sans-serif;margin:1.5em auto;max-width:70em;"
    "padding:0 1em;color:#222;background:#fff}a{color:#0b57d0}\n"
    "h1{font-size:1.4em;overflow-wrap:anywhere}dl{display:grid;"
    "grid-template-columns:fit-content(40%) 1fr;gap:.2em 1em}dt,.hint,caption{color:#595959}"
    "dd{margin:0;overflow-wrap:anywhere}\n"
    ".todo{border-left:.4em solid #a84300;padding:.3em .8em;overflow-wrap:anywhere}\n"
    ".bar{display:flex;height:1.2em;border-radius:.3em;overflow:hidden}"
    ".bar span{min-width:3px;margin-right:2px}.bar span:last-child{margin-right:0}\n"
    ".bar .sent,.key.sent,.sent b{background:#2e7d32}"
    ".bar .refused,.key.refused,.refused b{background:#c62828}"
    ".bar .failed,.key.failed,.failed b{background:#a84300}"
    ".bar .skipped,.key.skipped,.skipped b{background:#5f6368}"
    ".bar .unknown,.key.unknown,.unknown b{background:#6a1b9a}"
    ".bar .not-reached,.key.not-reached,.not-reached b{background:#00636b}\n"
    ".keys{list-style:none;padding:0;display:flex;flex-wrap:wrap;align-items:baseline;gap:.4em}"
    ".key,td b{color:#fff;border-radius:.3em;padding:.1em .5em;white-space:nowrap;"
    "font-weight:normal;text-decoration:none;display:inline-block}"
    "a.key:hover{text-decoration:underline}.key.none{color:#595959;padding:.1em 0}\n"
    "table{border-collapse:collapse;width:100%;border:0}caption{text-align:left;padding:.3em 0}"
    "th,td{text-align:left;padding:.3em .6em;border:0;border-bottom:1px solid #ddd;"
    "vertical-align:top}thead th{white-space:nowrap}tbody th{font-weight:normal}"
    "th:first-child,td:last-child{min-width:14em;overflow-wrap:anywhere}\n"
    ".group th{font-weight:bold;padding-top:1em}.all{display:none;font-weight:normal}"
    "tbody:target .all{display:inline}tbody:target{scroll-margin-top:9em}\n"
    "nav a,nav b{margin-right:.8em}\n"
    "table:has(tbody:target) tbody:not(:target){display:none}\n"
    "@media screen and (max-width:52em){dl{display:block}dt{margin-top:.4em}"
    "thead{position:absolute;clip-path:inset(50%);height:1px;overflow:hidden}"
    "caption{display:block}table,tbody{display:block}"
    "tr{display:block;border-bottom:1px solid #999;padding:.5em 0}"
    "th,td{display:block;border:0;padding:.1em 0;min-width:0!important}tbody th{font-weight:bold}"
    "td:nth-child(3)::before{content:\"Attempts: \"}}\n"
    "@media screen and (prefers-color-scheme:dark){body{color:#e3e3e3;background:#1b1b1b}"
    "a{color:#8ab4f8}dt,.hint,caption,.key.none{color:#a8a8a8}th,td{border-color:#444}"
    ".key,td b{color:#111}"
    ".bar .sent,.key.sent,.sent b{background:#81c784}"
    ".bar .refused,.key.refused,.refused b{background:#f28b82}"
    ".bar .failed,.key.failed,.failed b{background:#fdb462}"
    ".bar .skipped,.key.skipped,.skipped b{background:#bdc1c6}"
    ".bar .unknown,.key.unknown,.unknown b{background:#d7aefb}"
    ".bar .not-reached,.key.not-reached,.not-reached b{background:#4fc3d9}}\n"
    "@media print{@page{margin:1.5cm}body{font-size:9pt;margin:0;max-width:none;padding:0}"
    "nav,.all,.hint,.on{display:none!important}thead{display:table-header-group}"
    "tr,dl{break-inside:avoid}.group{break-after:avoid}a{color:inherit;text-decoration:none}"
    ".bar{-webkit-print-color-adjust:exact;print-color-adjust:exact}"
    ".key,td b{color:#000;background:none!important;border:1px solid #000}"
    ".key.none{color:#000;border:0}}\n"
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

// Escaped. A word longer than a narrow column may be broken after its marks, where a reader's eye
// expects it, before a browser breaks it anywhere.
std::string Breakable(std::string_view value) {
  constexpr std::size_t kNarrow = 24;
  std::string html;
  while (!value.empty()) {
    const std::string_view word = value.substr(0, std::min(value.find(' '), value.size() - 1) + 1);
    if (word.size() <= kNarrow) {
      ModText::AppendHtml(html, word);
    } else {
      for (const char& c : word) {
        ModText::AppendHtml(html, {&c, 1});
        if (std::string_view("/\\@.-_=&?:;").find(c) != std::string_view::npos) html += "<wbr>";
      }
    }
    value.remove_prefix(word.size());
  }
  return html;
}

std::string Html(std::string_view text) { return Breakable(Value(text)); }

// 1234567 as "1,234,567".
std::string Grouped(std::uint64_t number) {
  std::string text = std::to_string(number);
  for (std::size_t i = text.size(); i > 3; i -= 3) text.insert(i - 3, ",");
  return text;
}

// As a class and an anchor, which hold no blanks.
std::string IdOf(State state) {
  return state == State::kNotReached ? "not-reached" : std::string(StateName(state));
}

std::string CountOf(State state, std::uint64_t count) {
  return Grouped(count) + " " + std::string(StateName(state));
}

// Which of the recipients the pages show, and where each state begins.
class PagePlan {
 public:
  PagePlan(const ReportCounts& counts, std::uint64_t per_page) : per_page_(per_page) {
    std::uint64_t problems = kMaxProblemPages * per_page;
    std::uint64_t others = std::min(kMaxOthers, problems);
    const auto take = [](std::uint64_t count, std::uint64_t& room) {
      const std::uint64_t taken = std::min(count, room);
      room -= taken;
      return taken;
    };
    for (const State state : kProblemsFirst) {
      std::uint64_t shown = 0;
      if (state == State::kSkipped) {
        skipped_to_mend_ = take(counts.skipped_to_mend, problems);
        shown = skipped_to_mend_ + take(counts.Of(state) - counts.skipped_to_mend, others);
      } else {
        const bool is_problem = state != State::kSent && state != State::kNotReached;
        shown = take(counts.Of(state), is_problem ? problems : others);
      }
      begin_[Index(state)] = total_;
      shown_[Index(state)] = shown;
      total_ += shown;
    }
  }

  std::uint64_t shown(State state) const { return shown_[Index(state)]; }
  std::uint64_t skipped_to_mend() const { return skipped_to_mend_; }
  std::uint64_t total() const { return total_; }
  std::uint64_t pages() const {
    return std::max<std::uint64_t>((total_ + per_page_ - 1) / per_page_, 1);
  }
  // Where the state's first row is; only for one that is shown.
  std::string LinkTo(State state) const {
    return PageName(begin_[Index(state)] / per_page_ + 1) + "#" + IdOf(state);
  }

 private:
  static std::size_t Index(State state) { return static_cast<std::size_t>(state); }

  std::uint64_t per_page_;
  std::uint64_t total_ = 0, skipped_to_mend_ = 0;
  std::array<std::uint64_t, kReportStates> begin_{}, shown_{};
};

// Puts the pages together, each as it fills.
class PageWriter {
 public:
  PageWriter(const fs::path& folder, const ReportFacts& facts, const ReportCounts& counts)
      : folder_(folder), facts_(facts), counts_(counts), plan_(counts, facts.entries_per_page) {
    BeginPage();
  }

  const PagePlan& plan() const { return plan_; }

  Status Add(const JournalEvent& event, std::string_view deferral) {
    const State state = event.outcome.state;
    if (on_page_ == facts_.entries_per_page) {
      const bool goes_on = state == group_;
      if (goes_on) {
        page_ += "<tr class=\"group on\"><td colspan=\"5\"><a href=\"" + PageName(number_ + 1) +
                 "#" + IdOf(state) + "\">More " + std::string(StateName(state)) +
                 "</a></td></tr>\n";
      }
      if (Status status = EndPage(); !status.ok()) return status;
      ++number_;
      BeginPage();
    }
    if (on_page_ == 0 || state != group_) BeginGroup(state);
    ++on_page_;
    page_ += "<tr><th scope=\"row\">" + Breakable(Who(event)) + "</th><td><b>";
    page_.append(StateName(state)) += "</b></td><td>" + std::to_string(event.outcome.attempts) +
                                      "</td><td>" + Html(event.outcome.server) + "</td><td>" +
                                      Breakable(Words(event, deferral)) + "</td></tr>\n";
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
  void BeginPage() {
    const std::string mark = facts_.finished ? "" : "Not finished: ";
    const std::string page_of = number_ == 1 ? std::string() : " - page " + std::to_string(number_);
    page_ = "<!DOCTYPE html><html lang=\"en\"><head><meta charset=\"utf-8\"><title>" + mark +
            TitleText(facts_.subject) + page_of + "</title>\n" +
            "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
            "<meta name=\"color-scheme\" content=\"light dark\">\n";
    page_.append(kStyle) += "</head><body>\n<h1>" +
                            Html(facts_.subject.empty() ? "(no subject)" : facts_.subject) +
                            "</h1>\n";
    if (!facts_.finished) page_ += Unfinished();
    if (number_ == 1) page_ += Bar();
    page_ += States();
    if (number_ == 1) page_ += Facts() + Rest();
    page_ += Links() + "<table border=\"1\" cellpadding=\"4\"><caption>" + Caption() +
             "</caption>\n<thead><tr><th scope=\"col\">Address</th><th scope=\"col\">State</th>"
             "<th scope=\"col\">Attempts</th><th scope=\"col\">Server</th>"
             "<th scope=\"col\">Reply</th></tr></thead>\n";
    on_page_ = 0;
  }

  Status EndPage() {
    if (on_page_ > 0) page_ += "</tbody>\n";
    page_ += "</table>\n" + Links();
    if (number_ == plan_.pages() && number_ > 1) page_ += Rest();
    page_ += "</body></html>\n";
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

  // The rows of one state on one page: what a link to the state leads to.
  void BeginGroup(State state) {
    if (on_page_ > 0) page_ += "</tbody>\n";
    group_ = state;
    const std::string name = IdOf(state);
    page_ += "<tbody id=\"" + name + "\" class=\"" + name +
             "\"><tr class=\"group\"><th colspan=\"5\" scope=\"rowgroup\">" +
             CountOf(state, counts_.Of(state)) + " <a class=\"all\" href=\"" + PageName(1) +
             "\">All recipients</a></th></tr>\n";
  }

  std::string Unfinished() const {
    return "<p class=\"todo\"><strong>This mailing is not finished.</strong> " +
           (facts_.how_to_go_on.empty() ? "The result says why and what to do."
                                        : Html(facts_.how_to_go_on)) +
           "</p>\n";
  }

  std::string Bar() const {
    std::string parts, text;
    for (const State state : kReportOrder) {
      const std::uint64_t count = counts_.Of(state);
      if (count == 0) continue;
      parts.append("<span class=\"").append(IdOf(state)).append("\" style=\"flex-grow:") +=
          std::to_string(count) + "\"></span>";
      text += (text.empty() ? "" : ", ") + CountOf(state, count);
    }
    return "<div class=\"bar\" role=\"img\" aria-label=\"" + text + "\">" + parts + "</div>\n";
  }

  std::string States() const {
    const std::uint64_t total = counts_.Total();
    std::string html = "<ul class=\"keys\"><li><strong>" + Grouped(total) +
                       (total == 1 ? " recipient" : " recipients") + "</strong></li>\n";
    int several = 0;
    for (const State state : kReportOrder) {
      const std::string text = CountOf(state, counts_.Of(state));
      if (counts_.Of(state) == 0) {
        if (state == State::kNotReached) continue;
        html += "<li><span class=\"key none\">" + text + "</span></li>\n";
        continue;
      }
      ++several;
      html += "<li><a class=\"key " + IdOf(state) + "\" href=\"" +
              (plan_.shown(state) > 0 ? plan_.LinkTo(state) : "report.txt") + "\">" + text +
              "</a></li>\n";
    }
    html += "</ul>\n";
    if (several > 1) html += "<p class=\"hint\">Choose a state to see its recipients.</p>\n";
    return html;
  }

  std::string Facts() const {
    std::string html = "<dl>" + Fact("Result", facts_.result) + Fact("From", facts_.from) +
                       Fact("List", facts_.list.path) +
                       Fact("Started", LocalTimeText(counts_.started));
    if (facts_.ended != 0) html += Fact("Ended", LocalTimeText(facts_.ended));
    for (const auto& [server, by_state] : counts_.by_server) {
      std::string text;
      for (const State state : kStateOrder) {
        const std::uint64_t count = by_state[static_cast<std::size_t>(state)];
        if (count > 0) text += (text.empty() ? "" : ", ") + CountOf(state, count);
      }
      html += Fact(server, text);
    }
    for (const AccountTally& account : facts_.accounts) {
      if (!account.login_refused.empty()) {
        html += Fact(account.server, "login refused: " + account.login_refused);
      }
      if (!account.disabled.empty()) html += Fact(account.server, "given up: " + account.disabled);
      if (!account.limited.empty()) html += Fact(account.server, "limited: " + account.limited);
    }
    for (const std::string& server : counts_.in_clear) html += Fact(server, kInClear);
    if (counts_.to_mend > 0) {
      html += "<dt>To correct</dt><dd><a href=\"failed.csv\">failed.csv</a> (" +
              Grouped(counts_.to_mend) + (counts_.to_mend == 1 ? " row" : " rows") + ")</dd>\n";
    }
    return html + "<dt>As text</dt><dd><a href=\"report.txt\">report.txt</a></dd></dl>\n";
  }

  static std::string Fact(std::string_view name, std::string_view value) {
    return "<dt>" + Html(name) + "</dt><dd>" + Html(value) + "</dd>\n";
  }

  // Where those are that the pages have no room for.
  std::string Rest() const {
    if (plan_.total() == counts_.Total()) return {};
    return "<p>These pages show problems first, at most " + Grouped(kMaxProblemPages) +
           " pages of them, and the first " + Grouped(kMaxOthers) +
           " of the other recipients. All " + Grouped(counts_.Total()) +
           " are in <a href=\"report.txt\">report.txt</a>.</p>\n";
  }

  std::string Caption() const {
    if (plan_.total() == 0) return "No recipients";
    const std::uint64_t first = (number_ - 1) * facts_.entries_per_page + 1;
    const std::uint64_t last = std::min(first + facts_.entries_per_page - 1, plan_.total());
    return "Recipients " + Grouped(first) + " to " + Grouped(last) + " of " +
           Grouped(counts_.Total()) + ", problems first";
  }

  std::string Links() const {
    const std::uint64_t pages = plan_.pages();
    if (pages == 1) return {};
    std::string html = "<nav aria-label=\"Pages\">";
    const auto link = [&](std::uint64_t page, const std::string& text) {
      if (page == number_ || page < 1 || page > pages) return;
      html += "<a href=\"" + PageName(page) + "\">" + text + "</a>\n";
    };
    link(1, "First");
    if (number_ > 2) link(number_ - 1, "Previous");
    html += "<b>Page " + Grouped(number_) + " of " + Grouped(pages) + "</b>\n";
    if (number_ + 1 < pages) link(number_ + 1, "Next");
    link(pages, "Last");
    return html + "</nav>\n";
  }

  const fs::path& folder_;
  const ReportFacts& facts_;
  const ReportCounts& counts_;
  const PagePlan plan_;
  std::uint64_t number_ = 1;
  std::size_t on_page_ = 0;
  State group_ = State::kSent;  // of the rows that are being written, if there are any on the page
  std::string page_, first_page_;
};

}  // namespace

Status WritePages(const fs::path& folder, const JournalState& journal, const ReportFacts& facts,
                  const ReportCounts& counts, const ModReportRows::NotReached& not_reached) {
  PageWriter pages(folder, facts, counts);
  const auto take = [&pages](const JournalEvent& event, std::string_view deferral) {
    return pages.Add(event, deferral);
  };
  const auto add = [&](std::uint64_t at_most, const ModReportRows::Wanted& wanted) {
    return at_most == 0 ? Status() : ForFirst(folder, journal, at_most, wanted, take);
  };
  for (const State state : kProblemsFirst) {
    std::uint64_t left = pages.plan().shown(state);
    if (state == State::kNotReached) {
      if (Status status = not_reached.ForFirst(left, take); !status.ok()) return status;
      continue;
    }
    if (state == State::kSkipped) {
      const std::uint64_t to_mend = pages.plan().skipped_to_mend();
      Status mended = add(to_mend, [](const JournalEvent& event) {
        return event.outcome.state == State::kSkipped && !event.recipient.row.empty();
      });
      if (!mended.ok()) return mended;
      left -= to_mend;
    }
    Status status = add(left, [state](const JournalEvent& event) {
      return event.outcome.state == state &&
             (state != State::kSkipped || event.recipient.row.empty());
    });
    if (!status.ok()) return status;
  }
  return pages.Finish();
}

}  // namespace vespro::engine
