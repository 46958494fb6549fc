#include "gui/QtPort.h"

#include <QApplication>
#include <QFileDialog>
#include <QLabel>
#include <QMessageBox>
#include <QScreen>
#include <QTimer>
#include <QVBoxLayout>

namespace ordolo::gui {

ui::Answer QtPort::message(const QString& text, ui::Buttons buttons, ui::Icon icon) {
  QMessageBox box(parent_);
  box.setWindowTitle(QStringLiteral("Ordolo"));
  box.setText(text);
  switch (icon) {
    case ui::Icon::Information: box.setIcon(QMessageBox::Information); break;
    case ui::Icon::Question: box.setIcon(QMessageBox::Question); break;
    case ui::Icon::Warning: box.setIcon(QMessageBox::Warning); break;
    case ui::Icon::Critical: box.setIcon(QMessageBox::Critical); break;
    case ui::Icon::None: break;
  }
  // The first button is the default, as in the message boxes the dialog
  // always had; Escape gives the last one.
  switch (buttons) {
    case ui::Buttons::Ok: box.setStandardButtons(QMessageBox::Ok); break;
    case ui::Buttons::OkCancel:
      box.setStandardButtons(QMessageBox::Ok | QMessageBox::Cancel);
      box.setDefaultButton(QMessageBox::Ok);
      break;
    case ui::Buttons::YesNo:
      box.setStandardButtons(QMessageBox::Yes | QMessageBox::No);
      box.setDefaultButton(QMessageBox::Yes);
      box.setEscapeButton(QMessageBox::No);
      break;
    case ui::Buttons::YesNoCancel:
      // The second button is the default: the careful answer.
      box.setStandardButtons(QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel);
      box.setDefaultButton(QMessageBox::No);
      box.setEscapeButton(QMessageBox::Cancel);
      break;
  }
  switch (box.exec()) {
    case QMessageBox::Yes: return ui::Answer::Yes;
    case QMessageBox::No: return ui::Answer::No;
    case QMessageBox::Cancel: return ui::Answer::Cancel;
    default: return buttons == ui::Buttons::YesNo ? ui::Answer::No : ui::Answer::Ok;
  }
}

void QtPort::notice(const QString& text) {
  // A small window without frame over the dialog; it closes itself.
  auto* window = new QWidget(parent_, Qt::ToolTip | Qt::FramelessWindowHint);
  window->setObjectName(QStringLiteral("notice"));
  window->setAttribute(Qt::WA_DeleteOnClose);
  window->setAttribute(Qt::WA_ShowWithoutActivating);
  auto* layout = new QVBoxLayout(window);
  auto* label = new QLabel(text, window);
  label->setObjectName(QStringLiteral("noticeText"));
  QFont font = label->font();
  font.setPointSizeF(font.pointSizeF() * 1.3);
  label->setFont(font);
  layout->addWidget(label);
  layout->setContentsMargins(24, 16, 24, 16);
  window->adjustSize();
  const QWidget* over = parent_ ? parent_->window() : nullptr;
  const QRect area = over ? over->geometry() : QGuiApplication::primaryScreen()->availableGeometry();
  window->move(area.center() - window->rect().center());
  window->show();
  QTimer::singleShot(kNoticeMs, window, &QWidget::close);
}

void QtPort::beep() { QApplication::beep(); }

QString QtPort::browseFolder(const QString& prompt, const QString& start) {
  return QFileDialog::getExistingDirectory(parent_, prompt, start);
}

void QtPort::yield() { QCoreApplication::processEvents(QEventLoop::AllEvents, 50); }

}  // namespace ordolo::gui
