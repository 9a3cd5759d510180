// Which window stays above which.
#pragma once

class QWidget;

namespace dm::platform {

/// Asks the window manager to keep a window above its owner. Qt says so of dialogs alone, and takes it back whenever it
/// shows another window, so it is to be said after each showing. Outside X nothing happens.
void setOwnerHint(const QWidget &widget, const QWidget &owner);

} // namespace dm::platform
