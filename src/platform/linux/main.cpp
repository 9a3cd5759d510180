// Linux starts a program at main; from here on it is the program's own entry that counts.
#include "core/entry.h"
#include "platform/linux/command_line.h"
#include "platform/linux/private_folder.h"
#include "platform/linux/window/application.h"

#include <csignal>
#include <span>

namespace {

// Its address is the module handle: one that is not null and that nothing else has.
char module;

} // namespace

int main(int count, char **arguments) {
    // A display server that goes away is told by the failed write, not by the signal's sudden end.
    std::signal(SIGPIPE, SIG_IGN);
    // And so is a file that would grow beyond what the user's limits allow.
    std::signal(SIGXFSZ, SIG_IGN);
    dm::platform::recoverPrivateFolders();
    const std::span<const char *const> all(arguments, static_cast<std::size_t>(count));
    dm::WString commandLine = dm::platform::commandLineOf(all.subspan(all.empty() ? 0 : 1));
    const auto instance = reinterpret_cast<HINSTANCE>(&module);
    const dm::platform::WindowSystem windows;
    const int result = wWinMain(instance, nullptr, commandLine.data(), SW_SHOWDEFAULT);
    dm::platform::removePrivateFolders();
    return result;
}
