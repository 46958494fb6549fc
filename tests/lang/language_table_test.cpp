#include <gtest/gtest.h>

#include <QSet>
#include <QTemporaryDir>

#include "lang/KeyTable.h"
#include "lang/LanguageTable.h"
#include "lang/Messages.h"
#include "support/TestEnv.h"
#include "util/TextFile.h"

using namespace ordolo::lang;
using ordolo::test::readFile;
using ordolo::test::writeFile;
using ordolo::util::IniDocument;

namespace {

LanguageTable loaded(const QString& ini) {
  LanguageTable t;
  t.load(IniDocument::fromText(ini));
  return t;
}

TEST(KeyTable, HoldsEveryKeyOnceInTableOrder) {
  const auto& keys = keyTable();
  ASSERT_EQ(keys.size(), 99u);  // S1..S74 and S81..S86 without S52, Text1..Text20
  QSet<QString> seen;
  for (const auto& k : keys) {
    EXPECT_FALSE(seen.contains(k.key)) << k.key;
    seen.insert(k.key);
  }
  EXPECT_STREQ(keys.front().key, "S22");
  EXPECT_STREQ(keys[1].key, "S26");
  EXPECT_STREQ(keys.back().key, "S74");
  for (int n = 1; n <= 86; ++n)
    EXPECT_EQ(seen.contains(QStringLiteral("S%1").arg(n)), n != 52 && (n < 75 || n > 80)) << n;
}

TEST(LanguageTable, NoFileLoadsGermanDefaults) {
  const LanguageTable t = loaded("");
  EXPECT_EQ(t.currentLanguage(), Language::German);
  EXPECT_EQ(t.GetLangText("S60"), "Nichts markiert");
  EXPECT_EQ(t.GetLangText("S59"), "Optionen");
  EXPECT_EQ(t.GetLangText("S58"), "Sind Sie sicher?");
  EXPECT_EQ(t.GetLangText("S86"), "Filtern..");
  EXPECT_EQ(t.GetLangText("S81"), "Item nicht gespeichert");
  EXPECT_EQ(t.GetLangText("S13"), QString::fromUtf8("Januar/Februar/März/April/May/Juni/Juli/August/September/Oktober/November/Dezember"));
  EXPECT_EQ(t.GetLangText("Text19"), "Telefonanruf");
  EXPECT_EQ(t.GetLangText("S52"), "");
  EXPECT_EQ(t.GetLangText("S999"), "");
  EXPECT_EQ(t.rows().size(), 99u);
}

TEST(LanguageTable, DetectsTheLanguageFromS26AndS22) {
  EXPECT_EQ(loaded("[Lang]\nS26=Edit\nS22=Language\n").currentLanguage(), Language::English);
  EXPECT_EQ(loaded("[Lang]\nS26=Editer\nS22=Langue\n").currentLanguage(), Language::French);
  EXPECT_EQ(loaded("[Lang]\nS26=Edit\nS22=Sprache\n").currentLanguage(), Language::German);
  EXPECT_EQ(loaded(QString::fromUtf8("[Lang]\nS26=Ändern\nS22=Language\n")).currentLanguage(), Language::German);
  EXPECT_EQ(loaded("[Other]\nS26=Edit\nS22=Language\n").currentLanguage(), Language::German);
  // A missing S22 reads as "Sprache": naming only S26 is not enough.
  EXPECT_EQ(loaded("[Lang]\nS26=Edit\n").currentLanguage(), Language::German);
  // The test is exact: another spelling of the French word is English.
  EXPECT_EQ(loaded("[Lang]\nS26=editer\nS22=x\n").currentLanguage(), Language::English);
}

TEST(LanguageTable, DefaultsFollowTheDetectedLanguage) {
  const LanguageTable fr = loaded("[Lang]\nS26=Editer\nS22=Langue\n");
  EXPECT_EQ(fr.GetLangText("S60"), QString::fromUtf8("Aucune sélection"));
  EXPECT_EQ(fr.GetLangText("S86"), "Filter..");
  // Keys with only a German text keep it whatever the language.
  EXPECT_EQ(fr.GetLangText("S21"), "Drucken");
  const LanguageTable en = loaded("[Lang]\nS26=Edit\nS22=Language\nS60=\nS21=Print\n");
  EXPECT_EQ(en.GetLangText("S86"), "Filtrer..");
  EXPECT_EQ(en.GetLangText("S60"), "Nothing selected");  // empty in the file: the default
  EXPECT_EQ(en.GetLangText("S21"), "Print");
  EXPECT_EQ(en.GetLangText("Text1"), "Antwort auf Aufgabenanfrage");
}

TEST(LanguageTable, JournalTextsComeFromTheirOwnSection) {
  const LanguageTable t = loaded("[Lang]\nS26=Edit\nS22=Language\nText19=wrong section\n[S52]\nText19=Phone Call\n");
  EXPECT_EQ(t.GetLangText("Text19"), "Phone Call");
  EXPECT_EQ(t.GetLangText("Text20"), "Unterhaltung");
}

TEST(LanguageTable, SaveWritesTwoSectionsWithoutS81ToS86) {
  LanguageTable t = loaded("[Lang]\nS26=Edit\n[Extra]\nkeep=no\n");
  const QString text = t.saveText();
  const IniDocument saved = IniDocument::fromText(text);
  EXPECT_EQ(saved.sections(), (QStringList{"Lang", "S52"}));
  EXPECT_TRUE(text.startsWith("[Lang]\r\nS1=am\r\nS2=Sonntag/"));
  EXPECT_TRUE(text.contains("\r\nS51=Typ\r\nS53=Starte auf Et.Zeile:\r\n"));
  EXPECT_TRUE(text.contains("\r\nS74=Die Liste") || text.contains("\r\nS74=The list"));
  EXPECT_TRUE(text.contains("\r\nS80=\r\n[S52]\r\nText1="));
  EXPECT_TRUE(text.endsWith("Text20=Unterhaltung\r\n"));
  for (const char* gone : {"S52=", "S81=", "S86="}) EXPECT_FALSE(text.contains(gone)) << gone;
}

TEST(LanguageTable, SaveAndReloadKeepsEditsButDropsS81ToS86) {
  QTemporaryDir dir;
  const QString ini = dir.filePath("Ordolo.ini");
  writeFile(ini, "[Lang]\r\nS26=Edit\r\nS22=Language\r\n[Extra]\r\nk=v\r\n");
  LanguageTable t;
  t.LoadLanguageTable(ini);
  EXPECT_FALSE(t.isDirty());
  ASSERT_TRUE(t.setText("S60", "Select something first"));
  ASSERT_TRUE(t.setText("S86", "Filter..."));
  ASSERT_TRUE(t.setText("Text19", "Call\nback"));
  EXPECT_FALSE(t.setText("S99", "x"));
  EXPECT_TRUE(t.isDirty());
  EXPECT_EQ(t.GetLangText("S86"), "Filter...");
  ASSERT_TRUE(t.SaveLanguageTable(ini));
  EXPECT_TRUE(readFile(ini).endsWith("\r\n\r\n"));  // written as one record: one more line end

  t.LoadLanguageTable(ini);
  EXPECT_EQ(t.GetLangText("S60"), "Select something first");
  EXPECT_EQ(t.GetLangText("S86"), "Filtrer..");
  EXPECT_EQ(t.GetLangText("Text19"), "Call back");
  EXPECT_EQ(IniDocument::load(ini).sections(), (QStringList{"Lang", "S52"}));
}

TEST(LanguageTable, LangDefPutsAShippedFileOverTheIni) {
  QTemporaryDir dir;
  const QString ini = dir.filePath("Ordolo.ini");
  const QString langDir = dir.filePath("language");
  writeFile(langDir + "/English.txt", "[Lang]\r\nS26=Edit\r\nS22=Language\r\nS60=Nothing selected here\r\n");
  writeFile(langDir + QString::fromUtf8("/Français.txt"), "[Lang]\r\nS26=Editer\r\nS22=Langue\r\nS60=Aucune s\xE9lection\r\n");
  LanguageTable t;
  t.LoadLanguageTable(ini);
  ASSERT_EQ(t.LangDef(0, langDir, ini), LangDefResult::Loaded);
  EXPECT_EQ(t.currentLanguage(), Language::English);
  EXPECT_EQ(t.GetLangText("S60"), "Nothing selected here");
  // An 8-bit file is read as Windows-1252 and stored as UTF-8.
  ASSERT_EQ(t.LangDef(2, langDir, ini), LangDefResult::Loaded);
  EXPECT_EQ(t.GetLangText("S60"), QString::fromUtf8("Aucune sélection"));
  EXPECT_TRUE(ordolo::util::isValidUtf8(readFile(ini)));
}

TEST(LanguageTable, LangDefWithoutTheFileKeepsTheUsersTexts) {
  QTemporaryDir dir;
  const QString ini = writeFile(dir.filePath("Ordolo.ini"), "[Lang]\nS60=Mine\n");
  LanguageTable t;
  t.LoadLanguageTable(ini);
  EXPECT_EQ(t.LangDef(1, dir.filePath("nowhere"), ini), LangDefResult::MissingFile);
  EXPECT_EQ(t.LangDef(3, dir.filePath("nowhere"), ini), LangDefResult::UnknownIndex);
  EXPECT_EQ(readFile(ini), "[Lang]\nS60=Mine\n");
  EXPECT_EQ(t.GetLangText("S60"), "Mine");
}

TEST(LanguageTable, ReadLangKeyAndProgramMessagesUseTheCurrentLanguage) {
  table().load(IniDocument::fromText("[Lang]\nS26=Editer\nS22=Langue\nMsgUrlNotValid=Adresse invalide : \n"));
  EXPECT_EQ(table().ReadLangKey("Lang", "Missing", "de", "fr", "en"), "fr");
  EXPECT_EQ(text(Msg::UrlNotValid), "Adresse invalide :");
  EXPECT_EQ(text(Msg::ProblemStarting), QString::fromUtf8("Problème au démarrage.. (Erreur "));
  table().load(IniDocument::fromText("[Lang]\nS26=Edit\nS22=Language\n"));
  EXPECT_EQ(text(Msg::ProblemStarting), "Problem starting.. (Error ");
  EXPECT_EQ(withNumber(GetLangText("S65"), 10), "More than 10 Items to SHOW!");
}

}  // namespace
