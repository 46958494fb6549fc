#include <gtest/gtest.h>

#include <QTemporaryDir>

#include "support/TestEnv.h"
#include "util/TextFile.h"

using namespace ordolo::util;
using ordolo::test::readFile;
using ordolo::test::writeFile;

namespace {

TEST(WholeFile, BinaryKeepsTheOldTailTextTruncatesAndEndsWithCrLf) {
  QTemporaryDir dir;
  const QString file = writeFile(dir.filePath("f"), "0123456789");
  ASSERT_TRUE(WriteWholeFile(file, "abc", true));
  EXPECT_EQ(readFile(file), "abc3456789");
  ASSERT_TRUE(WriteWholeFile(file, QString::fromUtf8("Grüße"), false));
  EXPECT_EQ(readFile(file),
            "Gr\xC3\xBC\xC3\x9F"
            "e\r\n");
  EXPECT_TRUE(ReadWholeFile(dir.filePath("missing")).isEmpty());
  EXPECT_TRUE(ReadWholeFile(dir.path()).isEmpty());  // a folder
  EXPECT_FALSE(WriteWholeFile(dir.filePath("no/such/folder/f"), "x", false));
}

TEST(Decoding, Utf8WhenValidElseWindows1252) {
  EXPECT_EQ(decodeText("\xEF\xBB\xBF"
                       "caf\xC3\xA9"),
            QString::fromUtf8("café"));
  EXPECT_EQ(decodeText(QByteArray("\xFF\xFE"
                                  "a\0\xE9\0",
                                  6)),
            QString::fromUtf8("aé"));
  EXPECT_EQ(decodeText("Fran\xE7"
                       "ais \x80 \x93q\x94"),
            QString::fromUtf8("Français € “q”"));
  // Malformed UTF-8 is not taken for UTF-8.
  EXPECT_FALSE(isValidUtf8("\xC0\xAF"));      // overlong '/'
  EXPECT_FALSE(isValidUtf8("\xED\xA0\x80"));  // surrogate
  EXPECT_FALSE(isValidUtf8("\xE2\x82"));      // cut short
  EXPECT_TRUE(isValidUtf8("\xF0\x9F\x98\x80"));
}

}  // namespace
