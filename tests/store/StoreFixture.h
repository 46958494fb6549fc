// The test store in tests/data/store, opened in Berlin time, and a way to
// work on a private copy of it when a test writes.
#pragma once

#include "store/FileStore.h"
#include "support/TestEnv.h"

#include <QDirIterator>

#include <gtest/gtest.h>

#include <ctime>

namespace ordolo::test {

// Local times of the fixtures are Berlin times; set before Qt looks.
inline const bool kBerlinTime = [] {
  qputenv("TZ", "Europe/Berlin");
  tzset();
  return true;
}();

inline QString fixtureStorePath() { return QStringLiteral(ORDOLO_TEST_DATA "/store"); }

inline void copyTree(const QString& from, const QString& to) {
  QDirIterator it(from, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
  while (it.hasNext()) {
    const QString path = it.next();
    const QString target = to + path.mid(from.size());
    if (it.fileInfo().isDir()) QDir().mkpath(target);
    else QFile::copy(path, target);
  }
}

inline QDateTime at(int y, int mo, int d, int h = 0, int mi = 0) { return QDateTime(QDate(y, mo, d), QTime(h, mi)); }

class StoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    QString why;
    store = store::FileStore::open(fixtureStorePath(), &why);
    ASSERT_TRUE(store) << why.toStdString();
  }
  model::ItemsPtr items(const QString& folder) {
    auto f = store->folderByPath(folder);
    EXPECT_TRUE(f) << folder.toStdString();
    return f ? f->GetItems() : std::make_shared<model::Items>();
  }
  model::ItemPtr bySubject(const QString& folder, const QString& subject, const char* property = "Subject") {
    const auto list = items(folder);
    for (const auto& item : *list)
      if (item->text(QString::fromLatin1(property)) == subject) return item;
    ADD_FAILURE() << "no item " << subject.toStdString() << " in " << folder.toStdString();
    return nullptr;
  }
  std::shared_ptr<store::FileStore> store;
};

}  // namespace ordolo::test
