// send/session.h - the name and the folder of one job.
#pragma once

#include <filesystem>
#include <string>

#include "base/clock.h"
#include "base/status.h"

namespace vespro::ModSession {

// The next digit of the rolling counter: 1 to 9, then 0, then 1 again.
int NextDigit(int& session_counter);

// "ddmmyyhhmmss" and the digit: 13 characters. Two jobs of one second differ in the digit, up to
// ten; the eleventh has the name of the first again.
std::string SessionName(const LocalTime& now, int digit);

// The folder below the data folder that holds every session.
std::filesystem::path SessionsFolder(const std::filesystem::path& data_folder);

// Makes the sessions' folder and the session's own, or one of that name and "x" where that can't be
// made. kCannotWrite when the session's own folder is not there afterwards.
Status MakeSessionFolder(const std::filesystem::path& data_folder, const std::string& name);

// The path as jobs and the engine take it: UTF-8 with "/" for every "\".
std::string ForwardSlashes(const std::filesystem::path& path);

}  // namespace vespro::ModSession
