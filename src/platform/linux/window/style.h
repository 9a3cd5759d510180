// The look of what Qt draws by itself: the arrow of a drop-down list, scroll bars, dialogs.
#pragma once

class QStyle;

namespace dm::platform {

/// The same on every desktop. The caller owns it.
QStyle *newStyle();

} // namespace dm::platform
