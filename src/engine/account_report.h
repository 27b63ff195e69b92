// engine/account_report.h - whether the user's accounts work, in words. One thread.
#pragma once

#include <functional>
#include <string>

#include "base/files.h"
#include "engine/delivery/account_check.h"
#include "engine/engine_options.h"

namespace vespro::engine {

// CheckAccount with a loop of its own; tests put something else here. Fails when the password's
// command or the trust anchors do.
using CheckFunction = std::function<Result<AccountCheck>(
    const DeliveryOptions& options, const Account& account, const std::string& sender)>;

// Tries options.check's accounts one after the other and says of each on `out` how far it came,
// what is wrong and what to do; with options.json an object a line. Returns an ExitCode:
// kExitAllSent when all work, otherwise that of the first that does not.
int ReportOnAccounts(const EngineOptions& options, ByteSink& out, ByteSink& err,
                     const CheckFunction& check);

}  // namespace vespro::engine
