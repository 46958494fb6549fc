// Holds back the signals that end the program (SIGINT, SIGTERM, SIGHUP) for
// the life of the object: a file written under a temporary name and renamed
// into place is never left half-written by an impatient second Ctrl-C. A
// signal that arrives meanwhile takes effect when the object goes.
#pragma once

#include <signal.h>

namespace ordolo::util {

class SignalsHeld {
 public:
  SignalsHeld() {
    sigset_t held;
    sigemptyset(&held);
    sigaddset(&held, SIGINT);
    sigaddset(&held, SIGTERM);
    sigaddset(&held, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &held, &before_);
  }
  ~SignalsHeld() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;

 private:
  sigset_t before_;
};

}  // namespace ordolo::util
