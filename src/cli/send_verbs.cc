#include <iostream>
#include <nlohmann/json.hpp>

#include "base/clock.h"
#include "base/files.h"
#include "base/random.h"
#include "base/text.h"
#include "cli/again_job.h"
#include "cli/findings.h"
#include "cli/job_verbs.h"
#include "cli/scratch_folder.h"
#include "cli/start_job.h"
#include "cli/test_letter.h"
#include "cli/verbs.h"
#include "engine/preview.h"
#include "mime/author_fields.h"
#include "terminal/home.h"
#include "terminal/send_job.h"

namespace vespro::cli {
namespace {

namespace fs = std::filesystem;

struct SendArguments {
  std::string subject, text, html, eml;
  std::vector<std::string> attach, embed;
  std::string list, column;
  bool header = false, value = false;
  std::string from, name, reply_to, to;
  bool turbo = false, personalised = false;
  bool no_start = false, wait = false, anew = false;
  bool make_text = false, allow_unknown_words = false;
  std::string again;
  engine::AgainChoice again_choice;
  std::vector<std::string> accounts;
  std::uint64_t row = 1;  // preview, and of the letter for --test
  std::string test;
  bool is_test = false, online = false;
  std::string out;   // preview
  bool raw = false;  // preview
  std::vector<std::string> fields;
  std::string list_id;
  bool no_auto_replies = false;
};

struct SendOptions {
  CLI::Option *subject, *from, *name, *reply_to, *to;
};

std::vector<fs::path> Paths(const std::vector<std::string>& names) {
  std::vector<fs::path> paths;
  paths.reserve(names.size());
  for (const std::string& name : names) paths.push_back(ModFiles::FromUtf8(name));
  return paths;
}

Result<SendRequest> Request(const SendArguments& arguments, const SendOptions& given) {
  SendRequest request;
  request.compose.subject = ModConsole::ArgumentText(arguments.subject);
  request.compose.has_subject = given.subject->count() > 0;
  request.compose.text_file = ModFiles::FromUtf8(arguments.text);
  request.compose.html_file = ModFiles::FromUtf8(arguments.html);
  request.compose.make_text = arguments.make_text;
  request.compose.eml_file = ModFiles::FromUtf8(arguments.eml);
  request.compose.attach = Paths(arguments.attach);
  request.compose.embed = Paths(arguments.embed);
  for (const std::string& field : arguments.fields) {
    request.compose.fields.push_back(ModConsole::ArgumentText(field));
  }
  if (arguments.no_auto_replies) {
    for (const std::string_view field : ModAuthorFields::kNoAutoReplies) {
      request.compose.fields.emplace_back(field);
    }
  }
  if (!arguments.list_id.empty()) {
    Result<std::string> field =
        ModAuthorFields::ListId(ModConsole::ArgumentText(arguments.list_id));
    if (!field.ok()) return field.status();
    request.compose.fields.push_back(std::move(field).value());
  }
  const bool mapped = !arguments.column.empty() || arguments.header || arguments.value;
  if (!arguments.list.empty() || mapped) {
    ListChoice choice;
    choice.file = ModFiles::FromUtf8(arguments.list);
    choice.column = ModConsole::ArgumentText(arguments.column);
    if (arguments.header || arguments.value) choice.header = arguments.header;
    request.list = choice;
  }
  const auto set = [](const CLI::Option* option, const std::string& text,
                      std::optional<std::string>& into) {
    if (option->count() > 0) into = ModConsole::ArgumentText(text);
  };
  set(given.from, arguments.from, request.from);
  set(given.name, arguments.name, request.name);
  set(given.reply_to, arguments.reply_to, request.reply_to);
  set(given.to, arguments.to, request.to);
  if (arguments.turbo || arguments.personalised) request.turbo = arguments.turbo;
  request.accounts = arguments.accounts;
  return request;
}

// The job's folder goes unless the job is to be kept: one that is not sent must not look like one.
class NewJob {
 public:
  explicit NewJob(fs::path folder) : folder_(std::move(folder)) {}
  ~NewJob() {
    if (!kept_) Remove();
  }
  NewJob(const NewJob&) = delete;
  NewJob& operator=(const NewJob&) = delete;
  void Keep() { kept_ = true; }
  void Remove() {
    ModFiles::Remove(folder_).Ignore();  // nothing else can be done about it
  }

 private:
  fs::path folder_;
  bool kept_ = false;
};

int Send(const Globals& globals, const SendArguments& arguments, const SendOptions& given) {
  if (std::optional<int> wrong = CheckEngineOptions(globals)) return *wrong;
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  Result<SendRequest> request = Request(arguments, given);
  if (!request.ok()) return Fail(request.status());
  if (arguments.is_test) {
    return SendTestLetter(globals, home.value(), request.value(),
                          {ModConsole::ArgumentText(arguments.test), arguments.row});
  }
  Result<WrittenJob> written = ModSendJob::WriteJob(home.value(), globals.rules, request.value());
  if (!written.ok()) return Fail(written.status());
  const WrittenJob& job = written.value();
  const fs::path file = ModFiles::FromUtf8(job.job_file);
  NewJob folder(file.parent_path());
  for (const std::string& remark : job.remarks) Note(remark);
  Status kept = ModSendJob::KeepEngineOptions(file.parent_path(), globals.engine_options);
  if (!kept.ok()) return Fail(kept);
  Result<engine::JobOutlook> outlook = LookAtJob(globals, file, arguments.wait);
  if (!outlook.ok()) return Fail(outlook.status());

  const bool is_dry_run = IsDryRun(globals), sends = !arguments.no_start && !is_dry_run;
  const bool asks = sends && AsksFirst(globals.rules), looks = !arguments.anew && !is_dry_run;
  const auto end_with = [&](const UnfinishedJob& unfinished) {
    folder.Remove();  // the engine may take this program's place
    return sends ? GoOnWith(globals, home.value(), unfinished, arguments.wait)
                 : RefuseFor(unfinished);
  };
  if (looks && (asks || !sends || globals.rules.no_input)) {
    const Result<std::optional<UnfinishedJob>> found = FindUnfinished(home.value(), file);
    if (!found.ok()) return Fail(found.status());
    if (found.value().has_value()) return end_with(*found.value());
  }
  const Result<lint::Report> report = LintJob(globals, file);
  if (!report.ok()) return Fail(report.status());
  FindingRules rules{{}, sends, is_dry_run};
  if (arguments.allow_unknown_words) rules.allowed.insert("--allow-unknown-words");
  if (!arguments.column.empty()) rules.allowed.insert("--column");
  if (std::optional<int> stop = StopForFindings(globals, report.value(), rules)) return *stop;
  if (asks && !MaySend(globals.rules, outlook.value(), job.distribution)) {
    return Fail(Status(Code::kCancelled, "nothing was sent"));
  }
  if (sends && looks) {  // meanwhile somebody else may have begun it
    const Result<std::optional<UnfinishedJob>> found = BeginUnlessUnfinished(home.value(), file);
    if (!found.ok()) return Fail(found.status());
    if (found.value().has_value()) return end_with(*found.value());
  } else if (sends) {
    if (Status marked = MarkBegun(file); !marked.ok()) return Fail(marked);
  }
  folder.Keep();
  // With --wait the engine's own data follows on standard output.
  if (!arguments.wait) {
    if (globals.json) {
      PrintJson({{"job", job.job_file}, {"session", job.session_name}});
    } else {
      std::cout << job.job_file << std::endl;
    }
  }
  if (arguments.no_start) return 0;
  return StartJob(globals, file, job.engine,
                  arguments.wait ? RunIn::kForeground : RunIn::kBackground);
}

int Preview(const Globals& globals, const SendArguments& arguments, const SendOptions& given) {
  if (std::optional<int> wrong = CheckEngineOptions(globals)) return *wrong;
  Result<SendRequest> request = Request(arguments, given);
  if (!request.ok()) return Fail(request.status());
  Result<engine::UnsubscribeOptions> unsubscribe = UnsubscribeOf(globals);
  if (!unsubscribe.ok()) return Fail(unsubscribe.status());
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  const ScratchFolder scratch(home.value());
  if (Status made = scratch.Make(); !made.ok()) return Fail(made);
  Result<WrittenMessage> message =
      ModSendJob::WriteMessage(home.value(), globals.rules, request.value(), scratch.path());
  if (!message.ok()) return Fail(message.status());
  for (const std::string& remark : message->remarks) Note(remark);
  SystemRandomness randomness;
  Result<std::string> rendered =
      engine::RenderRow({message->message_file, message->bcc_mode, message->distribution,
                         arguments.row, std::move(unsubscribe).value()},
                        SystemClock(), randomness);
  if (!rendered.ok()) return Fail(rendered.status());
  if (arguments.out.empty()) {
    std::cout << (arguments.raw ? rendered.value() : engine::ReadableMessage(rendered.value()));
    return 0;
  }
  Status written = ModFiles::ReplaceWith(ModFiles::FromUtf8(arguments.out), rendered.value());
  return written.ok() ? 0 : Fail(written);
}

int ShowFindings(const Globals& globals, Home& home, const SendRequest& request) {
  const ScratchFolder scratch(home);
  if (Status made = scratch.Make(); !made.ok()) return Fail(made);
  Result<WrittenMessage> message =
      ModSendJob::WriteMessage(home, globals.rules, request, scratch.path());
  if (!message.ok()) return Fail(message.status());
  const Result<lint::Report> report =
      LintMail(globals, {message->message_file, message->bcc_mode, message->distribution,
                         AccountsFor(home, request.accounts)});
  if (!report.ok()) return Fail(report.status());
  return PrintReport(globals, report.value(), message->distribution);
}

int Lint(const Globals& globals, const SendArguments& arguments, const SendOptions& given) {
  if (std::optional<int> wrong = CheckEngineOptions(globals)) return *wrong;
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  Result<SendRequest> request = Request(arguments, given);
  if (!request.ok()) return Fail(request.status());
  request->any_separator = true;
  const int code = ShowFindings(globals, home.value(), request.value());
  if (code != 0 || !arguments.online) return code;
  return TestAccounts(globals, home.value(), request->from.value_or(""), {});
}

SendOptions AddComposeOptions(CLI::App* verb, SendArguments& arguments) {
  SendOptions options{};
  options.subject = verb->add_option("--subject", arguments.subject, "The mail's subject");
  verb->add_option("--text", arguments.text, "The plain text body")->type_name("FILE");
  verb->add_option("--html", arguments.html, "The HTML body")->type_name("FILE");
  verb->add_option("--attach", arguments.attach, "Attach a file; may be repeated")
      ->type_name("FILE")
      ->allow_extra_args(false);
  verb->add_option("--embed", arguments.embed,
                   "A picture that the HTML shows as cid:NAME; may be repeated")
      ->type_name("FILE")
      ->allow_extra_args(false);
  verb->add_flag("--make-text", arguments.make_text,
                 "Make the plain text body of the HTML where there is none");
  verb->add_option("--eml", arguments.eml, "A message saved by any mail program")
      ->type_name("FILE");
  verb->add_option("--list", arguments.list, "The distribution file, instead of the stored one")
      ->type_name("FILE");
  verb->add_option("--column", arguments.column, "The address column: its name or number from 1")
      ->type_name("NAME|N");
  CLI::Option* header =
      verb->add_flag("--header", arguments.header, "The list's first line holds column names");
  verb->add_flag("--value", arguments.value, "The list's first line is a recipient")
      ->excludes(header);
  options.from = verb->add_option("--from", arguments.from, "The sender's address");
  options.name = verb->add_option("--name", arguments.name, "The sender's name");
  options.reply_to = verb->add_option("--reply-to", arguments.reply_to, "Where answers go");
  options.to = verb->add_option("--to", arguments.to, "The common To text of turbo mode");
  verb->add_option("--add-header", arguments.fields,
                   "A further header field, such as 'Precedence: bulk'; may be repeated")
      ->type_name("'NAME: VALUE'")
      ->allow_extra_args(false);
  verb->add_flag("--no-auto-replies", arguments.no_auto_replies,
                 "Ask vacation notices and other automatic replies to stay away");
  verb->add_option("--list-id", arguments.list_id,
                   "The list's own name for mail programs' filters, such as 'Club news "
                   "<news.example.org>'")
      ->type_name("ID");
  CLI::Option* turbo = verb->add_flag("--turbo", arguments.turbo, "One copy to many");
  verb->add_flag("--personalised", arguments.personalised, "A copy each, with mail merge")
      ->excludes(turbo);
  return options;
}

}  // namespace

void AddSendVerbs(CLI::App& app, Globals& globals, Action& action) {
  auto arguments = std::make_shared<SendArguments>();

  CLI::App* send = app.add_subcommand("send", "Send a mail to everybody on a list");
  const SendOptions send_options = AddComposeOptions(send, *arguments);
  const std::vector<CLI::Option*> compose_options = send->get_options();
  CLI::Option* no_start =
      send->add_flag("--no-start", arguments->no_start, "Write the job, print its path and stop");
  send->add_flag("--wait", arguments->wait, "Send now and show the progress")->excludes(no_start);
  send->add_flag("--allow-unknown-words", arguments->allow_unknown_words,
                 "Send even if merge words stay as they are");
  send->add_option("--account", arguments->accounts,
                   "Send through this account, by its server's name, instead of all; may be "
                   "repeated. A server of this machine, such as 127.0.0.1:2525, needs no account")
      ->type_name("SERVER[:PORT]")
      ->allow_extra_args(false);
  CLI::Option* anew =
      send->add_flag("--anew", arguments->anew,
                     "Begin a new job even if one with the same message and list is unfinished");
  CLI::Option* again =
      send->add_option("--again", arguments->again,
                       "Send an earlier job's message to those who failed or were not reached")
          ->type_name("SESSION")
          ->excludes(anew);
  for (CLI::Option* option : compose_options) {
    if (option != send->get_help_ptr()) again->excludes(option);
  }
  CLI::Option* test =
      send->add_option("--test", arguments->test,
                       "Send one row's letter to this address, and nothing to anybody else")
          ->type_name("ADDRESS")
          ->excludes(no_start)
          ->excludes(anew)
          ->excludes(again);
  send->add_option("--row", arguments->row, "Whose letter --test sends, as 'vespro preview' counts")
      ->type_name("N")
      ->check(CLI::PositiveNumber)
      ->needs(test);
  send->add_flag("--refused", arguments->again_choice.refused, "Also to those who were refused")
      ->needs(again);
  send->add_flag("--unknown", arguments->again_choice.unknown,
                 "Also to those of whom nobody knows whether they have it")
      ->needs(again);
  send->footer(
      "What comes after \"--\" goes to the engine ('vespro-engine --help').\n"
      "Exit: as 'vespro --help' says; with --wait how the run ended, without it how it began.\n"
      "Example: vespro send --subject 'Spring news for #NAME' --html news.html --text news.txt "
      "--embed logo.png --attach rules.pdf --list members.csv --personalised --wait -- --rate "
      "10/s");
  send->callback([&globals, &action, arguments, send_options, again, test] {
    arguments->is_test = test->count() > 0;
    action = [&globals, arguments, send_options, again] {
      if (again->count() > 0) {
        return SendAgain(globals, {arguments->again, arguments->again_choice, arguments->accounts,
                                   arguments->no_start, arguments->wait});
      }
      return Send(globals, *arguments, send_options);
    };
  });

  CLI::App* preview = app.add_subcommand("preview", "Show the mail that one recipient would get");
  const SendOptions preview_options = AddComposeOptions(preview, *arguments);
  preview->add_option("--row", arguments->row, "Which row of the list, from 1, without its header")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  preview->add_option("--out", arguments->out, "Write it to a file, as it is sent")
      ->type_name("FILE");
  preview->add_flag("--raw", arguments->raw, "Show it as it is sent");
  preview->footer(
      "What comes after \"--\" is as in 'vespro send': the unsubscribe options are shown.\n"
      "Example: vespro preview --eml draft.eml --list members.csv --row 3 -- --unsubscribe-mailto "
      "leave@example.org");
  preview->callback([&globals, &action, arguments, preview_options] {
    action = [&globals, arguments, preview_options] {
      return Preview(globals, *arguments, preview_options);
    };
  });

  CLI::App* lint = app.add_subcommand("lint", "Check a mail and its list, and send nothing");
  const SendOptions lint_options = AddComposeOptions(lint, *arguments);
  lint->add_option("--account", arguments->accounts, "As 'vespro send' has it; may be repeated")
      ->type_name("SERVER[:PORT]")
      ->allow_extra_args(false);
  lint->add_flag("--online", arguments->online,
                 "Where there is no error, try the accounts as well, with the mail's sender");
  lint->footer(
      "What comes after \"--\" is read as by 'vespro send'.\n"
      "Exit: 0 no error was found; 65 one was, and 'vespro send' would stop; with --online also as "
      "'vespro accounts test'.\n"
      "Example: vespro lint --subject 'Spring news for #NAME' --html news.html --list members.csv");
  lint->callback([&globals, &action, arguments, lint_options] {
    action = [&globals, arguments, lint_options] {
      return Lint(globals, *arguments, lint_options);
    };
  });
}

}  // namespace vespro::cli
