// terminal/send_job.h - what `vespro send` and `vespro preview` do: a composed mail and a list
// become a job, through the very send command that a compose window's button runs. Every problem
// that can be seen beforehand stops it before anything is written, with the one line that the user
// needs.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "base/status.h"
#include "host/desktop.h"
#include "recipients/distribution.h"
#include "recipients/long_rows.h"
#include "terminal/composed_item.h"
#include "terminal/console.h"
#include "terminal/home.h"

namespace vespro {

// A distribution file as the user names it.
struct ListChoice {
  std::filesystem::path file;  // empty: the stored one, with what is said here in place of what is
                               // stored with it
  std::string column;          // a column's name or its number from 1; empty: the proposed one
  std::optional<bool> header;  // whether the first row holds names; unset: as proposed
  bool may_guess = false;      // the proposal will do where nothing or several columns tell
  bool may_ask = false;        // which of several columns it is
  // A table is taken where its columns are not split by commas; also where `column` is a number.
  bool any_separator = false;
};

struct SendRequest {
  ComposeRequest compose;
  std::optional<ListChoice> list;                       // unset: the stored one
  std::optional<std::string> from, name, reply_to, to;  // unset: the stored settings
  std::optional<bool> turbo;
  // The job's accounts, each "server" or "server:port"; empty: all. One of this machine's own needs
  // no account.
  std::vector<std::string> accounts = {};
  bool any_separator = false;  // as ListChoice has it, for the stored list, too
};

struct WrittenJob {
  std::string job_file;  // UTF-8, with "/"
  std::string session_name;
  CommandLine engine;  // starts the engine on it
  Distribution distribution;
  std::vector<std::string> remarks;
};

struct WrittenMessage {
  std::filesystem::path message_file;
  Distribution distribution;
  std::int16_t bcc_mode = 0;
  std::vector<std::string> remarks;
};
namespace ModSendJob {

// Checks that the file can be a distribution file and finds its mapping. kNotFound for a missing
// file, kBadInput for one that can't be used.
Result<Distribution> ChooseList(const ListChoice& choice);
// The same checks for a stored choice.
Status CheckList(const Distribution& distribution, bool any_separator = false);
// For a person: how many rows have more cells than the first.
std::string LongRowsText(const ModRecipients::LongRows& rows);

// The engine options that a job was begun with, kept in its folder: who takes it up again gets the
// same limits and the same people left out. What holds for one run only is not kept.
Status KeepEngineOptions(const std::filesystem::path& session_folder,
                         const std::vector<std::string>& options);
// None when none were kept.
Result<std::vector<std::string>> KeptEngineOptions(const std::filesystem::path& session_folder);

// The accounts that are named, as a job has them: in the account file's order, then servers of this
// machine that the file does not have. kConfig for a name that is neither.
Result<std::vector<std::string>> ChooseHosts(const std::filesystem::path& account_file,
                                             const std::vector<std::string>& names);

// Writes the job into the home's sessions; the engine is not started.
Result<WrittenJob> WriteJob(Home& home, ConsoleRules rules, const SendRequest& request);

// Only the message file, into `folder`, for looking at it.
Result<WrittenMessage> WriteMessage(Home& home, ConsoleRules rules, const SendRequest& request,
                                    const std::filesystem::path& folder);

}  // namespace ModSendJob
}  // namespace vespro
