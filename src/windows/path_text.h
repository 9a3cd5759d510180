// Paths as a person of this desktop reads and types them, for cells, labels and fields.
#pragma once

#include "platform/text.h"

namespace dm {

/// The text with a visible stand-in for each unit that would break a line, reorder what stands around it or is no
/// character: what a file is called must not decide how the window looks.
WString harmlessText(WString text);

/// A path for a list cell or a label, which reads from left to right in every language, folder by folder.
WString pathCell(const WString &path);
/// A path for a field, from which typedPath gives it back.
WString pathForField(const WString &path);

} // namespace dm
