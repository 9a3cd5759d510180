// What the operations ask of the windows.
#pragma once

namespace dm {

/// Destroys the widget, the large-files window, the history windows and the previews, in this order.
void destroySecondaryWindows();

/// Gives the operations their questions, notices, inputs and repaints.
void wireOperations();

} // namespace dm
