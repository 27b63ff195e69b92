#include "base/status.h"

namespace vespro {

const char* CodeName(Code code) {
  switch (code) {
    case Code::kOk:
      return "kOk";
    case Code::kUsage:
      return "kUsage";
    case Code::kBadInput:
      return "kBadInput";
    case Code::kNotFound:
      return "kNotFound";
    case Code::kCannotWrite:
      return "kCannotWrite";
    case Code::kResumable:
      return "kResumable";
    case Code::kLogin:
      return "kLogin";
    case Code::kConfig:
      return "kConfig";
    case Code::kCancelled:
      return "kCancelled";
    case Code::kTimedOut:
      return "kTimedOut";
    case Code::kUnavailable:
      return "kUnavailable";
    case Code::kInternal:
      return "kInternal";
  }
  return "?";
}

}  // namespace vespro
