// outlook/ledger.h - what the whole stand-in shares: all its objects with the references that an
// add-in holds, what happened, what the add-in did wrong, and which call is to fail. One thread,
// the one that made it; a call from elsewhere is a fault of the add-in's.
#pragma once

#include <windows.h>

#include <oaidl.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vespro::standin {

class Object;

class Ledger {
 public:
  Ledger();
  Ledger(const Ledger&) = delete;
  Ledger& operator=(const Ledger&) = delete;
  ~Ledger();

  // Objects stay until the ledger goes, so that a call on one whose window has long gone is noted
  // instead of being a crash.
  template <class T, class... Arguments>
  T& Make(Arguments&&... arguments) {
    auto object = std::make_unique<T>(*this, std::forward<Arguments>(arguments)...);
    T& made = *object;
    objects_.push_back(std::move(object));
    return made;
  }
  // Which of ours it is; nullptr: none.
  Object* Find(IUnknown* unknown) const;

  // What a person would see, or another program hear of, one line each.
  void Happened(std::string line);
  const std::vector<std::string>& events() const { return events_; }
  std::vector<std::string> TakeEvents() { return std::exchange(events_, {}); }
  // What no add-in may do: call when it is disconnected, give back what it does not have.
  void Fault(std::string line);
  const std::vector<std::string>& faults() const { return faults_; }
  // Calls on what has gone with its window. One that was told of the close has no reason to.
  void Gone(std::string line) { gone_.push_back(std::move(line)); }
  const std::vector<std::string>& gone() const { return gone_; }
  // What an add-in may try, but Outlook refuses: names that are not there, wrong kinds of calls,
  // arguments and values.
  void Refused(std::string line) { refusals_.push_back(std::move(line)); }
  const std::vector<std::string>& refusals() const { return refusals_; }
  std::vector<std::string> TakeRefusals() { return std::exchange(refusals_, {}); }

  // Calls by the add-in so far, and one line for each, such as "CommandBarButton.Caption About":
  // the arguments follow, the value of a put last. "? " before what only asks for a name's number.
  int calls() const { return static_cast<int>(call_lines_.size()); }
  const std::vector<std::string>& call_lines() const { return call_lines_; }
  // More of the call that is being made.
  void AddToCall(const std::string& text) { call_lines_.back() += text; }
  // The call of that number, from 1, fails, once; 0: none.
  void FailCall(int number) { failing_call_ = number; }
  // The n-th call from now on, from 1, of that object's kind and member fails, once.
  void FailCall(std::string_view name, int n);
  // For each call, before it does anything: whether it is the one to fail.
  bool CountCall(const Object& object, std::string_view what, bool only_asks_for_name);
  // What failed, "" before.
  const std::string& failed_call() const { return failed_call_; }
  // Each line of `events` and each call, as they come, on the standard output.
  void set_speaks(bool speaks) { speaks_ = speaks; }

  // From 0 to `count` - 1, for what comes in several forms: the same ones in each run, but in no
  // order that could suit somebody.
  int Turn(int count);

  // The add-in is disconnected: from now on every call is a fault.
  void CloseForAddIn() { closed_ = true; }
  void OpenForAddIn() { closed_ = false; }
  bool closed() const { return closed_; }
  bool OnOwnThread() const { return GetCurrentThreadId() == thread_; }

  // What the add-in still holds, one line each, such as "Inspector: 2 references".
  std::vector<std::string> Held() const;

 private:
  const DWORD thread_ = GetCurrentThreadId();
  std::vector<std::unique_ptr<Object>> objects_;
  std::vector<std::string> events_, faults_, gone_, refusals_;
  std::vector<std::string> call_lines_;
  int failing_call_ = 0;
  std::string failing_name_;
  int failing_in_ = 0;  // calls of that name; 0: none is to fail
  std::string failed_call_;
  std::uint32_t turn_ = 1;
  bool closed_ = false;
  bool speaks_ = false;
};

}  // namespace vespro::standin
