// The program's own texts beyond the key table (command-line help, errors,
// system messages). Each is read from the language settings file by its name
// and falls back to a built-in German, French or English text, so a
// translator can override any of them in section [Lang].
#pragma once

#include <QString>
#include <QStringList>

#include "office/Error.h"

namespace ordolo::lang {

// clang-format off
enum class Msg {
  ProblemStarting,    // "Problem starting.. (Error " + number + ")"
  UrlNotValid,        // "URL not valid: " + text
  CliSummary,
  CliUsage,
  CliCommands,
  CliOptions,
  CliCmdVersion,
  CliCmdHelp,
  CliCmdLangGet,
  CliCmdLangLoad,
  CliCmdLangList,
  CliCmdLangSet,
  CliCmdFolders,
  CliCmdList,
  CliOptStore,
  CliOptFolder,
  CliOptFrom,
  CliOptTo,
  CliEnvStore,
  CliEnvConverters,
  RecurrenceBounded,
  CliOptDebug,
  CliOptLocale,
  CliOptYes,
  CliEnvironment,
  CliEnvHome,
  CliEnvDebug,
  ErrUnknownCommand,  // %1 the command
  ErrMissingArgument, // %1 the command
  ErrUnknownKey,      // %1 the key
  ErrUnknownLanguage, // %1 the name
  ErrLanguageFile,    // %1 the file
  ErrWriteFile,       // %1 the file
  ErrKeyNotStored,    // %1 the key
  ErrUnknownOption,   // %1 the option
  ErrNoStore,
  ErrStore,           // %1 the folder
  ErrNoFolder,        // %1 the path
  ErrBadDate,         // %1 the text
  ErrFilter,          // %1 the reason
  ErrRangeReversed,   // %1 the end, %2 the start
  ErrUnknownField,    // %1 the name, %2 the folder, %3 the fields it has
  LangLoaded,         // %1 the file
  LangSaved,          // %1 key, %2 file
  Cancelled,
  ErrWorkbookOpen,    // %1 the file, %2 the reason
  ErrWorkbookPart,    // %1 the file, %2 the missing part
  ErrWorkbookXml,     // %1 the file, %2 the part, %3 the parser's reason
  ErrWorkbookNoSheet, // %1 the file
  ErrWorkbookSave,    // %1 the file, %2 the reason
  ErrOfficeMissing,
  ErrOfficeProgram,  // %1 the program ORDOLO_SOFFICE names
  ErrConvertNoFile,      // %1 the file
  ErrConvertNotDocument, // %1 the file
  ErrConvertNotLegacy,   // %1 the file
  ErrConvertFailed,      // %1 the file
  ErrConvertCrashed,     // %1 the file
  ErrConvertTimeout,     // %1 the file, %2 seconds
  ErrConvertWrite,       // %1 the file or folder
  ErrDocumentOpen,    // %1 the file, %2 the reason
  ErrDocumentXml,     // %1 the file, %2 the part, %3 the parser's reason, %4 the byte offset
  ErrDocumentNoBody,  // %1 the file
  ErrDocumentSave,    // %1 the file, %2 the reason
  ErrPictureInsert,   // %1 the picture, %2 the reason
  ErrInsertFile,      // %1 the file, %2 the reason
  PrintConverting,    // %1 the number done, %2 in all
  PrintPrinting,      // %1 the number, %2 in all
  PrintSaving,        // %1 the number, %2 in all
  PrintOpening,       // %1 the number, %2 in all
  ErrCupsUnreachable, // %1 the server, %2 the reason
  ErrNoDefaultQueue,
  ErrQueueMissing,    // %1 the queue, %2 the server
  ErrQueueRejecting,  // %1 the queue, %2 the reason
  ErrPrintSubmit,     // %1 the job, %2 the queue, %3 the reason
  ErrPrintJobFailed,  // %1 the job, %2 the queue, %3 the state and reason
  ErrPrintJobTimeout, // %1 the job, %2 the queue, %3 seconds
  ErrOutputFolder,    // %1 the folder
  ErrOutputWrite,     // %1 the file, %2 the reason
  ErrOutputConvert,   // %1 the document, %2 the converter's message
  ErrOutputNoFile,    // %1 the document, %2 the file
  ErrOutputOpen,      // %1 the file, %2 the error number
  ColNumber,
  ColSortKey,
  ColLocation,
  ColMembers,
  ColText,
  ColComplete,
  ColImportance,
  ColAttachments,
  ColFrom,
  ColTo,
  ColState,
  ErrTemplateMissing, // %1 the file
  ErrTemplateKind,    // %1 the file
  ErrNothingToPrint,
  ErrReportLines,
  ErrLabelRow,
  CliCmdPrint,
  CliCmdTemplates,
  CliOptTemplate,
  CliOptItems,
  CliOptSort,
  CliOptStartRow,
  CliOptCopies,
  CliOptPrinter,
  CliOptPdf,
  CliOptSave,
  CliOptShow,
  CliCmdFind,
  CliOptField,
  CliOptStarts,
  CliOptContains,
  CliOptColumns,
  CliOptKind,
  PrintProgress,      // %1 items done, %2 in all
  PrintDone,          // %1 items, %2 documents
  PrintPdfFallback,   // %1 the folder
  ErrUnknownItem,     // %1 the id, %2 the folder
  ErrUnknownColumn,   // %1 the column, %2 the columns there are
  ErrNoTemplate,      // %1 the kind letter, %2 the folder
  ErrBadNumber,       // %1 the option, %2 the text
  ErrOutputChoice,
  AttPrintError,      // %1 the error number, %2 the file
  AttNoPrintVerb,     // %1 the file
  AttNoPrintPdf,      // %1 the file
  AttInvalidFile,     // %1 the file
  AttPrinting,        // %1 the file
  CliOptAttachments,
  ErrPictureTooLarge,  // %1 the limit in MB
  ErrPictureKind,
  ErrItemUnreadable,   // %1 the file, %2 the reason
  Stopping,            // a stop was asked for during a run
  RunStopped,          // %1 items done, %2 in all
  RunStoppedDocument,  // the same, one document holding the items done
  ErrCannotWrite,  // %1 the file or folder
  GuiNotMoved,  // %1 the files, a line each
  GuiNoPdfFolder,
  GuiTranslator,  // %1 the language file
  GuiTemplates,
  GuiPrintTo,
  GuiDefaultPrinter,
  GuiPdfFolder,
  GuiBrowse,
  GuiAttachmentsFirst,
  GuiConvertProcesses,
  GuiOnePerCore,
  GuiHelp,
  GuiExit,
  GuiLangDefEnglish,
  GuiLangDefGerman,
  GuiLangDefFrench,
  GuiOpenStore,
  GuiChooseStore,
  GuiQuit,
  GuiFolders,
  GuiFolderGone,  // %1 the folder
  GuiFolderSkipped,  // %1 how many files
  GuiFileKind,  // %1 the file
  GuiKey,
  GuiTextColumn,
  GuiUsage,
  MonSqliteOpen,  // %1 the file, %2 SQLite's reason
  DedupDone,            // %1 removed, %2 rows before
  DedupHint,            // under the question whether to delete physically
  GuiImportLabel,       // the drop target for .eml files
  GuiField,             // the find dialog's field list
  ErrDedupDelete,       // %1 the item, %2 the reason
  ErrUnknownOptionKey,  // %1 the key, %2 the keys known
  ErrBadOptionValue,    // %1 the value, %2 the key
  ErrNoSuchFolder,      // %1 the folder
  TemplatesMoved,       // %1 the folder, %2 files moved
  CliCmdDedup,
  CliCmdImportEml,
  CliCmdOptions,
  CliOptPhysical,
  CliOptDryRun,
  CliOptEdit,
  CliOptMoveTo,
  EmlImported,       // after the count
  EmlNotMessages,    // %1 the files
  ErrDraftsMissing,  // %1 the folder
  ErrDraftsFolder,   // %1 the folder, %2 the reason
  FindSumHours,
  FindWithoutAllDay,
  FindAllDay,
  FindTotal,
  MonSqliteWrite,  // %1 the file, %2 SQLite's reason (read or write while watching)
  MonCannotRun,
  MonWatching,  // %1 the folder, %2 the store, %3 items recorded
  CliCmdMonitor,
  CliOptPrintAll,
  CliOptEveryMinutes,
  CliOptResume,
  MonButton,
  MonWait,
  MonBusy,
  MonStop,
  MonLabel1,
  MonCheck1,
  MonCheck1Tip,
  MonCheck2,
  MonOk,
  MonCancel,
  MonAlreadyWatched,  // %1 the folder, %2 the process id
  MonFolderGone,      // %1 the folder
  CliCmdStores,
  ErrStoreUnknown,    // %1 what --store named
  ErrStoreOpen,       // %1 the store, %2 the reason
  ErrProfileMissing,  // %1 the file that names it, %2 the folder
  StoresNone,
  StoreFound,         // %1 kind:name, %2 its folder
  GuiStoreMenu,
  GuiStoreOther,
  GuiStoreNoneFound,
};
// clang-format on

// An engine error in the words of the current language: its message with
// the details filled in, naming the file.
QString Describe(const office::Error& error);

// The text in the current language of the process-wide table.
QString text(Msg id);
// The name the text is stored under in section [Lang].
QString keyOf(Msg id);
// The names of all these texts.
QStringList messageKeys();

}  // namespace ordolo::lang
