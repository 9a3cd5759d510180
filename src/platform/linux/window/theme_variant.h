// Dark title bars.
#pragma once

class QWidget;

namespace dm::platform {

/// Asks the window manager for a dark or a light title bar. Not every one listens; outside X nothing happens.
void setThemeVariant(const QWidget &widget, bool dark);

} // namespace dm::platform
