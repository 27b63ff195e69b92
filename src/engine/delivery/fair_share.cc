#include "engine/delivery/fair_share.h"

#include <algorithm>
#include <cassert>

namespace vespro::engine {
namespace {

// Virtual times are quotients; equal ones may differ in the last bits.
constexpr double kTolerance = 1e-6;

}  // namespace

FairShare::FairShare(const std::vector<unsigned>& weights) {
  for (const unsigned weight : weights) {
    assert(weight > 0);
    servers_.push_back({.weight = static_cast<double>(weight)});
  }
}

std::optional<double> FairShare::LowestVirtualTime() const {
  std::optional<double> lowest;
  for (const Server& server : servers_) {
    if (!server.active) continue;
    lowest = std::min(lowest.value_or(server.virtual_time()), server.virtual_time());
  }
  return lowest;
}

bool FairShare::MaySend(std::size_t server, double lead) const {
  const Server& own = servers_[server];
  if (!own.active) return false;
  return own.virtual_time() - lead / own.weight <= *LowestVirtualTime() + kTolerance;
}

void FairShare::SetActive(std::size_t server, bool active) {
  Server& own = servers_[server];
  if (active && !own.active) {
    own.sent = std::max(own.sent, LowestVirtualTime().value_or(0) * own.weight);
  }
  own.active = active;
}

}  // namespace vespro::engine
