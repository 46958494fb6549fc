#include "gui/MonitorDialog.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "lang/Messages.h"

namespace ordolo::gui {

using lang::Msg;

MonitorDialog::MonitorDialog(const monitor::MonitorOptions& options, QWidget* parent)
    : QDialog(parent), options_(options) {
  setObjectName(QStringLiteral("Dialog"));
  setWindowTitle(lang::text(Msg::MonButton));
  auto* layout = new QVBoxLayout(this);
  auto* label = new QLabel(lang::text(Msg::MonLabel1).replace(QLatin1String("\r\n"), QLatin1String("\n")), this);
  label->setObjectName(QStringLiteral("Label1"));
  label->setWordWrap(true);
  layout->addWidget(label);
  check1_ = new QCheckBox(lang::text(Msg::MonCheck1), this);
  check1_->setObjectName(QStringLiteral("Check1"));
  check1_->setToolTip(lang::text(Msg::MonCheck1Tip));
  check1_->setChecked(options.printAll);
  check2_ = new QCheckBox(lang::text(Msg::MonCheck2), this);
  check2_->setObjectName(QStringLiteral("Check2"));
  check2_->setChecked(options.printMin);
  layout->addWidget(check1_);
  layout->addWidget(check2_);
  auto* buttons = new QDialogButtonBox(this);
  QPushButton* ok = buttons->addButton(lang::text(Msg::MonOk), QDialogButtonBox::AcceptRole);
  ok->setObjectName(QStringLiteral("OKButton"));
  ok->setDefault(true);
  QPushButton* cancel = buttons->addButton(lang::text(Msg::MonCancel), QDialogButtonBox::RejectRole);
  cancel->setObjectName(QStringLiteral("CancelButton"));
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  layout->addWidget(buttons);
  setMinimumWidth(640);
}

monitor::MonitorOptions MonitorDialog::options() const {
  monitor::MonitorOptions o = options_;
  o.printAll = check1_->isChecked();
  o.printMin = check2_->isChecked();
  return o;
}

}  // namespace ordolo::gui
