#include "outlook/ledger.h"

#include <cstdio>

#include "outlook/automation.h"

namespace vespro::standin {

Ledger::Ledger() = default;
Ledger::~Ledger() = default;

Object* Ledger::Find(IUnknown* unknown) const {
  for (const auto& object : objects_) {
    if (unknown != nullptr && object->unknown() == unknown) return object.get();
  }
  return nullptr;
}

void Ledger::Happened(std::string line) {
  if (speaks_) {
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
  }
  events_.push_back(std::move(line));
}

void Ledger::Fault(std::string line) {
  if (speaks_) {
    std::printf("FAULT %s\n", line.c_str());
    std::fflush(stdout);
  }
  faults_.push_back(std::move(line));
}

void Ledger::FailCall(std::string_view name, int n) {
  failing_name_ = name;
  failing_in_ = n;
}

bool Ledger::CountCall(const Object& object, std::string_view what, bool only_asks_for_name) {
  const std::string call = object.name() + "." + std::string(what);
  call_lines_.push_back((only_asks_for_name ? "? " : "") + call);
  const bool is_named = failing_in_ > 0 && !only_asks_for_name && call == failing_name_;
  const bool fails = calls() == failing_call_ || (is_named && --failing_in_ == 0);
  if (fails) failed_call_ = call;
  return fails;
}

int Ledger::Turn(int count) {
  turn_ = turn_ * 1103515245 + 12345;
  return static_cast<int>((turn_ >> 16) % static_cast<std::uint32_t>(count));
}

std::vector<std::string> Ledger::Held() const {
  std::vector<std::string> held;
  for (const auto& object : objects_) object->ReportHeld(held);
  return held;
}

}  // namespace vespro::standin
