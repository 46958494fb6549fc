// Fills the template with one note: its colour, linked contacts,
// categories, importance, attachments, properties and text.
#pragma once

#include "renderers/Dispatch.h"

namespace ordolo::renderers {

void RenderNote(RenderContext& ctx);

}  // namespace ordolo::renderers
