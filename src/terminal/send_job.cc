#include "terminal/send_job.h"

#include <algorithm>
#include <iostream>
#include <system_error>

#include "base/clock.h"
#include "base/code_page.h"
#include "base/command_line.h"
#include "base/files.h"
#include "base/lines.h"
#include "base/random.h"
#include "base/text.h"
#include "merge/field_names.h"
#include "recipients/list_text.h"
#include "recipients/long_rows.h"
#include "recipients/row.h"
#include "send/message_file.h"
#include "send/send_command.h"
#include "send/session.h"
#include "settings/account_file.h"
#include "settings/overlay_backend.h"
#include "settings/settings.h"
#include "terminal/terminal_host.h"

namespace vespro::ModSendJob {
namespace {

namespace fs = std::filesystem;

constexpr char kOptionsFile[] = "engine-options";

std::string Quoted(std::string_view text) { return "'" + ModText::Printable(text) + "'"; }

// The column's place among the first row's fields; a number counts from 1.
Result<std::int16_t> FindColumn(const std::string& wanted, const std::vector<std::string>& fields,
                                const std::string& path) {
  std::uint64_t number = 0;
  if (ModText::ParseUnsigned(wanted, 32767, &number)) {
    if (number >= 1 && number <= fields.size()) return static_cast<std::int16_t>(number - 1);
    return Status(Code::kBadInput, "column " + wanted + " is out of range: the first row of " +
                                       Quoted(path) + " has " + std::to_string(fields.size()) +
                                       (fields.size() == 1 ? " column" : " columns"));
  }
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (ModText::EqualsIgnoringAsciiCase(fields[i], wanted)) return static_cast<std::int16_t>(i);
  }
  constexpr std::size_t kMaxNames = 50;  // one line for a person
  std::string names;
  for (std::size_t i = 0; i < std::min(fields.size(), kMaxNames); ++i) {
    names += (names.empty() ? "" : ", ") + Quoted(fields[i]);
  }
  if (fields.size() > kMaxNames) names += ", ...";
  return Status(Code::kBadInput, "no column is called " + Quoted(wanted) + " in " + Quoted(path) +
                                     ": it has " + names);
}

// Of several columns with addresses only a person knows which is meant.
Result<std::int16_t> AskColumn(const ListChoice& choice, const ModDistribution::Mapping& mapping,
                               const std::string& path) {
  std::string columns;
  for (const std::int16_t column : mapping.candidates) {
    columns += (columns.empty() ? "" : ", ") + std::to_string(column + 1) + " (" +
               Quoted(mapping.fields[static_cast<std::size_t>(column)]) + ")";
  }
  const std::string several = "several columns of " + Quoted(path) + " hold addresses: " + columns;
  if (!choice.may_ask || !ModConsole::CanAsk()) {
    return Status(Code::kBadInput, several + "; say which with --column " +
                                       std::to_string(mapping.candidates.front() + 1));
  }
  std::cerr << several << "\n";
  for (;;) {
    std::cerr << "Which one are the recipients'? " << std::flush;
    const std::string answer = ModConsole::ReadLine();
    if (!std::cin) return Status(Code::kBadInput, several + "; say which with --column");
    Result<std::int16_t> column = FindColumn(answer, mapping.fields, path);
    if (column.ok()) return column;
    std::cerr << column.status().text() << "\n";
  }
}

Status CheckContent(const Distribution& distribution) {
  const std::string& path = distribution.path;
  Result<File> file = File::Open(ModFiles::FromUtf8(path), File::Mode::kRead);
  if (!file.ok()) return file.status();
  Result<std::uint64_t> size = file->Size();
  if (!size.ok()) return size.status();
  if (size.value() == 0) {
    return Status(Code::kBadInput, "The chosen file is blank: " + Quoted(path));
  }
  if (distribution.kind == ListKind::kUnknown) {
    return Status(Code::kBadInput, "Unknown file type: " + Quoted(path) +
                                       " should end in .txt (one address a line) or .csv");
  }
  Result<ModDistribution::FirstRows> rows = ModDistribution::ReadFirstRows(path);
  return rows.ok() ? Status() : rows.status();
}

Result<ModDistribution::Mapping> ReadMapping(const std::string& path, bool any_separator = true) {
  Result<ModDistribution::FirstRows> rows = ModDistribution::ReadFirstRows(path);
  if (!rows.ok()) return rows.status();
  const char separator = ModDistribution::OtherSeparator(rows->first, rows->second);
  if (separator != 0 && !any_separator) {
    return Status(Code::kBadInput, ModDistribution::OtherSeparatorText(path, separator));
  }
  Result<ModDistribution::Mapping> mapping =
      ModDistribution::ProposeMapping(rows->first, rows->second);
  if (!mapping.ok()) {
    return Status(mapping.status().code(),
                  mapping.status().text() + ": the first line of " + Quoted(path) + " is blank");
  }
  return mapping;
}

Status CheckColumn(const Distribution& distribution, bool any_separator) {
  if (distribution.kind != ListKind::kCsv) return {};
  Result<ModDistribution::Mapping> mapping = ReadMapping(distribution.path, any_separator);
  if (!mapping.ok()) return mapping.status();
  return FindColumn(std::to_string(distribution.column + 1), mapping->fields, distribution.path)
      .status();
}

Status CheckAddress(const std::string& sender) {
  if (ModRow::LooksLikeAddress(sender)) return {};
  return Status(Code::kConfig, "the sender's address " + Quoted(sender) + " is no email address");
}

Status CheckSender(const Settings& settings) {
  const std::string sender = settings.Read(setting::kSenderEmail);
  if (sender.empty()) {
    // Where a person can be asked, the send command asks.
    if (ModConsole::CanAsk()) return {};
    return Status(Code::kConfig,
                  "Sender's email address is required: give --from ADDRESS, or store it with "
                  "'vespro settings set SenderEmail ADDRESS'");
  }
  const std::string reply_to = settings.Read(setting::kReplyEmail);
  if (!ModText::Trim(reply_to).empty() && !ModRow::LooksLikeAddress(ModText::Trim(reply_to))) {
    return Status(Code::kConfig, "the reply address " + Quoted(reply_to) + " is no email address");
  }
  return CheckAddress(sender);
}

// A name that the job's files can't hold would go out with question marks.
Status CheckNames(const Settings& settings, const ConsoleRules& rules, bool turbo) {
  std::vector<std::string_view> names = {setting::kSenderName, setting::kReplyEmail};
  if (turbo) names.push_back(setting::kCommonToField);
  for (const std::string_view name : names) {
    const std::string text = settings.Read(name);
    if (ModCodePage::CanHold(text)) continue;
    const std::string problem =
        Quoted(text) + " has letters that this system's charset lacks; the mail would show '" +
        ModCodePage::ToUtf8(ModCodePage::FromUtf8(text)) + "'";
    if (!rules.assume_yes && (rules.no_input || !ModConsole::CanAsk())) {
      return Status(Code::kBadInput, problem +
                                         ". Set LC_ALL to a UTF-8 locale, such as C.UTF-8, or "
                                         "send it so with --yes");
    }
    TerminalHost terminal(rules, nullptr, EditorType::kPlainText);
    if (terminal.MsgBox(problem + ".\r\nSend it so?", MessageIcon::kQuestion,
                        MessageButtons::kYesNo, kModuleName) != MessageAnswer::kYes) {
      return Status(Code::kCancelled, "nothing was sent");
    }
  }
  return {};
}

Status CheckAccounts(const fs::path& file, std::vector<std::string>& remarks) {
  constexpr char kHowTo[] = "'vespro accounts add SERVER --port 587 --login NAME --password-stdin'";
  Result<std::vector<AccountEntry>> accounts = ReadAccountFile(file);
  if (!accounts.ok()) return accounts.status();
  std::size_t usable = 0;
  std::string first_why;
  for (std::size_t i = 0; i < accounts->size(); ++i) {
    const AccountEntry& account = accounts.value()[i];
    const std::string why = WhyLeftOut(account);
    if (why.empty()) {
      ++usable;
      continue;
    }
    const std::string number = std::to_string(i + 1);
    if (first_why.empty()) first_why = "no account can be used; account " + number + ": " + why;
    remarks.push_back("account " + number + " is left out: " + why + ". Take it away with: " +
                      ModCommandLine::VesproCommand({"accounts", "remove", number}));
  }
  if (usable > 0) return {};
  return Status(Code::kConfig, (accounts->empty() ? "there is no mail server account" : first_why) +
                                   ": add one with " + kHowTo);
}

bool IsThisMachine(std::string_view server) {
  return server == "127.0.0.1" || server == "::1" || server == "[::1]" ||
         ModText::EqualsIgnoringAsciiCase(server, "localhost");
}

// "server" or "server:port"; no port: empty.
std::pair<std::string_view, std::string_view> SplitPort(std::string_view name) {
  const std::size_t colon = name.rfind(':');
  std::uint64_t port = 0;
  if (colon == std::string_view::npos || name == "::1" ||
      !ModText::ParseUnsigned(name.substr(colon + 1), 65535, &port) || port == 0) {
    return {name, {}};
  }
  return {name.substr(0, colon), name.substr(colon + 1)};
}

// The dialogs are checked for beforehand, so these only speak when something changed in between.
class TerminalDialogs final : public SendDialogs {
 public:
  explicit TerminalDialogs(Desktop& desktop) : desktop_(desktop) {}
  void ShowDlgSelectFile() override { desktop_.Log("no distribution file is chosen"); }
  void ShowfrmMailSetting() override { desktop_.Log("there is no mail server account"); }

 private:
  Desktop& desktop_;
};

// Everything that the two commands share: the settings with the request on top, the item, the host.
class Composer {
 public:
  Composer(Home& home, ConsoleRules rules)
      : overlay_(*home.backend), settings_(overlay_), home_(home), rules_(rules) {}

  Status Prepare(const SendRequest& request) {
    if (Status chosen = TakeList(request); !chosen.ok()) return chosen;
    if (Status taken = TakeSettings(request); !taken.ok()) return taken;
    if (Status sender = CheckSender(settings_); !sender.ok()) return sender;
    const bool turbo = ModText::LeadingInt16(settings_.Read(setting::kBccMode)) >= 1;
    if (Status names = CheckNames(settings_, rules_, turbo); !names.ok()) return names;
    Result<std::unique_ptr<ComposedItem>> item =
        ComposedItem::Compose(request.compose, randomness_);
    if (!item.ok()) return item.status();
    item_ = std::move(item).value();
    host_.emplace(rules_, item_.get(), item_->editor());
    // The only input box of a send asks for the sender's address.
    host_->set_check_input(
        [](const std::string& answer) { return CheckAddress(std::string(ModText::Trim(answer))); });
    add_in_ = InstalledAddIn(home_);
    add_in_.mail_client = Unowned<MailClient>(*host_);
    add_in_.desktop = &*host_;
    window_.active = true;
    window_.inspector = Unowned<Inspector>(*host_);
    window_.attachment_list = item_->attachment_list();
    dialogs_.emplace(*host_);
    context_.emplace(SendContext{add_in_, window_, settings_, *dialogs_, clock_, randomness_, {}});
    return {};
  }

  SendContext& context() { return *context_; }
  const TerminalHost& host() const { return *host_; }
  Settings& settings() { return settings_; }
  const Distribution& distribution() const { return distribution_; }
  const std::string& session_name() const { return window_.session_name; }
  std::vector<std::string> remarks() const { return item_->remarks(); }

 private:
  static Status NoList() {
    return Status(Code::kConfig,
                  "No file selected: give --list FILE, or choose one with 'vespro list use FILE'");
  }

  Status TakeList(const SendRequest& request) {
    if (request.list.has_value()) {
      ListChoice choice = *request.list;
      choice.may_ask = !rules_.no_input;
      choice.any_separator = request.any_separator;
      if (choice.file.empty()) {
        const Distribution stored = ModDistribution::Parse(settings_.Read(setting::kMailList));
        if (stored.path.empty()) return NoList();
        choice.file = ModFiles::FromUtf8(stored.path);
        if (choice.column.empty() && stored.kind == ListKind::kCsv) {
          choice.column = std::to_string(stored.column + 1);
        }
        if (!choice.header.has_value() && stored.kind == ListKind::kCsv) {
          choice.header = stored.header;
        }
      }
      Result<Distribution> chosen = ChooseList(choice);
      if (!chosen.ok()) return chosen.status();
      distribution_ = std::move(chosen).value();
      overlay_.Set(setting::kMailList, ModDistribution::Compose(distribution_));
      return {};
    }
    const std::string stored = settings_.Read(setting::kMailList);
    if (Status whole = ModDistribution::CheckSetting(stored); !whole.ok()) {
      return Status(whole.code(),
                    "the stored choice of a list is damaged: " + whole.text() +
                        ". Choose it again with 'vespro list use FILE', or give --list FILE");
    }
    distribution_ = ModDistribution::Parse(stored);
    if (distribution_.path.empty()) return NoList();
    return CheckList(distribution_, request.any_separator);
  }

  Status TakeSettings(const SendRequest& request) {
    const auto set = [this](std::string_view name, const std::optional<std::string>& value) {
      if (value.has_value()) overlay_.Set(name, *value);
    };
    set(setting::kSenderEmail, request.from);
    set(setting::kSenderName, request.name);
    set(setting::kReplyEmail, request.reply_to);
    set(setting::kCommonToField, request.to);
    if (!request.turbo.has_value()) return {};
    const std::string mode = *request.turbo ? settings_.Read(setting::kDefaultBccMode) : "0";
    if (*request.turbo && ModText::LeadingInt16(mode) < 1) {
      return Status(Code::kConfig,
                    "--turbo needs the setting DefaultBccMode, the number of "
                    "recipients on one message: 'vespro settings set DefaultBccMode "
                    "100'");
    }
    overlay_.Set(setting::kBccMode, mode);
    return {};
  }

  OverlayBackend overlay_;
  Settings settings_;
  Home& home_;
  ConsoleRules rules_;
  Distribution distribution_;
  SystemClock clock_;
  SystemRandomness randomness_;
  std::unique_ptr<ComposedItem> item_;
  std::optional<TerminalHost> host_;
  std::optional<TerminalDialogs> dialogs_;
  AddIn add_in_;
  ComposeWindow window_;
  std::optional<SendContext> context_;
};

}  // namespace

// Mail to a server of this machine goes to nobody by a slip of the keyboard.
Result<std::vector<std::string>> ChooseHosts(const fs::path& file,
                                             const std::vector<std::string>& names) {
  Result<std::vector<std::string>> stored = ReadAccountsForJob(file);
  if (!stored.ok()) return stored;
  std::vector<bool> found(names.size(), false);
  std::vector<std::string> hosts;
  std::string known;
  for (const std::string& host : stored.value()) {
    const auto fields = ModText::Split(host, ',');
    bool wanted = false;
    for (std::size_t i = 0; i < names.size(); ++i) {
      const auto [server, port] = SplitPort(names[i]);
      const bool same = ModText::EqualsIgnoringAsciiCase(fields[0], server) &&
                        (port.empty() || port == fields[1]);
      found[i] = found[i] || same;
      wanted = wanted || same;
    }
    if (wanted) hosts.push_back(host);
    known.append(known.empty() ? "" : ", ").append(fields[0]).append(":").append(fields[1]);
  }
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (found[i]) continue;
    const auto [server, port] = SplitPort(names[i]);
    if (!IsThisMachine(server) || port.empty()) {
      return Status(Code::kConfig, "there is no account " + Quoted(names[i]) +
                                       (known.empty() ? "" : "; there are: " + known) +
                                       ". 'vespro accounts add' adds one");
    }
    hosts.push_back(std::string(server) + "," + std::string(port) + ",,");
  }
  return hosts;
}

Result<Distribution> ChooseList(const ListChoice& choice) {
  Distribution distribution;
  distribution.path = ModFiles::ToUtf8(ModFiles::FullPath(choice.file));
  distribution.kind = ModDistribution::KindOf(distribution.path);
  if (Status fits = ModDistribution::CheckPath(distribution.path); !fits.ok()) return fits;
  if (Status content = CheckContent(distribution); !content.ok()) return content;
  if (distribution.kind != ListKind::kCsv) {
    if (choice.column.empty() && !choice.header.has_value()) return distribution;
    return Status(Code::kUsage, "--column, --header and --value are for a CSV table; " +
                                    Quoted(distribution.path) + " is a list of plain addresses");
  }
  std::uint64_t number = 0;
  const bool is_numbered = ModText::ParseUnsigned(choice.column, 32767, &number);
  Result<ModDistribution::Mapping> mapping =
      ReadMapping(distribution.path, choice.any_separator || is_numbered);
  if (!mapping.ok()) return mapping.status();
  if (mapping->guessed && choice.column.empty() && !choice.may_guess) {
    return Status(Code::kBadInput,
                  "no address in the first two rows of " + Quoted(distribution.path) +
                      ": name the column with --column; 'vespro list map' shows them");
  }
  distribution.column = mapping->column;
  distribution.header = choice.header.value_or(mapping->header);
  if (!choice.column.empty() || (mapping->candidates.size() > 1 && !choice.may_guess)) {
    Result<std::int16_t> column =
        choice.column.empty() ? AskColumn(choice, mapping.value(), distribution.path)
                              : FindColumn(choice.column, mapping->fields, distribution.path);
    if (!column.ok()) return column.status();
    distribution.column = column.value();
  }
  return distribution;
}

Status CheckList(const Distribution& distribution, bool any_separator) {
  if (Status content = CheckContent(distribution); !content.ok()) return content;
  return CheckColumn(distribution, any_separator);
}

namespace {

// The option with its file's full path, since the job may be taken up from another folder.
std::string WithFullPath(std::string_view before, const std::string& option) {
  for (const std::string_view name :
       {"--suppress", "--ca", "--unsubscribe-key", "--limits", "--trace"}) {
    const std::string joined = std::string(name) + "=";
    const std::size_t begin = before == name               ? 0
                              : option.starts_with(joined) ? joined.size()
                                                           : std::string::npos;
    if (begin >= option.size()) continue;
    std::error_code failed;
    const fs::path full = fs::absolute(ModFiles::FromUtf8(option.substr(begin)), failed);
    if (!failed) return option.substr(0, begin) + ModFiles::ToUtf8(full);
  }
  return option;
}

// A session that became no job, of a full disk for one, is not left lying about.
void RemoveUnlessWritten(const Home& home, const std::string& session) {
  if (session.empty()) return;
  const fs::path folder = ModSession::SessionsFolder(home.data_folder) / session;
  if (ModFiles::IsFile(ModSession::JobFileIn(folder))) return;
  ModFiles::Remove(folder).Ignore();  // the failure that is told is the one before it
}

}  // namespace

Status KeepEngineOptions(const fs::path& session_folder, const std::vector<std::string>& options) {
  static constexpr std::string_view kForOneRun[] = {"--fresh", "--resend-unknown", "--json",
                                                    "--quiet"};
  std::string text, before;
  for (const std::string& option : options) {
    if (std::find(std::begin(kForOneRun), std::end(kForOneRun), option) != std::end(kForOneRun)) {
      continue;
    }
    // A line each; nothing that the engine takes has a line end in it.
    text += ModSend::OneLine(WithFullPath(before, option)) + "\n";
    before = option;
  }
  if (text.empty()) return {};
  return ModFiles::ReplaceWith(session_folder / kOptionsFile, text, Access::kPrivate);
}

Result<std::vector<std::string>> KeptEngineOptions(const fs::path& session_folder) {
  std::vector<std::string> options;
  if (!ModFiles::IsFile(session_folder / kOptionsFile)) return options;
  Result<std::string> text = ModFiles::ReadAll(session_folder / kOptionsFile);
  if (!text.ok()) return text.status();
  std::string_view rest = text.value();
  for (std::string_view line; NextLine(rest, line);) options.emplace_back(line);
  return options;
}

namespace {

// Which column the addresses come from.
Status NoteColumn(const Distribution& list, std::vector<std::string>& remarks) {
  if (list.kind != ListKind::kCsv) return {};
  Result<ModDistribution::Mapping> mapping = ReadMapping(list.path);
  if (!mapping.ok()) return mapping.status();
  const auto column = static_cast<std::size_t>(list.column);
  remarks.push_back("addresses from column " + std::to_string(list.column + 1) +
                    (list.header ? ", " + Quoted(mapping->fields[column]) : std::string()));
  return {};
}

}  // namespace

std::string LongRowsText(const ModRecipients::LongRows& rows) {
  return std::to_string(rows.count) + (rows.count == 1 ? " row has" : " rows have") +
         " more cells than the first, from line " + std::to_string(rows.first_line) +
         " on: a comma in a cell shifts the cells after it, in quotes too";
}

Result<WrittenJob> WriteJob(Home& home, ConsoleRules rules, const SendRequest& request) {
  WrittenJob job;
  std::vector<std::string> hosts;
  if (request.accounts.empty()) {
    if (Status accounts = CheckAccounts(home.AccountFile(), job.remarks); !accounts.ok()) {
      return accounts;
    }
  } else {
    Result<std::vector<std::string>> chosen = ChooseHosts(home.AccountFile(), request.accounts);
    if (!chosen.ok()) return chosen.status();
    hosts = std::move(chosen).value();
  }
  Composer composer(home, rules);
  if (Status prepared = composer.Prepare(request); !prepared.ok()) return prepared;
  if (Status noted = NoteColumn(composer.distribution(), job.remarks); !noted.ok()) return noted;
  composer.context().hosts = std::move(hosts);
  const Status sent = ModSend::CmdSend_Click(composer.context());
  RemoveUnlessWritten(home, composer.session_name());
  if (!sent.ok()) return sent;
  if (!composer.host().started().has_value()) {
    return Status(Code::kConfig, "no job was made");  // the user has been told why
  }
  job.engine = *composer.host().started();
  job.job_file = job.engine.arguments[1];
  job.session_name = composer.session_name();
  job.distribution = composer.distribution();
  for (std::string& remark : composer.remarks()) job.remarks.push_back(std::move(remark));
  return job;
}

Result<WrittenMessage> WriteMessage(Home& home, ConsoleRules rules, const SendRequest& request,
                                    const fs::path& folder) {
  Composer composer(home, rules);
  if (Status prepared = composer.Prepare(request); !prepared.ok()) return prepared;
  WrittenMessage message;
  if (Status noted = NoteColumn(composer.distribution(), message.remarks); !noted.ok()) {
    return noted;
  }
  message.bcc_mode = ModText::LeadingInt16(composer.settings().Read(setting::kBccMode));
  Result<std::string> file = ModSend::CreateEmlFile(
      composer.context(), ModSession::ForwardSlashes(folder), message.bcc_mode);
  if (!file.ok()) return file.status();
  if (file.value().empty()) return Status(Code::kConfig, "no message was made");
  message.message_file = ModFiles::FromUtf8(file.value());
  message.distribution = composer.distribution();
  for (std::string& remark : composer.remarks()) message.remarks.push_back(std::move(remark));
  return message;
}

}  // namespace vespro::ModSendJob
