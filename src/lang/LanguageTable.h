// The language table: every visible text and every word list, by key
// ("S1".."S86", "Text1".."Text20"), loaded from the language settings file
// with built-in German, French and English defaults.
#pragma once

#include <QHash>
#include <QString>
#include <vector>

#include "util/Ini.h"

namespace ordolo::lang {

enum class Language { English = 0, German = 1, French = 2 };

struct Row {
  QString key;
  QString rubric;
  QString description;
  QString text;
  QString tooltip;
};

// What loading a shipped language file ended with.
enum class LangDefResult { Loaded, UnknownIndex, MissingFile, WriteFailed };

class LanguageTable {
 public:
  // The language the texts of a file are in: German when S26 reads "Ändern"
  // or S22 "Sprache" (or the file has neither), French when S26 reads
  // "Editer", English otherwise.
  static Language detectLanguage(const util::IniDocument& ini);

  // Reads the file (missing means empty) and rebuilds the rows.
  void LoadLanguageTable(const QString& iniPath);
  void load(const util::IniDocument& ini);

  // The text of a key; the empty text for a key without a row.
  QString GetLangText(const QString& key) const;
  // A key of the loaded file; when empty, the default of the current language.
  QString ReadLangKey(const QString& section, const QString& key, const QString& de, const QString& fr,
                      const QString& en) const;

  // The file text of the table: [Lang] with S1..S80 (not S52) and the
  // program's own texts (Messages.h) the loaded file holds, then [S52] with
  // Text1..Text20. S81..S86 are left out; they come back from their
  // defaults after a reload.
  QString saveText() const;
  // Whether a save keeps the key's text (S81..S86 always come from their defaults).
  static bool isStored(const QString& key);
  // Replaces the whole file with saveText(); false when it cannot be written.
  bool SaveLanguageTable(const QString& iniPath) const;

  // Puts one of the shipped files (0 English.txt, 1 Deutsch.txt,
  // 2 Français.txt from `languageFolder`) over the file and reloads. A
  // missing or empty language file leaves the user's file untouched.
  LangDefResult LangDef(int index, const QString& languageFolder, const QString& iniPath);
  static QString languageFileName(int index);

  // Edits the text of one key; false for an unknown key.
  bool setText(const QString& key, const QString& text);
  bool isDirty() const { return dirty_; }

  Language currentLanguage() const { return language_; }
  const std::vector<Row>& rows() const { return rows_; }
  // Row index of a key, or -1.
  int indexOf(const QString& key) const;

 private:
  util::IniDocument ini_;
  std::vector<Row> rows_;
  QHash<QString, int> index_;
  Language language_ = Language::German;
  bool dirty_ = false;
};

// The table of this process, used by every part of the program.
LanguageTable& table();
// Shorthand for table().GetLangText(key).
QString GetLangText(const QString& key);
// Replaces every "#" in a text with the number (as in "More than # Items").
QString withNumber(const QString& text, long long number);

}  // namespace ordolo::lang
