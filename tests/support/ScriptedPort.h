// A user-interface port for tests: records every message, notice and beep,
// and answers questions from a script (Yes when the script runs out).
#pragma once

#include <QStringList>

#include <deque>

#include "ui/Port.h"

namespace ordolo::test {

class ScriptedPort : public ui::Port {
 public:
  ui::Answer message(const QString& text, ui::Buttons buttons, ui::Icon icon) override {
    messages << text;
    if (buttons == ui::Buttons::Ok) return ui::Answer::Ok;
    if (answers.empty()) return ui::Answer::Yes;
    const ui::Answer a = answers.front();
    answers.pop_front();
    return a;
  }
  void notice(const QString& text) override { notices << text; }
  void beep() override { ++beeps; }
  QString browseFolder(const QString&, const QString&) override { return folderAnswer; }
  void yield() override { ++yields; }

  std::deque<ui::Answer> answers;
  QStringList messages;
  QStringList notices;
  int beeps = 0;
  int yields = 0;
  QString folderAnswer;  // what a folder choice returns
};

}  // namespace ordolo::test
