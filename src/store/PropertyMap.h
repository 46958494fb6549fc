// What each property name of the client's items reads from the files: the
// one place where that is decided. docs/property-mapping.md is written from
// the same table (MappingTableMarkdown), and a test keeps the two equal.
#pragma once

#include "model/Model.h"

#include <KCalendarCore/Attendee>

#include <QList>
#include <QString>
#include <QVariant>

#include <vector>

namespace ordolo::store {

class StoreItem;

// The value of one property; invalid when the item's kind has no such property.
QVariant PropertyValue(const StoreItem& item, const QString& name);
// Every property of the item in table order, then its user-defined fields.
QList<model::ItemProperty> PropertyList(const StoreItem& item);

// An attendee's participation as the client's response status.
int ResponseOf(KCalendarCore::Attendee::PartStat status);

struct PropertyDoc {
  QString kinds;  // item kinds that have the property
  QString name;
  int type;
  QString source;
};
std::vector<PropertyDoc> MappingTable();
QString MappingTableMarkdown();

}  // namespace ordolo::store
