// lint/lint.h - everything that can be known of a mail and its list before it is sent, in findings
// for a person. Reads files and contacts nobody; prints nothing. One thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "base/random.h"
#include "base/status.h"
#include "engine/unsubscribe.h"
#include "lint/finding.h"
#include "recipients/distribution.h"
#include "recipients/list_blocks.h"

namespace vespro::lint {

// An account that the mail may go through.
struct Account {
  std::string server;
  std::string login;  // empty: none is needed
};

struct Mail {
  std::filesystem::path message_file;  // the file of custom words is beside it
  int bcc_mode = 0;                    // as a job has it
  Distribution list;
  std::vector<Account> accounts = {};
  engine::UnsubscribeOptions unsubscribe = {};  // of the engine's options
};

struct Report {
  std::vector<Finding> findings;    // the worst first
  std::string subject, from;        // as the author wrote them, merge words and all
  std::uint64_t people = 0;         // who would get a message
  std::uint64_t message_bytes = 0;  // of one, at least

  std::size_t Count(Severity severity) const;
};

// Reads the list once. kBadInput, kNotFound when the mail can't be sent at all, with the one line
// that a send ends with; kCancelled. What an error's `option` allows is still reported.
Result<Report> Check(const Mail& mail, Randomness& randomness,
                     const ModRecipients::OnLine& on_line = {});

}  // namespace vespro::lint
