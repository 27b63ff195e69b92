// addin/clicks.h - which window answers a click. One click of the user's reaches the objects of all
// windows, one after the other. The handler of one may close its window, so that another comes to
// the front, whose turn is still to come: it must not take that click for its own. The host does
// not say which events are one click, so they are counted.
#pragma once

#include <map>
#include <string>

namespace vespro {

class Clicks {
 public:
  // How many events of each tag one object has had.
  using Had = std::map<std::string, int>;

  // The object begins to hear clicks of that tag.
  void Join(const std::string& tag, Had& had) { had[tag] = rounds_[tag].begun; }

  // An event has reached the object. Whether it is the one that acts, which only an active one is.
  bool IsFor(const std::string& tag, Had& had, bool active) {
    Round& round = rounds_[tag];
    if (++had[tag] > round.begun) round = {round.begun + 1, false};
    if (!active || round.taken) return false;
    round.taken = true;
    return true;
  }

  // The object comes to the front. Outside of handlers no click is under way: it is not to wait for
  // one that the host has kept from it.
  void ComesToFront(Had& had) {
    if (running_ > 0) return;
    for (auto& [tag, count] : had) count = rounds_[tag].begun;
  }

  // A handler runs while this lives.
  class Running {
   public:
    explicit Running(Clicks& clicks) : clicks_(clicks) { ++clicks_.running_; }
    ~Running() { --clicks_.running_; }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

   private:
    Clicks& clicks_;
  };

 private:
  struct Round {
    int begun = 0;  // clicks until now
    bool taken = false;
  };
  std::map<std::string, Round> rounds_;
  int running_ = 0;
};

}  // namespace vespro
