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
};

void PrintTo(const Shipped& s, std::ostream* os) { *os << s.file; }

class ShippedFile : public ::testing::TestWithParam<Shipped> {
 protected:
  QByteArray bytes() const {
    return ordolo::util::ReadWholeFileBytes(QStringLiteral(ORDOLO_SOURCE_SHARE "/language/") + QString::fromUtf8(GetParam().file));
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
  for (int n = 1; n <= 86; ++n)
    if (n != 52) EXPECT_TRUE(lines[at++].startsWith(QStringLiteral("S%1=").arg(n))) << lines[at - 1].toStdString();
  EXPECT_EQ(lines[at++], "[S52]");
  for (int n = 1; n <= 20; ++n) EXPECT_TRUE(lines[at++].startsWith(QStringLiteral("Text%1=").arg(n)));
}

TEST_P(ShippedFile, LoadsInItsOwnLanguageWithMatchingLists) {
  LanguageTable shipped;
  shipped.load(IniDocument::fromText(QString::fromUtf8(bytes())));
  EXPECT_EQ(shipped.currentLanguage(), GetParam().language);
  LanguageTable builtIn;
  builtIn.load(IniDocument());
  for (const KeyDef& k : keyTable()) {
    const QString text = shipped.GetLangText(k.key);
    EXPECT_FALSE(text.isEmpty()) << k.key;
    // Three-language keys ship exactly their built-in text.
    const char* expected = GetParam().language == Language::German ? k.de
                           : GetParam().language == Language::French ? k.fr : k.en;
    if (k.en) EXPECT_EQ(text, QString::fromUtf8(expected)) << k.key;
    if (GetParam().language == Language::German) EXPECT_EQ(text, QString::fromUtf8(k.de)) << k.key;
    // Word lists are indexed by value: a translation keeps the positions.
    const QString german = builtIn.GetLangText(k.key);
    if (german.contains('/') && QString(k.key) != "S37") {
      EXPECT_EQ(text.count('/'), german.count('/')) << k.key << " " << text.toStdString();
      // Empty first and last entries stand for values shown as nothing. S31
      // spells out "Public" in English and French.
      if (QString(k.key) != "S31") EXPECT_EQ(text.startsWith('/'), german.startsWith('/')) << k.key;
      EXPECT_EQ(text.endsWith('/'), german.endsWith('/')) << k.key;
    }
  }
  // Colour labels: ten German entries, eleven elsewhere (with the anniversary).
  EXPECT_EQ(shipped.GetLangText("S37").count('/'), GetParam().language == Language::German ? 9 : 10);
}

INSTANTIATE_TEST_SUITE_P(Languages, ShippedFile,
                         ::testing::Values(Shipped{"English.txt", Language::English},
                                           Shipped{"Deutsch.txt", Language::German},
                                           Shipped{"Français.txt", Language::French}),
                         [](const auto& info) { return std::string(info.param.file).substr(0, 5); });

}  // namespace
