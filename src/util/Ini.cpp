#include "util/Ini.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>

#include "util/DebugLog.h"
#include "util/TextFile.h"

namespace ordolo::util {

namespace {

QString g_mainConfigPath;

// The section name of a header line, or nullopt when the line is no header.
std::optional<QString> sectionOf(const QString& line) {
  const QString t = line.trimmed();
  if (!t.startsWith(QLatin1Char('['))) return std::nullopt;
  const int close = t.indexOf(QLatin1Char(']'));
  return (close < 0 ? t.mid(1) : t.mid(1, close - 1)).trimmed();
}

bool isComment(const QString& line) {
  const QString t = line.trimmed();
  return t.startsWith(QLatin1Char(';'));
}

// Splits "key=value"; false for lines without '='.
bool splitKey(const QString& line, QString* key, QString* value) {
  const int eq = line.indexOf(QLatin1Char('='));
  if (eq < 0 || isComment(line)) return false;
  *key = line.left(eq).trimmed();
  if (value) *value = line.mid(eq + 1).trimmed();
  return true;
}

bool sameName(const QString& a, const QString& b) { return a.trimmed().compare(b.trimmed(), Qt::CaseInsensitive) == 0; }

QString unquote(const QString& v) {
  if (v.size() >= 2) {
    const QChar q = v.front();
    if ((q == QLatin1Char('"') || q == QLatin1Char('\'')) && v.back() == q) return v.mid(1, v.size() - 2);
  }
  return v;
}

QString resolve(const QString& file) { return file.isEmpty() ? MainConfigPath() : file; }

}  // namespace

IniDocument IniDocument::fromText(const QString& text) {
  IniDocument doc;
  if (text.isEmpty()) return doc;
  if (text.contains(QLatin1String("\r\n"))) doc.eol_ = QStringLiteral("\r\n");
  QString t = text;
  t.replace(QLatin1String("\r\n"), QLatin1String("\n"));
  t.replace(QLatin1Char('\r'), QLatin1Char('\n'));
  doc.lines_ = t.split(QLatin1Char('\n'));
  // A final line end leaves an empty last element that is no line.
  if (!doc.lines_.isEmpty() && doc.lines_.back().isEmpty()) doc.lines_.removeLast();
  return doc;
}

IniDocument IniDocument::load(const QString& path) { return fromText(ReadWholeFile(path)); }

std::optional<QString> IniDocument::value(const QString& section, const QString& key) const {
  bool inSection = false;
  for (const QString& line : lines_) {
    if (auto s = sectionOf(line)) {
      inSection = sameName(*s, section);
      continue;
    }
    QString k, v;
    if (inSection && splitKey(line, &k, &v) && sameName(k, key)) return unquote(v).left(kIniValueMax);
  }
  return std::nullopt;
}

void IniDocument::setValue(const QString& section, const QString& key, const QString& value) {
  // A line end inside a value would break the file's structure.
  QString v = value;
  v.replace(QLatin1String("\r\n"), QLatin1String(" "));
  v.replace(QLatin1Char('\n'), QLatin1Char(' '));
  v.replace(QLatin1Char('\r'), QLatin1Char(' '));

  int firstSectionEnd = -1;  // index after the last key line of the first matching section
  bool inSection = false;
  for (int i = 0; i < lines_.size(); ++i) {
    if (auto s = sectionOf(lines_[i])) {
      const bool match = sameName(*s, section);
      if (match && firstSectionEnd < 0) firstSectionEnd = i + 1;
      inSection = match;
      continue;
    }
    QString k;
    if (!inSection) continue;
    if (splitKey(lines_[i], &k, nullptr)) {
      if (sameName(k, key)) {
        lines_[i] = k + QLatin1Char('=') + v;
        return;
      }
    }
    // Keep extending the first section's end over its non-blank lines.
    if (firstSectionEnd == i && !lines_[i].trimmed().isEmpty()) firstSectionEnd = i + 1;
  }
  const QString entry = key.trimmed() + QLatin1Char('=') + v;
  if (firstSectionEnd >= 0) {
    lines_.insert(firstSectionEnd, entry);
    return;
  }
  if (!lines_.isEmpty() && !lines_.back().trimmed().isEmpty()) lines_.append(QString());
  lines_.append(QLatin1Char('[') + section.trimmed() + QLatin1Char(']'));
  lines_.append(entry);
}

QStringList IniDocument::sections() const {
  QStringList out;
  for (const QString& line : lines_)
    if (auto s = sectionOf(line)) out.append(*s);
  return out;
}

QString IniDocument::toText() const {
  if (lines_.isEmpty()) return {};
  return lines_.join(eol_) + eol_;
}

bool IniDocument::save(const QString& path) const {
  const QFileInfo info(path);
  QDir().mkpath(info.absolutePath());
  // A symbolic link is written through, so that the link itself stays.
  QSaveFile f(info.isSymLink() ? info.symLinkTarget() : path);
  if (!f.open(QIODevice::WriteOnly)) return false;
  const QByteArray data = toText().toUtf8();
  if (f.write(data) != data.size()) {
    f.cancelWriting();
    return false;
  }
  return f.commit();
}

QString MainConfigPath() { return g_mainConfigPath; }
void SetMainConfigPath(const QString& path) { g_mainConfigPath = path; }

QString ReadIni(const QString& section, const QString& key, const QString& fallback, const QString& file) {
  const QString path = resolve(file);
  if (path.isEmpty()) return fallback;
  return IniDocument::load(path).read(section, key, fallback);
}

bool WriteIni(const QString& section, const QString& key, const QString& value, const QString& file) {
  const QString path = resolve(file);
  if (path.isEmpty()) return false;
  IniDocument doc = IniDocument::load(path);
  doc.setValue(section, key, value);
  if (doc.save(path)) return true;
  DebugLog::write(QStringLiteral("WriteIni failed: %1 [%2] %3").arg(path, section, key));
  return false;
}

}  // namespace ordolo::util
