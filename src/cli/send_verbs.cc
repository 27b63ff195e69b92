#include <iostream>
#include <nlohmann/json.hpp>

#include "base/clock.h"
#include "base/files.h"
#include "base/random.h"
#include "base/text.h"
#include "cli/verbs.h"
#include "engine/preview.h"
#include "send/send_command.h"
#include "send/session.h"
#include "settings/settings.h"
#include "terminal/home.h"
#include "terminal/process.h"
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
  bool no_start = false, wait = false;
  std::uint64_t row = 1;  // preview
  std::string out;        // preview
  std::string job;        // run
};

struct SendOptions {
  CLI::Option *subject, *from, *name, *reply_to, *to;
};

std::vector<fs::path> Paths(const std::vector<std::string>& names) {
  std::vector<fs::path> paths;
  for (const std::string& name : names) paths.push_back(ModFiles::FromUtf8(name));
  return paths;
}

SendRequest Request(const SendArguments& arguments, const SendOptions& given) {
  SendRequest request;
  request.compose.subject = arguments.subject;
  request.compose.has_subject = given.subject->count() > 0;
  request.compose.text_file = ModFiles::FromUtf8(arguments.text);
  request.compose.html_file = ModFiles::FromUtf8(arguments.html);
  request.compose.eml_file = ModFiles::FromUtf8(arguments.eml);
  request.compose.attach = Paths(arguments.attach);
  request.compose.embed = Paths(arguments.embed);
  if (!arguments.list.empty()) {
    ListChoice choice;
    choice.file = ModFiles::FromUtf8(arguments.list);
    choice.column = arguments.column;
    if (arguments.header || arguments.value) choice.header = arguments.header;
    request.list = choice;
  }
  const auto set = [](const CLI::Option* option, const std::string& text,
                      std::optional<std::string>& into) {
    if (option->count() > 0) into = text;
  };
  set(given.from, arguments.from, request.from);
  set(given.name, arguments.name, request.name);
  set(given.reply_to, arguments.reply_to, request.reply_to);
  set(given.to, arguments.to, request.to);
  if (arguments.turbo || arguments.personalised) request.turbo = arguments.turbo;
  return request;
}

// The engine in our place, with the options behind "--".
int RunEngine(const Globals& globals, CommandLine command) {
  std::vector<std::string>& arguments = command.arguments;
  arguments.insert(arguments.end(), globals.engine_options.begin(), globals.engine_options.end());
  if (globals.json) arguments.push_back("--json");
  std::cout.flush();
  Result<int> code = ModProcess::Become(ModFiles::FromUtf8(command.executable), arguments);
  return code.ok() ? code.value() : Fail(code.status());
}

int StartEngine(const Globals& globals, const WrittenJob& job) {
  std::vector<std::string> arguments = job.engine.arguments;
  arguments.insert(arguments.end(), globals.engine_options.begin(), globals.engine_options.end());
  const fs::path folder = ModFiles::FromUtf8(job.job_file).parent_path();
  Status started = ModProcess::StartDetached(ModFiles::FromUtf8(job.engine.executable), arguments,
                                             folder / "engine.log");
  if (!started.ok()) {
    Note("the job is written; start it with 'vespro run " + job.job_file + "'");
    return Fail(started);
  }
  if (!globals.json) {
    Note("sending; the report will be " + ModFiles::ToUtf8(folder / "report.html"));
  }
  return 0;
}

int Send(const Globals& globals, const SendArguments& arguments, const SendOptions& given) {
  WrittenJob job;
  {
    Result<Home> home = OpenHome(globals.home);
    if (!home.ok()) return Fail(home.status());
    Result<WrittenJob> written =
        ModSendJob::WriteJob(home.value(), globals.rules, Request(arguments, given));
    if (!written.ok()) return Fail(written.status());
    job = std::move(written).value();
  }
  for (const std::string& remark : job.remarks) Note(remark);
  // With --wait the engine's own data follows on standard output.
  if (!arguments.wait) {
    if (globals.json) {
      PrintJson({{"job", job.job_file}, {"session", job.session_name}});
    } else {
      std::cout << job.job_file << "\n";
    }
  }
  const fs::path folder = ModFiles::FromUtf8(job.job_file).parent_path();
  Status kept = ModSendJob::KeepEngineOptions(folder, globals.engine_options);
  if (!kept.ok()) return Fail(kept);
  if (arguments.no_start) return 0;
  return arguments.wait ? RunEngine(globals, job.engine) : StartEngine(globals, job);
}

// A job as people name it: its file, its session's folder, or the session's name.
fs::path JobFile(const Home& home, const std::string& job) {
  std::error_code error;
  fs::path file = fs::absolute(ModFiles::FromUtf8(job), error);
  if (!fs::exists(file, error) && job.find_first_of("/\\") == std::string::npos) {
    file = ModSession::SessionsFolder(home.data_folder) / ModFiles::FromUtf8(job);
  }
  if (ModFiles::IsFolder(file)) file /= std::string(kModuleName) + ".cfg";
  return file;
}

int RunJob(Globals globals, const SendArguments& arguments) {
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  const fs::path file = JobFile(home.value(), arguments.job);
  if (!ModFiles::IsFile(file)) {
    return Fail(Status(Code::kNotFound, "there is no job '" + ModFiles::ToUtf8(file) +
                                            "': give a session's folder or its Vespro.cfg"));
  }
  Result<std::vector<std::string>> options = ModSendJob::KeptEngineOptions(file.parent_path());
  if (!options.ok()) return Fail(options.status());
  // What is said now stands behind what was said then, and wins.
  globals.engine_options.insert(globals.engine_options.begin(), options->begin(), options->end());
  Settings settings(*home->backend);
  const std::string per_page(ModText::Trim(settings.Read(setting::kReportPerPage)));
  return RunEngine(globals, ModSend::EngineCommand(InstalledAddIn(home.value()),
                                                   ModFiles::ToUtf8(file), per_page));
}

// A folder for files that nobody is to keep.
class ScratchFolder {
 public:
  explicit ScratchFolder(const fs::path& parent)
      : path_(parent / ("preview-" + std::to_string(SystemRandomness().Next()))) {}
  ~ScratchFolder() { ModFiles::Remove(path_).Ignore(); }  // nothing else can be done about it
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

int Preview(const Globals& globals, const SendArguments& arguments, const SendOptions& given) {
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  const ScratchFolder scratch(home->data_folder);
  if (Status made = ModFiles::MakeFolders(scratch.path()); !made.ok()) return Fail(made);
  Result<WrittenMessage> message = ModSendJob::WriteMessage(
      home.value(), globals.rules, Request(arguments, given), scratch.path());
  if (!message.ok()) return Fail(message.status());
  for (const std::string& remark : message->remarks) Note(remark);
  SystemRandomness randomness;
  Result<std::string> rendered =
      engine::RenderRow(message->message_file, message->bcc_mode, message->distribution,
                        arguments.row, SystemClock(), randomness);
  if (!rendered.ok()) return Fail(rendered.status());
  if (arguments.out.empty()) {
    std::cout << rendered.value();
    return 0;
  }
  Status written = ModFiles::ReplaceWith(ModFiles::FromUtf8(arguments.out), rendered.value());
  return written.ok() ? 0 : Fail(written);
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
  CLI::Option* no_start =
      send->add_flag("--no-start", arguments->no_start, "Write the job, print its path and stop");
  send->add_flag("--wait", arguments->wait, "Send now and show the progress")->excludes(no_start);
  send->footer(
      "What stands behind \"--\" goes to the engine ('vespro-engine --help').\n"
      "Example: vespro send --subject 'Spring news for #NAME' --html news.html --text news.txt "
      "--embed logo.png --attach rules.pdf --list members.csv --personalised --wait -- --rate "
      "10/s");
  send->callback([&globals, &action, arguments, send_options] {
    action = [&globals, arguments, send_options] {
      return Send(globals, *arguments, send_options);
    };
  });

  CLI::App* preview = app.add_subcommand("preview", "Show the mail that one recipient would get");
  const SendOptions preview_options = AddComposeOptions(preview, *arguments);
  preview->add_option("--row", arguments->row, "Which recipient of the list, from 1")
      ->capture_default_str();
  preview->add_option("--out", arguments->out, "Write it to a file")->type_name("FILE");
  preview->footer("Example: vespro preview --eml draft.eml --list members.csv --row 3");
  preview->callback([&globals, &action, arguments, preview_options] {
    action = [&globals, arguments, preview_options] {
      return Preview(globals, *arguments, preview_options);
    };
  });

  CLI::App* run = app.add_subcommand("run", "Start or resume a job that is written already");
  run->add_option("JOB", arguments->job, "A session's name or folder, or its Vespro.cfg")
      ->required();
  run->footer("Example: vespro run ~/.local/share/vespro/session/0104261200001");
  run->callback([&globals, &action, arguments] {
    action = [&globals, arguments] { return RunJob(globals, *arguments); };
  });
}

}  // namespace vespro::cli
