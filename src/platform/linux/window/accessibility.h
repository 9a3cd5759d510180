// What screen readers are told of the windows beyond what Qt knows by itself.
#pragma once

namespace dm::platform {

/// To be called once the application is there.
void describeWindows();

} // namespace dm::platform
