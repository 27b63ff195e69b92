#include "engine/delivery/server_pool.h"

#include <algorithm>
#include <limits>
#include <map>
#include <utility>

namespace vespro::engine {
namespace {

// Where there are more servers than connections, a connection sends this many messages to one
// before it is given to the next.
constexpr double kMessagesPerTurn = 10;

std::vector<Server> MakeServers(const DeliveryOptions& options,
                                const std::vector<Account>& accounts, RateLimits& limits,
                                TimePoint now) {
  std::vector<std::size_t> limit_of_rate;
  limit_of_rate.reserve(options.account_rates.size());
  for (const ServerRateLimit& rate : options.account_rates) {
    limit_of_rate.push_back(limits.Add(rate.messages_per_second, now));
  }
  std::map<const Allowance*, std::size_t> limit_of_allowance;
  Server::Waits waits;
  waits.initial_backoff = options.server_backoff;
  for (std::chrono::milliseconds* wait : {&waits.more_connections, &waits.rest}) {
    *wait = std::chrono::round<std::chrono::milliseconds>(*wait * options.timeout_scale);
  }
  std::vector<Server> servers;
  for (const Account& account : accounts) {
    const auto same = std::find_if(servers.begin(), servers.end(),
                                   [&](const Server& server) { return server.IsFor(account); });
    if (same != servers.end()) {
      same->AddShare();
      continue;
    }
    std::size_t limit = RateLimits::kUnlimited;
    double lowest = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < limit_of_rate.size(); ++i) {
      if (!Matches(options.account_rates[i].server, account)) continue;
      limit = limit_of_rate[i];
      lowest = options.account_rates[i].messages_per_second;
    }
    Allowance* const allowance =
        options.allowances != nullptr ? options.allowances->Of(account) : nullptr;
    const double rate = allowance != nullptr ? allowance->configured().messages_per_second : 0;
    if (rate > 0 && rate < lowest) {
      const auto [own, is_new] = limit_of_allowance.try_emplace(allowance);
      if (is_new) own->second = limits.Add(rate, now);
      limit = own->second;
    }
    CredentialSource credentials(account.password);
    for (const ServerPasswordCommand& command : options.password_commands) {
      if (Matches(command.server, account)) {
        credentials = CredentialSource(PasswordCommand(command.command));
      }
    }
    servers.emplace_back(account, std::move(credentials), limit, allowance, waits, now);
  }
  return servers;
}

std::vector<unsigned> WeightsOf(const std::vector<Server>& servers) {
  std::vector<unsigned> weights;
  weights.reserve(servers.size());
  for (const Server& server : servers) weights.push_back(server.weight());
  return weights;
}

}  // namespace

ServerPool::ServerPool(const DeliveryOptions& options, const std::vector<Account>& accounts,
                       TimePoint now)
    : max_attempts_(options.max_attempts),
      wait_for_quota_(options.wait_for_quota),
      limits_(options.messages_per_second, now),
      servers_(MakeServers(options, accounts, limits_, now)),
      shares_(WeightsOf(servers_)) {}

std::vector<std::string> ServerPool::Names() const {
  std::vector<std::string> names;
  names.reserve(servers_.size());
  for (const Server& server : servers_) names.push_back(server.name());
  return names;
}

bool ServerPool::IsEligible(std::size_t server, const AttemptState& state) const {
  if (state.RejectedBy(server)) return false;
  if (state.last_server != server || state.attempts + 1 < max_attempts_) return true;
  for (std::size_t i = 0; i < servers_.size(); ++i) {
    if (i != server && servers_[i].IsHealthy() && !state.RejectedBy(i)) return false;
  }
  return true;
}

bool ServerPool::IsPreferred(std::size_t server, const AttemptState& state) const {
  if (state.last_server != server) return true;
  for (std::size_t i = 0; i < servers_.size(); ++i) {
    if (i != server && shares_.active(i)) return false;
  }
  return true;
}

bool ServerPool::HasEligible(const AttemptState& state, std::size_t except) const {
  for (std::size_t i = 0; i < servers_.size(); ++i) {
    if (i != except && servers_[i].enabled() && !state.RejectedBy(i)) return true;
  }
  return false;
}

bool ServerPool::HasReachable(const AttemptState& state) const {
  for (std::size_t i = 0; i < servers_.size(); ++i) {
    const Server& server = servers_[i];
    const bool too_late =
        server.AtQuota() &&
        (!wait_for_quota_ || server.allowance()->available_at() == TimePoint::max());
    if (server.enabled() && !server.IsUnreachable() && !too_late && !state.RejectedBy(i))
      return true;
  }
  return false;
}

void ServerPool::UpdateShares(TimePoint now, const HasWork& has_work) {
  for (std::size_t i = 0; i < servers_.size(); ++i) {
    const Server& server = servers_[i];
    shares_.SetActive(i, server.CanSend(now) && server.KeepsShare(now) &&
                             limits_.Allows(server.rate_limit(), now) && has_work(i));
  }
}

double ServerPool::Lead(std::size_t server, bool full) const {
  return full && Starved() > 0 ? kMessagesPerTurn * servers_[server].weight() : 0;
}

Obstacle ServerPool::WhyNotSending(std::size_t server, bool full, TimePoint now) const {
  if (!servers_[server].CanSend(now)) return servers_[server].WhyNotSending(now);
  if (!limits_.Allows(servers_[server].rate_limit(), now)) return Obstacle::kServerRate;
  if (servers_.size() > 1 && !shares_.MaySend(server, Lead(server, full))) return Obstacle::kShare;
  return limits_.AllowsAny(now) ? Obstacle::kNone : Obstacle::kJobRate;
}

bool ServerPool::TakeTurn(std::size_t server, bool full, TimePoint now) {
  if (servers_.size() > 1 && !shares_.MaySend(server, Lead(server, full))) return false;
  if (!servers_[server].MayBegin(now)) {
    // What is on the wire is answered without a timer.
    const TimePoint retry_at = servers_[server].pace().NextAt(now);
    if (retry_at > now) pace_retry_at_ = std::min(pace_retry_at_, retry_at);
    return false;
  }
  return limits_.Take(servers_[server].rate_limit(), now);
}

void ServerPool::OnTaken(std::size_t server, std::size_t recipients, TimePoint now) {
  shares_.Sent(server);
  servers_[server].OnBegun(recipients, now);
}

void ServerPool::ForgetRefusals() {
  limits_.ForgetRefusals();
  pace_retry_at_ = TimePoint::max();
}

Obstacle ServerPool::WhyNotConnecting(std::size_t server, TimePoint now) const {
  const Obstacle obstacle = servers_[server].WhyNotConnecting(now);
  const Allowance* const allowance = servers_[server].allowance();
  if (obstacle != Obstacle::kNone || allowance == nullptr) return obstacle;
  const std::size_t most = allowance->configured().connections;
  if (most == 0) return Obstacle::kNone;
  std::size_t open = 0;
  for (const Server& other : servers_) open += other.allowance() == allowance ? other.open() : 0;
  return open < most ? Obstacle::kNone : Obstacle::kAccountConnections;
}

void ServerPool::UpdateQuotas(TimePoint now) {
  for (Server& server : servers_) server.UpdateQuota(now);
}

std::optional<std::size_t> ServerPool::NextToConnect(std::size_t connecting, TimePoint now,
                                                     const HasWork& has_work) {
  if (!limits_.MayConnect(connecting, now)) return std::nullopt;
  const auto rank = [this](std::size_t i) {
    const Server& server = servers_[i];
    return std::pair(static_cast<double>(server.open()) / server.weight(), shares_.VirtualTime(i));
  };
  std::optional<std::size_t> best;
  for (std::size_t i = 0; i < servers_.size(); ++i) {
    const Server& server = servers_[i];
    if (WhyNotConnecting(i, now) != Obstacle::kNone || !has_work(i)) continue;
    if (!limits_.MayConnectTo(server.rate_limit(), server.connecting(), now)) continue;
    if (!best || rank(i) < rank(*best)) best = i;
  }
  return best;
}

std::size_t ServerPool::Starved() const {
  std::size_t count = 0;
  for (std::size_t i = 0; i < servers_.size(); ++i) {
    count += servers_[i].open() == 0 && shares_.active(i);
  }
  return count;
}

TimePoint ServerPool::AvailableAt() const {
  TimePoint available = TimePoint::max();
  for (const Server& server : servers_) {
    if (server.enabled()) available = std::min(available, server.available_at());
  }
  return available;
}

bool ServerPool::AllDisabled() const {
  return std::none_of(servers_.begin(), servers_.end(),
                      [](const Server& server) { return server.enabled(); });
}

Status ServerPool::WhyDisabled() const {
  bool all_logins = true, all_unusable = true, any_too_large = false;
  std::string why;
  for (const Server& server : servers_) {
    const Code code = server.disabled_reason().code();
    all_logins = all_logins && code == Code::kLogin;
    any_too_large = any_too_large || code == Code::kBadInput;
    all_unusable = all_unusable && code != Code::kUnavailable;
    why += " " + server.name() + ": " + server.disabled_reason().text();
  }
  if (all_logins) return Status(Code::kLogin, "no server takes the login:" + why);
  const Code code = !all_unusable   ? Code::kUnavailable
                    : any_too_large ? Code::kBadInput
                                    : Code::kConfig;
  return Status(code, "no server can be used:" + why);
}

Status ServerPool::WhyUnreachable() const {
  const bool at_quota = std::any_of(servers_.begin(), servers_.end(),
                                    [](const Server& server) { return server.AtQuota(); });
  std::string why = at_quota ? "nothing more can be sent now:" : "no server can be reached:";
  for (const Server& server : servers_) {
    why += " " + server.name() + ": " +
           (!server.enabled()        ? server.disabled_reason().text()
            : server.AtQuota()       ? server.allowance()->WhyNone()
            : server.IsUnreachable() ? server.last_error()
                                     : "it does not take what is left");
  }
  return Status(Code::kUnavailable, std::move(why));
}

}  // namespace vespro::engine
