#include "lang/LanguageTable.h"

#include "lang/KeyTable.h"
#include "lang/Messages.h"
#include "util/Folders.h"
#include "util/TextFile.h"

namespace ordolo::lang {

namespace {
const QString kLang = QStringLiteral("Lang");
const QString kJournal = QStringLiteral("S52");
const QString kCrLf = QStringLiteral("\r\n");

// A value as a line of the file: in double quotes when reading would
// otherwise change it (blanks at an end, or a pair of quotes around it).
QString asFileValue(const QString& v) {
  const bool enclosed = v.size() >= 2 && (v.front() == QLatin1Char('"') || v.front() == QLatin1Char('\'')) &&
                        v.back() == v.front();
  return enclosed || v != v.trimmed() ? QLatin1Char('"') + v + QLatin1Char('"') : v;
}
}  // namespace

Language LanguageTable::detectLanguage(const util::IniDocument& ini) {
  const QString edit = QStringLiteral("Ändern");
  if (ini.read(kLang, QStringLiteral("S26"), edit) == edit ||
      ini.read(kLang, QStringLiteral("S22"), QStringLiteral("Sprache")) == QLatin1String("Sprache"))
    return Language::German;
  if (ini.read(kLang, QStringLiteral("S26"), edit) == QLatin1String("Editer")) return Language::French;
  return Language::English;
}

void LanguageTable::LoadLanguageTable(const QString& iniPath) { load(util::IniDocument::load(iniPath)); }

void LanguageTable::load(const util::IniDocument& ini) {
  ini_ = ini;
  language_ = detectLanguage(ini_);
  rows_.clear();
  index_.clear();
  const auto& keys = keyTable();
  rows_.reserve(keys.size());
  for (const KeyDef& k : keys) {
    const QString key = QString::fromUtf8(k.key);
    const QString section = QString::fromUtf8(k.section);
    const QString de = QString::fromUtf8(k.de);
    const QString text = k.en ? ReadLangKey(section, key, de, QString::fromUtf8(k.fr), QString::fromUtf8(k.en))
                              : ini_.read(section, key, de);
    index_.insert(key, static_cast<int>(rows_.size()));
    rows_.push_back({key, QString::fromUtf8(k.rubric), QString::fromUtf8(k.description), text,
                     QString::fromUtf8(k.tooltip)});
  }
  dirty_ = false;
}

QString LanguageTable::GetLangText(const QString& key) const {
  const auto it = index_.constFind(key);
  return it == index_.cend() ? QString() : rows_[*it].text;
}

QString LanguageTable::ReadLangKey(const QString& section, const QString& key, const QString& de, const QString& fr,
                                   const QString& en) const {
  const QString v = ini_.read(section, key, QString());
  if (!v.isEmpty()) return v;
  switch (language_) {
    case Language::German: return de;
    case Language::French: return fr;
    case Language::English: break;
  }
  return en;
}

QString LanguageTable::saveText() const {
  QString text = QLatin1Char('[') + kLang + QLatin1Char(']') + kCrLf;
  for (int n = 1; n <= 80; ++n) {
    if (n == 52) continue;
    const QString key = QStringLiteral("S%1").arg(n);
    text += key + QLatin1Char('=') + asFileValue(GetLangText(key)) + kCrLf;
  }
  // The program's own texts a translator put into the file stay there.
  for (const QString& key : messageKeys()) {
    if (const auto v = ini_.value(kLang, key)) text += key + QLatin1Char('=') + asFileValue(*v) + kCrLf;
  }
  text += QLatin1Char('[') + kJournal + QLatin1Char(']') + kCrLf;
  for (int n = 1; n <= 20; ++n) {
    const QString key = QStringLiteral("Text%1").arg(n);
    text += key + QLatin1Char('=') + asFileValue(GetLangText(key)) + kCrLf;
  }
  return text;
}

bool LanguageTable::isStored(const QString& key) {
  if (key.startsWith(QLatin1String("Text"))) return true;
  const int n = key.mid(1).toInt();
  return key.startsWith(QLatin1Char('S')) && n >= 1 && n <= 80 && n != 52;
}

bool LanguageTable::SaveLanguageTable(const QString& iniPath) const {
  return util::WriteWholeFile(iniPath, saveText(), false);
}

QString LanguageTable::languageFileName(int index) {
  switch (index) {
    case 0: return QStringLiteral("English.txt");
    case 1: return QStringLiteral("Deutsch.txt");
    case 2: return QStringLiteral("Français.txt");
    default: return {};
  }
}

LangDefResult LanguageTable::LangDef(int index, const QString& languageFolder, const QString& iniPath) {
  const QString name = languageFileName(index);
  if (name.isEmpty()) return LangDefResult::UnknownIndex;
  const QString text = util::ReadWholeFile(util::WithSlash(languageFolder) + name);
  // An unreadable language file would wipe the user's texts: keep them.
  if (text.trimmed().isEmpty()) return LangDefResult::MissingFile;
  if (!util::WriteWholeFile(iniPath, text, false)) return LangDefResult::WriteFailed;
  LoadLanguageTable(iniPath);
  return LangDefResult::Loaded;
}

bool LanguageTable::setText(const QString& key, const QString& text) {
  const int i = indexOf(key);
  if (i < 0) return false;
  // One line per key in the file: line ends cannot be kept.
  QString t = text;
  t.replace(QLatin1String("\r\n"), QLatin1String(" "));
  t.replace(QLatin1Char('\n'), QLatin1Char(' '));
  t.replace(QLatin1Char('\r'), QLatin1Char(' '));
  rows_[i].text = t;
  dirty_ = true;
  return true;
}

int LanguageTable::indexOf(const QString& key) const { return index_.value(key, -1); }

LanguageTable& table() {
  static LanguageTable instance;
  return instance;
}

QString GetLangText(const QString& key) { return table().GetLangText(key); }

QString withNumber(const QString& text, long long number) {
  QString t = text;
  return t.replace(QLatin1Char('#'), QString::number(number));
}

}  // namespace ordolo::lang
