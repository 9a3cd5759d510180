// What the main window's controls do.
#pragma once

namespace dm {

/// What a control of the main window does, by its id; other ids lay the window out anew.
void handleCommand(int id);
/// Shows or takes away the desktop widget.
void flipWidget();
/// Takes over the language that is selected in the language list.
void chooseLanguage();
/// Shows everything in the language that the settings say.
void refreshLanguage();

} // namespace dm
