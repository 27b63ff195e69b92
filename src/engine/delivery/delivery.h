// engine/delivery/delivery.h - brings a job to its recipients: takes them from a WorkSource, has
// their message made by a Renderer, brings it to the servers, and tells a ResultSink what became of
// each recipient, exactly once. It knows neither lists nor files. Everything runs on the thread
// that calls Run. Text is UTF-8.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "engine/delivery/delivery_end.h"
#include "engine/delivery/delivery_options.h"
#include "engine/message.h"
#include "engine/net/event_loop.h"
#include "engine/work.h"

namespace vespro::engine {

class Delivery {
 public:
  // The references must outlive the object. `accounts` must not be empty.
  Delivery(EventLoop& loop, const DeliveryOptions& options, const std::vector<Account>& accounts,
           WorkSource& source, Renderer& renderer, ResultSink& results);
  ~Delivery();

  // Sends until there is nothing left or it has to stop. `on_tick` is called about ten times a
  // second. What the loop calls an interrupt, SIGTERM for one, is taken as RequestStop while it
  // runs; a second one ends the process's work at once: whatever is in hand is recorded as kUnknown
  // where the server may have the message, and left out otherwise.
  DeliveryEnd Run(const std::function<void(const Progress&)>& on_tick);

  // Finish what is in hand, begin nothing. Call it from Run's thread (from on_tick or the sink).
  void RequestStop();
  // What SIGTERM does, the second time too. From Run's thread.
  void Interrupt();

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace vespro::engine
