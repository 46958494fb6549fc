// Fills the template with a contact (its picture, address, telephone
// numbers, names), or with a distribution list: the list's own values, then
// in report and label templates one copy of the member rows per member, a
// member that is a contact filled as a contact.
#pragma once

#include "renderers/Dispatch.h"

namespace ordolo::renderers {

void RenderContact(RenderContext& ctx);
void RenderDistList(RenderContext& ctx);

// The size the contact picture is set to, in points.
constexpr double kContactPictureWidth = 98.95;
constexpr double kContactPictureHeight = 108.85;

}  // namespace ordolo::renderers
