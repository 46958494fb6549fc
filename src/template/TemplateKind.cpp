#include "template/TemplateKind.h"

#include <QFileInfo>

namespace ordolo::tpl {

bool TemplateKind::IsExcelName(const QString& fileName) {
  return fileName.right(5).contains(QLatin1String(".xl"), Qt::CaseInsensitive);
}

TemplateKind TemplateKind::fromFileName(const QString& path) {
  const QString name = QFileInfo(path).fileName();
  TemplateKind k;
  k.word = !IsExcelName(name);
  if (!k.word) k.layout = Layout::Sheet;
  else if (name.contains(QLatin1String("Calendar"))) k.layout = Layout::CalendarGrid;
  else if (name.contains(QLatin1String("Label"))) k.layout = Layout::Label;
  else if (name.contains(QLatin1String("Report"))) k.layout = Layout::Report;
  else if (name.contains(QLatin1String("Table"))) k.layout = Layout::Table;
  k.breakSwitch = name.contains(QLatin1String("break"), Qt::CaseInsensitive);
  k.pageBreak = name.contains(QLatin1String("pagebreak"), Qt::CaseInsensitive);
  k.allDay = name.contains(QLatin1String("allday"), Qt::CaseInsensitive);
  return k;
}

}  // namespace ordolo::tpl
