#include "app/TerminalPort.h"

#include <QCoreApplication>

#include <cstdio>
#include <iostream>
#include <string>
#include <unistd.h>

#include "lang/LanguageTable.h"

namespace ordolo::app {

namespace {

void toStderr(const QString& s) {
  std::fputs((s + QLatin1Char('\n')).toUtf8().constData(), stderr);
  std::fflush(stderr);
}

}  // namespace

ui::Answer TerminalPort::message(const QString& text, ui::Buttons buttons, ui::Icon) {
  toStderr(QStringLiteral("Ordolo: ") + text);
  if (buttons == ui::Buttons::Ok) return ui::Answer::Ok;
  const QString yes = lang::GetLangText(QStringLiteral("S34"));
  const QString no = lang::GetLangText(QStringLiteral("S35"));
  if (yes_) {
    toStderr(yes);
    return ui::Answer::Yes;
  }
  if (!isatty(STDIN_FILENO)) {
    toStderr(no);
    return buttons == ui::Buttons::OkCancel ? ui::Answer::Cancel : ui::Answer::No;
  }
  std::fputs(QStringLiteral("(%1/%2) ").arg(yes, no).toUtf8().constData(), stderr);
  std::fflush(stderr);
  std::string line;
  std::getline(std::cin, line);
  const QString answer = QString::fromStdString(line).trimmed();
  // The first letter of the language's yes word (or plain "y") agrees.
  const bool agreed = !answer.isEmpty() && ((!yes.isEmpty() && answer.at(0).toLower() == yes.at(0).toLower()) ||
                                            answer.at(0).toLower() == QLatin1Char('y'));
  if (buttons == ui::Buttons::OkCancel) return agreed ? ui::Answer::Ok : ui::Answer::Cancel;
  return agreed ? ui::Answer::Yes : ui::Answer::No;
}

void TerminalPort::notice(const QString& text) { toStderr(text); }

void TerminalPort::beep() {
  if (isatty(STDERR_FILENO)) std::fputs("\a", stderr);
}

void TerminalPort::yield() { QCoreApplication::processEvents(); }

}  // namespace ordolo::app
