// engine/delivery/fake_job.h - for tests only: a job to scripted servers in memory, with the delays
// and limits of a real one.
#pragma once

#include <map>
#include <string>

#include "engine/delivery/fake_loop.h"
#include "engine/delivery/test_job.h"

namespace vespro::engine {

struct FakeJob : Job {
  using Job::Job;
  void To(ScriptedServer& server) {
    if (!names_.contains(&server)) names_[&server] = "mx" + std::to_string(names_.size() + 1);
    Job::To(25, names_[&server]);
    loop.Serve(names_[&server], 25, server);
  }
  void ToNobody() { Job::To(25, "nobody"); }
  DeliveryEnd Run() { return Job::Run(loop); }

  FakeLoop loop;

 private:
  std::map<ScriptedServer*, std::string> names_;
};

}  // namespace vespro::engine
