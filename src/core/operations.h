// The controller of the one background thread: at most one scan, clean-up, large-file search or move to the Recycle
// Bin exists at a time.
//
// Every window and all of the state belong to the first thread. A worker gets copies of what it needs, watches one
// atomic flag, and speaks only by messages posted to the main window; a record travels by pointer in lParam and belongs
// to the receiver, or to the sender where the post fails. An operation ends in the main window's procedure, which hands
// those messages to handleOperationMessage.
#pragma once

#include "core/records.h"
#include "data/settings.h"
#include "engine/drives.h"
#include "large/recycle.h"
#include "large/search.h"
#include "platform/text.h"
#include "platform/win32.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <thread>
#include <vector>

// To the main window; the record in lParam.
#define WM_APP_PROGRESS (WM_APP + 1)      // ProgressRecord
#define WM_APP_SCAN_DONE (WM_APP + 2)     // ScanResult
#define WM_APP_CLEAN_DONE (WM_APP + 3)    // CleanResult
#define WM_APP_WORKER_FAILED (WM_APP + 5) // WString: the message to show
#define WM_APP_SEARCH_DONE (WM_APP + 6)   // LargeSearchDone
#define WM_APP_RECYCLE_DONE (WM_APP + 7)  // RecycleDone
// To a secondary window, sent, without a record: texts, colours and fonts have changed.
#define WM_APP_REFRESH (WM_APP + 20)
// To the main window, without a record.
#define WM_APP_TRAY (WM_APP + 30)        // from the notification icon
#define WM_APP_CLOSE_RETRY (WM_APP + 31) // run requestExit again, not forced
#define WM_APP_AFTER_MODAL (WM_APP + 32) // the last dialog ended while something waited for that

namespace dm {

enum class OperationKind {
    None,
    Scan,
    Clean,
    SendingStatistics, ///< the clean-up is done and its worker sends the usage event
    LargeSearch,
    Recycle,
};

/// What `resultLine` tells, and so what it is rebuilt from.
enum class SummaryKind { Plain, Scan, Clean };

/// One for the process. The first thread's alone, but for `cancelFlag`.
struct OperationState {
    std::atomic<bool> cancelFlag = false; ///< asks the worker to stop
    bool busy = false;                    ///< from the start of an operation until its done message is handled
    OperationKind operation = OperationKind::None;
    std::thread worker;         ///< joinable from the start of an operation until joinWorker
    HWND ownerWindow = nullptr; ///< the large-files window that started a search or a move
    std::uint64_t processed = 0;
    std::uint64_t total = 0; ///< 0 when it is not known
    float progressShown = 0; ///< how far the bar has moved, 0 to 1
    WString statusText;      ///< a source text of the catalogue or a finished text; looked up when drawn
    WString resultLine;      ///< the last outcome, likewise
    WString lastScanLine;    ///< when the last scan ended
    WString completionText;  ///< the summary of the last clean-up
    ScanResult scanResult;
    bool hasScanResult = false; ///< `scanResult` may be shown and cleaned
    std::vector<DriveInfo> drives;
    int modalDepth = 0;          ///< open dialogs and menus, nested
    bool exitPending = false;    ///< the close waits for the worker
    bool closing = false;        ///< the teardown has begun
    bool closeConfirmed = false; ///< forced or confirmed, until a refusal
    bool closeDeferred = false;  ///< a close waits for the end of a dialog
    bool closeAsked = false;     ///< the question of requestExit is on the screen

    SummaryKind summaryKind = SummaryKind::Plain;
    bool lastScanCancelled = false;
    std::uint64_t lastSkipped = 0;
    std::uint64_t lastErrors = 0;
    std::uint64_t lastFreedBytes = 0;
    std::int64_t lastScanTime = 0; ///< seconds since 1970; 0 before the first scan of this run
};

OperationState &operationState();

struct LargeSearchDone {
    HWND window = nullptr; ///< that the search was started from; may be gone
    large::LargeSearchResult result;
};

struct RecycleDone {
    HWND window = nullptr;
    large::RecycleResult result;
};

/// What a move works on.
struct RecycleInput {
    large::LargeSearchResult search;
    std::vector<std::uint64_t> chosen; ///< indexes into its entries
};

/// What stands above the controller. All of it runs on the first thread, but for `sendUsage`. Whatever is empty is left
/// out; a question that nobody can be asked is not answered with yes.
struct OperationHost {
    HWND mainWindow = nullptr; ///< set once, before the first operation
    std::function<Settings()> settings;
    std::function<CleanSelection()> selection;
    /// The window's input, checked and confirmed there; nothing where there is none or the user declined.
    std::function<std::optional<large::LargeSearchOptions>(HWND window)> searchInput;
    std::function<std::optional<RecycleInput>(HWND window)> recycleInput;

    /// A modal box with the flags of MessageBoxW; gives the answer.
    std::function<int(const WString &text, const WString &title, UINT flags)> askUser;
    /// A plain modal box.
    std::function<void(const WString &text, UINT icon)> notify;
    /// One usage report, on the worker.
    std::function<void(const Settings &settings, std::uint64_t bytesFreed, std::uint64_t filesDeleted,
                       const std::atomic<bool> &cancelFlag)>
        sendUsage;

    std::function<void()> layoutMainWindow;
    std::function<void()> bringUpMainWindow;
    std::function<bool()> isMainWindowShowing; ///< visible, not minimised, not parked in the notification area
    /// Progress has moved: repaint the windows, update the widget.
    std::function<void()> showProgress;
    std::function<void()> refreshHistoryWindows;
    std::function<void(HWND window)> updateLargeControls;
    std::function<bool(HWND window)> isLargeWindowShowing;
    /// Hands a result to the large-files window; true if the window is to be destroyed now.
    std::function<bool(HWND window, large::LargeSearchResult &&result)> takeSearchResult;
    std::function<bool(HWND window, const large::RecycleResult &result)> takeRecycleResult;
    /// Destroys the widget, the large-files window, the history windows and the previews, in this order.
    std::function<void()> destroySecondaryWindows;
};

OperationHost &operationHost();

// The starters. Each does nothing while an operation, a dialog or a close is there.

void startScan();
/// Asks up to three questions first; anything but a yes ends it.
void startClean();
void startLargeSearch(HWND window);
void recycleLarge(HWND window);

/// Asks the worker to stop; it ends by its normal road.
void cancelOperation();

/// Takes one of the messages above, with its record. False for any other message.
bool handleOperationMessage(UINT message, LPARAM lParam);

/// The orderly close: asks if work runs (unless forced), cancels it, waits for its end, saves the settings and destroys
/// the windows.
void requestExit(bool force);

/// Collects the thread of the last operation, if there is one.
void joinWorker();

/// Makes `resultLine` and `lastScanLine` anew from the figures, in the present language.
void rebuildResultLines();

/// How workers report, on their thread: at most one message in 80 milliseconds, but for reports whose processed equals
/// their total.
void reportProgress(WStringView text, std::uint64_t processed, std::uint64_t total);

} // namespace dm
