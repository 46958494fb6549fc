#include <gtest/gtest.h>

#include <QTemporaryDir>

#include "support/TestEnv.h"
#include "util/TextFile.h"

using namespace ordolo::util;
using ordolo::test::readFile;
using ordolo::test::writeFile;

namespace {

TEST(WholeFile, BinaryWriteKeepsTheOldTail) {
  QTemporaryDir dir;
  const QString file = writeFile(dir.filePath("f"), "0123456789");
  ASSERT_TRUE(WriteWholeFile(file, "abc", true));
  EXPECT_EQ(readFile(file), "abc3456789");
}

TEST(WholeFile, TextWriteTruncatesAndEndsWithOneLineEnd) {
  QTemporaryDir dir;
  const QString file = writeFile(dir.filePath("f"), "a much longer old content");
  ASSERT_TRUE(WriteWholeFile(file, QString::fromUtf8("Grüße"), false));
  EXPECT_EQ(readFile(file), "Gr\xC3\xBC\xC3\x9F" "e\r\n");
  EXPECT_EQ(ReadWholeFile(file), QString::fromUtf8("Grüße\r\n"));
}

TEST(WholeFile, ErrorsGiveEmptyOrFalse) {
  QTemporaryDir dir;
  EXPECT_TRUE(ReadWholeFile(dir.filePath("missing")).isEmpty());
  EXPECT_TRUE(ReadWholeFile(dir.path()).isEmpty());  // a folder
  EXPECT_FALSE(WriteWholeFile(dir.filePath("no/such/folder/f"), "x", false));
}

TEST(Decoding, PicksUtf8Utf16OrWindows1252) {
  EXPECT_EQ(decodeText("\xEF\xBB\xBF" "caf\xC3\xA9"), QString::fromUtf8("café"));
  EXPECT_EQ(decodeText(QByteArray("\xFF\xFE" "a\0\xE9\0", 6)), QString::fromUtf8("aé"));
  EXPECT_EQ(decodeText(QByteArray("\xFE\xFF\0a\0\xE9", 6)), QString::fromUtf8("aé"));
  // Not UTF-8: 8-bit Windows text, with the 0x80..0x9F punctuation mapped.
  EXPECT_EQ(decodeText("Fran\xE7" "ais \x80 \x93q\x94"), QString::fromUtf8("Français € “q”"));
  EXPECT_EQ(decodeText("\x81"), QString(QChar(0x81)));
}

TEST(Decoding, RejectsMalformedUtf8) {
  EXPECT_TRUE(isValidUtf8("plain ascii"));
  EXPECT_TRUE(isValidUtf8("\xF0\x9F\x98\x80"));   // U+1F600
  EXPECT_FALSE(isValidUtf8("\xC0\xAF"));          // overlong '/'
  EXPECT_FALSE(isValidUtf8("\xED\xA0\x80"));      // surrogate
  EXPECT_FALSE(isValidUtf8("\xE2\x82"));          // cut short
  EXPECT_FALSE(isValidUtf8("\xF4\x90\x80\x80"));  // above U+10FFFF
}

}  // namespace
