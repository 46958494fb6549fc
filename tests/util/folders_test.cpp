#include <gtest/gtest.h>

#include <QTemporaryDir>

#include <sys/stat.h>

#include "addin/Connect.h"
#include "support/TestEnv.h"
#include "util/Folders.h"
#include "util/Ini.h"

using namespace ordolo::util;
using ordolo::test::readFile;
using ordolo::test::ScopedEnv;
using ordolo::test::writeFile;

namespace {

TEST(Folders, OrdoloHomeOverridesXdgWhichOverridesHome) {
  ScopedEnv home("ORDOLO_HOME", "/srv/portable/"), user("HOME", "/home/ann"), d("XDG_DATA_HOME", "/x/data/"),
      c("XDG_CONFIG_HOME", "rel/config");
  EXPECT_EQ(MainConfigFile(), "/srv/portable/data/Ordolo.ini");
  EXPECT_EQ(UserConfigFile(), "/srv/portable/config/Ordolo.ini");
  ScopedEnv noHome("ORDOLO_HOME", std::nullopt);
  EXPECT_EQ(DataFolder(), "/x/data/ordolo/");
  EXPECT_EQ(UserFolder(), "/home/ann/.config/ordolo/");  // a relative XDG path is ignored
}

TEST(Folders, TempBaseComesFromTmpdirTempTmpWithoutDoubledSlash) {
  ScopedEnv a("TMPDIR", std::nullopt), b("TEMP", "/t/temp/"), c("TMP", "/t/tmp");
  EXPECT_EQ(TempBase(), "/t/temp/");
  ScopedEnv noTemp("TEMP", std::nullopt);
  EXPECT_EQ(TempBase(), "/t/tmp/");
  ScopedEnv noTmp("TMP", std::nullopt);
  EXPECT_EQ(TempBase(), "/tmp/");
}

TEST(Folders, PrivateTempFolderIsFreshClosedAndRemovedAtTheEnd) {
  QTemporaryDir dir;
  const QString base = dir.filePath("not/yet/there") + "/";
  const QString a = MakePrivateFolder(base);
  EXPECT_TRUE(a.startsWith(base + "ordolo-")) << a.toStdString();
  EXPECT_NE(a, MakePrivateFolder(base));
  struct stat st {};
  ASSERT_EQ(stat(QFile::encodeName(a).constData(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0700u);

  ScopedEnv t("TMPDIR", dir.path().toUtf8());
  RemoveTempFolder();
  const QString kept = TempFolder();
  EXPECT_EQ(TempFolder(), kept);
  writeFile(kept + "body.html", "<p>x</p>");
  RemoveTempFolder();
  EXPECT_FALSE(QFileInfo::exists(kept));
}

TEST(Connect, FirstStartSeedsTheDataFolderOnceAndLeavesEditsAlone) {
  QTemporaryDir dir;
  const QString share = dir.filePath("share");
  writeFile(share + "/templates/AList.dotx", "template");
  const QString data = dir.filePath("home/data/");
  EXPECT_EQ(ordolo::addin::SeedDataFolder(data, share), 1);
  writeFile(data + "AList.dotx", "edited");
  EXPECT_EQ(ordolo::addin::SeedDataFolder(data, share), 0);
  EXPECT_EQ(readFile(data + "AList.dotx"), "edited");
}

TEST(Connect, StartCreatesTheFoldersAndPointsAtTheMainConfigurationFile) {
  QTemporaryDir dir;
  ScopedEnv home("ORDOLO_HOME", dir.path().toUtf8()), dbg("ORDOLO_DEBUG", std::nullopt);
  ordolo::addin::Connect c;
  c.OnConnection({});
  EXPECT_TRUE(QFileInfo(dir.filePath("config")).isDir());
  EXPECT_EQ(MainConfigPath(), dir.filePath("data/Ordolo.ini"));
  EXPECT_FALSE(QFileInfo::exists(dir.filePath("data/debug.log")));  // off unless asked
}

}  // namespace
