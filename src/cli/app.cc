#include "cli/app.h"

#include <string>

namespace vespro::cli {
namespace {

constexpr char kFooter[] =
    "'vespro VERB --help' tells more and has an example. An Unsubscribe button for the readers:\n"
    "vespro send ... -- --unsubscribe-mailto leave@example.org (or --unsubscribe-url)\n"
    "Exit:\n"
    "  0 done; 1 sent, but not to everybody; 2 usage; 65 input that can't be used\n"
    "  66 a file that can't be read; 70 internal error; 73 a file that can't be written\n"
    "  75 stopped, or not possible now: it may be run again; 77 every login was refused\n"
    "  78 a setting or an account is missing; 130 interrupted, or answered with no";

}  // namespace

void Declare(CLI::App& app, Globals& globals, Action& action) {
  app.description("Vespro sends one mail to many people: newsletters, invitations, notices.");
  app.name("vespro");
  app.set_version_flag("--version", VESPRO_VERSION);
  app.add_option("--home", globals.home, "Keep settings and data below this folder (VESPRO_HOME)")
      ->type_name("DIR")
      ->check([](const std::string& folder) {
        return folder.empty() ? std::string("needs a folder's name") : std::string();
      });
  app.add_flag("--json", globals.json, "Print data as JSON");
  app.add_flag("--yes", globals.rules.assume_yes, "Answer questions with yes");
  app.add_flag("--no-input", globals.rules.no_input, "Never ask");
  app.fallthrough();
  AddSendVerbs(app, globals, action);
  AddJobVerbs(app, globals, action);
  AddListVerbs(app, globals, action);
  AddAccountVerbs(app, globals, action);
  AddLimitVerbs(app, globals, action);
  AddSettingsVerbs(app, globals, action);
  AddMergeVerbs(app, globals, action);
  AddReportVerbs(app, globals, action);
  AddReportPageVerbs(app, globals, action);
  AddCatchVerb(app, globals, action);
  AddSupportVerbs(app, globals, action);

  app.footer(kFooter);  // here, since verbs that are declared later would show it too
}

}  // namespace vespro::cli
