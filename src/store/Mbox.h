// Mail folders kept as one mbox file (Thunderbird, mutt, many others): the
// messages stand one after the other, each begun by a "From " line and ended
// by an empty line; a body line beginning with "From " is written as
// ">From " (and ">From " as ">>From ", ...). The file is only read: never
// written, never locked.
#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <vector>

namespace ordolo::store {

struct MboxMessage {
  qint64 offset = 0;  // of its "From " line: stays while the file grows
  qint64 start = 0;   // of its first header line
  qint64 length = 0;  // of the message, without the empty line that ends it
  QByteArray head;    // the header block, without the empty line after it
  QDateTime delivered;  // from the "From " line; invalid when it has none
  qint64 statusAt = -1;  // where its X-Mozilla-Status value lies, if it has one
};

class MboxIndex {
 public:
  // Indexes the file. When it only grew since the last call, only what is
  // new is read (from the last message on), and the deletion marks of the
  // messages before are looked at again (Thunderbird sets them in place).
  // The last message counts once the file has been left alone for two
  // seconds: until then it may still be being written (mail programs write
  // a message in pieces, empty lines included), and it is left for the next
  // call. Messages their mail program marked deleted but did not remove yet
  // are left out. False and *error when the file cannot be read.
  bool update(const QString& path, QString* error);
  const std::vector<MboxMessage>& messages() const { return messages_; }
  // Whether the last update left a message for the next one.
  bool pending() const { return pending_; }
  // How many bytes the last update read (a full read is the file's size).
  qint64 lastRead() const { return lastRead_; }

 private:
  bool scan(const QString& path, qint64 from, qint64 size, bool quiet, QString* error);
  std::vector<MboxMessage> messages_;
  quint64 inode_ = 0;
  qint64 resumeAt_ = -1;  // the "From " line the next update reads from
  QByteArray probe_;       // the bytes before resumeAt_, to tell growth from change
  qint64 lastRead_ = 0;
  bool pending_ = false;
};

// A message's bytes with the quoting of its "From " lines undone; empty and
// *error set when they cannot be read, or when they no longer begin with
// `head` (the file was rewritten since it was indexed).
QByteArray ReadMboxMessage(const QString& path, qint64 start, qint64 length, const QByteArray& head,
                           QString* error);
// Undoes the quoting: one '>' less before every line that reads ">...>From ".
QByteArray UnquoteFromLines(const QByteArray& bytes);
// Whether a file holds an mbox: it begins with a "From " line; an empty file
// counts when its mail program keeps an index beside it (<name>.msf).
bool LooksLikeMbox(const QString& path);
// The time of a "From sender Www Mmm dd hh:mm:ss yyyy" line.
QDateTime MboxLineTime(const QByteArray& line);

}  // namespace ordolo::store
