#include "store/Parsers.h"

#include "util/TextFile.h"

#include <KCalendarCore/ICalFormat>
#include <KCalendarCore/MemoryCalendar>
#include <KContacts/Picture>
#include <KContacts/VCardConverter>
#include <KMime/Message>

#include <QCryptographicHash>
#include <QFile>
#include <QHash>
#include <QTimeZone>

#include <algorithm>
#include <climits>
#include <exception>
#include <vector>

namespace ordolo::store {
namespace {

// Calendars and cards must be UTF-8 for the libraries; other bytes are
// decoded the way every text file of Ordolo is (BOM, UTF-16, Windows-1252).
QByteArray asUtf8(const QByteArray& bytes) {
  if (util::isValidUtf8(bytes) && !bytes.startsWith("\xEF\xBB\xBF")) return bytes;
  return util::decodeText(bytes).toUtf8();
}

int countLines(const QByteArray& text, const char* line) {
  int n = 0;
  const QByteArray needle(line);
  for (int at = text.indexOf(needle); at >= 0; at = text.indexOf(needle, at + needle.size())) {
    if (at == 0 || text[at - 1] == '\n') ++n;
  }
  return n;
}

QByteArray upper(const QByteArray& b) { return b.toUpper(); }

bool isKnownZone(const QByteArray& id) {
  static QHash<QByteArray, bool> known;
  auto it = known.constFind(id);
  if (it == known.constEnd()) it = known.insert(id, QTimeZone::isTimeZoneIdAvailable(id));
  return *it;
}

// Drops the VTIMEZONE blocks of zones the system knows by the same name: the
// library then takes the system's definition, and turning a VTIMEZONE into a
// zone of its own costs more than the rest of a one-event file. Blocks of
// other names (as some exporters write them) stay and are used.
QByteArray withoutKnownZones(const QByteArray& text) {
  QByteArray out;
  int copied = 0;
  for (int at = text.indexOf("BEGIN:VTIMEZONE"); at >= 0; at = text.indexOf("BEGIN:VTIMEZONE", at + 1)) {
    if (at > 0 && text[at - 1] != '\n') continue;
    const int end = text.indexOf("END:VTIMEZONE", at);
    if (end < 0) break;
    const int tzid = text.indexOf("\nTZID:", at);
    if (tzid < 0 || tzid > end) continue;
    const int tzidEnd = text.indexOf('\n', tzid + 1);
    if (tzidEnd < 0 || text[tzidEnd + 1] == ' ' || text[tzidEnd + 1] == '\t') continue;  // folded: keep
    if (!isKnownZone(text.mid(tzid + 6, tzidEnd - tzid - 6).trimmed())) continue;
    const int lineEnd = text.indexOf('\n', end);
    const int after = lineEnd < 0 ? text.size() : lineEnd + 1;
    out += text.mid(copied, at - copied);
    copied = after;
    at = after - 1;
  }
  if (copied == 0) return text;
  out += text.mid(copied);
  return out;
}

bool startsWithNoCase(const char* at, const char* end, const char* word) {
  const qsizetype n = qstrlen(word);
  return end - at >= n && qstrnicmp(at, word, n) == 0;
}

// Gives every event, task, journal and free/busy block without a UID one made
// from its own text. Without it the calendar library makes one itself from
// its properties as strings it has already handed back to its scratch ring:
// with many properties, or a REQUEST-STATUS with a third part, it reads
// freed memory, and the UID (so the entry id) can change from read to read.
QByteArray withUids(const QByteArray& text) {
  struct Open {
    qsizetype begin;     // start of the BEGIN line
    qsizetype body;      // just after it
    bool needsUid;       // a component that carries a UID
    bool hasUid = false;
  };
  std::vector<Open> stack;
  std::vector<std::pair<qsizetype, QByteArray>> inserts;  // position, line
  const char* data = text.constData();
  const qsizetype size = text.size();
  for (qsizetype at = 0; at < size;) {
    const char* nl = static_cast<const char*>(memchr(data + at, '\n', size - at));
    const qsizetype next = nl ? nl - data + 1 : size;
    const char* line = data + at;
    const char* end = data + next;
    if (startsWithNoCase(line, end, "BEGIN:")) {
      QByteArray name = QByteArray(line + 6, end - line - 6).trimmed().toUpper();
      const bool carries = name == "VEVENT" || name == "VTODO" || name == "VJOURNAL" || name == "VFREEBUSY";
      stack.push_back({at, next, carries});
    } else if (startsWithNoCase(line, end, "END:")) {
      if (!stack.empty()) {
        const Open open = stack.back();
        stack.pop_back();
        if (open.needsUid && !open.hasUid) {
          const QByteArray hash = QCryptographicHash::hash(text.mid(open.begin, next - open.begin),
                                                           QCryptographicHash::Sha1).toHex();
          const bool crlf = open.body >= 2 && data[open.body - 2] == '\r';
          inserts.emplace_back(open.body, "UID:ordolo-" + hash + (crlf ? "\r\n" : "\n"));
        }
      }
    } else if (!stack.empty() && (startsWithNoCase(line, end, "UID:") || startsWithNoCase(line, end, "UID;"))) {
      stack.back().hasUid = true;
    }
    at = next;
  }
  if (inserts.empty()) return text;
  std::sort(inserts.begin(), inserts.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  QByteArray out;
  out.reserve(size + qsizetype(inserts.size()) * 60);
  qsizetype copied = 0;
  for (const auto& [pos, uidLine] : inserts) {
    out.append(data + copied, pos - copied);
    out += uidLine;
    copied = pos;
  }
  out.append(data + copied, size - copied);
  return out;
}

}  // namespace

ParsedCalendar ParseCalendar(const QByteArray& bytes) {
  ParsedCalendar out;
  if (bytes.trimmed().isEmpty()) {
    out.error = QStringLiteral("empty file");
    return out;
  }
  const QByteArray text = withUids(asUtf8(bytes));
  const QByteArray up = upper(text);
  if (countLines(up, "BEGIN:VCALENDAR") == 0) {
    out.error = QStringLiteral("not an iCalendar file");
    return out;
  }
  // libical accepts a cut-off file and keeps what it got; a component that
  // never ends is a damaged file, so it is refused as a whole.
  if (countLines(up, "BEGIN:") != countLines(up, "END:")) {
    out.error = QStringLiteral("truncated (a BEGIN without END)");
    return out;
  }
  auto calendar = KCalendarCore::MemoryCalendar::Ptr(new KCalendarCore::MemoryCalendar(QTimeZone::systemTimeZone()));
  KCalendarCore::ICalFormat format;
  try {
    if (!format.fromRawString(calendar, withoutKnownZones(text))) {
      out.error = QStringLiteral("not valid iCalendar");
      return out;
    }
  } catch (...) {
    out.error = QStringLiteral("the calendar reader gave up: ") + CurrentExceptionText();
    return out;
  }
  // The calendar keeps its components in a hash; put them back in file order,
  // found in one pass over the UID lines.
  QHash<QByteArray, int> firstUidLine;
  for (int at = 0; at >= 0 && at < text.size();) {
    const int end = text.indexOf('\n', at);
    const int stop = end < 0 ? text.size() : end;
    if (stop - at > 4 && qstrnicmp(text.constData() + at, "UID:", 4) == 0) {
      const QByteArray uid = text.mid(at + 4, stop - at - 4).trimmed();
      if (!firstUidLine.contains(uid)) firstUidLine.insert(uid, at);
    }
    at = end < 0 ? -1 : end + 1;
  }
  std::vector<std::pair<int, KCalendarCore::Incidence::Ptr>> ordered;
  for (const auto& i : calendar->rawIncidences()) {
    int at = firstUidLine.value(i->uid().toUtf8(), INT_MAX - 1);
    if (i->hasRecurrenceId()) at += 1;  // a series before its exceptions
    ordered.emplace_back(at, i);
  }
  std::stable_sort(ordered.begin(), ordered.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  for (const auto& [at, i] : ordered) out.incidences.push_back(i);
  out.ok = true;
  return out;
}

// The photos the vCard reader leaves out: a vCard 4.0 PHOTO given as a
// "data:" URI ("data:image/jpeg;base64,..."). One entry per card of the
// text, in order; empty where a card has none.
std::vector<std::pair<QByteArray, QString>> dataUriPhotos(const QByteArray& text) {
  std::vector<std::pair<QByteArray, QString>> out;
  QByteArray unfolded = text;
  unfolded.replace("\r\n", "\n");
  unfolded.replace("\n ", "").replace("\n\t", "");
  for (const QByteArray& raw : unfolded.split('\n')) {
    const QByteArray line = raw.trimmed();
    if (line.compare("BEGIN:VCARD", Qt::CaseInsensitive) == 0) out.emplace_back();
    if (out.empty()) continue;
    const int colon = line.indexOf(':');
    if (colon < 0) continue;
    QByteArray name = line.left(colon).toUpper();
    name = name.mid(name.lastIndexOf('.') + 1);  // a group prefix ("item1.")
    if (!name.startsWith("PHOTO") || (name.size() > 5 && name[5] != ';')) continue;
    const QByteArray value = line.mid(colon + 1);
    const int comma = value.indexOf(',');
    if (!value.startsWith("data:") || comma < 0) continue;
    const QByteArray head = value.mid(5, comma - 5);  // "image/jpeg;base64"
    if (!head.endsWith(";base64")) continue;
    const QByteArray mime = head.left(head.indexOf(';'));
    out.back() = {QByteArray::fromBase64(value.mid(comma + 1)), QString::fromLatin1(mime.mid(mime.indexOf('/') + 1))};
  }
  return out;
}

ParsedCards ParseVCards(const QByteArray& bytes) {
  ParsedCards out;
  if (bytes.trimmed().isEmpty()) {
    out.error = QStringLiteral("empty file");
    return out;
  }
  const QByteArray text = asUtf8(bytes);
  const QByteArray up = upper(text);
  const int begins = countLines(up, "BEGIN:VCARD");
  if (begins == 0) {
    out.error = QStringLiteral("not a vCard file");
    return out;
  }
  if (begins != countLines(up, "END:VCARD")) {
    out.error = QStringLiteral("truncated (a card without END:VCARD)");
    return out;
  }
  KContacts::VCardConverter converter;
  try {
    out.cards = converter.parseVCards(text);
  } catch (...) {
    out.error = QStringLiteral("the vCard reader gave up: ") + CurrentExceptionText();
    out.cards.clear();
    return out;
  }
  if (out.cards.isEmpty()) {
    out.error = QStringLiteral("no card could be read");
    return out;
  }
  if (up.contains("DATA:IMAGE/")) {
    const auto photos = dataUriPhotos(text);
    if (photos.size() == size_t(out.cards.size()))
      for (int i = 0; i < out.cards.size(); ++i)
        if (out.cards[i].photo().isEmpty() && !photos[size_t(i)].first.isEmpty()) {
          KContacts::Picture picture;
          picture.setRawData(photos[size_t(i)].first, photos[size_t(i)].second);
          out.cards[i].setPhoto(picture);
        }
  }
  out.ok = true;
  return out;
}

QByteArray MessageHead(const QByteArray& bytes) {
  for (int i = 0; i < bytes.size(); ++i) {
    if (bytes[i] != '\n') continue;
    if (i + 1 < bytes.size() && bytes[i + 1] == '\n') return bytes.left(i + 1);
    if (i + 2 < bytes.size() && bytes[i + 1] == '\r' && bytes[i + 2] == '\n') return bytes.left(i + 1);
  }
  return bytes;
}

QByteArray ReadMessageHead(const QString& path, QString* error) {
  QFile f(path);
  if (!f.open(QIODevice::ReadOnly)) {
    if (error) *error = f.errorString();
    return {};
  }
  QByteArray head;
  // Headers are small; stop at the empty line, or after 1 MB of header.
  while (!f.atEnd() && head.size() < 1024 * 1024) {
    const QByteArray line = f.readLine(64 * 1024);
    if (line.isEmpty()) break;
    if (line == "\n" || line == "\r\n") break;
    head += line;
  }
  return head;
}

namespace {

bool isAddressHeader(const QByteArray& name) {
  static const char* const kNames[] = {"from",      "sender",    "reply-to",    "to",
                                       "cc",        "bcc",       "resent-from", "resent-sender",
                                       "resent-to", "resent-cc", "resent-bcc",  "mail-followup-to"};
  const QByteArray n = name.trimmed().toLower();
  return std::any_of(std::begin(kNames), std::end(kNames), [&n](const char* k) { return n == k; });
}

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// Ends a bare word of an address list.
bool endsWord(char c) {
  return isBlank(c) || c == '"' || c == '<' || c == '>' || c == ',' || c == ';' || c == ':' || c == '(' || c == ')';
}

// One address header's value with every entry's leading 'x@y' word that an
// <address> follows put in double quotes. Quoted strings, comments and
// angle brackets are passed over as they are.
QByteArray quoteAddressNames(const QByteArray& value) {
  QByteArray out;
  out.reserve(value.size() + 8);
  bool entryStart = true, quoted = false, angle = false;
  int comment = 0;
  for (int i = 0; i < value.size();) {
    const char c = value[i];
    if (entryStart && !isBlank(c)) {
      entryStart = false;
      if (c == '\'') {
        int end = i + 1;
        while (end < value.size() && !endsWord(value[end])) ++end;
        int next = end;
        while (next < value.size() && isBlank(value[next])) ++next;
        const QByteArray word = value.mid(i, end - i);
        if (word.size() >= 3 && word.endsWith('\'') && word.contains('@') && next < value.size() &&
            value[next] == '<') {
          out += '"' + word + '"';
          i = end;
          continue;
        }
      }
    }
    if ((quoted || comment) && c == '\\' && i + 1 < value.size()) {
      out += value.mid(i, 2);
      i += 2;
      continue;
    }
    if (quoted) {
      quoted = c != '"';
    } else if (comment) {
      comment += c == '(' ? 1 : c == ')' ? -1 : 0;
    } else if (angle) {
      angle = c != '>';
    } else if (c == '"') {
      quoted = true;
    } else if (c == '(') {
      comment = 1;
    } else if (c == '<') {
      angle = true;
    } else if (c == ',' || c == ';' || c == ':') {
      entryStart = true;
    }
    out += c;
    ++i;
  }
  return out;
}

}  // namespace

QByteArray WithQuotedAddressNames(const QByteArray& head) {
  if (!head.contains('\'')) return head;
  QByteArray out;
  out.reserve(head.size() + 16);
  for (int at = 0; at < head.size();) {
    // One field: its line and the folded lines after it.
    int end = at;
    do {
      const int lineEnd = head.indexOf('\n', end);
      end = lineEnd < 0 ? head.size() : lineEnd + 1;
    } while (end < head.size() && (head[end] == ' ' || head[end] == '\t'));
    const QByteArray field = head.mid(at, end - at);
    const int colon = field.indexOf(':');
    if (colon > 0 && field.indexOf('\'', colon) > 0 && isAddressHeader(field.left(colon)))
      out += field.left(colon + 1) + quoteAddressNames(field.mid(colon + 1));
    else out += field;
    at = end;
  }
  return out;
}

bool LooksLikeMessage(const QByteArray& bytes, QString* error) {
  const QByteArray head = MessageHead(bytes);
  // A message must start with a header line "Name: value" (or "From " of mbox).
  const int colon = head.indexOf(':');
  const int firstBreak = head.indexOf('\n');
  if (head.trimmed().isEmpty() || colon <= 0 || (firstBreak >= 0 && colon > firstBreak)) {
    if (error) *error = QStringLiteral("no message header");
    return false;
  }
  for (int i = 0; i < colon; ++i) {
    const char c = head[i];
    if (c <= 32 || c >= 127) {
      if (error) *error = QStringLiteral("no message header");
      return false;
    }
  }
  return true;
}

std::unique_ptr<KMime::Message> ParseMessage(const QByteArray& bytes, QString* error) {
  if (!LooksLikeMessage(bytes, error)) return nullptr;
  auto message = std::make_unique<KMime::Message>();
  // The parser throws on some bodies: std::bad_alloc for a yEnc part that
  // declares a size no buffer can have, for one.
  try {
    message->setContent(KMime::CRLFtoLF(bytes));
    message->parse();
  } catch (...) {
    if (error) *error = QStringLiteral("the MIME parser gave up: ") + CurrentExceptionText();
    return nullptr;
  }
  return message;
}

std::unique_ptr<KMime::Message> ParseMessageHead(const QByteArray& head, QString* error) {
  auto message = std::make_unique<KMime::Message>();
  try {
    message->setHead(KMime::CRLFtoLF(head));
    message->parse();
  } catch (...) {
    if (error) *error = QStringLiteral("the MIME parser gave up: ") + CurrentExceptionText();
    message = std::make_unique<KMime::Message>();
  }
  return message;
}

QString CurrentExceptionText() {
  try {
    throw;
  } catch (const std::exception& e) {
    return QString::fromLocal8Bit(e.what());
  } catch (...) {
    return QStringLiteral("an exception of unknown type");
  }
}

}  // namespace ordolo::store
