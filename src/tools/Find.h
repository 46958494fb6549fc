// Find: the items of a folder that fall into a range of days, optionally
// narrowed by a text condition on one field, in the order of the kind's sort
// key; recurring appointments resolved into their occurrences. For
// appointments it also sums their hours. Both front ends call it.
#pragma once

#include <QDate>
#include <QString>
#include <QStringList>

#include <functional>
#include <vector>

#include "model/Model.h"

namespace ordolo::tools {

// The range filter ("@1"/"@2" filled in) and sort key of a kind of item.
// Contacts and distribution lists have no filter.
struct FindRange {
  QString filter;
  QString sortKey;
  bool recurrences = false;
};
FindRange RangeFor(int itemClass, const QDate& from, const QDate& to);

// The text condition on one field: the item's value, lower-cased, must
// begin with `starts` and contain `contains` (each only when not empty).
struct FieldCondition {
  QString field;  // a property name or "Body"; empty: no condition
  QString starts, contains;
  bool active() const { return !field.isEmpty() && (!starts.isEmpty() || !contains.isEmpty()); }
  // An occurrence is judged by its series' value; an item without the field
  // fails.
  bool matches(const model::Item& item) const;
};

// The fields offered for the condition: the property names of an item of
// the folder, then "Body".
QStringList FieldList(const model::FolderPtr& folder);
// The name in `fields` that `name` stands for (case ignored); empty when none.
QString FieldNamed(const QStringList& fields, const QString& name);

// What the find dialog keeps per kind (section "Find", the kind's letter
// then "Field", "Start", "Contain"): the position in the field list and
// the two texts.
struct FindValues {
  int field = 0;
  QString start, contain;
  static FindValues load(const QString& kindLetter);
  void save(const QString& kindLetter) const;
};

// The hours of found appointments: minutes of those that are not all-day
// events, and the number of all-day events (eight hours each).
struct HourTotals {
  qint64 minutes = 0;
  int allDay = 0;
  void add(const model::Item& appointment);
  // The counter's text in the current language, lines joined by CR LF.
  QString text() const;
};

struct FindResult {
  std::vector<model::ItemPtr> items;
  HourTotals totals;  // appointments only
  bool stopped = false;
  QString error;        // the filter was not understood
  QStringList notices;  // series cut at the most occurrences a list holds
};

struct FindRequest {
  QDate from, to;  // both invalid: no range (every item)
  FieldCondition condition;
  std::function<void(int done, int total)> progress;
  std::function<bool()> stopRequested;
};

FindResult Find(const model::FolderPtr& folder, const FindRequest& request);

}  // namespace ordolo::tools
