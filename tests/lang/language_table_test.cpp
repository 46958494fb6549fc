#include <gtest/gtest.h>

#include <QTemporaryDir>

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

TEST(LanguageTable, NoFileLoadsGermanDefaults) {
  const LanguageTable t = loaded("");
  EXPECT_EQ(t.currentLanguage(), Language::German);
  EXPECT_EQ(t.GetLangText("S60"), "Nichts markiert");
  EXPECT_EQ(t.GetLangText("S59"), "Optionen");
  EXPECT_EQ(t.GetLangText("S58"), "Sind Sie sicher?");
  EXPECT_EQ(t.GetLangText("S86"), "Filtern..");
  EXPECT_EQ(t.GetLangText("S81"), "Item nicht gespeichert");
  EXPECT_EQ(t.GetLangText("Text19"), "Telefonanruf");
  EXPECT_EQ(t.GetLangText("S52"), "");
}

TEST(LanguageTable, DetectsTheLanguageFromS26AndS22) {
  EXPECT_EQ(loaded("[Lang]\nS26=Edit\nS22=Language\n").currentLanguage(), Language::English);
  EXPECT_EQ(loaded("[Lang]\nS26=Editer\nS22=Langue\n").currentLanguage(), Language::French);
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
  // Journal types live in their own section.
  const LanguageTable journal = loaded("[Lang]\nText19=wrong section\n[S52]\nText19=Phone Call\n");
  EXPECT_EQ(journal.GetLangText("Text19"), "Phone Call");
}

TEST(LanguageTable, SaveAndReloadKeepsEditsButDropsS81ToS86) {
  QTemporaryDir dir;
  const QString ini = dir.filePath("Ordolo.ini");
  // Program texts a translator wrote: one needing its quotes for the blank
  // at its end, one in another section (lost with that section).
  writeFile(ini,
            "[Lang]\r\nS26=Edit\r\nErrNoStore=No store given\r\nS22=Language\r\n"
            "MsgUrlNotValid=\"Bad address: \"\r\nS81=Not saved\r\n[Extra]\r\nk=v\r\nErrNoFolder=No folder %1\r\n");
  LanguageTable t;
  t.LoadLanguageTable(ini);
  EXPECT_FALSE(t.isDirty());
  ASSERT_TRUE(t.setText("S60", "Select something first"));
  ASSERT_TRUE(t.setText("S86", "Filter..."));
  ASSERT_TRUE(t.setText("Text19", "Call\nback"));
  EXPECT_TRUE(t.isDirty());
  EXPECT_EQ(t.GetLangText("S86"), "Filter...");
  ASSERT_TRUE(t.SaveLanguageTable(ini));
  const QByteArray saved = readFile(ini);
  EXPECT_TRUE(saved.startsWith("[Lang]\r\nS1=am\r\n"));
  EXPECT_TRUE(saved.contains("\r\nS51=Typ\r\nS53=Starte auf Et.Zeile:\r\n"));  // no S52
  // S81..S86 not written; the program texts after the S keys, in the order of their table.
  EXPECT_TRUE(
      saved.contains("\r\nS80=\r\nMsgUrlNotValid=\"Bad address: \"\r\nErrNoStore=No store given\r\n[S52]\r\nText1="))
      << saved.toStdString();
  EXPECT_FALSE(saved.contains("S81=") || saved.contains("ErrNoFolder"));
  EXPECT_TRUE(saved.endsWith("Text20=Unterhaltung\r\n\r\n"));  // written as one record: one more line end

  t.LoadLanguageTable(ini);
  EXPECT_EQ(t.GetLangText("S60"), "Select something first");
  EXPECT_EQ(t.GetLangText("S86"), "Filtrer..");
  EXPECT_EQ(t.GetLangText("Text19"), "Call back");
  EXPECT_EQ(IniDocument::load(ini).sections(), (QStringList{"Lang", "S52"}));
  EXPECT_EQ(t.GetLangText("S81"), "Item not saved");

  // A later save of another key (as "lang set" does) keeps them again.
  ASSERT_TRUE(t.setText("S21", "Print"));
  ASSERT_TRUE(t.SaveLanguageTable(ini));
  t.LoadLanguageTable(ini);
  EXPECT_EQ(t.GetLangText("S21"), "Print");
  EXPECT_EQ(t.ReadLangKey("Lang", keyOf(Msg::UrlNotValid), "de", "fr", "en"), "Bad address: ");
  EXPECT_EQ(t.ReadLangKey("Lang", keyOf(Msg::ErrNoStore), "de", "fr", "en"), "No store given");
  EXPECT_EQ(t.ReadLangKey("Lang", keyOf(Msg::ErrNoFolder), "de", "fr", "en"), "en");
  EXPECT_EQ(IniDocument::load(ini).sections(), (QStringList{"Lang", "S52"}));
}

TEST(LanguageTable, LangDefPutsAShippedFileOverTheIni) {
  QTemporaryDir dir;
  const QString ini = dir.filePath("Ordolo.ini");
  const QString langDir = dir.filePath("language");
  writeFile(langDir + "/English.txt", "[Lang]\r\nS26=Edit\r\nS22=Language\r\nS60=Nothing selected here\r\n");
  writeFile(langDir + QString::fromUtf8("/Français.txt"),
            "[Lang]\r\nS26=Editer\r\nS22=Langue\r\nS60=Aucune s\xE9lection\r\n");
  LanguageTable t;
  t.LoadLanguageTable(ini);
  ASSERT_EQ(t.LangDef(0, langDir, ini), LangDefResult::Loaded);
  EXPECT_EQ(t.currentLanguage(), Language::English);
  EXPECT_EQ(t.GetLangText("S60"), "Nothing selected here");
  // An 8-bit file is read as Windows-1252 and stored as UTF-8.
  ASSERT_EQ(t.LangDef(2, langDir, ini), LangDefResult::Loaded);
  EXPECT_EQ(t.GetLangText("S60"), QString::fromUtf8("Aucune sélection"));
  EXPECT_TRUE(ordolo::util::isValidUtf8(readFile(ini)));
  // A missing language file would wipe the user's texts: nothing changes.
  const QByteArray before = readFile(ini);
  EXPECT_EQ(t.LangDef(1, langDir, ini), LangDefResult::MissingFile);
  EXPECT_EQ(t.LangDef(3, langDir, ini), LangDefResult::UnknownIndex);
  EXPECT_EQ(readFile(ini), before);
}

TEST(LanguageTable, ReadLangKeyAndProgramMessagesUseTheCurrentLanguage) {
  table().load(IniDocument::fromText("[Lang]\nS26=Editer\nS22=Langue\nMsgUrlNotValid=Adresse invalide : \n"));
  EXPECT_EQ(table().ReadLangKey("Lang", "Missing", "de", "fr", "en"), "fr");
  EXPECT_EQ(text(Msg::UrlNotValid), "Adresse invalide :");
  table().load(IniDocument::fromText("[Lang]\nS26=Edit\nS22=Language\n"));
  EXPECT_EQ(text(Msg::ProblemStarting), "Problem starting.. (Error ");
  EXPECT_EQ(withNumber(GetLangText("S65"), 10), "More than 10 Items to SHOW!");
}

}  // namespace
