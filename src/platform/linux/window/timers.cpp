#include "platform/linux/window/timers.h"

#include "platform/linux/window/application.h"
#include "platform/linux/window/panes.h"

#include <QTimerEvent>

#include <algorithm>
#include <map>
#include <utility>

namespace dm::platform {
namespace {

using Key = std::pair<HWND, UINT_PTR>;

/// Has the Qt timers of all windows. Qt's own number of a timer finds the window's.
class Timers final : public QObject {
public:
    void start(const Key &key, int milliseconds) {
        kill(key);
        const int number = startTimer(milliseconds, Qt::PreciseTimer);
        keys_.emplace(number, key);
        numbers_.emplace(key, number);
    }
    bool kill(const Key &key) {
        const auto found = numbers_.find(key);
        if (found == numbers_.end())
            return false;
        killTimer(found->second);
        keys_.erase(found->second);
        numbers_.erase(found);
        return true;
    }
    void killAll(HWND window) {
        for (auto at = numbers_.lower_bound({window, 0}); at != numbers_.end() && at->first.first == window;
             at = numbers_.lower_bound({window, 0}))
            kill(at->first);
    }

protected:
    void timerEvent(QTimerEvent *event) override {
        const auto found = keys_.find(event->timerId());
        if (found != keys_.end())
            SendMessageW(found->second.first, WM_TIMER, found->second.second, 0);
    }

private:
    std::map<int, Key> keys_;
    std::map<Key, int> numbers_;
};

Timers &timers() {
    static Timers timers;
    return timers;
}

} // namespace

void killTimersOf(HWND window) {
    timers().killAll(window);
}

} // namespace dm::platform

using namespace dm::platform;

UINT_PTR WINAPI SetTimer(HWND window, UINT_PTR id, UINT milliseconds, TIMERPROC procedure) {
    if (paneOf(window) == nullptr)
        return 0;
    if (procedure != nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    constexpr UINT shortest = 10;        // USER_TIMER_MINIMUM
    constexpr UINT longest = 0x7FFFFFFF; // USER_TIMER_MAXIMUM
    timers().start({window, id}, static_cast<int>(std::clamp(milliseconds, shortest, longest)));
    return id == 0 ? 1 : id;
}

BOOL WINAPI KillTimer(HWND window, UINT_PTR id) {
    return timers().kill({window, id}) ? TRUE : FALSE;
}
