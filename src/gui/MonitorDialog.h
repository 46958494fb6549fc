// Dialog: what the folder monitor does, and its two options, asked before
// it starts.
#pragma once

#include <QDialog>

#include "monitor/Monitor.h"

class QCheckBox;

namespace ordolo::gui {

class MonitorDialog : public QDialog {
  Q_OBJECT
 public:
  MonitorDialog(const monitor::MonitorOptions& options, QWidget* parent);
  monitor::MonitorOptions options() const;

 private:
  monitor::MonitorOptions options_;
  QCheckBox* check1_;
  QCheckBox* check2_;
};

}  // namespace ordolo::gui
