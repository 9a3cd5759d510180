// What the worker's reports cost a scan, a search and a clean-up.
#pragma once

#include "platform/text.h"

namespace dm::bench {

struct OperationChoice {
    bool reporting = true; ///< false: the same work without a report
    bool scanAlone = false;
};

/// Scans a folder, searches it and deletes what the scan offered, each in a worker that reports to a window as the
/// program's workers do.
void measureOperations(const WString &folder, OperationChoice choice);

} // namespace dm::bench
