// What the core asks of the user interface: message boxes, short notices,
// a beep, a folder choice and a chance for the event loop to run. The GUI
// answers with widgets, the command line on the terminal, tests with a script.
#pragma once

#include <QString>

namespace ordolo::ui {

enum class Buttons { Ok, OkCancel, YesNo, YesNoCancel };
enum class Icon { None, Information, Question, Warning, Critical };
enum class Answer { Ok, Cancel, Yes, No };

class Port {
 public:
  virtual ~Port() = default;
  // A modal message titled "Ordolo".
  virtual Answer message(const QString& text, Buttons buttons = Buttons::Ok, Icon icon = Icon::None) = 0;
  // A short notice that goes away by itself.
  virtual void notice(const QString& text) = 0;
  virtual void beep() = 0;
  // A folder chosen by the user, or empty when cancelled.
  virtual QString browseFolder(const QString& prompt, const QString& start) = 0;
  // Lets pending events be handled during long work.
  virtual void yield() = 0;
};

}  // namespace ordolo::ui
