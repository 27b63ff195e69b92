// terminal/job_accounts.h - the accounts of a job that is taken up again.
#pragma once

#include <filesystem>

#include "base/status.h"

namespace vespro::ModJobAccounts {

// Gives the job's HOST lines the passwords that the account file holds now, where server, port and
// login are the same; of several such accounts the last one counts, unless one has the job's
// password still. All other bytes stay. While somebody holds `lock_file`, the engine's, nothing is
// done. kNotFound when a file can't be read, kCannotWrite when the job can't be replaced.
Status RefreshPasswords(const std::filesystem::path& account_file,
                        const std::filesystem::path& job_file,
                        const std::filesystem::path& lock_file);

}  // namespace vespro::ModJobAccounts
