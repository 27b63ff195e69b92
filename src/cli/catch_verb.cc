#include <iostream>

#include "base/command_line.h"
#include "base/files.h"
#include "cli/verbs.h"
#include "terminal/catcher.h"

namespace vespro::cli {
namespace {

struct CatchArguments {
  std::uint16_t port = 2525;
  std::string maildir;
  std::vector<std::string> refuse, defer;
};

int RunCatch(const CatchArguments& arguments) {
  CatchOptions options;
  options.port = arguments.port;
  options.maildir = ModFiles::FromUtf8(arguments.maildir);
  options.rules.refuse = arguments.refuse;
  options.rules.defer = arguments.defer;
  Result<Catcher> catcher = Catcher::Start(std::move(options));
  if (!catcher.ok()) return Fail(catcher.status());
  const std::string place = "127.0.0.1:" + std::to_string(catcher->port());
  std::cout << "listening on " << place << std::endl;
  Note("what is sent with '--account " + place + "' comes here and goes to nobody else, such as: " +
       ModCommandLine::VesproCommand({"send", "--account", place}) +
       " --wait --from you@example.org --subject Hello --text letter.txt --list members.csv");
  if (Status ended = catcher->RunUntilSignalled(); !ended.ok()) return Fail(ended);
  const CatchCounts counts = catcher->counts();
  std::cout << counts.messages << " messages to " << counts.recipients << " recipients over "
            << counts.connections << " connections\n";
  return 0;
}

}  // namespace

void AddCatchVerb(CLI::App& app, Globals&, Action& action) {
  auto arguments = std::make_shared<CatchArguments>();
  CLI::App* verb = app.add_subcommand(
      "catch", "Catch mail on this machine: accepts everything, delivers nothing");
  verb->add_option("--port", arguments->port, "Port on 127.0.0.1 and ::1; 0 takes a free one")
      ->capture_default_str();
  verb->add_option("--maildir", arguments->maildir,
                   "Store each message in this Maildir; without it they are only counted")
      ->type_name("DIR");
  verb->add_option("--refuse", arguments->refuse, "Refuse recipients that hold this text")
      ->type_name("TEXT");
  verb->add_option("--defer", arguments->defer,
                   "Put recipients that hold this text off at their first try")
      ->type_name("TEXT");
  verb->footer("Example: vespro catch --port 2525 --maildir caught");
  verb->callback([&action, arguments] { action = [arguments] { return RunCatch(*arguments); }; });
}

}  // namespace vespro::cli
