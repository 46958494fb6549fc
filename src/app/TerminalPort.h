// The user-interface port of the command line: messages and notices on
// stderr, questions answered by --yes or on the terminal (no terminal: no).
#pragma once

#include "ui/Port.h"

namespace ordolo::app {

class TerminalPort : public ui::Port {
 public:
  explicit TerminalPort(bool assumeYes) : yes_(assumeYes) {}
  ui::Answer message(const QString& text, ui::Buttons buttons, ui::Icon icon) override;
  void notice(const QString& text) override;
  void beep() override;
  QString browseFolder(const QString& prompt, const QString& start) override { return {}; }
  void yield() override;

 private:
  bool yes_;
};

}  // namespace ordolo::app
