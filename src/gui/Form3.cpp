#include "gui/Form3.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "lang/LanguageTable.h"
#include "lang/Messages.h"

namespace ordolo::gui {

Form3::Form3(const QStringList& fields, const QString& kindLetter, QWidget* parent)
    : QDialog(parent), kindLetter_(kindLetter) {
  setObjectName(QStringLiteral("Form3"));
  setWindowTitle(lang::GetLangText(QStringLiteral("S32")));
  auto* layout = new QVBoxLayout(this);
  auto* form = new QFormLayout;
  combo1_ = new QComboBox(this);
  combo1_->setObjectName(QStringLiteral("Combo1"));
  combo1_->addItems(fields);
  text1_ = new QLineEdit(this);
  text1_->setObjectName(QStringLiteral("Text1"));
  text2_ = new QLineEdit(this);
  text2_->setObjectName(QStringLiteral("Text2"));
  form->addRow(lang::text(lang::Msg::GuiField), combo1_);
  form->addRow(lang::GetLangText(QStringLiteral("S84")), text1_);
  form->addRow(lang::GetLangText(QStringLiteral("S85")), text2_);
  layout->addLayout(form);
  auto* buttons = new QDialogButtonBox(this);
  QPushButton* find = buttons->addButton(lang::GetLangText(QStringLiteral("S32")), QDialogButtonBox::AcceptRole);
  find->setObjectName(QStringLiteral("Find"));
  find->setDefault(true);
  QPushButton* cancel = buttons->addButton(lang::GetLangText(QStringLiteral("S24")), QDialogButtonBox::RejectRole);
  cancel->setObjectName(QStringLiteral("Cancel"));
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  layout->addWidget(buttons);

  const tools::FindValues kept = tools::FindValues::load(kindLetter_);
  if (kept.field >= 0 && kept.field < combo1_->count()) combo1_->setCurrentIndex(kept.field);
  text1_->setText(kept.start);
  text2_->setText(kept.contain);
  text1_->setFocus();
  setMinimumWidth(420);
}

tools::FieldCondition Form3::condition() const { return {combo1_->currentText(), text1_->text(), text2_->text()}; }

void Form3::accept() {
  tools::FindValues{combo1_->currentIndex(), text1_->text(), text2_->text()}.save(kindLetter_);
  QDialog::accept();
}

}  // namespace ordolo::gui
