// engine/delivery/obstacle.h - why a server gets no message, or no further connection, at the
// moment.
#pragma once

namespace vespro::engine {

enum class Obstacle {
  kNone,
  kDisabled,            // it takes no further part
  kQuota,               // its day's count is used up
  kCredentials,         // its secret is being fetched
  kRest,                // it asked to be left alone for long
  kBackoff,             // it failed or asked for patience
  kPace,                // the pace that it has been found to take
  kNoWork,              // nobody is left whom it may have now
  kServerRate,          // its own rate limit
  kJobRate,             // the rate limit of the whole job
  kShare,               // it is ahead of its share
  kConnectionLimit,     // it refused one more than are open
  kAccountConnections,  // its user allows no more than are open
  kOneTries,            // after a failure one session tries for all
  kEnough,              // a connection is open or on its way for every message in sight
  kAllInUse,            // the job's connections are
};

}  // namespace vespro::engine
