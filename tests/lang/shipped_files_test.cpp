// Checks the three language files that ship with the program.
#include <gtest/gtest.h>

#include "lang/KeyTable.h"
#include "lang/LanguageTable.h"
#include "util/TextFile.h"

using namespace ordolo::lang;
using ordolo::util::IniDocument;

namespace {

struct Shipped {
  const char* file;
  Language language;
  const char* name;
};

void PrintTo(const Shipped& s, std::ostream* os) { *os << s.name; }
std::string nameOf(const ::testing::TestParamInfo<Shipped>& info) { return info.param.name; }

const char* builtInText(const KeyDef& k, Language language) {
  switch (language) {
    case Language::German: return k.de;
    case Language::French: return k.fr;
    case Language::English: break;
  }
  return k.en;
}

class ShippedFile : public ::testing::TestWithParam<Shipped> {
 protected:
  QByteArray bytes() const {
    return ordolo::util::ReadWholeFileBytes(QStringLiteral(ORDOLO_SOURCE_SHARE "/language/") +
                                            QString::fromUtf8(GetParam().file));
  }
};

TEST_P(ShippedFile, HasTheSaveFormatAndEveryKey) {
  const QByteArray raw = bytes();
  ASSERT_FALSE(raw.isEmpty());
  EXPECT_TRUE(ordolo::util::isValidUtf8(raw));
  EXPECT_EQ(raw.count('\n'), raw.count("\r\n"));
  const QStringList lines = QString::fromUtf8(raw).split("\r\n", Qt::SkipEmptyParts);
  ASSERT_EQ(lines.size(), 1 + 85 + 1 + 20);
  EXPECT_EQ(lines[0], "[Lang]");
  int at = 1;
  for (int n = 1; n <= 86; ++n) {
    if (n == 52) continue;
    EXPECT_TRUE(lines[at].startsWith(QStringLiteral("S%1=").arg(n))) << lines[at].toStdString();
    ++at;
  }
  EXPECT_EQ(lines[at++], "[S52]");
  for (int n = 1; n <= 20; ++n) EXPECT_TRUE(lines[at++].startsWith(QStringLiteral("Text%1=").arg(n)));
}

TEST_P(ShippedFile, LoadsInItsOwnLanguageWithMatchingLists) {
  const Language language = GetParam().language;
  LanguageTable shipped;
  shipped.load(IniDocument::fromText(QString::fromUtf8(bytes())));
  EXPECT_EQ(shipped.currentLanguage(), language);
  LanguageTable builtIn;
  builtIn.load(IniDocument());
  for (const KeyDef& k : keyTable()) {
    const QString key = QString::fromUtf8(k.key);
    const QString text = shipped.GetLangText(key);
    EXPECT_FALSE(text.isEmpty()) << k.key;
    // Three-language keys, and in German every key, ship their built-in text.
    if (k.en || language == Language::German) {
      EXPECT_EQ(text, QString::fromUtf8(builtInText(k, language))) << k.key;
    }
    // Word lists are indexed by value: a translation keeps the positions.
    const QString german = builtIn.GetLangText(key);
    if (!german.contains('/') || key == "S37") continue;
    EXPECT_EQ(text.count('/'), german.count('/')) << k.key << " " << text.toStdString();
    // Empty first and last entries stand for values shown as nothing; S31
    // spells out "Public" in English and French.
    if (key != "S31") {
      EXPECT_EQ(text.startsWith('/'), german.startsWith('/')) << k.key;
    }
    EXPECT_EQ(text.endsWith('/'), german.endsWith('/')) << k.key;
  }
  // Colour labels: ten German entries, eleven elsewhere (with the anniversary).
  EXPECT_EQ(shipped.GetLangText("S37").count('/'), language == Language::German ? 9 : 10);
}

INSTANTIATE_TEST_SUITE_P(Languages, ShippedFile,
                         ::testing::Values(Shipped{"English.txt", Language::English, "English"},
                                           Shipped{"Deutsch.txt", Language::German, "German"},
                                           Shipped{"Français.txt", Language::French, "French"}),
                         nameOf);

}  // namespace
