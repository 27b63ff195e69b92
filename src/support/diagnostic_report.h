// support/diagnostic_report.h - what the makers have to know to help: versions, settings, accounts,
// what is installed and what runs. Logins and passwords appear as the account file has them:
// encoded, which anybody can undo.
#pragma once

#include <string>
#include <string_view>

#include "host/add_in.h"
#include "settings/settings.h"
#include "support/system_facts.h"

namespace vespro::ModDiagnostics {

enum class Accounts { kIncluded, kLeftOut };

// The report, UTF-8, its lines joined with CR LF. Lets events run between its sections. What can't
// be had is empty after its label.
std::string Report(AddIn& add_in, const Settings& settings, SystemFacts& system,
                   Accounts accounts = Accounts::kIncluded);

// The body of the mail that brings the report to the makers, with room for the user's words.
std::string MailBody(std::string_view report);

}  // namespace vespro::ModDiagnostics
