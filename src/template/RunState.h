// The values of a print run that the renderers and the shared fillers read.
// The print run writes them; a renderer reads them only and tells the run
// what changes through renderers::Reporter.
#pragma once

#include <QDate>
#include <QDateTime>
#include <QString>

#include "template/TemplateKind.h"

namespace ordolo::tpl {

// The values of the run header placeholders "#<User>", "#<Caption>",
// "#<Folder>", "#<SelStart>" and "#<SelEnd>", worked out once per run.
struct RunHeader {
  QString User;
  QString Caption;
  QString Folder;    // the folder's name
  QString SelStart;  // short dates of the searched range; empty without one
  QString SelEnd;
  // The same range as days (null without one): the calendar grid prints
  // its months.
  QDate First;
  QDate Last;
};

struct RunState {
  TemplateKind Kind;
  QString TemplatePath;  // the template file being filled
  RunHeader Header;

  QDateTime LastStartDate;  // start of the day last opened; 1 January 3000 at run start
  QString GroupKey;         // first 8 characters of the sort column; "z#@" at run start
  QString PrevGroupKey;
  bool Grouped = false;  // the list is sorted by a column, so groups apply
  // 0 in report and label mode; otherwise 1 at run start and raised before
  // each item, so the first item sees 2.
  int ItemCounter = 0;

  // The state every run starts with.
  static RunState Initial(const TemplateKind& kind) {
    RunState st;
    st.Kind = kind;
    st.LastStartDate = QDateTime(QDate(3000, 1, 1), QTime(0, 0));
    st.GroupKey = st.PrevGroupKey = QStringLiteral("z#@");
    st.ItemCounter = kind.block() ? 0 : 1;
    return st;
  }
};

}  // namespace ordolo::tpl
