#include "lang/Messages.h"

#include "lang/LanguageTable.h"

namespace ordolo::lang {

namespace {

struct MsgDef {
  Msg id;
  const char* key;
  const char* de;
  const char* fr;
  const char* en;
};

const MsgDef kMessages[] = {
    {Msg::ProblemStarting, "MsgProblemStarting", "Problem beim Starten.. (Fehler ", "Problème au démarrage.. (Erreur ",
     "Problem starting.. (Error "},
    {Msg::UrlNotValid, "MsgUrlNotValid", "URL ungültig: ", "URL non valide: ", "URL not valid: "},
    {Msg::CliSummary, "CliSummary",
     "Druckt Termine, Kontakte, Verteiler, E-Mails, Aufgaben, Notizen und Journaleinträge über Word- und Excel-Vorlagen.",
     "Imprime rendez-vous, contacts, listes de distribution, e-mails, tâches, notes et entrées de journal à l'aide de modèles Word et Excel.",
     "Prints appointments, contacts, distribution lists, mails, tasks, notes and journal entries through Word and Excel templates."},
    {Msg::CliUsage, "CliUsage", "Aufruf:", "Utilisation :", "Usage:"},
    {Msg::CliCommands, "CliCommands", "Befehle:", "Commandes :", "Commands:"},
    {Msg::CliOptions, "CliOptions", "Optionen:", "Options :", "Options:"},
    {Msg::CliCmdVersion, "CliCmdVersion", "Zeigt die Version an.", "Affiche la version.", "Shows the version."},
    {Msg::CliCmdHelp, "CliCmdHelp", "Zeigt diese Hilfe an.", "Affiche cette aide.", "Shows this help."},
    {Msg::CliCmdLangGet, "CliCmdLangGet", "Gibt den Text eines Schlüssels der Sprachtabelle aus (z.B. S60, Text19).",
     "Affiche le texte d'une clé de la table des langues (p. ex. S60, Text19).",
     "Prints the text of a key of the language table (e.g. S60, Text19)."},
    {Msg::CliCmdLangLoad, "CliCmdLangLoad", "Lädt eine mitgelieferte Sprachdatei: english, deutsch oder francais.",
     "Charge un fichier de langue fourni : english, deutsch ou francais.",
     "Loads a shipped language file: english, deutsch or francais."},
    {Msg::CliCmdLangList, "CliCmdLangList", "Listet die Sprachtabelle: Schlüssel, Rubrik, Beschrieb, Text (durch Tabulatoren getrennt).",
     "Liste la table des langues : clé, rubrique, description, texte (séparés par des tabulations).",
     "Lists the language table: key, rubric, description, text (tab-separated)."},
    {Msg::CliCmdLangSet, "CliCmdLangSet", "Ändert den Text eines Schlüssels und speichert die Sprachtabelle.",
     "Modifie le texte d'une clé et enregistre la table des langues.",
     "Changes the text of one key and saves the language table."},
    {Msg::CliOptDebug, "CliOptDebug", "Schreibt das Protokoll debug.log in den Datenordner.",
     "Écrit le journal debug.log dans le dossier de données.", "Writes the log debug.log into the data folder."},
    {Msg::CliOptLocale, "CliOptLocale", "Gebietsschema für Datum und Zahlen (z.B. de_DE); Vorgabe: LC_ALL, LC_TIME, LANG.",
     "Paramètres régionaux des dates et nombres (p. ex. fr_FR) ; par défaut : LC_ALL, LC_TIME, LANG.",
     "Locale for dates and numbers (e.g. en_GB); default: LC_ALL, LC_TIME, LANG."},
    {Msg::CliOptYes, "CliOptYes", "Beantwortet Rückfragen mit Ja.", "Répond oui aux questions.", "Answers questions with yes."},
    {Msg::CliEnvironment, "CliEnvironment", "Umgebung:", "Environnement :", "Environment:"},
    {Msg::CliEnvHome, "CliEnvHome", "Ein Ordner für alle Dateien von Ordolo (data/ und config/), statt der XDG-Ordner.",
     "Un dossier pour tous les fichiers d'Ordolo (data/ et config/), au lieu des dossiers XDG.",
     "One folder for all of Ordolo's files (data/ and config/), instead of the XDG folders."},
    {Msg::CliEnvDebug, "CliEnvDebug", "1 schaltet das Protokoll debug.log ein, wie --debug.",
     "1 active le journal debug.log, comme --debug.", "1 switches the log debug.log on, as --debug does."},
    {Msg::ErrUnknownCommand, "ErrUnknownCommand", "Unbekannter Befehl: %1 (siehe ordolo --help)",
     "Commande inconnue : %1 (voir ordolo --help)", "Unknown command: %1 (see ordolo --help)"},
    {Msg::ErrMissingArgument, "ErrMissingArgument", "Zu wenige Angaben für: %1 (siehe ordolo --help)",
     "Arguments manquants pour : %1 (voir ordolo --help)", "Missing argument for: %1 (see ordolo --help)"},
    {Msg::ErrUnknownKey, "ErrUnknownKey", "Kein solcher Schlüssel in der Sprachtabelle: %1",
     "Clé inconnue dans la table des langues : %1", "No such key in the language table: %1"},
    {Msg::ErrUnknownLanguage, "ErrUnknownLanguage", "Unbekannte Sprache: %1 (english, deutsch oder francais)",
     "Langue inconnue : %1 (english, deutsch ou francais)", "Unknown language: %1 (english, deutsch or francais)"},
    {Msg::ErrLanguageFile, "ErrLanguageFile",
     "Sprachdatei fehlt oder ist leer: %1; die Sprachtabelle bleibt unverändert.",
     "Fichier de langue absent ou vide : %1 ; la table des langues reste inchangée.",
     "Language file missing or empty: %1; the language table is left as it was."},
    {Msg::ErrWriteFile, "ErrWriteFile", "Datei kann nicht geschrieben werden: %1", "Impossible d'écrire le fichier : %1",
     "Cannot write the file: %1"},
    {Msg::ErrKeyNotStored, "ErrKeyNotStored",
     "%1 wird nicht in der Sprachdatei gespeichert; es gilt immer der eingebaute Text.",
     "%1 n'est pas enregistré dans le fichier de langue ; le texte intégré s'applique toujours.",
     "%1 is not stored in the language file; its built-in text always applies."},
    {Msg::ErrUnknownOption, "ErrUnknownOption", "Unbekannte Option: %1 (siehe ordolo --help)",
     "Option inconnue : %1 (voir ordolo --help)", "Unknown option: %1 (see ordolo --help)"},
    {Msg::CliCmdFolders, "CliCmdFolders", "Listet die Ordner des Speichers auf: Pfad, Elementklasse, Anzahl.",
     "Liste les dossiers de la banque : chemin, classe d'élément, nombre.",
     "Lists the store's folders: path, item class, item count."},
    {Msg::CliCmdList, "CliCmdList",
     "Listet die Elemente eines Ordners auf, eines pro Zeile: Eintrags-ID, Klasse, Betreff, Zeit (mit --from/--to nur diese Tage, Serien als einzelne Termine).",
     "Liste les éléments d'un dossier, un par ligne : ID d'entrée, classe, objet, heure (avec --from/--to seulement ces jours, les séries en occurrences).",
     "Lists a folder's items, one per line: entry id, class, subject, time (with --from/--to only those days, series as single occurrences)."},
    {Msg::CliOptStore, "CliOptStore", "Wurzelordner des Speichers (Kalender, Kontakte, Mailordner).",
     "Dossier racine de la banque (calendriers, contacts, dossiers de courrier).",
     "Root folder of the store (calendars, contacts, mail folders)."},
    {Msg::CliOptFolder, "CliOptFolder", "Ordner unterhalb der Wurzel, z.B. Calendar oder Inbox/Projekte.",
     "Dossier sous la racine, p.ex. Calendar ou Inbox/Projets.",
     "Folder below the root, e.g. Calendar or Inbox/Projects."},
    {Msg::CliOptFrom, "CliOptFrom", "Erster Tag (JJJJ-MM-TT oder kurzes Datum); ohne --to nur dieser Tag.",
     "Premier jour (AAAA-MM-JJ ou date courte) ; sans --to, ce jour seulement.",
     "First day (YYYY-MM-DD or short date); without --to just that day."},
    {Msg::CliOptTo, "CliOptTo", "Letzter Tag, einschließlich.", "Dernier jour, inclus.", "Last day, included."},
    {Msg::CliEnvStore, "CliEnvStore", "Speicher, wenn --store fehlt.", "Banque utilisée sans --store.",
     "Store used when --store is not given."},
    {Msg::ErrNoStore, "ErrNoStore", "Kein Speicher angegeben (--store ORDNER oder ORDOLO_STORE).",
     "Aucune banque indiquée (--store DOSSIER ou ORDOLO_STORE).",
     "No store given (--store FOLDER or ORDOLO_STORE)."},
    {Msg::ErrStore, "ErrStore", "Speicher kann nicht geöffnet werden: %1 ist kein lesbarer Ordner.",
     "Impossible d'ouvrir la banque : %1 n'est pas un dossier lisible.",
     "Cannot open the store: %1 is not a readable folder."},
    {Msg::ErrNoFolder, "ErrNoFolder", "Kein Ordner %1 im Speicher (siehe ordolo folders).",
     "Pas de dossier %1 dans la banque (voir ordolo folders).",
     "No folder %1 in the store (see ordolo folders)."},
    {Msg::ErrBadDate, "ErrBadDate", "Kein gültiges Datum: %1", "Date non valide : %1", "Not a valid date: %1"},
    {Msg::ErrFilter, "ErrFilter", "Filter nicht verstanden: %1", "Filtre non compris : %1",
     "Filter not understood: %1"},
    {Msg::LangLoaded, "MsgLangLoaded", "Sprachtabelle geladen aus %1", "Table des langues chargée depuis %1",
     "Language table loaded from %1"},
    {Msg::LangSaved, "MsgLangSaved", "%1 gespeichert in %2", "%1 enregistré dans %2", "%1 saved in %2"},
    {Msg::Cancelled, "MsgCancelled", "Abgebrochen.", "Annulé.", "Cancelled."},
    {Msg::ErrWorkbookOpen, "ErrWorkbookOpen", "Die Excel-Datei %1 kann nicht geöffnet werden: %2",
     "Impossible d'ouvrir le fichier Excel %1 : %2", "Cannot open the Excel file %1: %2"},
    {Msg::ErrWorkbookPart, "ErrWorkbookPart", "Der Excel-Datei %1 fehlt der Teil %2.",
     "Il manque la partie %2 au fichier Excel %1.", "The Excel file %1 lacks the part %2."},
    {Msg::ErrWorkbookXml, "ErrWorkbookXml", "Die Excel-Datei %1 ist beschädigt: %2 ist kein gültiges XML (%3).",
     "Le fichier Excel %1 est endommagé : %2 n'est pas du XML valide (%3).",
     "The Excel file %1 is damaged: %2 is not well-formed XML (%3)."},
    {Msg::ErrWorkbookNoSheet, "ErrWorkbookNoSheet", "Die Excel-Datei %1 enthält kein Tabellenblatt.",
     "Le fichier Excel %1 ne contient aucune feuille de calcul.", "The Excel file %1 holds no worksheet."},
    {Msg::ErrWorkbookSave, "ErrWorkbookSave", "Die Excel-Datei %1 kann nicht gespeichert werden: %2",
     "Impossible d'enregistrer le fichier Excel %1 : %2", "Cannot save the Excel file %1: %2"},
    {Msg::ErrOfficeMissing, "ErrOfficeMissing",
     "LibreOffice wurde nicht gefunden; installieren Sie libreoffice-writer-nogui und libreoffice-calc-nogui oder setzen Sie ORDOLO_SOFFICE auf das Programm soffice.",
     "LibreOffice est introuvable ; installez libreoffice-writer-nogui et libreoffice-calc-nogui ou indiquez le programme soffice dans ORDOLO_SOFFICE.",
     "LibreOffice was not found; install libreoffice-writer-nogui and libreoffice-calc-nogui, or set ORDOLO_SOFFICE to the soffice program."},
    {Msg::ErrConvertNoFile, "ErrConvertNoFile", "Die Datei %1 kann nicht gelesen werden.",
     "Le fichier %1 ne peut pas être lu.", "The file %1 cannot be read."},
    {Msg::ErrConvertNotDocument, "ErrConvertNotDocument", "%1 ist kein Word- oder Excel-Dokument.",
     "%1 n'est pas un document Word ou Excel.", "%1 is not a Word or Excel document."},
    {Msg::ErrConvertNotLegacy, "ErrConvertNotLegacy",
     "%1 ist keine alte Word- oder Excel-Datei (.dot, .doc, .xlt, .xls).",
     "%1 n'est pas un ancien fichier Word ou Excel (.dot, .doc, .xlt, .xls).",
     "%1 is not a legacy Word or Excel file (.dot, .doc, .xlt, .xls)."},
    {Msg::ErrConvertFailed, "ErrConvertFailed", "LibreOffice konnte %1 nicht umwandeln.",
     "LibreOffice n'a pas pu convertir %1.", "LibreOffice could not convert %1."},
    {Msg::ErrConvertCrashed, "ErrConvertCrashed", "LibreOffice wurde beim Umwandeln von %1 unerwartet beendet.",
     "LibreOffice s'est arrêté inopinément en convertissant %1.",
     "LibreOffice stopped unexpectedly while converting %1."},
    {Msg::ErrConvertTimeout, "ErrConvertTimeout",
     "LibreOffice hat %1 nicht innerhalb von %2 Sekunden umgewandelt und wurde beendet.",
     "LibreOffice n'a pas converti %1 en %2 secondes et a été arrêté.",
     "LibreOffice did not convert %1 within %2 seconds and was stopped."},
    {Msg::ErrConvertWrite, "ErrConvertWrite", "Die umgewandelte Datei kann nicht nach %1 geschrieben werden.",
     "Le fichier converti ne peut pas être écrit dans %1.", "The converted file cannot be written to %1."},
    {Msg::ErrDocumentOpen, "ErrDocumentOpen", "Das Word-Dokument %1 kann nicht geöffnet werden: %2",
     "Le document Word %1 ne peut pas être ouvert : %2", "The Word document %1 cannot be opened: %2"},
    {Msg::ErrDocumentXml, "ErrDocumentXml", "Das Word-Dokument %1 ist beschädigt: %2 ist kein gültiges XML (%3, Byte %4).",
     "Le document Word %1 est endommagé : %2 n'est pas du XML valide (%3, octet %4).",
     "The Word document %1 is damaged: %2 is not well-formed XML (%3, byte %4)."},
    {Msg::ErrDocumentNoBody, "ErrDocumentNoBody", "%1 ist kein Word-Dokument: der Dokumentteil fehlt.",
     "%1 n'est pas un document Word : la partie document manque.",
     "%1 is not a Word document: the document part is missing."},
    {Msg::ErrDocumentSave, "ErrDocumentSave", "Das Word-Dokument %1 kann nicht gespeichert werden: %2",
     "Le document Word %1 ne peut pas être enregistré : %2", "The Word document %1 cannot be saved: %2"},
    {Msg::ErrPictureInsert, "ErrPictureInsert", "Das Bild %1 kann nicht eingefügt werden: %2",
     "L'image %1 ne peut pas être insérée : %2", "The picture %1 cannot be inserted: %2"},
    {Msg::ErrInsertFile, "ErrInsertFile", "Die Datei %1 kann nicht eingefügt werden: %2",
     "Le fichier %1 ne peut pas être inséré : %2", "The file %1 cannot be inserted: %2"},
    {Msg::ErrNoPrintTarget, "ErrNoPrintTarget", "%1 kann nicht gedruckt werden: kein Drucker und kein Ausgabeordner gewählt.",
     "%1 ne peut pas être imprimé : aucune imprimante ni aucun dossier de sortie choisi.",
     "%1 cannot be printed: no printer and no output folder chosen."},
};

const MsgDef& def(Msg id) {
  for (const MsgDef& m : kMessages)
    if (m.id == id) return m;
  return kMessages[0];
}

}  // namespace

QString text(Msg id) {
  const MsgDef& m = def(id);
  return table().ReadLangKey(QStringLiteral("Lang"), QString::fromUtf8(m.key), QString::fromUtf8(m.de),
                             QString::fromUtf8(m.fr), QString::fromUtf8(m.en));
}

QString keyOf(Msg id) { return QString::fromUtf8(def(id).key); }

}  // namespace ordolo::lang
