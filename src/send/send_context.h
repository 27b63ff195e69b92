// send/send_context.h - what every step of a send works with. One thread: the mail client's.
#pragma once

#include <string>
#include <vector>

#include "base/clock.h"
#include "base/random.h"
#include "host/add_in.h"
#include "host/desktop.h"
#include "host/mail_client.h"
#include "settings/settings.h"

namespace vespro {

// The dialogs that a send may need. Each is modal: the call returns when it is closed.
class SendDialogs {
 public:
  virtual ~SendDialogs() = default;
  virtual void ShowDlgSelectFile() = 0;   // no distribution file is chosen
  virtual void ShowfrmMailSetting() = 0;  // there is no account
};

struct SendContext {
  AddIn& add_in;
  ComposeWindow& window;
  Settings& settings;
  SendDialogs& dialogs;
  const Clock& clock;
  Randomness& randomness;
  // In place of the account file's, as ReadAccountsForJob gives them; empty: all of that file.
  std::vector<std::string> hosts = {};

  Desktop& desktop() const { return *add_in.desktop; }
};

}  // namespace vespro
