// The find dialog: a field of the listed kind and the texts it must begin
// with and contain. Opened by the Find button; Find keeps the values for
// the kind and starts the search, Cancel leaves everything as it was.
#pragma once

#include <QDialog>

#include "tools/Find.h"

class QComboBox;
class QLineEdit;

namespace ordolo::gui {

class Form3 : public QDialog {
  Q_OBJECT
 public:
  // `fields`: what the list offers; `kindLetter`: whose values are shown
  // and kept.
  Form3(const QStringList& fields, const QString& kindLetter, QWidget* parent);
  // The condition chosen (empty texts: none).
  tools::FieldCondition condition() const;

 protected:
  void accept() override;

 private:
  QString kindLetter_;
  QComboBox* combo1_;
  QLineEdit* text1_;
  QLineEdit* text2_;
};

}  // namespace ordolo::gui
