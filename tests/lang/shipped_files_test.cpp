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

TEST_P(ShippedFile, IsCompleteInItsOwnLanguageWithMatchingLists) {
  const QByteArray raw = bytes();
  EXPECT_TRUE(ordolo::util::isValidUtf8(raw));
  EXPECT_EQ(raw.count('\n'), raw.count("\r\n"));
  // The keys in the order a save writes them, plus S81..S86.
  QStringList keys;
  for (const QString& line : QString::fromUtf8(raw).split("\r\n", Qt::SkipEmptyParts))
    keys.append(line.section('=', 0, 0));
  QStringList expected{"[Lang]"};
  for (int n = 1; n <= 86; ++n)
    if (n != 52) expected.append(QStringLiteral("S%1").arg(n));
  expected.append("[S52]");
  for (int n = 1; n <= 20; ++n) expected.append(QStringLiteral("Text%1").arg(n));
  EXPECT_EQ(keys, expected);

  const Language language = GetParam().language;
  LanguageTable shipped;
  shipped.load(IniDocument::fromText(QString::fromUtf8(raw)));
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
