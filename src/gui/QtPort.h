// The user-interface port answered with real windows: message boxes titled
// "Ordolo", a small notice window that closes itself, the beep, a folder
// dialog, and the event loop run during long work.
#pragma once

#include <QPointer>
#include <QWidget>

#include "ui/Port.h"

namespace ordolo::gui {

class QtPort : public ui::Port {
 public:
  // Dialogs are centred over the window given last (none: the screen).
  void setParent(QWidget* parent) { parent_ = parent; }

  ui::Answer message(const QString& text, ui::Buttons buttons, ui::Icon icon) override;
  void notice(const QString& text) override;
  void beep() override;
  QString browseFolder(const QString& prompt, const QString& start) override;
  void yield() override;

  // How long a notice stays, in ms.
  static constexpr int kNoticeMs = 1200;

 private:
  QPointer<QWidget> parent_;
};

}  // namespace ordolo::gui
