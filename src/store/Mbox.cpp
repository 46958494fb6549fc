#include "store/Mbox.h"

#include "store/Parsers.h"

#include <QFile>
#include <QFileInfo>
#include <QLocale>

#include <sys/stat.h>

#include <cctype>
#include <cstring>

namespace ordolo::store {

namespace {

constexpr qint64 kBlock = 1 << 20;
constexpr int kMaxHead = 1024 * 1024;  // as for a message file of its own
constexpr int kProbe = 64;
// A file changed this recently may still be written to.
constexpr qint64 kQuietMs = 2000;

bool isBlankLine(const char* p, qint64 n) { return n == 0 || (n == 1 && p[0] == '\r'); }

bool startsWithFrom(const char* p, qint64 n) { return n >= 5 && std::memcmp(p, "From ", 5) == 0; }

// A separator line in the usual shape: "From <sender> <asctime date>".
bool datedFromLine(const char* p, qint64 n) {
  int spaces = 0;
  bool clock = false;
  for (qint64 i = 5; i < n && i < 200; ++i) {
    if (p[i] == ' ') ++spaces;
    if (i + 2 < n && p[i] == ':' && std::isdigit(static_cast<unsigned char>(p[i - 1])) &&
        std::isdigit(static_cast<unsigned char>(p[i + 1])) && std::isdigit(static_cast<unsigned char>(p[i + 2])))
      clock = true;
  }
  return clock && spaces >= 4;
}

// Where in the header block the value of X-Mozilla-Status begins; -1 when
// it has none.
int statusValueAt(const QByteArray& head) {
  static const QByteArray name = QByteArrayLiteral("x-mozilla-status:");
  for (int at = 0; at < head.size();) {
    if (head.size() - at > name.size() && qstrnicmp(head.constData() + at, name.constData(), name.size()) == 0) {
      int value = at + name.size();
      while (value < head.size() && (head[value] == ' ' || head[value] == '\t')) ++value;
      return value;
    }
    const int nl = head.indexOf('\n', at);
    if (nl < 0) break;
    at = nl + 1;
  }
  return -1;
}

// X-Mozilla-Status 0x0008: deleted in Thunderbird, not yet compacted away.
bool expungedStatus(const QByteArray& fourHexDigits) {
  bool ok = false;
  const uint flags = fourHexDigits.left(4).toUInt(&ok, 16);
  return ok && (flags & 0x0008);
}

}  // namespace

QDateTime MboxLineTime(const QByteArray& line) {
  // "From sender Mon Jan  1 10:00:00 2024" (asctime); the sender is "-" in Thunderbird's.
  QList<QByteArray> words = line.simplified().split(' ');
  if (words.size() < 7) return {};
  const QString date = QString::fromLatin1(words.mid(2, 5).join(' '));
  QDateTime t = QLocale::c().toDateTime(date, QStringLiteral("ddd MMM d HH:mm:ss yyyy"));
  if (!t.isValid()) t = QLocale::c().toDateTime(date, QStringLiteral("ddd MMM dd HH:mm:ss yyyy"));
  return t;
}

bool MboxIndex::update(const QString& path, QString* error) {
  struct stat st {};
  if (::stat(QFile::encodeName(path).constData(), &st) != 0) {
    if (error) *error = QString::fromLocal8Bit(std::strerror(errno));
    return false;
  }
  const qint64 size = st.st_size;
  const qint64 mtimeMs = qint64(st.st_mtim.tv_sec) * 1000 + st.st_mtim.tv_nsec / 1000000;
  const bool quiet = QDateTime::currentMSecsSinceEpoch() - mtimeMs >= kQuietMs;

  // Grown only: the same file, the bytes before the resume point unchanged.
  qint64 from = 0;
  if (resumeAt_ >= 0 && quint64(st.st_ino) == inode_ && size >= resumeAt_) {
    QFile f(path);
    const qint64 probeAt = qMax<qint64>(0, resumeAt_ - kProbe);
    if (f.open(QIODevice::ReadOnly) && f.seek(probeAt) && f.read(resumeAt_ - probeAt + 5) == probe_) from = resumeAt_;
  }
  // The messages before stay, but for those deleted meanwhile.
  std::vector<MboxMessage> kept;
  if (from > 0) {
    QFile f(path);
    const bool open = f.open(QIODevice::ReadOnly);
    for (MboxMessage& m : messages_) {
      if (m.offset >= from) continue;
      if (open && m.statusAt >= 0 && f.seek(m.statusAt) && expungedStatus(f.read(4))) continue;
      kept.push_back(std::move(m));
    }
  }
  messages_ = std::move(kept);
  inode_ = st.st_ino;
  if (!scan(path, from, size, quiet, error)) {
    resumeAt_ = -1;
    return false;
  }
  return true;
}

bool MboxIndex::scan(const QString& path, qint64 from, qint64 size, bool quiet, QString* error) {
  QFile f(path);
  if (!f.open(QIODevice::ReadOnly) || !f.seek(from)) {
    if (error) *error = f.errorString();
    return false;
  }
  lastRead_ = 0;
  QByteArray buffer(int(kBlock), Qt::Uninitialized);
  qint64 bufferAt = from;  // file offset of buffer[0]
  qint64 filled = 0, pos = 0;
  bool eof = false, continuation = false;

  MboxMessage current;
  bool inMessage = false, inHead = false, headFull = false;
  bool prevBlank = true;
  qint64 blankAt = -1;  // where the last empty line began
  qint64 lastFrom = -1;

  auto finish = [&](qint64 end) {
    current.length = qMax<qint64>(0, end - current.start);
    const int status = statusValueAt(current.head);
    current.statusAt = status < 0 ? -1 : current.start + status;
    if (status < 0 || !expungedStatus(current.head.mid(status, 4))) messages_.push_back(std::move(current));
    current = MboxMessage();
  };

  while (true) {
    const char* data = buffer.constData();
    const char* nl = static_cast<const char*>(std::memchr(data + pos, '\n', size_t(filled - pos)));
    qint64 lineLen;
    bool hasNewline = nl != nullptr;
    if (!hasNewline) {
      if (!eof && (pos > 0 || filled < kBlock)) {
        // Move the partial line to the front and read on.
        const qint64 rest = filled - pos;
        if (pos > 0) std::memmove(buffer.data(), data + pos, size_t(rest));
        bufferAt += pos;
        pos = 0;
        const qint64 want = qMin<qint64>(kBlock - rest, size - (bufferAt + rest));
        const qint64 got = want > 0 ? f.read(buffer.data() + rest, want) : 0;
        if (got < 0) {
          if (error) *error = f.errorString();
          return false;
        }
        lastRead_ += got;
        filled = rest + got;
        if (got == 0) eof = true;
        continue;
      }
      lineLen = filled - pos;
      if (lineLen == 0 && eof) break;
    } else {
      lineLen = nl - (data + pos);
    }
    const char* line = data + pos;
    const qint64 lineAt = bufferAt + pos;
    const bool atStart = !continuation;
    const bool blank = atStart && hasNewline && isBlankLine(line, lineLen);
    // A "From " line with a date, where a message may end; the blank line
    // before it is usual but some writers leave it out. A body line that a
    // writer forgot to quote rarely carries a time of day.
    const bool separator = atStart && startsWithFrom(line, lineLen) && (lineAt == from || datedFromLine(line, lineLen));
    if (separator) {
      if (inMessage) finish(prevBlank && blankAt >= 0 ? blankAt : lineAt);
      current.offset = lineAt;
      current.start = lineAt + lineLen + (hasNewline ? 1 : 0);
      current.delivered = MboxLineTime(QByteArray(line, int(qMin<qint64>(lineLen, 200))));
      inMessage = inHead = true;
      headFull = false;
      lastFrom = lineAt;
    } else if (inMessage && inHead) {
      if (blank) {
        inHead = false;
      } else if (!headFull) {
        const qint64 take = qMin<qint64>(lineLen, kMaxHead - current.head.size());
        current.head.append(line, int(take));
        if (hasNewline) current.head.append('\n');
        headFull = current.head.size() >= kMaxHead;
      }
    } else if (lineAt == 0 && !separator) {
      if (error) *error = QStringLiteral("not an mbox file (it does not begin with a \"From \" line)");
      return false;
    }
    if (!separator) {
      if (blank) blankAt = lineAt;
      prevBlank = blank;
    } else {
      prevBlank = false;
    }
    continuation = !hasNewline;
    pos += lineLen + (hasNewline ? 1 : 0);
    if (!hasNewline && eof) break;
  }

  // The last message: complete once the file has been left alone for a
  // while; else it is read again next time.
  resumeAt_ = lastFrom >= 0 ? lastFrom : from;
  pending_ = inMessage && !quiet;
  if (inMessage && quiet) finish(prevBlank && blankAt >= 0 ? blankAt : size);
  const qint64 probeAt = qMax<qint64>(0, resumeAt_ - kProbe);
  probe_.clear();
  if (f.seek(probeAt)) probe_ = f.read(resumeAt_ - probeAt + 5);
  return true;
}

QByteArray UnquoteFromLines(const QByteArray& bytes) {
  auto quoted = [&bytes](int at) {  // a line at `at` reading ">...>From "
    int i = at;
    while (i < bytes.size() && bytes[i] == '>') ++i;
    return i > at && bytes.size() - i >= 5 && std::memcmp(bytes.constData() + i, "From ", 5) == 0;
  };
  QByteArray out;
  int copied = 0;
  for (int at = 0; at < bytes.size();) {
    if (bytes[at] == '>' && quoted(at)) {
      out.append(bytes.constData() + copied, at - copied);
      copied = at + 1;  // drop this '>'
    }
    const int nl = bytes.indexOf('\n', at);
    if (nl < 0) break;
    at = nl + 1;
  }
  if (copied == 0) return bytes;
  out.append(bytes.constData() + copied, bytes.size() - copied);
  return out;
}

QByteArray ReadMboxMessage(const QString& path, qint64 start, qint64 length, const QByteArray& head,
                           QString* error) {
  if (length > kMaxMailFileSize) {
    if (error) *error = QStringLiteral("larger than %1 MB").arg(kMaxMailFileSize / (1024 * 1024));
    return {};
  }
  QFile f(path);
  if (!f.open(QIODevice::ReadOnly) || !f.seek(start)) {
    if (error) *error = f.errorString();
    return {};
  }
  const QByteArray bytes = f.read(length);
  if (bytes.size() != length) {
    if (error) *error = QStringLiteral("the mbox file changed since it was listed");
    return {};
  }
  // Still the message the list saw there: the file may have been compacted.
  if (!bytes.startsWith(head) || !LooksLikeMessage(bytes)) {
    if (error) *error = QStringLiteral("the mbox file changed since it was listed");
    return {};
  }
  return UnquoteFromLines(bytes);
}

bool LooksLikeMbox(const QString& path) {
  QFile f(path);
  if (!f.open(QIODevice::ReadOnly)) return false;
  if (f.size() == 0) return QFileInfo::exists(path + QStringLiteral(".msf"));
  return f.read(5) == "From ";
}

}  // namespace ordolo::store
