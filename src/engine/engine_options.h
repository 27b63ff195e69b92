// engine/engine_options.h - what a run is told by its command line, and what it exits with.
#pragma once

#include <cstddef>
#include <filesystem>
#include <vector>

#include "engine/delivery/delivery_options.h"
#include "engine/list_source.h"
#include "engine/unsubscribe.h"

namespace vespro::engine {

// What the program exits with.
enum ExitCode : int {
  kExitAllSent = 0,
  // Finished, but somebody was refused, failed, unknown or has a bad row, or an account did not
  // work.
  kExitSomeNotSent = 1,
  kExitUsage = 2,
  kExitBadInput = 65,  // job, list or message
  kExitInternal = 70,  // the verdicts do not add up: a fault of ours
  kExitRunAgain = 75,  // stopped with nothing lost
  kExitLogin = 77,     // every account refused the login
  kExitNoAccount = 78,
  kExitInterrupted = 130,
};

// For --check-accounts.
struct AccountsToCheck {
  std::filesystem::path file;  // the account file; empty: a job is sent
  std::size_t number = 0;      // of the account in it, from 1; 0 for all
  std::string sender;
};

struct EngineOptions {
  AccountsToCheck check;
  std::filesystem::path job_file;
  std::size_t entries_per_page = 100;
  std::filesystem::path dry_run;  // a Maildir to render into, contacting nobody; empty: send
  ListOptions list;
  std::vector<std::filesystem::path> suppress;
  DeliveryOptions delivery;               // `connections` comes from the job
  UnsubscribeOptions unsubscribe;         // without the key,
  std::filesystem::path unsubscribe_key;  // which is in this file; empty for none
  bool fresh = false;
  bool resend_unknown = false;
  std::filesystem::path limits;  // of the accounts; empty: those of the job's data folder
  std::filesystem::path trace;   // a file for the dialogue with the servers; empty for none
  bool trace_data = false;       // with the messages' text
  bool json = false;
  bool quiet = false;
};

}  // namespace vespro::engine
