#include <iostream>
#include <nlohmann/json.hpp>

#include "base/files.h"
#include "base/text.h"
#include "cli/verbs.h"
#include "recipients/distribution.h"
#include "reports/report_commands.h"
#include "settings/settings.h"
#include "terminal/home.h"

namespace vespro::cli {
namespace {

struct SettingArguments {
  std::string name, value;
  bool force = false;
};

int List(const Globals& globals) {
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  const Settings settings(*home->backend);
  nlohmann::json data = nlohmann::json::object();
  for (const SettingRow& row : kSettingRows) {
    const std::string value = settings.Read(row.name);
    if (globals.json) {
      data[std::string(row.name)] = {{"value", value},
                                     {"meaning", row.meaning},
                                     {"set_by", row.set_by},
                                     {"when_absent", row.when_absent},
                                     {"installed", row.installed}};
      continue;
    }
    std::cout << row.name << " =" << (value.empty() ? "" : " ") << ModText::Printable(value, 1000)
              << "\n    " << row.meaning << "\n    Not set: " << row.when_absent << ".";
    if (!row.installed.empty()) std::cout << " Installed as " << row.installed << ".";
    std::cout << " Set by " << row.set_by << ".\n";
  }
  if (globals.json) {
    PrintJson(data);
  } else {
    Note("kept in " + home->settings_place);
  }
  return 0;
}

Status UnknownName(const std::string& name) {
  std::string names;
  for (const SettingRow& row : kSettingRows) {
    names += (names.empty() ? "" : ", ") + std::string(row.name);
  }
  return Status(Code::kUsage,
                "there is no setting '" + ModText::Printable(name) + "'; there are: " + names);
}

int Get(const Globals& globals, const SettingArguments& arguments) {
  const SettingRow* row = FindSetting(arguments.name);
  if (row == nullptr) return Fail(UnknownName(arguments.name));
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  const std::string value = Settings(*home->backend).Read(row->name);
  if (globals.json) {
    PrintJson({{"name", row->name}, {"value", value}});
  } else {
    std::cout << value << "\n";
  }
  return 0;
}

// As the dialog stores it that has this setting. kUsage, with its text, for what it refuses.
Status StoreAsDialogs(Settings& settings, std::string_view name, std::string_view value) {
  if (name == setting::kReportPerPage) return ModReports::SetPerPage(settings, value);
  if (name == setting::kNumConnect) {
    const int most = ModText::LeadingInt16(settings.Read(setting::kMaxNumConnect));
    if (Status valid = CheckConnections(value, most); !valid.ok()) return valid;
  }
  if (name == setting::kMailList) {
    const std::string path = ModDistribution::Parse(value).path;
    if (!path.empty() && !ModFiles::IsFile(ModFiles::FromUtf8(path))) {
      return Status(Code::kUsage, ModDistribution::kNoSuchFile);
    }
  }
  return settings.Write(name, ModText::Trim(value));
}

int Set(const Globals& globals, const SettingArguments& arguments) {
  const SettingRow* row = FindSetting(arguments.name);
  if (row == nullptr) return Fail(UnknownName(arguments.name));
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  Settings settings(*home->backend);
  const std::string value = ModConsole::ArgumentText(arguments.value);
  const Status stored = arguments.force ? settings.Write(row->name, value)
                                        : StoreAsDialogs(settings, row->name, value);
  if (stored.ok()) return 0;
  const int code = Fail(stored);
  if (stored.code() == Code::kUsage && !arguments.force) Note("--force stores it all the same");
  return code;
}

}  // namespace

void AddSettingsVerbs(CLI::App& app, Globals& globals, Action& action) {
  CLI::App* settings = app.add_subcommand("settings", "Lasting settings");
  auto arguments = std::make_shared<SettingArguments>();
  const auto bind = [&](CLI::App* verb, int (*run)(const Globals&, const SettingArguments&)) {
    verb->callback([&globals, &action, arguments, run] {
      action = [&globals, arguments, run] { return run(globals, *arguments); };
    });
  };

  CLI::App* list = settings->add_subcommand(
      "list", "List them all, with their meaning and what holds while they are not set");
  list->footer("Example: vespro settings list");
  list->callback([&] { action = [&globals] { return List(globals); }; });

  CLI::App* get = settings->add_subcommand("get", "Print one");
  get->add_option("NAME", arguments->name, "Its name, as 'settings list' shows it")->required();
  get->footer("Example: vespro settings get SenderEmail");
  bind(get, Get);

  CLI::App* set = settings->add_subcommand("set", "Store one");
  set->add_option("NAME", arguments->name, "Its name, as 'settings list' shows it")->required();
  set->add_option("VALUE", arguments->value, "Its new value; may be empty")->required();
  set->add_flag("--force", arguments->force,
                "Store exactly this, also what the dialogs would refuse");
  set->footer("Example: vespro settings set SenderEmail club@example.org");
  bind(set, Set);
}

}  // namespace vespro::cli
