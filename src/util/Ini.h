// INI files: sections in brackets, key=value lines.
//
// Rules: section and key names compare case-insensitively and ignoring the
// blanks around them; the first matching key wins; a value is trimmed and
// loses one pair of enclosing quotes; a read value is cut to 254 characters.
// Writing a key creates the file and the section when they are missing and
// replaces an existing value in place, keeping every other line as it was.
#pragma once

#include <QString>
#include <QStringList>
#include <optional>

namespace ordolo::util {

// Longest value a read returns (the rest is cut off).
inline constexpr int kIniValueMax = 254;

class IniDocument {
 public:
  IniDocument() = default;
  static IniDocument fromText(const QString& text);
  // Parses the file; a missing or unreadable file gives an empty document.
  static IniDocument load(const QString& path);

  // The value as read: trimmed, unquoted, cut to kIniValueMax; nullopt when
  // the key is missing.
  std::optional<QString> value(const QString& section, const QString& key) const;
  QString read(const QString& section, const QString& key, const QString& fallback) const {
    return value(section, key).value_or(fallback);
  }
  void setValue(const QString& section, const QString& key, const QString& value);

  QStringList sections() const;
  QString toText() const;
  // Writes the document atomically; false on failure.
  bool save(const QString& path) const;

 private:
  QStringList lines_;
  QString eol_ = QStringLiteral("\n");
};

// Path of the main configuration file (the language table); used whenever a
// caller passes an empty file name. Set once at start-up.
QString MainConfigPath();
void SetMainConfigPath(const QString& path);

// Reads one key; a missing key or file gives `fallback`.
QString ReadIni(const QString& section, const QString& key, const QString& fallback, const QString& file = QString());
// Writes one key; false when the file cannot be written.
bool WriteIni(const QString& section, const QString& key, const QString& value, const QString& file = QString());

}  // namespace ordolo::util
