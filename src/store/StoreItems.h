// Items of a file store: calendar components (.ics), vCards (.vcf) and MIME
// messages (.eml, Maildir). Each keeps its parsed source; what a property
// name means for each kind is decided in PropertyMap.cpp only.
#pragma once

#include "model/Model.h"

#include <KCalendarCore/Incidence>
#include <KContacts/Addressee>

#include <QByteArray>
#include <QDateTime>
#include <QHash>

#include <memory>

namespace KMime {
class Message;
}

namespace ordolo::store {

class StoreFolder;

// Where an item comes from: the file, the component inside it, and for an
// occurrence the moment it recurs at. Entry ids are built from it.
struct Locator {
  QString folderPath;  // below the store root
  QString fileName;    // inside the folder; empty for a single-file folder
  QString uid;         // component or card id; "#n" when the source has none
  QString recurrence;  // occurrence start, "yyyyMMddTHHmmss" (UTC), or empty
};

class StoreItem : public model::Item {
 public:
  enum class Kind { Appointment, Task, Note, Journal, Contact, DistList, Mail, Report };

  StoreItem(Kind kind, std::weak_ptr<StoreFolder> folder, QString path, Locator locator);

  int Class() const override;
  Kind kind() const { return kind_; }
  QVariant get(const QString& name) const override;
  QList<model::ItemProperty> ItemProperties() const override;
  model::ObjectPtr Parent() const override;
  QString EntryID() const override;
  bool Delete(QString* error = nullptr) override;
  QString DeletedTo() const override { return deletedTo_; }

  const QString& path() const { return path_; }
  const Locator& locator() const { return locator_; }
  std::shared_ptr<StoreFolder> storeFolder() const { return folder_.lock(); }
  // Whether the folder is one of the store's Sent Items or Drafts folders.
  bool inSentFolder() const;
  bool inDraftsFolder() const;

 protected:
  Kind kind_;
  std::weak_ptr<StoreFolder> folder_;
  QString path_;
  Locator locator_;
  QString deletedTo_;
};

// An event, to-do or journal entry; also one occurrence of a recurring event.
class CalendarItem : public StoreItem {
 public:
  CalendarItem(Kind kind, std::weak_ptr<StoreFolder> folder, QString path, Locator locator,
               KCalendarCore::Incidence::Ptr incidence);

  // The component that holds this item's values (an exception's own one).
  const KCalendarCore::Incidence::Ptr& incidence() const { return incidence_; }
  // Exceptions of a series, by the start they replace.
  void addException(KCalendarCore::Incidence::Ptr exception) { exceptions_.push_back(std::move(exception)); }

  bool isAllDay() const;
  QDateTime start() const;  // local time; all-day: midnight of the first day
  QDateTime end() const;    // local time; all-day: midnight after the last day
  int durationMinutes() const;
  int recurrenceState() const;
  bool isRecurring() const;
  // The user's own attendee entry decides the response of a received meeting.
  QString ownerAddress() const;
  // The component with its exceptions as an iCalendar text of its own.
  QByteArray toICalendar() const;

  model::ObjectPtr Parent() const override;
  model::RecipientList Recipients() const override;
  model::LinkList Links() const override;
  model::AttachmentList Attachments() const override;
  std::optional<model::RecurrencePattern> GetRecurrencePattern() const override;
  std::vector<model::ItemPtr> occurrencesBetween(const QDateTime& from, const QDateTime& to,
                                                 bool* bounded = nullptr) const override;
  QVariant namedProperty(const QString& guid, const QString& id) const override;

 private:
  // A series' exceptions as items, each with the start it replaces.
  std::vector<std::pair<QDateTime, model::ItemPtr>> exceptionItems() const;
  KCalendarCore::Incidence::Ptr incidence_;
  std::vector<KCalendarCore::Incidence::Ptr> exceptions_;
  // Set on occurrences and exceptions: the series and this instance's times.
  std::shared_ptr<const CalendarItem> series_;
  QDateTime occurrenceStart_, occurrenceEnd_;
  bool isException_ = false;
};

// A contact or, for a group card, a distribution list.
class ContactItem : public StoreItem {
 public:
  ContactItem(Kind kind, std::weak_ptr<StoreFolder> folder, QString path, Locator locator,
              KContacts::Addressee addressee, QDateTime fileTime);

  const KContacts::Addressee& addressee() const { return addressee_; }
  QByteArray toVCard() const;
  QDateTime fileTime() const { return fileTime_; }

  model::AttachmentList Attachments() const override;
  int MemberCount() const override;
  std::optional<model::Recipient> GetMember(int index) const override;

 private:
  std::vector<model::Recipient> members() const;
  KContacts::Addressee addressee_;
  QDateTime fileTime_;
};

// A message file. Only the header block is parsed until the body is asked for.
class MailItem : public StoreItem {
 public:
  MailItem(std::weak_ptr<StoreFolder> folder, QString path, Locator locator, QByteArray head, qint64 size,
           QDateTime fileTime, QDateTime deliveryTime, QString maildirFlags);
  // An unsaved draft made by Items::Add.
  MailItem(std::weak_ptr<StoreFolder> folder);
  ~MailItem() override;

  // The parsed header block (always there) and the whole message (parsed on
  // first use; the header block alone when the file cannot be read).
  KMime::Message* head() const;
  KMime::Message* message() const;
  void releaseContent() const override;
  const QByteArray& rawHead() const { return rawHead_; }
  qint64 size() const { return size_; }
  QDateTime fileTime() const { return fileTime_; }
  QDateTime deliveryTime() const { return deliveryTime_; }
  const QString& maildirFlags() const { return flags_; }
  // A message of an mbox file: where its bytes lie in the file.
  void setMboxRange(qint64 start, qint64 length) {
    mboxStart_ = start;
    size_ = length;
  }
  bool inMbox() const { return mboxStart_ >= 0; }
  qint64 mboxStart() const { return mboxStart_; }
  // The whole message as it would stand in a file of its own.
  QByteArray rawBytes(QString* error) const;

  // The time the message arrived; invalid for a message never received.
  QDateTime receivedTime() const;
  QDateTime sentOn() const;
  bool submitted() const;

  model::RecipientList Recipients() const override;
  model::AttachmentList Attachments() const override;
  bool Saved() const override { return saved_; }
  // Reads the whole message when it has not been read yet.
  bool Readable() const override;
  QString UnreadableReason() const override;
  bool Save(QString* error = nullptr) override;
  bool Import(const QString& path, int format, QString* error = nullptr) override;

 private:
  void setContent(const QByteArray& bytes);
  // Remembers and tells (once) why the message cannot be read.
  void unreadable(const QString& why) const;
  QByteArray rawHead_;
  QByteArray rawMessage_;  // set for an unsaved draft
  qint64 size_ = 0;
  qint64 mboxStart_ = -1;
  QDateTime fileTime_, deliveryTime_;
  QString flags_;
  bool saved_ = true;
  mutable std::unique_ptr<KMime::Message> head_;
  mutable std::unique_ptr<KMime::Message> message_;
  mutable QString readError_;
};

// Local time of a calendar value; dates of all-day values become midnight.
QDateTime LocalTime(const QDateTime& value, bool allDay = false);

}  // namespace ordolo::store
