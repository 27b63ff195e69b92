// cli/job_verbs.h - the jobs of a home, and what the verbs on them share with a send.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "base/status.h"
#include "cli/start_job.h"
#include "cli/verbs.h"
#include "engine/job_status.h"
#include "terminal/home.h"

namespace vespro::cli {

// A job as people name it: its file, its session's folder, or the session's name. kNotFound.
Result<std::filesystem::path> FindJob(const Home& home, const std::string& job);
// The job file of every session, in no particular order.
std::vector<std::filesystem::path> Jobs(const Home& home);
// Whether an engine has ever worked on the job, or was about to.
bool WasBegun(const std::filesystem::path& job_file);
// From now on it was.
Status MarkBegun(const std::filesystem::path& job_file);
// The engine options that the job was begun with, then these.
Result<engine::EngineOptions> OptionsOf(const std::filesystem::path& job_file,
                                        const std::vector<std::string>& further = {});
// With the engine options that the job was begun with.
Result<engine::JobStatus> StatusOf(const std::filesystem::path& job_file);
// "812 left, 188 sent, 2 refused".
std::string StatusText(const engine::JobStatus& status);

// Gives a job's accounts the passwords that are stored now, in the home that `of_job` lies in.
Status RefreshPasswords(const Home& home, const std::filesystem::path& job_file,
                        const std::filesystem::path& of_job);

// Starts the engine on a job that is there already, with the options that it was begun with and
// then those of now.
int ResumeJob(Globals globals, const Home& home, const std::filesystem::path& job_file,
              RunIn place);
// StartJob with the entries per page of the settings.
int StartEngine(const Globals& globals, const Home& home, const std::filesystem::path& job_file,
                RunIn place);

}  // namespace vespro::cli
