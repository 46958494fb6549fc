#include <gtest/gtest.h>

#include <QTemporaryDir>

#include "support/TestEnv.h"
#include "util/Ini.h"

using namespace ordolo::util;
using ordolo::test::readFile;
using ordolo::test::writeFile;

namespace {

class IniTest : public ::testing::Test {
 protected:
  QTemporaryDir dir;
  QString path(const QString& name) const { return dir.filePath(name); }
};

TEST_F(IniTest, ValuesLongerThan254CharactersAreCut) {
  const QString file = path("long.ini");
  const QString value(300, QLatin1Char('x'));
  ASSERT_TRUE(WriteIni("S", "k", value, file));
  EXPECT_EQ(ReadIni("S", "k", "", file), QString(254, QLatin1Char('x')));
  // The file itself keeps the whole value.
  EXPECT_TRUE(readFile(file).contains(value.toUtf8()));
}

TEST_F(IniTest, NamesMatchCaseInsensitivelyAndFirstKeyWins) {
  const QString file = writeFile(path("a.ini"),
                                 "; comment=ignored\n"
                                 "[Attachments]\n"
                                 "  Wait = 500  \n"
                                 "WAIT=900\n"
                                 "[ option ]\n"
                                 "ATemplate=\"Aplan.dotx\"\n"
                                 "Quoted='a' and 'b'\n"
                                 "[attachments]\n"
                                 "Suppress=later.gif\n");
  EXPECT_EQ(ReadIni("ATTACHMENTS", "wait", "0", file), "500");
  EXPECT_EQ(ReadIni("Option", "atemplate", "", file), "Aplan.dotx");
  EXPECT_EQ(ReadIni("Option", "Quoted", "", file), "a' and 'b");  // one enclosing pair goes
  EXPECT_EQ(ReadIni("Attachments", "Suppress", "none", file), "later.gif");
  EXPECT_EQ(ReadIni("Attachments", "First", "0", file), "0");
  EXPECT_EQ(ReadIni("; comment", "x", "d", file), "d");
  EXPECT_EQ(ReadIni("Lang", "S1", "am", path("none.ini")), "am");
  EXPECT_FALSE(QFile::exists(path("none.ini")));  // reading creates nothing
}

TEST_F(IniTest, WriteCreatesFileAndSectionThenReplacesInPlace) {
  const QString file = path("sub/new.ini");
  ASSERT_TRUE(WriteIni("Monitor", "PrintAll", "1", file));
  ASSERT_TRUE(WriteIni("Find", "AField", "3", file));
  ASSERT_TRUE(WriteIni("Monitor", "PrintMin", "0", file));
  ASSERT_TRUE(WriteIni("monitor", "printall", "0", file));
  EXPECT_EQ(QString::fromUtf8(readFile(file)), "[Monitor]\nPrintAll=0\nPrintMin=0\n\n[Find]\nAField=3\n");
}

TEST_F(IniTest, WriteKeepsOtherLinesCommentsAndLineEnds) {
  const QString file = writeFile(path("keep.ini"), "[A]\r\n; note\r\nx=1\r\n\r\n[B]\r\ny=2\r\n");
  ASSERT_TRUE(WriteIni("A", "x", "new", file));
  ASSERT_TRUE(WriteIni("A", "z", "3\nfour", file));  // a line end cannot stay in a value
  EXPECT_EQ(readFile(file), "[A]\r\n; note\r\nx=new\r\nz=3 four\r\n\r\n[B]\r\ny=2\r\n");
}

TEST_F(IniTest, EmptyFileNameMeansTheMainConfigurationFile) {
  const QString main = path("data/Ordolo.ini");
  const QString user = path("config/Ordolo.ini");
  SetMainConfigPath(main);
  ASSERT_TRUE(WriteIni("Lang", "S1", "on", ""));
  EXPECT_EQ(ReadIni("Lang", "S1", "", ""), "on");
  EXPECT_EQ(ReadIni("Lang", "S1", "", main), "on");
  EXPECT_FALSE(QFile::exists(user));
  SetMainConfigPath(QString());
}

TEST_F(IniTest, WriteIntoUnwritablePlaceFails) {
  const QString blocker = writeFile(path("file"), "x");
  EXPECT_FALSE(WriteIni("A", "k", "v", blocker + "/below.ini"));
  EXPECT_FALSE(WriteIni("A", "k", "v", path("nodir") + "/"));
}

}  // namespace
