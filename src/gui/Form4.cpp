#include "gui/Form4.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "lang/LanguageTable.h"
#include "lang/Messages.h"

namespace ordolo::gui {

Form4::Form4(const QString& key, const QString& description, const QString& text, QWidget* parent) : QDialog(parent) {
  setObjectName(QStringLiteral("Form4"));
  setWindowTitle(lang::GetLangText(QStringLiteral("S26")));
  auto* layout = new QVBoxLayout(this);
  auto* form = new QFormLayout;
  auto* keyLabel = new QLabel(key, this);
  keyLabel->setObjectName(QStringLiteral("key"));
  form->addRow(lang::text(lang::Msg::GuiKey), keyLabel);
  form->addRow(lang::GetLangText(QStringLiteral("S57")), new QLabel(description, this));
  layout->addLayout(form);
  edit_ = new QPlainTextEdit(text, this);
  edit_->setObjectName(QStringLiteral("text"));
  edit_->setTabChangesFocus(true);
  layout->addWidget(edit_);
  auto* buttons = new QDialogButtonBox(this);
  QPushButton* save = buttons->addButton(lang::GetLangText(QStringLiteral("S27")), QDialogButtonBox::AcceptRole);
  save->setObjectName(QStringLiteral("save"));
  save->setDefault(true);
  QPushButton* cancel = buttons->addButton(lang::GetLangText(QStringLiteral("S24")), QDialogButtonBox::RejectRole);
  cancel->setObjectName(QStringLiteral("cancel"));
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  layout->addWidget(buttons);
  resize(520, 220);
  // Over the dialog it was opened from.
  if (parent) move(parent->window()->geometry().center() - rect().center());
}

QString Form4::text() const { return edit_->toPlainText(); }

}  // namespace ordolo::gui
