#include "template/HtmlInsert.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSaveFile>
#include <QSet>
#include <QUrl>

#include <algorithm>

#include "model/Model.h"
#include "template/AttachmentsAndBody.h"
#include "util/DebugLog.h"
#include "util/Folders.h"

namespace ordolo::tpl {

namespace {

void Debug(const QString& line) {
  if (util::DebugLog::isOn()) util::DebugLog::write(line);
}

// Elements dropped with everything inside them: they run code, load other
// documents, or draw what may load more.
bool DropsContent(const QString& tag) {
  static const QStringList kTags = {"script", "iframe", "object", "applet", "svg", "math", "template", "noembed"};
  return kTags.contains(tag);
}

// Elements dropped on their own, their content (if any) kept.
bool DropsTag(const QString& tag) {
  static const QStringList kTags = {"embed",  "link",  "base",  "meta",  "frame",   "frameset", "input",
                                    "source", "track", "audio", "video", "picture", "image",    "bgsound"};
  return kTags.contains(tag);
}

// CSS with its escapes read ("\\75 rl(" is "url("), so that what is looked
// for below cannot hide behind them.
QString CssUnescaped(const QString& css) {
  if (!css.contains(QLatin1Char('\\'))) return css;
  QString out;
  out.reserve(css.size());
  for (int i = 0; i < css.size(); ++i) {
    if (css[i] != QLatin1Char('\\') || i + 1 >= css.size()) {
      out += css[i];
      continue;
    }
    int j = i + 1;
    uint code = 0;
    while (j < css.size() && j < i + 7 && isxdigit(css[j].toLatin1()) && css[j].unicode() < 128)
      code = code * 16 + uint(QString(css[j++]).toUInt(nullptr, 16));
    if (j > i + 1) {
      if (j < css.size() && css[j].isSpace()) ++j;  // the blank that ends an escape
      if (code == 0 || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) code = 0xFFFD;
      out += QString::fromUcs4(reinterpret_cast<const char32_t*>(&code), 1);
      i = j - 1;
    } else if (css[j] != QLatin1Char('\n')) {
      out += css[j];
      i = j;
    } else {
      i = j;  // an escaped line break continues the line
    }
  }
  return out;
}

QString SafeCss(QString css) {
  static const QRegularExpression kImport(QStringLiteral("@import[^;]*;?"), QRegularExpression::CaseInsensitiveOption);
  static const QRegularExpression kUrl(QStringLiteral("url\\s*\\("), QRegularExpression::CaseInsensitiveOption);
  // The one kind of url() kept: a picture inline.
  static const QRegularExpression kInlinePicture(
      QStringLiteral("^data:image/(png|jpe?g|gif|bmp|webp);base64,[A-Za-z0-9+/=\\s]*$"),
      QRegularExpression::CaseInsensitiveOption);
  // Functions that load a picture from a plain string.
  static const QRegularExpression kImageFunction(
      QStringLiteral("(?<![\\w-])(?:-webkit-)?(?:image-set|image|cross-fade|element)\\s*\\("),
      QRegularExpression::CaseInsensitiveOption);
  static const QRegularExpression kExpression(QStringLiteral("expression\\s*\\("),
                                              QRegularExpression::CaseInsensitiveOption);
  // No backslash is left to start an escape in the importer's reading, and
  // nothing may look like the end of the style element ("</style6" ends it
  // for some parsers, not for others). Both go before anything is looked for.
  css = CssUnescaped(css).remove(QLatin1Char('\\')).remove(QLatin1Char('<'));
  css.remove(kImport);
  // Each url( is read as CSS reads it: a quoted target ends at its quote, an
  // unquoted one at ")"; one never closed runs to the end (and still loads).
  QString out;
  const int n = int(css.size());
  int at = 0;
  for (auto m = kUrl.match(css); m.hasMatch(); m = kUrl.match(css, at)) {
    out += css.mid(at, m.capturedStart() - at);
    int i = int(m.capturedEnd());
    while (i < n && css[i].isSpace()) ++i;
    int targetStart = i;
    int targetEnd = n;
    if (i < n && (css[i] == QLatin1Char('"') || css[i] == QLatin1Char('\''))) {
      const int close = int(css.indexOf(css[i], i + 1));
      targetStart = i + 1;
      targetEnd = close < 0 ? n : close;
      i = close < 0 ? n : close + 1;
    } else {
      const int close = int(css.indexOf(QLatin1Char(')'), i));
      targetEnd = i = close < 0 ? n : close;
    }
    const int paren = int(css.indexOf(QLatin1Char(')'), i));
    at = paren < 0 ? n : paren + 1;
    const QString target = css.mid(targetStart, targetEnd - targetStart).trimmed();
    out += kInlinePicture.match(target).hasMatch() ? QStringLiteral("url(") + target + QLatin1Char(')')
                                                   : QStringLiteral("none");
  }
  out += css.mid(at);
  out.replace(kExpression, QStringLiteral("none("));
  out.replace(kImageFunction, QStringLiteral("none("));
  return out;
}

struct Attribute {
  QString name;   // lower case
  QString value;  // entities left as they are
  bool hasValue = false;
};

// Reads the attributes of a tag from `at` to its ">", quotes respected.
// Returns the position after ">" (or the text's end).
int ReadAttributes(const QString& s, int at, std::vector<Attribute>* attrs, bool* selfClosing) {
  const int n = s.size();
  *selfClosing = false;
  while (at < n) {
    while (at < n && s[at].isSpace()) ++at;
    if (at >= n) break;
    if (s[at] == QLatin1Char('>')) return at + 1;
    if (s[at] == QLatin1Char('/')) {
      *selfClosing = true;
      ++at;
      continue;
    }
    Attribute a;
    const int nameStart = at;
    while (at < n && !s[at].isSpace() && s[at] != QLatin1Char('=') && s[at] != QLatin1Char('>') &&
           !(s[at] == QLatin1Char('/') && at + 1 < n && s[at + 1] == QLatin1Char('>')))
      ++at;
    a.name = s.mid(nameStart, at - nameStart).toLower();
    while (at < n && s[at].isSpace()) ++at;
    if (at < n && s[at] == QLatin1Char('=')) {
      ++at;
      while (at < n && s[at].isSpace()) ++at;
      a.hasValue = true;
      if (at < n && (s[at] == QLatin1Char('"') || s[at] == QLatin1Char('\''))) {
        const QChar quote = s[at++];
        const int end = s.indexOf(quote, at);
        const int stop = end < 0 ? n : end;
        a.value = s.mid(at, stop - at);
        at = end < 0 ? n : end + 1;
      } else {
        const int valueStart = at;
        while (at < n && !s[at].isSpace() && s[at] != QLatin1Char('>')) ++at;
        a.value = s.mid(valueStart, at - valueStart);
      }
    }
    if (!a.name.isEmpty()) attrs->push_back(a);
  }
  return n;
}

QString Decoded(const QString& value) {
  QString v = value.trimmed();
  v.replace(QLatin1String("&amp;"), QLatin1String("&"));
  v.replace(QLatin1String("&#58;"), QLatin1String(":"));
  v.replace(QLatin1String("&colon;"), QLatin1String(":"));
  return v;
}

// The scheme of a URL as a browser reads it: entities decoded, blanks and
// control characters dropped, lower case ("java&#x09;script:" is "javascript").
QString UrlScheme(const QString& value) {
  static const QRegularExpression kEntity(QStringLiteral("&#(x[0-9a-f]+|[0-9]+);?|&(colon|tab|newline);"),
                                          QRegularExpression::CaseInsensitiveOption);
  QString v;
  int at = 0;
  for (auto it = kEntity.globalMatch(value); it.hasNext();) {
    const auto m = it.next();
    v += value.mid(at, m.capturedStart() - at);
    at = m.capturedEnd();
    const QString code = m.captured(1).toLower();
    const QString name = m.captured(2).toLower();
    bool ok = false;
    const uint c = code.startsWith(QLatin1Char('x')) ? code.mid(1).toUInt(&ok, 16) : code.toUInt(&ok, 10);
    if (!name.isEmpty()) v += name == QLatin1String("colon") ? QLatin1Char(':') : QLatin1Char(' ');
    else if (ok && c < 0x110000) v += QString::fromUcs4(reinterpret_cast<const char32_t*>(&c), 1);
  }
  v += value.mid(at);
  QString scheme;
  for (const QChar ch : v) {
    if (ch == QLatin1Char(':')) return scheme.toLower();
    if (ch.isSpace() || ch.category() == QChar::Other_Control) continue;
    scheme += ch;
  }
  return {};
}

bool AllowedPicture(const QString& src, const QStringList& allowedFiles) {
  const QString v = Decoded(src);
  return v.startsWith(QLatin1String("data:image/"), Qt::CaseInsensitive) || allowedFiles.contains(v);
}

QString TagText(const QString& name, const std::vector<Attribute>& attrs, bool selfClosing) {
  QString out = QLatin1Char('<') + name;
  for (const Attribute& a : attrs) {
    out += QLatin1Char(' ') + a.name;
    if (a.hasValue) {
      QString v = a.value;
      v.replace(QLatin1Char('"'), QLatin1String("&quot;"));
      out += QStringLiteral("=\"") + v + QLatin1Char('"');
    }
  }
  return out + (selfClosing ? QStringLiteral(" />") : QStringLiteral(">"));
}

// The position after the element closing `tag` from `at` on, or -1.
int AfterClosing(const QString& s, int at, const QString& tag) {
  const QString closing = QStringLiteral("</") + tag;
  for (int i = s.indexOf(closing, at, Qt::CaseInsensitive); i >= 0;
       i = s.indexOf(closing, i + 1, Qt::CaseInsensitive)) {
    const int after = i + closing.size();
    if (after < s.size() && (s[after].isLetterOrNumber() || s[after] == QLatin1Char('-'))) continue;
    const int end = s.indexOf(QLatin1Char('>'), after);
    return end < 0 ? s.size() : end + 1;
  }
  return -1;
}

}  // namespace

QString SanitizeHtml(const QString& html, const QStringList& allowedFiles) {
  const QString& s = html;
  const int n = s.size();
  QString out;
  out.reserve(n + 128);
  int at = 0;
  int headEnd = -1;  // in out: after the first head start tag
  int bodyAt = -1;   // in out: where the first body start tag begins
  while (at < n) {
    const int lt = s.indexOf(QLatin1Char('<'), at);
    if (lt < 0) {
      out += s.mid(at);
      break;
    }
    out += s.mid(at, lt - at);
    at = lt;
    // Comments (and the conditional comments that hide markup) go.
    if (s.mid(at, 4) == QLatin1String("<!--")) {
      const int end = s.indexOf(QLatin1String("-->"), at + 4);
      at = end < 0 ? n : end + 3;
      continue;
    }
    const bool closing = at + 1 < n && s[at + 1] == QLatin1Char('/');
    int nameStart = at + (closing ? 2 : 1);
    int nameEnd = nameStart;
    while (nameEnd < n &&
           (s[nameEnd].isLetterOrNumber() || s[nameEnd] == QLatin1Char('-') || s[nameEnd] == QLatin1Char(':')))
      ++nameEnd;
    if (nameEnd == nameStart || !s[nameStart].isLetter()) {
      // "<!DOCTYPE", "<?xml", or a lone "<" in text.
      if (nameStart < n && (s[nameStart] == QLatin1Char('!') || s[nameStart] == QLatin1Char('?'))) {
        const int end = s.indexOf(QLatin1Char('>'), at);
        at = end < 0 ? n : end + 1;
      } else {
        out += QStringLiteral("&lt;");
        ++at;
      }
      continue;
    }
    const QString tag = s.mid(nameStart, nameEnd - nameStart).toLower();
    std::vector<Attribute> attrs;
    bool selfClosing = false;
    const int after = ReadAttributes(s, nameEnd, &attrs, &selfClosing);
    at = after;
    // A repeated attribute counts once, the first, as HTML parsers read it.
    QSet<QString> seen;
    attrs.erase(std::remove_if(attrs.begin(), attrs.end(),
                               [&](const Attribute& a) {
                                 const bool repeated = seen.contains(a.name);
                                 seen.insert(a.name);
                                 return repeated;
                               }),
                attrs.end());

    if (DropsContent(tag)) {
      // Without its end tag, everything after the start tag belongs to it.
      if (!closing && !selfClosing) {
        const int end = AfterClosing(s, at, tag);
        at = end >= 0 ? end : n;
      }
      continue;
    }
    if (DropsTag(tag)) continue;
    if (closing) {
      out += QStringLiteral("</") + tag + QLatin1Char('>');
      continue;
    }
    if (tag == QLatin1String("style")) {
      const int end = AfterClosing(s, at, tag);
      const int close = end < 0 ? n : s.lastIndexOf(QLatin1String("</"), end - 1);
      out += QStringLiteral("<style>") + SafeCss(s.mid(at, close - at)) + QStringLiteral("</style>");
      at = end < 0 ? n : end;
      continue;
    }
    if (tag == QLatin1String("img")) {
      QString src, alt;
      for (const Attribute& a : attrs) {
        if (a.name == QLatin1String("src")) src = a.value;
        if (a.name == QLatin1String("alt")) alt = a.value;
      }
      if (!AllowedPicture(src, allowedFiles)) {
        if (!src.isEmpty()) Debug(QStringLiteral("HTML picture left out: ") + src.left(200));
        alt.replace(QLatin1Char('<'), QLatin1String("&lt;"));
        alt.replace(QLatin1Char('>'), QLatin1String("&gt;"));
        out += alt;
        continue;
      }
    }
    std::vector<Attribute> kept;
    for (Attribute a : attrs) {
      const QString& name = a.name;
      // Names only of what names are made of: a quote or "<" in one would be
      // read differently by different parsers.
      static const QRegularExpression kName(QStringLiteral("^[a-z_][a-z0-9_.:-]*$"));
      if (!kName.match(name).hasMatch()) continue;
      if (name.startsWith(QLatin1String("on")) || name == QLatin1String("background") ||
          name == QLatin1String("srcset") || name == QLatin1String("lowsrc") || name == QLatin1String("dynsrc") ||
          name == QLatin1String("longdesc") || name == QLatin1String("formaction") || name == QLatin1String("poster") ||
          name.endsWith(QLatin1String(":href")))
        continue;
      if (name == QLatin1String("src") && tag != QLatin1String("img")) continue;
      if (name == QLatin1String("href") && tag != QLatin1String("a") && tag != QLatin1String("area")) continue;
      if (name == QLatin1String("style")) a.value = SafeCss(a.value);
      // Links stay, but never one that would run script when followed.
      if (name == QLatin1String("href") || name == QLatin1String("action") || name == QLatin1String("data")) {
        const QString scheme = UrlScheme(a.value);
        if (scheme == QLatin1String("javascript") || scheme == QLatin1String("vbscript")) continue;
      }
      kept.push_back(a);
    }
    // Where the character set goes: inside the first head, else before the body.
    if (tag == QLatin1String("body") && bodyAt < 0) bodyAt = int(out.size());
    out += TagText(tag, kept, selfClosing);
    if (tag == QLatin1String("head") && headEnd < 0) headEnd = int(out.size());
  }

  // The text is written as UTF-8 whatever it declared before.
  static const QString kMeta =
      QStringLiteral("<meta http-equiv=\"Content-Type\" content=\"text/html; charset=utf-8\">");
  if (headEnd >= 0) out.insert(headEnd, kMeta);
  else out.insert(std::max(bodyAt, 0), QStringLiteral("<head>") + kMeta + QStringLiteral("</head>"));
  return out;
}

QString LinkInlinePictures(const QString& html, const model::Item& item, const QDateTime& referenceDate,
                           QStringList* linked) {
  QString text = html;
  const QString folder = util::WithSlash(util::DataFolder()) + QStringLiteral("AttachmentsOrdolo/");
  for (const model::Attachment& a : item.Attachments()) {
    const QString id = a.ContentId();
    if (id.isEmpty()) continue;
    const QString dq = QStringLiteral("src=\"cid:") + id + QLatin1Char('"');
    const QString sq = QStringLiteral("src='cid:") + id + QLatin1Char('\'');
    if (!text.contains(dq, Qt::CaseInsensitive) && !text.contains(sq, Qt::CaseInsensitive)) continue;
    const QString saved = SaveAttachment(a, folder, referenceDate);
    if (saved.isEmpty()) continue;
    const QString url = QUrl::fromLocalFile(saved).toString(QUrl::FullyEncoded);
    text.replace(dq, QStringLiteral("src=\"") + url + QLatin1Char('"'), Qt::CaseInsensitive);
    text.replace(sq, QStringLiteral("src=\"") + url + QLatin1Char('"'), Qt::CaseInsensitive);
    if (linked) *linked << url;
  }
  return text;
}

QString PrepareHtml(const QString& html, const model::Item& item, const QDateTime& referenceDate) {
  QString text = html;
  QStringList linked;
  if (text.contains(QLatin1String("<img "), Qt::CaseInsensitive))
    text = LinkInlinePictures(text, item, referenceDate, &linked);
  if (!text.contains(QLatin1String("<body"), Qt::CaseInsensitive))
    text = QStringLiteral("<html><body>") + text + QStringLiteral("</body></html>");
  return SanitizeHtml(text, linked);
}

bool InsertHtmlAtPlaceholder(Target& target, const QString& html, const QString& fileName, const QString& placeholder,
                             const model::Item& item, const QDateTime& referenceDate) {
  if (!target.takesFiles()) return false;

  const QString text = PrepareHtml(html, item, referenceDate);
  const QString path = util::TempFolder() + fileName;
  QFile::remove(path);
  {
    QSaveFile f(path);
    if (!f.open(QIODevice::WriteOnly) || f.write(text.toUtf8()) < 0 || !f.commit()) {
      Debug(QStringLiteral("HTML not written: ") + path + QStringLiteral(": ") + f.errorString());
      return false;
    }
  }
  QString error;
  const bool ok = target.insertFileAt(placeholder, path, &error);
  if (!ok)
    Debug(error.isEmpty() ? QStringLiteral("HTML placeholder not found: ") + placeholder
                          : QStringLiteral("HTML not inserted: ") + error);
  QFile::remove(path);
  return ok;
}

}  // namespace ordolo::tpl
