// All questions and notices of the program.
#pragma once

#include "core/operations.h"
#include "platform/text.h"
#include "platform/win32.h"

namespace dm {

/// Counts an open dialog or menu in `modalDepth` as long as it lives. When the last one ends, what had to wait for that
/// (a close, a hide) is told so.
class ModalScope {
public:
    ModalScope();
    ModalScope(const ModalScope &) = delete;
    ModalScope &operator=(const ModalScope &) = delete;
    ~ModalScope();
};

/// A modal box above the main window. Text and caption are source texts of the catalogue or finished texts; of the
/// flags of MessageBoxW count the buttons, the icon and the default. Gives the button's id; 0, which is no yes, where
/// nothing can be shown.
int showMessage(const WString &text, const WString &caption, UINT flags);

/// The same with the product's name and version as the caption.
int showNotice(const WString &text, UINT flags);

} // namespace dm
