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

// clang-format off
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
    {Msg::PrintConverting, "PrintConverting", "Umwandeln in PDF: %1 von %2",
     "Conversion en PDF : %1 sur %2",
     "Converting to PDF: %1 of %2"},
    {Msg::PrintPrinting, "PrintPrinting", "Drucken: %1 von %2",
     "Impression : %1 sur %2",
     "Printing %1 of %2"},
    {Msg::PrintSaving, "PrintSaving", "Speichern: %1 von %2",
     "Enregistrement : %1 sur %2",
     "Saving %1 of %2"},
    {Msg::PrintOpening, "PrintOpening", "Öffnen: %1 von %2",
     "Ouverture : %1 sur %2",
     "Opening %1 of %2"},
    {Msg::ErrCupsUnreachable, "ErrCupsUnreachable", "Das Drucksystem CUPS (%1) läuft nicht oder ist nicht erreichbar: %2",
     "Le système d'impression CUPS (%1) ne fonctionne pas ou est injoignable : %2",
     "The print system CUPS (%1) is not running or cannot be reached: %2"},
    {Msg::ErrNoDefaultQueue, "ErrNoDefaultQueue", "Es wurde kein Drucker gewählt, und CUPS hat keinen Standarddrucker.",
     "Aucune imprimante n'a été choisie et CUPS n'a pas d'imprimante par défaut.",
     "No printer was chosen and CUPS has no default printer."},
    {Msg::ErrQueueMissing, "ErrQueueMissing", "Den Drucker %1 gibt es in CUPS (%2) nicht.",
     "L'imprimante %1 n'existe pas dans CUPS (%2).",
     "The printer %1 does not exist in CUPS (%2)."},
    {Msg::ErrQueueRejecting, "ErrQueueRejecting", "Der Drucker %1 nimmt keine Aufträge an: %2",
     "L'imprimante %1 n'accepte pas de travaux : %2",
     "The printer %1 does not accept jobs: %2"},
    {Msg::ErrPrintSubmit, "ErrPrintSubmit", "%1 konnte nicht an den Drucker %2 gesendet werden: %3",
     "%1 n'a pas pu être envoyé à l'imprimante %2 : %3",
     "%1 could not be sent to the printer %2: %3"},
    {Msg::ErrPrintJobFailed, "ErrPrintJobFailed", "Der Druckauftrag %1 auf %2 wurde nicht gedruckt (%3).",
     "Le travail d'impression %1 sur %2 n'a pas été imprimé (%3).",
     "The print job %1 on %2 was not printed (%3)."},
    {Msg::ErrPrintJobTimeout, "ErrPrintJobTimeout", "Der Druckauftrag %1 auf %2 ist nach %3 Sekunden nicht fertig; er bleibt in der Warteschlange.",
     "Le travail d'impression %1 sur %2 n'est pas terminé après %3 secondes ; il reste dans la file d'attente.",
     "The print job %1 on %2 has not finished after %3 seconds; it stays in the queue."},
    {Msg::ErrOutputFolder, "ErrOutputFolder", "Der Ordner %1 kann nicht angelegt oder beschrieben werden.",
     "Le dossier %1 ne peut pas être créé ou modifié.",
     "The folder %1 cannot be created or written to."},
    {Msg::ErrOutputWrite, "ErrOutputWrite", "%1 kann nicht geschrieben werden: %2",
     "%1 ne peut pas être écrit : %2",
     "%1 cannot be written: %2"},
    {Msg::ErrOutputConvert, "ErrOutputConvert", "%1 wurde nicht in PDF umgewandelt: %2",
     "%1 n'a pas été converti en PDF : %2",
     "%1 was not converted to PDF: %2"},
    {Msg::ErrOutputNoFile, "ErrOutputNoFile", "%1 kann nicht ausgegeben werden: die Datei %2 fehlt.",
     "%1 ne peut pas être sorti : le fichier %2 est introuvable.",
     "%1 cannot be output: the file %2 is missing."},
    {Msg::ErrOutputOpen, "ErrOutputOpen", "%1 konnte nicht geöffnet werden (Fehler %2).",
     "%1 n'a pas pu être ouvert (erreur %2).",
     "%1 could not be opened (error %2)."},
    {Msg::ColNumber, "ColNumber", "Nr.", "N°", "No."},
    {Msg::ColSortKey, "ColSortKey", "Sortierschlüssel", "Clé de tri", "Sort key"},
    {Msg::ColLocation, "ColLocation", "Ort", "Lieu", "Location"},
    {Msg::ColMembers, "ColMembers", "Mitglieder", "Membres", "Members"},
    {Msg::ColText, "ColText", "Text", "Texte", "Text"},
    {Msg::ColComplete, "ColComplete", "% erledigt", "% achevé", "% complete"},
    {Msg::ColImportance, "ColImportance", "!", "!", "!"},
    {Msg::ColAttachments, "ColAttachments", "Anlagen", "Pièces jointes", "Attachments"},
    {Msg::ColFrom, "ColFrom", "Von", "De", "From"},
    {Msg::ColTo, "ColTo", "An", "À", "To"},
    {Msg::ColState, "ColState", "Status", "État", "State"},
    {Msg::ErrTemplateMissing, "ErrTemplateMissing", "Vorlage nicht gefunden: %1", "Modèle introuvable : %1",
     "Template not found: %1"},
    {Msg::ErrTemplateKind, "ErrTemplateKind",
     "%1 ist keine Word- oder Excel-Vorlage (.dotx, .docx, .dot, .xltx, .xlsx, .xlt, .xls).",
     "%1 n'est pas un modèle Word ou Excel (.dotx, .docx, .dot, .xltx, .xlsx, .xlt, .xls).",
     "%1 is not a Word or Excel template (.dotx, .docx, .dot, .xltx, .xlsx, .xlt, .xls)."},
    {Msg::ErrNothingToPrint, "ErrNothingToPrint", "Nichts zu drucken: keine Einträge ausgewählt.",
     "Rien à imprimer : aucun élément sélectionné.", "Nothing to print: no items chosen."},
    // Shown as they always were, in every language.
    {Msg::ErrReportLines, "ErrReportLines", "Report Lines not found: <% ... %>", "Report Lines not found: <% ... %>",
     "Report Lines not found: <% ... %>"},
    {Msg::ErrLabelRow, "ErrLabelRow", "Label Row does not exist!", "Label Row does not exist!", "Label Row does not exist!"},
    {Msg::CliCmdPrint, "CliCmdPrint", "Füllt die Vorlage mit den Einträgen eines Ordners und druckt sie, speichert sie als PDF oder zeigt sie.",
     "Remplit le modèle avec les éléments d'un dossier et les imprime, les enregistre en PDF ou les affiche.",
     "Fills the template with a folder's items and prints them, saves them as PDF or shows them."},
    {Msg::CliCmdTemplates, "CliCmdTemplates", "Listet die Vorlagen des Vorlagenordners für eine Art von Einträgen.",
     "Liste les modèles du dossier des modèles pour un type d'éléments.",
     "Lists the template folder's templates for a kind of item."},
    {Msg::CliOptTemplate, "CliOptTemplate", "Die Vorlage: ein Name im Vorlagenordner oder ein Pfad; Vorgabe: die zuletzt gewählte.",
     "Le modèle : un nom du dossier des modèles ou un chemin ; par défaut : le dernier choisi.",
     "The template: a name in the template folder or a path; default: the one last chosen."},
    {Msg::CliOptItems, "CliOptItems", "Nur diese Einträge (IDs aus ordolo list, durch Kommas getrennt).",
     "Seulement ces éléments (identifiants de ordolo list, séparés par des virgules).",
     "Only these items (ids from ordolo list, comma-separated)."},
    {Msg::CliOptSort, "CliOptSort", "Sortiert die Liste nach einer Spalte (Nummer oder Überschrift) und gruppiert danach.",
     "Trie la liste selon une colonne (numéro ou en-tête) et regroupe selon elle.",
     "Sorts the list by a column (number or header) and groups by it."},
    {Msg::CliOptStartRow, "CliOptStartRow", "Etiketten: die erste zu bedruckende Zeile (1-9).",
     "Étiquettes : la première ligne à imprimer (1-9).", "Labels: the first label row to print on (1-9)."},
    {Msg::CliOptCopies, "CliOptCopies", "Etiketten: Anzahl Etiketten je Eintrag.", "Étiquettes : nombre d'étiquettes par élément.",
     "Labels: labels per item."},
    {Msg::CliOptPrinter, "CliOptPrinter", "Druckt auf diese CUPS-Warteschlange.", "Imprime sur cette file CUPS.",
     "Prints to this CUPS queue."},
    {Msg::CliOptPdf, "CliOptPdf", "Schreibt je Dokument ein PDF in diesen Ordner.", "Écrit un PDF par document dans ce dossier.",
     "Writes one PDF per document into this folder."},
    {Msg::CliOptSave, "CliOptSave", "Speichert die gefüllten Dokumente (.docx/.xlsx) in diesen Ordner.",
     "Enregistre les documents remplis (.docx/.xlsx) dans ce dossier.",
     "Saves the filled documents (.docx/.xlsx) into this folder."},
    {Msg::CliOptShow, "CliOptShow", "Öffnet die gefüllten Dokumente im Programm des Desktops.",
     "Ouvre les documents remplis dans le programme du bureau.", "Opens the filled documents in the desktop's program."},
    {Msg::CliOptColumns, "CliOptColumns", "list: die Zeilen der Eintragsliste mit ihren Spalten.",
     "list : les lignes de la liste des éléments avec leurs colonnes.", "list: the item list's rows with their columns."},
    {Msg::CliOptKind, "CliOptKind", "templates: die Art (A, C, D, J, M, N, T).", "templates : le type (A, C, D, J, M, N, T).",
     "templates: the kind (A, C, D, J, M, N, T)."},
    {Msg::PrintProgress, "PrintProgress", "%1 von %2 Einträgen", "%1 sur %2 éléments", "%1 of %2 items"},
    {Msg::PrintDone, "PrintDone", "Einträge: %1, Dokumente: %2", "Éléments : %1, documents : %2", "Items: %1, documents: %2"},
    {Msg::PrintPdfFallback, "PrintPdfFallback", "Kein Drucker eingerichtet: die PDFs kommen nach %1",
     "Aucune imprimante configurée : les PDF vont dans %1", "No printer set up: the PDFs go to %1"},
    {Msg::ErrUnknownItem, "ErrUnknownItem", "Kein Eintrag mit der ID %1 in %2", "Aucun élément d'identifiant %1 dans %2",
     "No item with id %1 in %2"},
    {Msg::ErrUnknownColumn, "ErrUnknownColumn", "Keine solche Spalte: %1 (vorhanden: %2)", "Colonne inconnue : %1 (il y a : %2)",
     "No such column: %1 (there are: %2)"},
    {Msg::ErrNoTemplate, "ErrNoTemplate", "Keine Vorlage der Art %1 in %2", "Aucun modèle du type %1 dans %2",
     "No template of kind %1 in %2"},
    {Msg::ErrBadNumber, "ErrBadNumber", "%1 erwartet eine Zahl, nicht: %2", "%1 attend un nombre, pas : %2",
     "%1 expects a number, not: %2"},
    {Msg::ErrOutputChoice, "ErrOutputChoice", "Nur eine Ausgabe wählen: --printer, --pdf, --save oder --show.",
     "Choisir une seule sortie : --printer, --pdf, --save ou --show.",
     "Choose one output only: --printer, --pdf, --save or --show."},
    {Msg::AttPrintError, "AttPrintError", "Fehler %1 beim Drucken des Anhangs\n%2",
     "Erreur %1 lors de l'impression de la pièce jointe\n%2", "Error %1 printing attachment\n%2"},
    {Msg::AttNoPrintVerb, "AttNoPrintVerb",
     "Das zugeordnete Programm für\n%1\nkann nicht DRUCKEN. \"Öffnen mit\" ändern..",
     "Le programme associé à\n%1\nne sait pas IMPRIMER. Modifier \"Ouvrir avec\"..",
     "Associated program for\n%1\ndoes not support PRINT. Change \"Open with\".."},
    {Msg::AttNoPrintPdf, "AttNoPrintPdf",
     "Das zugeordnete Programm für\n%1\nkann nicht DRUCKEN. Auf Acrobat Reader 8 aktualisieren...\n"
     "und zum automatischen Schließen von Acrobat \"Acrobat Wrapper 1.0.0.4\" laden",
     "Le programme associé à\n%1\nne sait pas IMPRIMER. Mettre à jour vers Acrobat Reader 8...\n"
     "et pour fermer Acrobat automatiquement télécharger \"Acrobat Wrapper 1.0.0.4\"",
     "Associated program for\n%1\ndoes not support PRINT. Update to Acrobat Reader 8...\n"
     "and for autoclosing Acrobat download \"Acrobat Wrapper 1.0.0.4\""},
    {Msg::AttInvalidFile, "AttInvalidFile", "Dateiname des Anhangs ungültig: %1",
     "Nom de fichier de pièce jointe non valide : %1", "Filename attachment not valid: %1"},
    {Msg::AttPrinting, "AttPrinting", "Anhang %1", "Pièce jointe %1", "Attachment %1"},
    {Msg::CliOptAttachments, "CliOptAttachments",
     "print: druckt auch die Anhänge (Einstellungen im Abschnitt [Attachments] der Benutzeroptionen).",
     "print : imprime aussi les pièces jointes (réglages dans la section [Attachments] des options).",
     "print: prints the attachments too (settings in section [Attachments] of the user options)."},
    {Msg::ErrPictureTooLarge, "ErrPictureTooLarge", "größer als %1 MB", "plus de %1 Mo", "larger than %1 MB"},
    {Msg::ErrPictureKind, "ErrPictureKind", "kein PNG-, JPEG-, GIF- oder BMP-Bild",
     "ni une image PNG, JPEG, GIF ou BMP", "not a PNG, JPEG, GIF or BMP picture"},
    {Msg::ErrItemUnreadable, "ErrItemUnreadable", "Übersprungen: %1 kann nicht gelesen werden (%2)",
     "Ignoré : %1 ne peut pas être lu (%2)", "Skipped %1: it cannot be read (%2)"},
    {Msg::Stopping, "MsgStopping", "Wird gestoppt...", "Arrêt en cours...", "Stopping..."},
    {Msg::RunStopped, "RunStopped", "Gestoppt nach %1 von %2 Einträgen.", "Arrêté après %1 éléments sur %2.",
     "Stopped after %1 of %2 items."},
    {Msg::RunStoppedDocument, "RunStoppedDocument",
     "Gestoppt nach %1 von %2 Einträgen; das Dokument enthält die fertigen Einträge.",
     "Arrêté après %1 éléments sur %2 ; le document contient les éléments terminés.",
     "Stopped after %1 of %2 items; the document holds the items done so far."},
};
// clang-format on

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

QString Describe(const office::Error& error) {
  using office::Problem;
  static const struct {
    Problem problem;
    Msg msg;
    // clang-format off
  } kTexts[] = {
      {Problem::DocumentOpen, Msg::ErrDocumentOpen},       {Problem::DocumentXml, Msg::ErrDocumentXml},
      {Problem::DocumentNoBody, Msg::ErrDocumentNoBody},   {Problem::DocumentSave, Msg::ErrDocumentSave},
      {Problem::InsertFile, Msg::ErrInsertFile},           {Problem::PictureInsert, Msg::ErrPictureInsert},
      {Problem::PictureTooLarge, Msg::ErrPictureTooLarge}, {Problem::PictureKind, Msg::ErrPictureKind},
      {Problem::WorkbookOpen, Msg::ErrWorkbookOpen},       {Problem::WorkbookPart, Msg::ErrWorkbookPart},
      {Problem::WorkbookXml, Msg::ErrWorkbookXml},         {Problem::WorkbookNoSheet, Msg::ErrWorkbookNoSheet},
      {Problem::WorkbookSave, Msg::ErrWorkbookSave},       {Problem::OfficeMissing, Msg::ErrOfficeMissing},
      {Problem::ConvertNoFile, Msg::ErrConvertNoFile},     {Problem::ConvertNotDocument, Msg::ErrConvertNotDocument},
      {Problem::ConvertNotLegacy, Msg::ErrConvertNotLegacy}, {Problem::ConvertFailed, Msg::ErrConvertFailed},
      {Problem::ConvertCrashed, Msg::ErrConvertCrashed},   {Problem::ConvertTimeout, Msg::ErrConvertTimeout},
      {Problem::ConvertWrite, Msg::ErrConvertWrite},
  };
  // clang-format on
  if (!error.failed()) return {};
  QStringList args = error.details;
  if (error.cause) args << Describe(*error.cause);
  for (const auto& t : kTexts) {
    if (t.problem != error.problem) continue;
    // All at once: a detail that holds "%2" (a file name can) stays as it is.
    const QString m = text(t.msg);
    switch (args.size()) {
      case 0: return m;
      case 1: return m.arg(args[0]);
      case 2: return m.arg(args[0], args[1]);
      case 3: return m.arg(args[0], args[1], args[2]);
      default: return m.arg(args[0], args[1], args[2], args[3]);
    }
  }
  return error.debugText();
}

QString keyOf(Msg id) { return QString::fromUtf8(def(id).key); }

QStringList messageKeys() {
  QStringList keys;
  for (const MsgDef& m : kMessages) keys << QString::fromUtf8(m.key);
  return keys;
}

}  // namespace ordolo::lang
