// What list views and text fields of the secondary windows need to look like the rest.
#pragma once

#include "platform/win32.h"

namespace dm::ui {

/// Lets the list's owner colour the header (it gets the header's NM_CUSTOMDRAW), fills the header's ground, and themes
/// the scroll bars.
void subclassListView(HWND list);

} // namespace dm::ui
