// The three file parsers of the store, each taking the bytes of one file.
// They never throw and never crash on bad input (they are fuzzed, and what
// the libraries throw is caught); a file they cannot read gives ok == false
// and a one-line reason.
#pragma once

#include <KCalendarCore/Incidence>
#include <KContacts/Addressee>

#include <QByteArray>
#include <QString>

#include <memory>

namespace KMime {
class Message;
}

namespace ordolo::store {

struct ParsedCalendar {
  bool ok = false;
  QString error;
  KCalendarCore::Incidence::List incidences;  // events, to-dos and journals, in file order
};
ParsedCalendar ParseCalendar(const QByteArray& bytes);

struct ParsedCards {
  bool ok = false;
  QString error;
  KContacts::Addressee::List cards;
};
ParsedCards ParseVCards(const QByteArray& bytes);

// The header block of a message: everything before the first empty line.
QByteArray MessageHead(const QByteArray& bytes);
// Reads a message file up to the end of its header block, not further.
QByteArray ReadMessageHead(const QString& path, QString* error);
// The header block with one fix before the MIME parser sees it: a display
// name that is an address in single quotes ("'a@b.org' <a@b.org>", as some
// mail programs write it) is put in double quotes in the address headers.
// The parser would otherwise take the quoted name for an address of its own
// and read one recipient as two.
QByteArray WithQuotedAddressNames(const QByteArray& head);
// Whether the bytes start with a header line; the one check ParseMessage
// makes before parsing, cheap enough to run on every file of a folder.
bool LooksLikeMessage(const QByteArray& bytes, QString* error = nullptr);
// A parsed message (whole, or just a header block); null when the bytes
// hold no header at all or the parser gives up on them.
std::unique_ptr<KMime::Message> ParseMessage(const QByteArray& bytes, QString* error = nullptr);
// A parsed header block; an empty message, and *error set, when the parser
// gives up on it.
std::unique_ptr<KMime::Message> ParseMessageHead(const QByteArray& head, QString* error);

// Inside a catch block: what the exception being handled says.
QString CurrentExceptionText();

// Files larger than this are not parsed (calendars and cards; messages are
// read header first, so a large attachment costs nothing until it is used).
constexpr qint64 kMaxParsedFileSize = 64 * 1024 * 1024;
// A mail file is read whole for printing, and decoding its parts can take
// a few times its size: beyond this it is not printed (named to the user).
constexpr qint64 kMaxMailFileSize = 512LL * 1024 * 1024;

}  // namespace ordolo::store
