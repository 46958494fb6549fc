#include "office/Error.h"

namespace ordolo::office {

namespace {

const char* const kNames[] = {
    "none",           "DocumentOpen",       "DocumentXml",      "DocumentNoBody", "DocumentSave",
    "InsertFile",     "PictureInsert",      "PictureTooLarge",  "PictureKind",    "WorkbookOpen",
    "WorkbookPart",   "WorkbookXml",        "WorkbookNoSheet",  "WorkbookSave",   "OfficeMissing",
    "ConvertNoFile",  "ConvertNotDocument", "ConvertNotLegacy", "ConvertFailed",  "ConvertCrashed",
    "ConvertTimeout", "ConvertWrite",
};
static_assert(sizeof(kNames) / sizeof(kNames[0]) == int(Problem::ConvertWrite) + 1, "a name per problem");

}  // namespace

QString Error::debugText() const {
  if (!failed()) return {};
  QString out = QLatin1String(kNames[int(problem)]);
  if (!details.isEmpty()) out += QLatin1String(": ") + details.join(QLatin1String(", "));
  if (cause) out += QLatin1String(" (") + cause->debugText() + QLatin1Char(')');
  return out;
}

}  // namespace ordolo::office
