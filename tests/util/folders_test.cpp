#include <gtest/gtest.h>

#include <QTemporaryDir>

#include <sys/stat.h>

#include "addin/Connect.h"
#include "support/TestEnv.h"
#include "util/Ini.h"
#include "util/Registry.h"
#include "util/SpecialFolders.h"

using namespace ordolo::util;
using ordolo::test::ScopedEnv;
using ordolo::test::writeFile;

namespace {

TEST(Folders, OrdoloHomeOverridesTheXdgPlaces) {
  ScopedEnv home("ORDOLO_HOME", "/srv/portable/"), xdgData("XDG_DATA_HOME", "/x/data"),
      xdgConfig("XDG_CONFIG_HOME", "/x/config");
  EXPECT_EQ(DataFolder(), "/srv/portable/data/");
  EXPECT_EQ(UserFolder(), "/srv/portable/config/");
  EXPECT_EQ(MainConfigFile(), "/srv/portable/data/Ordolo.ini");
  EXPECT_EQ(UserConfigFile(), "/srv/portable/config/Ordolo.ini");
  EXPECT_EQ(TemplatePathFile(), "/srv/portable/data/path.ini");
}

TEST(Folders, XdgPlacesWithHomeAsFallback) {
  ScopedEnv home("ORDOLO_HOME", std::nullopt), user("HOME", "/home/ann");
  {
    ScopedEnv d("XDG_DATA_HOME", "/x/data/"), c("XDG_CONFIG_HOME", "/x/config");
    EXPECT_EQ(DataFolder(), "/x/data/ordolo/");
    EXPECT_EQ(UserFolder(), "/x/config/ordolo/");
  }
  {
    // Relative XDG paths are invalid and ignored.
    ScopedEnv d("XDG_DATA_HOME", "rel/data"), c("XDG_CONFIG_HOME", std::nullopt);
    EXPECT_EQ(DataFolder(), "/home/ann/.local/share/ordolo/");
    EXPECT_EQ(UserFolder(), "/home/ann/.config/ordolo/");
  }
}

TEST(Folders, TempBaseOrderAndNoDoubledSlash) {
  ScopedEnv a("TMPDIR", std::nullopt), b("TEMP", "/t/temp/"), c("TMP", "/t/tmp");
  EXPECT_EQ(TempBase(), "/t/temp/");
  {
    ScopedEnv none("TEMP", std::nullopt);
    EXPECT_EQ(TempBase(), "/t/tmp/");
  }
  ScopedEnv first("TMPDIR", "/t/tmpdir");
  EXPECT_EQ(TempBase(), "/t/tmpdir/");
  ScopedEnv all1("TMPDIR", std::nullopt), all2("TEMP", std::nullopt), all3("TMP", std::nullopt);
  EXPECT_EQ(TempBase(), "/tmp/");
}

TEST(Folders, PrivateTempFolderIsFreshAndClosed) {
  QTemporaryDir dir;
  const QString base = dir.filePath("not/yet/there") + "/";
  const QString a = MakePrivateFolder(base);
  const QString b = MakePrivateFolder(base);
  EXPECT_TRUE(a.startsWith(base + "ordolo-")) << a.toStdString();
  EXPECT_FALSE(a.contains("//"));
  EXPECT_TRUE(a.endsWith('/'));
  EXPECT_NE(a, b);
  struct stat st {};
  ASSERT_EQ(stat(QFile::encodeName(a).constData(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0700u);
  // A base that cannot be made falls back to /tmp.
  const QString blocker = writeFile(dir.filePath("file"), "x");
  const QString c = MakePrivateFolder(blocker + "/sub");
  EXPECT_TRUE(c.startsWith("/tmp/ordolo-")) << c.toStdString();
  QDir(c).removeRecursively();
}

TEST(Folders, TempFolderIsKeptForTheProcessAndRemovedAtTheEnd) {
  QTemporaryDir dir;
  ScopedEnv t("TMPDIR", dir.path().toUtf8());
  RemoveTempFolder();
  const QString first = TempFolder();
  EXPECT_EQ(TempFolder(), first);
  EXPECT_TRUE(first.startsWith(dir.path() + "/ordolo-"));
  writeFile(first + "body.html", "<p>x</p>");
  RemoveTempFolder();
  EXPECT_FALSE(QFileInfo::exists(first));
}

TEST(Registry, ValuesComeFromTheRootsIniFile) {
  QTemporaryDir dir;
  ScopedEnv home("ORDOLO_HOME", dir.path().toUtf8());
  writeFile(dir.filePath("data/registry.ini"), "[SOFTWARE\\Microsoft\\Office\\14.0\\Outlook]\nBitness=x64\n@=dflt\n");
  EXPECT_EQ(RegReadString(RootKey::LocalMachine, "software\\microsoft\\office\\14.0\\outlook", "Bitness"), "x64");
  EXPECT_EQ(RegReadString(RootKey::LocalMachine, "SOFTWARE\\Microsoft\\Office\\14.0\\Outlook", ""), "dflt");
  EXPECT_EQ(RegReadString(RootKey::LocalMachine, "SOFTWARE\\Other", "Bitness"), "");
  EXPECT_EQ(RegReadString(RootKey::CurrentUser, "SOFTWARE\\Microsoft\\Office\\14.0\\Outlook", "Bitness"), "");
}

TEST(Seeding, FirstStartCopiesTheShippedTemplatesOnce) {
  QTemporaryDir dir;
  const QString share = dir.filePath("share");
  writeFile(share + "/templates/AList.dotx", "template");
  writeFile(share + "/templates/MMail.dotx", "mail");
  const QString data = dir.filePath("home/data/");
  EXPECT_EQ(ordolo::addin::SeedDataFolder(data, share), 2);
  EXPECT_EQ(ordolo::test::readFile(data + "AList.dotx"), "template");
  // The user's changes survive the next start.
  writeFile(data + "AList.dotx", "edited");
  EXPECT_EQ(ordolo::addin::SeedDataFolder(data, share), 0);
  EXPECT_EQ(ordolo::test::readFile(data + "AList.dotx"), "edited");
}

TEST(Connect, StartCreatesFoldersAndWritesTheDebugLogWhenAsked) {
  QTemporaryDir dir;
  ScopedEnv home("ORDOLO_HOME", dir.path().toUtf8()), dbg("ORDOLO_DEBUG", std::nullopt);
  {
    ordolo::addin::Connect c;
    c.OnConnection({});
    EXPECT_TRUE(QFileInfo(dir.filePath("config")).isDir());
    EXPECT_TRUE(QFileInfo(dir.filePath("data")).isDir());
    EXPECT_EQ(MainConfigPath(), dir.filePath("data/Ordolo.ini"));
  }
  EXPECT_FALSE(QFileInfo::exists(dir.filePath("data/debug.log")));
  for (int run = 0; run < 2; ++run) {
    ordolo::addin::Connect c;
    c.OnConnection({true});
  }
  const QStringList lines = QString::fromUtf8(ordolo::test::readFile(dir.filePath("data/debug.log"))).split('\n', Qt::SkipEmptyParts);
  ASSERT_EQ(lines.size(), 2);
  EXPECT_TRUE(lines[0].startsWith("Gestartet: "));
  EXPECT_TRUE(lines[1].startsWith("Gestartet: "));
}

}  // namespace
