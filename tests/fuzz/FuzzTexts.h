// The readers of short texts from outside: INI files, the language file, a
// Restrict filter, a find pattern with its replacement, a mail's HTML body.
// Each touch returns ok=false with a reason only where the reader refuses;
// a broken promise of the reader stops the fuzzer (__builtin_trap).
// Shared by the libFuzzer targets and the corpus replay test.
#pragma once

#include "fuzz/FuzzTouches.h"
#include "lang/LanguageTable.h"
#include "model/Filter.h"
#include "office/word/Pattern.h"
#include "template/HtmlInsert.h"
#include "util/Ini.h"

#include <QRegularExpression>

#include <algorithm>
#include <cstdio>

namespace ordolo::fuzz {

inline QString textOf(const QByteArray& bytes) { return QString::fromUtf8(bytes); }

// Any text as an INI file: every key of every section read; a value set is
// read back as set; the written text reads back to the same document.
inline Outcome touchIni(ScratchStore&, const QByteArray& bytes) {
  util::IniDocument ini = util::IniDocument::fromText(textOf(bytes));
  const QStringList sections = ini.sections();
  for (const QString& section : sections)
    for (const char* key : {"Drucker", "Language", "S1", "Text1"})
      use(ini.read(section, QLatin1String(key), {}).size());
  ini.setValue(QStringLiteral("Fuzz"), QStringLiteral("Key"), QStringLiteral("set value"));
  if (ini.value(QStringLiteral("Fuzz"), QStringLiteral("Key")) != QStringLiteral("set value")) __builtin_trap();
  const QString text = ini.toText();
  if (util::IniDocument::fromText(text).toText() != text) __builtin_trap();
  return Outcome{true, {}, int(sections.size())};
}

// Any text as the user's language file: loaded, saved, and the saved text
// loads to a table that saves the same text again.
inline Outcome touchLanguage(ScratchStore&, const QByteArray& bytes) {
  lang::LanguageTable table;
  table.load(util::IniDocument::fromText(textOf(bytes)));
  for (const char* key : {"S1", "S26", "S52", "Text20"}) use(table.GetLangText(QLatin1String(key)).size());
  const QString saved = table.saveText();
  lang::LanguageTable again;
  again.load(util::IniDocument::fromText(saved));
  if (again.saveText() != saved) __builtin_trap();
  return Outcome{true, {}, int(table.rows().size())};
}

// Items of each kind to hold filters against, made once from fixed files.
inline const std::vector<model::ItemPtr>& filterSamples(ScratchStore& scratch) {
  static std::vector<model::ItemPtr> items;
  static std::vector<std::shared_ptr<store::FileStore>> stores;
  if (!items.empty()) return items;
  const std::pair<ScratchStore::Kind, const char*> files[] = {
      {ScratchStore::Calendar,
       "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nBEGIN:VEVENT\r\nUID:a\r\nDTSTART:20260301T090000Z\r\n"
       "DTEND:20260301T100000Z\r\nSUMMARY:Meeting\r\nCATEGORIES:Blue\r\nRRULE:FREQ=DAILY;COUNT=3\r\n"
       "END:VEVENT\r\nBEGIN:VTODO\r\nUID:t\r\nSUMMARY:Task\r\nDUE:20260305T120000Z\r\nEND:VTODO\r\n"
       "END:VCALENDAR\r\n"},
      {ScratchStore::Contacts,
       "BEGIN:VCARD\r\nVERSION:3.0\r\nFN:Ann Lee\r\nN:Lee;Ann;;;\r\nEMAIL:ann@example.org\r\n"
       "BDAY:1980-02-29\r\nEND:VCARD\r\n"},
      {ScratchStore::Inbox,
       "From: Bob <bob@example.org>\r\nTo: ann@example.org\r\nSubject: Hello\r\n"
       "Date: Sun, 01 Mar 2026 09:00:00 +0100\r\n\r\nbody\r\n"},
  };
  for (const auto& [kind, text] : files) {
    std::shared_ptr<store::FileStore> fileStore;
    for (const model::ItemPtr& item : scratch.itemsOf(kind, QByteArray(text), &fileStore)) items.push_back(item);
    stores.push_back(fileStore);
  }
  return items;
}

// Any text as a Restrict filter: refused with a reason, or held against an
// item of every kind, its date window and its check included.
inline Outcome touchFilter(ScratchStore& scratch, const QByteArray& bytes) {
  QString error;
  const auto filter = model::Filter::parse(textOf(bytes), &error);
  if (!filter) return Outcome{false, error, 0};
  const model::Filter::Window window = filter->window();
  use(window.from.isValid() + window.to.isValid());
  for (const model::ItemPtr& item : filterSamples(scratch)) {
    use(filter->check(*item).size());
    use(filter->matches(*item));
  }
  return Outcome{true, {}, 1};
}

// Find text, replacement and searched text, separated by NUL bytes; the
// first byte chooses wildcards and case. A match lies inside the text, its
// groups inside the match; a pattern the engine refuses says why.
inline Outcome touchPattern(ScratchStore&, const QByteArray& bytes) {
  if (bytes.isEmpty()) return Outcome{true, {}, 0};
  const bool wildcards = bytes[0] & 1;
  const bool matchCase = bytes[0] & 2;
  const QList<QByteArray> parts = bytes.mid(1).split('\0');
  const QString find = textOf(parts.value(0));
  const QString replacement = textOf(parts.value(1));
  const office::word::StringSource text(textOf(parts.value(2)));
  QString error;
  const office::word::Pattern pattern = office::word::Pattern::compile(find, wildcards, matchCase, &error);
  if (!pattern.valid()) return Outcome{false, error.isEmpty() ? QString() : error, 0};
  if (pattern.empty()) return Outcome{true, {}, 1};
  int found = 0;
  for (int from = 0; from < text.size() && found < 8;) {
    const auto m = pattern.search(text, from, text.size(), &error);
    if (!m) break;
    if (m->start < from || m->end < m->start || m->end > text.size()) __builtin_trap();
    for (const auto& [start, end] : m->groups)
      if (start != -1 && (start < m->start || end < start || end > m->end)) __builtin_trap();
    use(office::word::ExpandReplacement(replacement, wildcards, text, *m).size());
    ++found;
    from = m->end > m->start ? m->end : m->start + 1;
  }
  use(found);
  return Outcome{true, {}, 1};
}

// Whether a URL runs script when followed: its scheme, read past character
// references, blanks and control characters, is javascript or vbscript.
inline bool scriptScheme(const QString& url) {
  static const QRegularExpression reference(QStringLiteral("^&(?:#x([0-9a-f]+)|#([0-9]+)|(colon|tab|newline));?"),
                                            QRegularExpression::CaseInsensitiveOption);
  QString scheme;
  bool colon = false;
  for (int i = 0; i < url.size() && !colon;) {
    uint c = url[i].unicode();
    int length = 1;
    if (c == '&') {
      const auto m = reference.match(url.mid(i, 32));
      if (m.hasMatch()) {
        length = int(m.capturedLength());
        if (m.capturedLength(1) > 0) c = m.captured(1).toUInt(nullptr, 16);
        else if (m.capturedLength(2) > 0) c = m.captured(2).toUInt();
        else c = m.captured(3).compare(QLatin1String("colon"), Qt::CaseInsensitive) == 0 ? ':' : ' ';
      }
    }
    i += length;
    colon = c == ':';
    if (!colon && c > ' ' && c != 0x7f && c < 0x10000) scheme += QChar(char16_t(c));
  }
  scheme = scheme.toLower();
  return colon && (scheme == QLatin1String("javascript") || scheme == QLatin1String("vbscript"));
}

// Whether HTML holds an element, attribute or style that would load or run
// something when imported. The markup is read the way a browser reads it
// (quoted attribute values, style elements); pictures and style sheet URLs
// may be inline data, pictures also `allowed`.
inline bool htmlReachesOut(const QString& html, const QString& allowed) {
  static const QStringList elements = {"script", "iframe", "frame", "frameset", "object", "embed",
                                       "applet", "link",   "base",  "input",    "svg",    "math"};
  static const QRegularExpression cssLoads(
      QStringLiteral("url\\s*\\(\\s*+['\"]?+\\s*+(?!data:)|@import|expression\\s*\\(|image-set\\s*\\(|\\\\"),
      QRegularExpression::CaseInsensitiveOption);
  const int n = html.size();
  // Each tag is read to its end, so that a "<" inside a quoted value is no tag.
  int i = 0;
  for (int at = html.indexOf(QLatin1Char('<')); at >= 0 && at < n;
       at = html.indexOf(QLatin1Char('<'), std::max(i, at + 1))) {
    i = at + 1;
    const bool closing = i < n && html[i] == QLatin1Char('/');
    if (closing) ++i;
    if (i >= n || !html[i].isLetter()) continue;
    const int nameStart = i;
    while (i < n && !html[i].isSpace() && html[i] != QLatin1Char('>') && html[i] != QLatin1Char('/')) ++i;
    const QString tag = html.mid(nameStart, i - nameStart).toLower();
    if (elements.contains(tag)) return true;
    // Attributes up to the end of the tag.
    while (i < n && html[i] != QLatin1Char('>')) {
      while (i < n && (html[i].isSpace() || html[i] == QLatin1Char('/'))) ++i;
      const int attrStart = i;
      while (i < n && !html[i].isSpace() && html[i] != QLatin1Char('=') && html[i] != QLatin1Char('>')) ++i;
      const QString attr = html.mid(attrStart, i - attrStart).toLower();
      QString value;
      while (i < n && html[i].isSpace()) ++i;
      if (i < n && html[i] == QLatin1Char('=')) {
        ++i;
        while (i < n && html[i].isSpace()) ++i;
        if (i < n && (html[i] == QLatin1Char('"') || html[i] == QLatin1Char('\''))) {
          const QChar quote = html[i];
          const int close = html.indexOf(quote, i + 1);
          value = html.mid(i + 1, (close < 0 ? n : close) - i - 1);
          i = close < 0 ? n : close + 1;
        } else {
          const int valueStart = i;
          while (i < n && !html[i].isSpace() && html[i] != QLatin1Char('>')) ++i;
          value = html.mid(valueStart, i - valueStart);
        }
      }
      if (attr.isEmpty()) {
        if (i < n && html[i] != QLatin1Char('>')) ++i;
        continue;
      }
      if (attr.startsWith(QLatin1String("on")) || attr == QLatin1String("background")) return true;
      if (attr == QLatin1String("style") && cssLoads.match(value).hasMatch()) return true;
      const QString v = value.trimmed().toLower();
      // A picture the sanitizer keeps must be inline or the allowed file (as
      // the importer reads it: its "&amp;" and ":" entities decoded).
      QString src = value.trimmed();
      src.replace(QLatin1String("&amp;"), QLatin1String("&"))
          .replace(QLatin1String("&#58;"), QLatin1String(":"))
          .replace(QLatin1String("&colon;"), QLatin1String(":"));
      if (tag == QLatin1String("img") && attr == QLatin1String("src") && !v.startsWith(QLatin1String("data:")) &&
          src != allowed)
        return true;
      if ((attr == QLatin1String("href") || attr == QLatin1String("action")) && scriptScheme(value)) return true;
    }
    if (tag == QLatin1String("style") && !closing) {
      const int close = html.indexOf(QLatin1String("</style"), i, Qt::CaseInsensitive);
      if (cssLoads.match(html.mid(i, (close < 0 ? n : close) - i)).hasMatch()) return true;
      i = close < 0 ? n : close;  // a style sheet is text up to its end tag
    }
  }
  return false;
}

// Any text as a mail's HTML body: what the sanitizer lets through reaches
// nothing outside the mail, and sanitizing it again changes nothing.
inline Outcome touchHtml(ScratchStore&, const QByteArray& bytes) {
  const QString allowed = QStringLiteral("file:///tmp/ordolo-fuzz/picture.png");
  const QString safe = tpl::SanitizeHtml(textOf(bytes), {allowed});
  // What was let through is shown with the finding.
  if (htmlReachesOut(safe, allowed)) {
    fprintf(stderr, "reaches outside:\n%s\n", qPrintable(safe));
    __builtin_trap();
  }
  if (const QString again = tpl::SanitizeHtml(safe, {allowed}); again != safe) {
    fprintf(stderr, "changed by a second pass:\n%s\n----\n%s\n", qPrintable(safe), qPrintable(again));
    __builtin_trap();
  }
  return Outcome{true, {}, 1};
}

}  // namespace ordolo::fuzz
