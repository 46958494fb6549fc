// Duplicate removal over a real inbox copy (list-only and physical, the
// moves undone by moving the files back) and .eml files made into drafts.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "lang/LanguageTable.h"
#include "session/Start.h"
#include "store/FileStore.h"
#include "support/ScriptedPort.h"
#include "support/TestEnv.h"
#include "tools/Duplicates.h"
#include "tools/EmlImport.h"

using namespace ordolo;
using tools::DedupMode;

namespace {

const QString kInbox = QStringLiteral(ORDOLO_SOURCE_DIR "/examples/store/Inbox/cur");

class ToolsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    lang::table().LoadLanguageTable(QStringLiteral(ORDOLO_SOURCE_SHARE "/language/English.txt"));
    for (const char* sub :
         {"Inbox/cur", "Inbox/new", "Inbox/tmp", "Deleted Items/cur", "Deleted Items/new", "Deleted Items/tmp"})
      QDir().mkpath(root.filePath(sub));
    mails = QDir(kInbox).entryList(QDir::Files, QDir::Name).mid(0, 5);
    for (const QString& m : mails) QFile::copy(kInbox + "/" + m, root.filePath("Inbox/cur/" + m));
  }
  // Every mail a second time, as a sync that ran twice leaves them.
  void doubleThem() {
    for (const QString& m : mails)
      QFile::copy(kInbox + "/" + m, root.filePath("Inbox/cur/" + m.section(':', 0, 0) + "copy:2,S"));
  }
  std::unique_ptr<session::Start> listOf(const QString& folder) {
    store = store::FileStore::open(root.path());
    auto start = std::make_unique<session::Start>(port);
    auto f = store->folderByPath(folder);
    EXPECT_TRUE(start->StartPrint(model::Selection(f->GetItems()->all()), f, "Tester"));
    return start;
  }
  QStringList files(const QString& folder) { return QDir(root.filePath(folder)).entryList(QDir::Files, QDir::Name); }

  QTemporaryDir home, root;
  test::ScopedEnv env{"ORDOLO_HOME", home.path().toUtf8()};
  test::ScriptedPort port;
  std::shared_ptr<store::FileStore> store;
  QStringList mails;
};

TEST_F(ToolsTest, EveryMailTwiceComesBackOnceAndThePhysicalMovesCanBeUndone) {
  doubleThem();
  auto list = listOf("Inbox");
  ASSERT_EQ(list->rows().size(), 10u);
  tools::DedupResult r = tools::RemoveDuplicates(*list, {DedupMode::ListOnly, false, {}});
  EXPECT_EQ(r.removed.size(), 5u);
  EXPECT_EQ(list->rows().size(), 5u);
  EXPECT_EQ(list->items().size(), 5u);
  EXPECT_EQ(files("Inbox/cur").size(), 10);  // the list only

  list = listOf("Inbox");
  tools::DedupRequest physical{DedupMode::Physical, false, {}};
  r = tools::RemoveDuplicates(*list, physical);
  ASSERT_EQ(r.removed.size(), 5u);
  EXPECT_EQ(files("Inbox/cur").size(), 5);
  EXPECT_EQ(files("Deleted Items/cur").size(), 5);
  for (const auto& removed : r.removed) {
    EXPECT_TRUE(removed.error.isEmpty()) << removed.error.toStdString();
    ASSERT_TRUE(QFile::exists(removed.movedTo)) << removed.movedTo.toStdString();
    // Moved back, the mail is where it was.
    ASSERT_TRUE(QFile::rename(removed.movedTo, root.filePath("Inbox/cur/" + QFileInfo(removed.movedTo).fileName())));
  }
  EXPECT_EQ(files("Inbox/cur").size(), 10);
  EXPECT_EQ(listOf("Inbox")->rows().size(), 10u);
}

// The walk itself, on rows whose texts are set by hand.
TEST_F(ToolsTest, NeighboursInTheListOnlyModeATenRowWindowInThePhysicalOne) {
  auto list = listOf("Inbox");
  auto setKeys = [&](const QList<QStringList>& keys) {
    for (size_t i = 0; i < list->rows().size(); ++i) list->rows()[i].subItems = keys[int(i)];
  };
  // Physical: columns from 9 on are ignored; a duplicate further down than
  // ten mismatching rows is not found.
  QStringList nine{"a", "b", "c", "d", "e", "f", "g", "h", "x"};
  QStringList nineOther = nine;
  nineOther[8] = "y";
  // Cells are compared one by one: "ab"+"c" is not "a"+"bc".
  setKeys({nine, {"ab", "c"}, nineOther, {"a", "bc"}, {"3"}});
  tools::DedupRequest physical{DedupMode::Physical, true, {}};  // dry run: nothing moves
  EXPECT_EQ(tools::RemoveDuplicates(*list, physical).removed.size(), 1u);
  EXPECT_EQ(files("Inbox/cur").size(), 5);

  QDir().mkpath(root.filePath("Inbox/new"));
  for (int i = 0; i < 8; ++i)
    QFile::copy(kInbox + "/" + mails[0], root.filePath("Inbox/cur/" + QString("extra%1:2,S").arg(i)));
  list = listOf("Inbox");
  ASSERT_EQ(list->rows().size(), 13u);
  QList<QStringList> keys{{"same"}};
  for (int i = 1; i <= 11; ++i) keys << QStringList{QString::number(i)};
  keys << QStringList{"same"};  // eleven rows further down
  setKeys(keys);
  EXPECT_TRUE(tools::RemoveDuplicates(*list, physical).removed.empty());
  keys.move(12, 10);  // ten rows further down
  setKeys(keys);
  EXPECT_EQ(tools::RemoveDuplicates(*list, physical).removed.size(), 1u);

  // List-only: three equal neighbours shrink to one; two equal rows with a
  // different one between them both stay (the sort by received time keeps
  // them apart: the row between has their time).
  for (int i = 1; i < 8; ++i) QFile::remove(root.filePath("Inbox/cur/" + QString("extra%1:2,S").arg(i)));
  list = listOf("Inbox");
  ASSERT_EQ(list->rows().size(), 6u);
  const QStringList k{"k", "", "", "", "", "1", "k"}, l{"l", "", "", "", "", "2", "l"},
      m{"m", "", "", "", "", "2", "m"};
  setKeys({k, k, k, l, m, l});
  const auto r = tools::RemoveDuplicates(*list, {DedupMode::ListOnly, false, {}});
  EXPECT_EQ(r.removed.size(), 2u);
  ASSERT_EQ(list->rows().size(), 4u);
  EXPECT_EQ(list->rows()[3].subItems, l);
}

TEST_F(ToolsTest, EmlFilesBecomeDraftsAndWhatIsNoMessageIsNamed) {
  QTemporaryDir drop;
  QFile::copy(kInbox + "/" + mails[0], drop.filePath("x.EML"));
  QFile::copy(kInbox + "/" + mails[1], drop.filePath("x.eml"));
  QFile::copy(kInbox + "/" + mails[2], drop.filePath("y.txt"));
  store = store::FileStore::open(root.path());
  // No Drafts folder yet: it is made.
  tools::EmlImportResult r = tools::ImportEml(*store,
                                              {drop.filePath("x.EML"), drop.filePath("x.eml"), drop.filePath("y.txt")});
  EXPECT_EQ(r.message(), "2 messages imported => see Folder Drafts (German \"Entwürfe\")!");
  ASSERT_EQ(r.drafts.size(), 2);
  EXPECT_TRUE(r.drafts[0].endsWith(":2,D"));
  QFile original(kInbox + "/" + mails[0]), draft(r.drafts[0]);
  ASSERT_TRUE(original.open(QIODevice::ReadOnly) && draft.open(QIODevice::ReadOnly));
  EXPECT_EQ(draft.readAll(), original.readAll());
  store = store::FileStore::open(root.path());
  EXPECT_EQ(store->GetDefaultFolder(model::olFolderDrafts)->GetItems()->Count(), 2);

  // Nothing to import still says so; an empty or binary .eml is named.
  EXPECT_EQ(tools::ImportEml(*store, {drop.filePath("y.txt")}).message(),
            "0 messages imported => see Folder Drafts (German \"Entwürfe\")!");
  QFile(drop.filePath("empty.eml")).open(QIODevice::WriteOnly);
  QFile binary(drop.filePath("photo.eml"));
  ASSERT_TRUE(binary.open(QIODevice::WriteOnly));
  binary.write(QByteArray("\x89PNG\r\n\x1a\n\0\0\0", 11));
  binary.close();
  r = tools::ImportEml(*store, {drop.filePath("empty.eml"), drop.filePath("photo.eml")});
  EXPECT_EQ(r.imported, 0);
  EXPECT_EQ(r.message(),
            "0 messages imported => see Folder Drafts (German \"Entwürfe\")!\r\n"
            "Not messages, not imported: empty.eml, photo.eml");

  // A Drafts folder that takes no file: said, nothing counted.
  QDir(root.filePath("Drafts/tmp")).removeRecursively();
  QFile blocker(root.filePath("Drafts/tmp"));
  ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
  blocker.close();
  r = tools::ImportEml(*store, {drop.filePath("x.eml")});
  EXPECT_EQ(r.imported, 0);
  EXPECT_TRUE(r.error.startsWith("The Drafts folder " + root.filePath("Drafts") + " cannot be written: "))
      << r.error.toStdString();
}

}  // namespace
