#include <iostream>
#include <nlohmann/json.hpp>

#include "base/files.h"
#include "base/text.h"
#include "cli/verbs.h"
#include "reports/report_index.h"
#include "send/session.h"
#include "terminal/home.h"

namespace vespro::cli {
namespace {

int ListReports(const Globals& globals) {
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  nlohmann::json rows = nlohmann::json::array();
  int number = 0;
  for (const auto& folder :
       ModReportIndex::ReportFolders(ModSession::SessionsFolder(home->data_folder))) {
    const std::string title = ModText::Printable(
        ModText::UnescapeHtml(ModReportIndex::TitleOfReport(folder / ModReportIndex::kHtmlReport)));
    const std::string path = ModFiles::ToUtf8(folder / ModReportIndex::kHtmlReport);
    ++number;
    if (globals.json) {
      rows.push_back({{"number", number}, {"title", title}, {"report", path}});
    } else {
      std::cout << number << ". " << title << "\t" << path << "\n";
    }
  }
  if (globals.json) PrintJson(rows);
  if (number == 0) Note("No reports available");
  return 0;
}

}  // namespace

void AddReportVerbs(CLI::App& app, Globals& globals, Action& action) {
  CLI::App* reports = app.add_subcommand("reports", "The delivery reports of earlier jobs");
  CLI::App* list = reports->add_subcommand("list", "List them, with the place of each page");
  list->footer("Example: vespro reports list");
  list->callback([&] { action = [&globals] { return ListReports(globals); }; });
}

}  // namespace vespro::cli
