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

// The job's file in a session's folder.
std::filesystem::path JobFileIn(const std::filesystem::path& session_folder);

// Names a session by the time of day and the next digit, and makes its folder; gives the name. A
// folder that is there already belongs to a job, maybe of another program and on its way, so the
// next digit is taken, and when all ten are taken the next second is waited for. Where a folder
// can't be made, one of its name and "x" is tried, as a trace for people, and the answer is
// kCannotWrite.
Result<std::string> TakeSession(const std::filesystem::path& data_folder, const Clock& clock,
                                int& session_counter);

// The path as jobs and the engine take it: UTF-8 with "/" for every "\".
std::string ForwardSlashes(const std::filesystem::path& path);

}  // namespace vespro::ModSession
