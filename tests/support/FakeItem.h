// An item held in memory for tests: a class number, an ordered property
// list, and optionally a parent (a folder, or the series of an occurrence),
// recipients, links and attachments.
//
//   auto mail = FakeItem::make(model::olMail);
//   mail->set("Subject", "Budget").set("Sensitivity", 2, model::olNumber);
//   mail->recipients.push_back({"Anna", "anna@example.org", model::olTo});
#pragma once

#include "model/Model.h"

#include <memory>

namespace ordolo::test {

class FakeItem : public model::Item {
 public:
  explicit FakeItem(int cls = model::olAppointment) : cls_(cls) {}
  static std::shared_ptr<FakeItem> make(int cls = model::olAppointment) { return std::make_shared<FakeItem>(cls); }

  // Sets a property (replacing one of the same name, case-insensitive) and
  // keeps the order in which properties were first set. An invalid value
  // stands for a property that cannot be read.
  FakeItem& set(const QString& name, const QVariant& value, int type = model::olText) {
    for (model::ItemProperty& p : properties) {
      if (p.Name.compare(name, Qt::CaseInsensitive) == 0) {
        p.Value = value;
        p.Type = type;
        return *this;
      }
    }
    properties.append(model::ItemProperty{name, type, value});
    return *this;
  }

  int Class() const override { return cls_; }
  QVariant get(const QString& name) const override {
    for (const model::ItemProperty& p : properties)
      if (p.Name.compare(name, Qt::CaseInsensitive) == 0) return p.Value;
    return {};
  }
  QList<model::ItemProperty> ItemProperties() const override { return properties; }
  model::ObjectPtr Parent() const override { return parent; }
  QString EntryID() const override { return entryId; }
  model::AttachmentList Attachments() const override { return attachments; }
  model::RecipientList Recipients() const override { return recipients; }
  model::LinkList Links() const override { return links; }
  bool Saved() const override { return saved; }

  QList<model::ItemProperty> properties;
  model::ObjectPtr parent;
  QString entryId;
  model::AttachmentList attachments;
  model::RecipientList recipients;
  model::LinkList links;
  bool saved = true;

 private:
  int cls_;
};

}  // namespace ordolo::test
