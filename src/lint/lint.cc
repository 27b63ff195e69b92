#include "lint/lint.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <memory>
#include <set>

#include "base/clock.h"
#include "base/files.h"
#include "base/text.h"
#include "engine/address.h"
#include "engine/template.h"
#include "engine/unsubscribe.h"
#include "lint/list_check.h"
#include "lint/message_check.h"
#include "lint/words.h"
#include "merge/custom_words.h"
#include "merge/field_names.h"

namespace vespro::lint {
namespace {

// Many mailboxes take no more than 10 or 20 MB, and attachments travel a third larger than they
// are.
constexpr std::uint64_t kLargeBytes = std::uint64_t{10} * 1024 * 1024;
constexpr char kAllowWords[] = "--allow-unknown-words";

std::string Quoted(std::string_view text) { return "'" + ModText::Printable(text) + "'"; }

std::string Count(std::uint64_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

// "a, b and c".
std::string Joined(const std::vector<std::string>& names) {
  std::string text;
  for (std::size_t i = 0; i < names.size(); ++i) {
    text += i == 0 ? "" : i + 1 == names.size() ? " and " : ", ";
    text += names[i];
  }
  return text;
}

std::string Megabytes(std::uint64_t bytes) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.1f MB", static_cast<double>(bytes) / 1024 / 1024);
  return text.data();
}

// Whether one is the other or below it: club.org and mail.club.org.
bool AreRelated(std::string_view a, std::string_view b) {
  if (a.size() < b.size()) std::swap(a, b);
  if (!a.ends_with(b)) return false;
  return a.size() == b.size() || a[a.size() - b.size() - 1] == '.';
}

// One word of the mail that is not filled, with all the places where it is.
struct BadWord {
  Spelling spelling;
  std::vector<std::string> places;  // "the subject", "the text", each once
};

class Checker {
 public:
  Checker(const Mail& mail, Randomness& randomness) : mail_(mail), randomness_(randomness) {}

  Result<Report> Run(const ModRecipients::OnLine& on_line) {
    if (Status read = ReadFiles(); !read.ok()) return read;
    if (Status read = CheckMail(); !read.ok()) return read;
    if (other_separator_ != 0) {
      AddSeparator();
    } else {
      AddWords();
      AddCustomWords();
      if (Status checked = CheckList(on_line); !checked.ok()) return checked;
    }
    AddUnsubscribe();
    AddSender();
    std::stable_sort(report_.findings.begin(), report_.findings.end(),
                     [](const Finding& a, const Finding& b) { return a.severity > b.severity; });
    return std::move(report_);
  }

 private:
  Finding& Add(Severity severity, std::string_view id, std::string subject, std::string text) {
    return report_.findings.emplace_back(
        Finding{severity, id, std::move(subject), std::move(text)});
  }

  Status ReadFiles() {
    Result<std::string> bytes = ModFiles::ReadAll(mail_.message_file);
    if (!bytes.ok()) return bytes.status();
    bytes_ = std::move(bytes).value();
    Result<std::vector<std::string>> words =
        ModMailMerge::LoadCustomWords(mail_.message_file.parent_path());
    if (!words.ok()) return words.status();
    custom_ = std::move(words).value();
    if (mail_.list.kind != ListKind::kCsv) return {};
    Result<ModDistribution::FirstRows> rows = ModDistribution::ReadFirstRows(mail_.list.path);
    if (!rows.ok()) return rows.status();
    first_row_ = rows->first;
    other_separator_ = ModDistribution::OtherSeparator(rows->first, rows->second);
    fields_ = ModMailMerge::FieldNames(first_row_);
    return {};
  }

  bool IsTurbo() const { return mail_.bcc_mode > 0; }

  // Reads the message as the engine does; where it looks for merge words, so do we.
  Status CheckMail() {
    for (const ModMailMerge::FieldName& field : fields_) known_.push_back(field.name);
    for (const std::string& entry : custom_) {
      known_.push_back(ModMailMerge::MergeWordOf(entry).substr(1));
    }
    engine::TemplateOptions options;
    options.first_row = first_row_;
    options.custom_words = custom_;
    options.on_hash = [this](const engine::HashSign& sign, std::string_view where) {
      TakeHash(sign, where);
    };
    const SystemClock clock;
    // In turbo mode nothing is filled, so what would be filled otherwise is what is wrong.
    Result<std::unique_ptr<engine::Template>> prepared =
        engine::Template::Prepare(bytes_, options, clock, randomness_);
    if (!prepared.ok()) return prepared.status();
    const engine::Template& message = *prepared.value();
    report_.subject = message.subject();
    report_.from = message.from();
    report_.message_bytes = message.least_bytes();
    sender_ = message.sender();
    Result<MessageFacts> facts = CheckMessage(bytes_);
    if (!facts.ok()) return facts.status();
    AddMessage(facts.value());
    return {};
  }

  void TakeHash(const engine::HashSign& sign, std::string_view where) {
    if (!sign.word.empty()) {
      used_.emplace(sign.word);
      if (!IsTurbo()) return;
      Note({Spelling::Kind::kUnknown, "#" + std::string(sign.word), {}}, where);
      in_links_ = in_links_ || sign.in_link;
      return;
    }
    const Spelling spelling = ReadSpelling(sign, known_);
    if (spelling.kind == Spelling::Kind::kNone) return;
    // Where nothing is filled a word in capitals is a hashtag, unless it resembles a column's name.
    const bool is_hashtag = spelling.kind != Spelling::Kind::kUnknown || spelling.meant.empty();
    if (IsTurbo() && is_hashtag) return;
    Note(spelling, where);
  }

  void Note(const Spelling& spelling, std::string_view where) {
    const auto same = [&](const BadWord& word) {
      return word.spelling.word == spelling.word && word.spelling.kind == spelling.kind;
    };
    auto found = std::find_if(words_.begin(), words_.end(), same);
    if (found == words_.end()) {
      if (words_.size() >= kMaxWords) return;
      found = words_.insert(words_.end(), BadWord{spelling, {}});
    }
    std::vector<std::string>& places = found->places;
    if (std::find(places.begin(), places.end(), where) == places.end()) places.emplace_back(where);
  }

  void AddWords() {
    for (const BadWord& word : words_) AddWord(word);
    if (!in_links_) return;
    Add(Severity::kError, "turbo-link", {},
        "a link with a merge word is meant for one person each, and in turbo mode one copy goes to "
        "many: send it with --personalised")
        .option = kAllowWords;
  }

  void AddWord(const BadWord& bad) {
    const auto& [kind, word, meant] = bad.spelling;
    const std::string there = Quoted(word) + " in " + Joined(bad.places);
    const std::string hint = meant.empty() ? "" : ". Did you mean " + meant + "?";
    if (IsTurbo()) {
      Add(Severity::kError, "turbo-word", word,
          there +
              " would be read as it is, since turbo mode fills no merge words: send it with "
              "--personalised, or take the word out")
          .option = kAllowWords;
    } else if (kind == Spelling::Kind::kUnknown) {
      const char* const what = mail_.list.kind == ListKind::kCsv
                                   ? " is no column of the list and none of your own words"
                                   : " can't be filled: a list of plain addresses has no columns";
      Add(Severity::kError, "unknown-word", word,
          there + what + ", so everybody would read it as it is" + hint)
          .option = kAllowWords;
    } else if (kind == Spelling::Kind::kSmall) {
      Add(Severity::kWarning, "small-word", word,
          there + " stays as it is, since merge words are in capitals: write " + meant +
              " if it is meant so");
    } else {
      Add(Severity::kWarning, "link-word", word,
          there +
              " is part of a link and no column of the list, so the link would have it as it "
              "is" +
              hint);
    }
  }

  void AddCustomWords() {
    if (IsTurbo()) return;
    for (const std::string& entry : custom_) {
      const std::string word = ModMailMerge::MergeWordOf(entry);
      const bool is_used = used_.contains(word.substr(1));
      const bool is_field = ColumnOf(word.substr(1)) != nullptr;
      if (is_used && is_field) {
        Add(Severity::kWarning, "hidden-word", word,
            Quoted(word) +
                " is a word of your own and a column of the list, too: the column's "
                "value is put in. Rename one of them");
      } else if (!is_used) {
        Add(Severity::kNote, "unused-word", word,
            "your own word " + Quoted(word) + " is not in this mail");
      }
    }
  }

  const ModMailMerge::FieldName* ColumnOf(std::string_view name) const {
    for (const ModMailMerge::FieldName& field : fields_) {
      if (field.name == name) return &field;
    }
    return nullptr;
  }

  void AddMessage(const MessageFacts& facts) {
    if (ModText::Trim(report_.subject).empty()) {
      Add(Severity::kWarning, "no-subject", {},
          "the mail has no subject; many filters take that for spam: give --subject");
    }
    if (facts.has_html && !facts.has_text) {
      Add(Severity::kWarning, "no-text", {},
          "the mail has HTML and no plain text, which some readers need and some filters miss: "
          "give --text, or --make-text, which makes one of the HTML");
    }
    for (const std::string& picture : facts.local_pictures) {
      Add(Severity::kWarning, "local-picture", picture,
          "nobody will see the picture " + Quoted(picture) +
              ", which is on your own disk: --embed it, and show it as cid:NAME");
    }
    for (const std::string& picture : facts.missing_pictures) {
      Add(Severity::kWarning, "missing-picture", picture,
          "nobody will see the picture " + Quoted(picture) +
              ": no embedded file has that name. --embed it");
    }
    for (const std::string& picture : facts.unused_pictures) {
      Add(Severity::kWarning, "unused-picture", picture,
          Quoted(picture) +
              " is embedded and shown nowhere: show it in the HTML as cid:NAME, or "
              "--attach it");
    }
    if (report_.message_bytes > kLargeBytes) {
      Add(Severity::kWarning, "large", {},
          "each message has " + Megabytes(report_.message_bytes) +
              ", and many mailboxes take no more than 10: send a link to the file");
    }
  }

  void AddSeparator() {
    Add(Severity::kError, "separator", {},
        ModDistribution::OtherSeparatorText(mail_.list.path, other_separator_))
        .option = "--column";
  }

  Status CheckList(const ModRecipients::OnLine& on_line) {
    std::vector<const ModMailMerge::FieldName*> shown;
    std::vector<std::size_t> columns;
    for (const std::string& word : used_) {
      const ModMailMerge::FieldName* const field = IsTurbo() ? nullptr : ColumnOf(word);
      if (field == nullptr) continue;
      shown.push_back(field);
      columns.push_back(field->column);
    }
    Result<ListFacts> facts = CheckRows(mail_.list, columns, randomness_, on_line);
    if (!facts.ok()) return facts.status();
    report_.people = facts->people;
    AddRows(facts.value());
    for (std::size_t i = 0; i < shown.size(); ++i) {
      const Rows& rows = facts->empty[i];
      if (rows.count == 0) continue;
      const std::string word = "#" + shown[i]->name;
      const std::string who = rows.count == facts->people ? std::string("everybody")
                                                          : Count(rows.count, "person", "people");
      AddRowFinding(Severity::kWarning, "empty-field",
                    Quoted(word) + " is empty for " + who + ", who would read nothing in its place",
                    rows)
          .subject = word;
    }
    return {};
  }

  // `text` says what is wrong; the lines are named after it.
  Finding& AddRowFinding(Severity severity, std::string_view id, const std::string& text,
                         const Rows& rows, const std::string& advice = {}) {
    Finding& finding =
        Add(severity, id, {}, text + ": " + RowsText(rows) + (advice.empty() ? "" : ". " + advice));
    finding.rows = rows;
    return finding;
  }

  void AddRows(const ListFacts& facts) {
    if (facts.people == 0) {
      Add(Severity::kError, "no-recipients", {},
          "nobody on the list would get a mail: no row has an address that can be used. 'vespro "
          "list map' shows the columns");
    }
    const auto add = [this](Severity severity, std::string_view id, const Rows& rows,
                            const char* one, const char* many, const char* advice) {
      if (rows.count > 0) AddRowFinding(severity, id, Count(rows.count, one, many), rows, advice);
    };
    constexpr char kCommas[] =
        "A comma always separates, in quotes too, so what comes after it is one column further: "
        "take it out of the cell";
    add(Severity::kWarning, "no-address", facts.without_address, "row has no address",
        "rows have no address", "They are left out: add the addresses");
    add(Severity::kWarning, "bad-address", facts.unusable, "row has an address that can't be right",
        "rows have addresses that can't be right", "They are left out: correct them");
    add(Severity::kWarning, "quoted-comma", facts.quoted_commas,
        "row has a comma inside a cell in quotes, which moves what this mail uses",
        "rows have a comma inside a cell in quotes, which moves what this mail uses", kCommas);
    add(Severity::kNote, "quoted-comma", facts.harmless_commas,
        "row has a comma inside a cell in quotes, after all cells that this mail uses",
        "rows have a comma inside a cell in quotes, after all cells that this mail uses", "");
    add(Severity::kWarning, "line-break", facts.open_quotes,
        "row has a line break inside a cell in quotes",
        "rows have a line break inside a cell in quotes",
        "A line is a row, so what comes after it counts as the next: take it out of the cell");
    add(Severity::kWarning, "long-row", facts.long_rows, "row has more cells than the first",
        "rows have more cells than the first", kCommas);
    add(Severity::kNote, "duplicate", facts.duplicates, "row has the address of an earlier one",
        "rows have the address of an earlier one", "Each address gets one mail");
  }

  void AddUnsubscribe() {
    const Result<engine::Unsubscribe> made =
        engine::Unsubscribe::Make(mail_.unsubscribe, IsTurbo());
    if (made.ok()) return;
    Add(Severity::kError, IsTurbo() ? "turbo-link" : "unsubscribe", {}, made.status().text());
  }

  void AddSender() {
    const std::string domain = ModText::LowerAscii(engine::DomainOf(sender_));
    std::set<std::string> others;
    for (const Account& account : mail_.accounts) {
      if (account.login.find('@') == std::string::npos) continue;
      const std::string of_login = ModText::LowerAscii(engine::DomainOf(account.login));
      if (!AreRelated(domain, of_login)) others.insert(of_login);
    }
    if (others.empty()) return;
    Add(Severity::kWarning, "from-domain", sender_,
        "the sender " + Quoted(sender_) + " is not of the account's domain (" +
            Joined({others.begin(), others.end()}) +
            "), which many mail systems take for forged: send --from an address of that domain, "
            "and let --reply-to say where answers go");
  }

  static constexpr std::size_t kMaxWords = 100;

  const Mail& mail_;
  Randomness& randomness_;
  Report report_;
  std::string bytes_, first_row_, sender_;
  std::vector<std::string> custom_;
  std::vector<ModMailMerge::FieldName> fields_;
  std::vector<std::string> known_;  // names of fields and custom words
  char other_separator_ = 0;
  std::set<std::string, std::less<>> used_;  // the words that are filled
  std::vector<BadWord> words_;
  bool in_links_ = false;  // turbo mode: one of them is in a link
};

}  // namespace

std::size_t Report::Count(Severity severity) const {
  return static_cast<std::size_t>(
      std::count_if(findings.begin(), findings.end(),
                    [severity](const Finding& finding) { return finding.severity == severity; }));
}

Result<Report> Check(const Mail& mail, Randomness& randomness,
                     const ModRecipients::OnLine& on_line) {
  return Checker(mail, randomness).Run(on_line);
}

}  // namespace vespro::lint
