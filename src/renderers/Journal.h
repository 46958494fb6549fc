// Fills the template with one journal entry: its type in words, start, end
// and duration, contacts, categories, recipients, attachments, properties
// and text.
#pragma once

#include "renderers/Dispatch.h"

namespace ordolo::renderers {

void RenderJournal(RenderContext& ctx);

// The entry's type in the user's language ("Text1" .. "Text20" of the
// language table), or the type as stored when it is not one of the twenty
// known types.
QString JournalTypeText(const model::Item& item);

}  // namespace ordolo::renderers
