// engine/delivery/fair_share.h - whose turn it is: deals messages to servers in proportion to their
// weights (stride scheduling). After any number of messages no server that was active all along is
// more than one message ahead of its share. Pure. One thread.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

namespace vespro::engine {

class FairShare {
 public:
  explicit FairShare(const std::vector<unsigned>& weights);  // each at least 1

  // Whether `server` is active and next, or as near to its turn as any active one, when it may be
  // `lead` messages ahead of its share.
  bool MaySend(std::size_t server, double lead = 0) const;
  void Sent(std::size_t server) { servers_[server].sent += 1; }
  // A server that is not active leaves its share to the others. One that returns begins where they
  // are: it does not catch up.
  void SetActive(std::size_t server, bool active);
  bool active(std::size_t server) const { return servers_[server].active; }
  // Messages sent per weight: the lowest one's turn is next.
  double VirtualTime(std::size_t server) const { return servers_[server].virtual_time(); }

 private:
  struct Server {
    double weight = 1;
    double sent = 0;
    bool active = true;
    double virtual_time() const { return sent / weight; }
  };
  std::optional<double> LowestVirtualTime() const;

  std::vector<Server> servers_;
};

}  // namespace vespro::engine
