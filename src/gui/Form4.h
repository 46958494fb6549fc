// Form4: one text of the language table, edited in its own small dialog.
#pragma once

#include <QDialog>

class QPlainTextEdit;

namespace ordolo::gui {

class Form4 : public QDialog {
  Q_OBJECT
 public:
  Form4(const QString& key, const QString& description, const QString& text, QWidget* parent);
  QString text() const;

 private:
  QPlainTextEdit* edit_;
};

}  // namespace ordolo::gui
