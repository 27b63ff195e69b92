// cli/test_letter.h - one person's letter to somebody else: to try out a mail with a real server.
#pragma once

#include <cstdint>
#include <string>

#include "cli/verbs.h"
#include "terminal/home.h"
#include "terminal/send_job.h"

namespace vespro::cli {

struct TestLetter {
  std::string address;    // who gets it
  std::uint64_t row = 1;  // whose letter it is, as engine::FindRow counts
};

// Sends it and waits for what became of it; the list's people get nothing, and no job is left.
// Gives the engine's exit code.
int SendTestLetter(const Globals& globals, Home& home, const SendRequest& request,
                   const TestLetter& letter);

}  // namespace vespro::cli
