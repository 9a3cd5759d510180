#include "core/operations.h"

#include "data/history.h"
#include "engine/browsers.h"
#include "engine/cleaner.h"
#include "engine/scanner.h"
#include "i18n/format.h"
#include "i18n/language.h"
#include "platform/places.h"

#include <exception>
#include <memory>
#include <type_traits>
#include <utility>

namespace dm {
namespace {

constexpr ULONGLONG progressMilliseconds = 80;
constexpr int browserWaits = 30;
constexpr DWORD browserWaitMilliseconds = 100;
constexpr UINT questionFlags = MB_YESNO | MB_ICONWARNING | MB_DEFBUTTON2;

// Source texts that stand in more than one place.
constexpr const WChar *cancelledMove = W("Перемещение отменено.");
constexpr const WChar *cancelling = W("Отмена…");
constexpr const WChar *closeTitle = W("Dustmere");
constexpr const WChar *deletedLabel = W("Удалено:");
constexpr const WChar *errorsLabel = W("Ошибок:");
constexpr const WChar *movedLabel = W("В корзину перемещено:");
constexpr const WChar *recycleBinLabel = W("Корзина");
constexpr const WChar *sendingStatistics = W("Отправка статистики использования…");
constexpr const WChar *sizeLabel = W("Объём:");
constexpr const WChar *skippedLabel = W("Пропущено:");

/// Calls what the windows supplied, or gives a default answer.
template <typename Result, typename... Taken, typename... Given>
Result call(const std::function<Result(Taken...)> &function, Given &&...given) {
    if (function)
        return function(std::forward<Given>(given)...);
    if constexpr (!std::is_void_v<Result>)
        return Result();
}

/// Posts a record to the main window, which then owns it. Where that window is gone the record ends here.
template <typename Record>
void postRecord(UINT message, std::unique_ptr<Record> record) {
    if (PostMessageW(operationHost().mainWindow, message, 0, reinterpret_cast<LPARAM>(record.get())))
        static_cast<void>(record.release());
}

template <typename Record>
std::unique_ptr<Record> recordIn(LPARAM lParam) {
    return std::unique_ptr<Record>(reinterpret_cast<Record *>(lParam));
}

bool isIdle() {
    const OperationState &state = operationState();
    return !state.busy && !state.exitPending && !state.closeDeferred && state.modalDepth == 0;
}

template <typename Work>
void start(OperationKind operation, const WChar *status, HWND owner, std::uint64_t total, Work work) {
    OperationState &state = operationState();
    joinWorker();
    state.cancelFlag.exchange(false);
    state.busy = true;
    state.operation = operation;
    state.processed = 0;
    state.progressShown = 0;
    state.total = total;
    state.ownerWindow = owner;
    state.statusText = status;
    if (operation == OperationKind::Scan)
        state.completionText.clear();
    call(operationHost().layoutMainWindow);
    if (owner != nullptr)
        call(operationHost().updateLargeControls, owner);
    try {
        state.worker = std::thread(std::move(work));
    } catch (...) {
        joinWorker();
        throw;
    }
}

// The workers. What is thrown becomes a message; nothing reaches the thread's top level. The record of a failure is
// made beforehand, since it may be memory that has run out.

void scan(std::unique_ptr<WString> failure) {
    try {
        auto result = std::make_unique<ScanResult>(scanAll(operationState().cancelFlag, reportProgress));
        postRecord(WM_APP_SCAN_DONE, std::move(result));
    } catch (...) {
        postRecord(WM_APP_WORKER_FAILED, std::move(failure));
    }
}

/// What a clean-up works on.
struct CleanInput {
    ScanResult scan;
    CleanSelection selection;
    CleanOptions options;
    bool closeBrowsers = false;
    Settings settings;
    std::function<void(const Settings &, std::uint64_t, std::uint64_t, const std::atomic<bool> &)> sendUsage;
};

/// Gives browsers that were asked to close up to 3 seconds.
void waitForBrowsers(const std::atomic<bool> &cancelFlag) {
    for (int round = 0; round < browserWaits; ++round) {
        if (cancelFlag || runningBrowserNames().empty())
            return;
        Sleep(browserWaitMilliseconds);
    }
}

void clean(const CleanInput &input, std::unique_ptr<WString> failure) {
    const std::atomic<bool> &cancelFlag = operationState().cancelFlag;
    try {
        if (input.closeBrowsers) {
            askBrowsersToClose();
            waitForBrowsers(cancelFlag);
        }
        auto result = std::make_unique<CleanResult>(
            cleanSelected(input.scan, input.selection, cancelFlag, reportProgress, input.options));
        if (input.settings.consent && !cancelFlag) {
            reportProgress(sendingStatistics, 0, 0);
            call(input.sendUsage, input.settings, result->bytesFreed, result->filesDeleted, cancelFlag);
        }
        postRecord(WM_APP_CLEAN_DONE, std::move(result));
    } catch (...) {
        postRecord(WM_APP_WORKER_FAILED, std::move(failure));
    }
}

/// The record comes as that of a failure.
void search(std::unique_ptr<LargeSearchDone> done, const large::LargeSearchOptions &options) {
    try {
        done->result = large::searchLargeFiles(options, operationState().cancelFlag, reportProgress);
    } catch (...) { // the record stays what it is
    }
    postRecord(WM_APP_SEARCH_DONE, std::move(done));
}

void recycle(std::unique_ptr<RecycleDone> done, const RecycleInput &input) {
    try {
        done->result = large::moveToRecycleBin(input.search, input.chosen, operationState().cancelFlag, reportProgress,
                                               done->window);
    } catch (...) { // the record stays what it is
    }
    postRecord(WM_APP_RECYCLE_DONE, std::move(done));
}

// The questions before a clean-up.

bool isYes(const WString &text, const WChar *title, UINT flags) {
    return call(operationHost().askUser, text, tr(title), flags) == IDYES;
}

bool confirmsDeletion(const CleanSelection &selection) {
    const ScanResult &scan = operationState().scanResult;
    std::uint64_t bytes = 0;
    if (selection.temp)
        bytes += scan.bytesByCategory[static_cast<std::size_t>(CleanCategory::Temp)];
    if (selection.browser)
        bytes += scan.bytesByCategory[static_cast<std::size_t>(CleanCategory::Browser)];
    const WString text = tr(W("Удалить выбранные файлы?")) + W("\n\n") + tr(W("Объём по итогам анализа:")) + W(" ") +
                         formatSize(bytes) + W(".\n\n") +
                         tr(W("Удаление необратимо. Файлы, занятые или изменённые после анализа, будут пропущены."));
    return isYes(text, W("Подтверждение очистки"), questionFlags);
}

bool confirmsEmptying(const CleanSelection &selection) {
    const ScanResult &scan = operationState().scanResult;
    if (!selection.recycleBin || scan.recycleItems == 0)
        return true;
    const WString text = tr(W("Полностью очистить корзину?")) + W("\n") + tr(W("Файлов:")) + W(" ") +
                         formatCount(scan.recycleItems) + W(". ") + tr(sizeLabel) + W(" ") +
                         formatSize(scan.recycleBytes) + W(".\n") +
                         tr(W("Удалённые файлы нельзя восстановить из корзины."));
    return isYes(text, W("Очистка корзины"), questionFlags);
}

/// Sets whether browsers are to be asked; false if the user declined the whole clean-up.
bool confirmsClosing(const CleanSelection &selection, const Settings &settings, bool &closeBrowsers) {
    closeBrowsers = selection.browser && settings.closeBrowsers && !runningBrowserNames().empty();
    return !closeBrowsers || isYes(tr(W("Попросить Chrome, Edge и Firefox закрыться?\nСохраните формы и незавершённую "
                                        "работу. Браузеры не закрываются принудительно.")),
                                   W("Закрыть браузеры"), questionFlags);
}

// The ends of operations.

/// " · Skipped: n · Errors: n"
WString countersText(std::uint64_t skipped, std::uint64_t errors) {
    return W(" · ") + tr(skippedLabel) + W(" ") + formatCount(skipped) + W(" · ") + tr(errorsLabel) + W(" ") +
           formatCount(errors);
}

void showEnd() {
    call(operationHost().refreshHistoryWindows);
    call(operationHost().layoutMainWindow);
}

bool mayNotify() {
    return operationState().modalDepth == 0 && call(operationHost().isMainWindowShowing);
}

/// Goes on with a close that waited for the worker, or tells the outcome.
void closeOrNotify(const WString &text, UINT icon, bool wanted = true) {
    if (operationState().exitPending)
        PostMessageW(operationHost().mainWindow, WM_APP_CLOSE_RETRY, 0, 0);
    else if (wanted && mayNotify())
        call(operationHost().notify, text, icon);
}

/// The disk is no longer what the scan saw.
void spendScan() {
    OperationState &state = operationState();
    state.hasScanResult = false;
    state.scanResult = {};
}

void onProgress(const ProgressRecord &record) {
    OperationState &state = operationState();
    state.processed = record.processed;
    state.total = record.total;
    if (record.text == sendingStatistics) {
        state.operation = OperationKind::SendingStatistics;
        state.statusText = record.text;
    } else {
        WString label = shownPath(record.text);
        if (record.text == W("Finished"))
            label = tr(W("Очистка завершена."));
        else if (record.text == W("Cancelled"))
            label = tr(W("Очистка отменена."));
        else if (record.text == W("Recycle Bin"))
            label = tr(recycleBinLabel);
        if (record.total != 0)
            state.statusText = tr(W("Обработано:")) + W(" ") + formatCount(record.processed) + W(" / ") +
                               formatCount(record.total) + W(" · ") + label;
        else
            state.statusText = tr(W("Проверено файлов:")) + W(" ") + formatCount(record.processed) + W(" · ") + label;
    }
    call(operationHost().showProgress);
}

void onScanDone(ScanResult result) {
    OperationState &state = operationState();
    state.scanResult = std::move(result);
    state.hasScanResult = true;
    state.summaryKind = SummaryKind::Scan;
    const ScanResult &scan = state.scanResult;
    state.lastSkipped = scan.skipped;
    state.lastErrors = scan.errors;
    state.lastScanCancelled = state.cancelFlag;
    state.lastScanTime = _time64(nullptr);
    joinWorker();
    rebuildResultLines();
    HistoryEvent event;
    event.kind = HistoryKind::Scan;
    event.files = scan.entries.size() + scan.recycleItems;
    event.bytes = scan.recycleBytes;
    for (const std::uint64_t bytes : scan.bytesByCategory)
        event.bytes += bytes;
    event.skipped = scan.skipped;
    event.errors = scan.errors;
    event.cancelled = state.lastScanCancelled;
    appendHistory(event);
    showEnd();
    closeOrNotify({}, 0, false);
}

WString completionTextOf(const CleanResult &result) {
    WString text = tr(result.cancelled ? W("Очистка отменена.") : W("Очистка завершена."));
    text += W("\n") + tr(deletedLabel) + W(" ") + formatCount(result.filesDeleted) + W(" ") + tr(W("файлов")) +
            W("; ") + formatSize(result.bytesFreed) + W(".\n");
    text += tr(skippedLabel) + W(" ") + formatCount(result.skipped) + W(". ") + tr(errorsLabel) + W(" ") +
            formatCount(result.errors);
    if (result.recycleEmptied)
        text += tr(W("\nКорзина очищена."));
    return text + tr(W("\n\nПовторите анализ для обновления списка."));
}

void onCleanDone(const CleanResult &result) {
    OperationState &state = operationState();
    state.summaryKind = SummaryKind::Clean;
    state.lastFreedBytes = result.bytesFreed;
    state.lastSkipped = result.skipped;
    state.lastErrors = result.errors;
    joinWorker();
    state.completionText = completionTextOf(result);
    rebuildResultLines();
    HistoryEvent event;
    event.kind = HistoryKind::Cleanup;
    event.files = result.filesDeleted;
    event.bytes = result.bytesFreed;
    event.skipped = result.skipped;
    event.errors = result.errors;
    event.cancelled = result.cancelled;
    event.recycleEmptied = result.recycleEmptied;
    appendHistory(event);
    spendScan();
    state.drives = listDrives();
    showEnd();
    closeOrNotify(state.completionText, MB_ICONINFORMATION);
}

void onWorkerFailed(const WString &text) {
    OperationState &state = operationState();
    joinWorker();
    state.summaryKind = SummaryKind::Plain;
    state.resultLine = text;
    showEnd();
    closeOrNotify(tr(text), MB_ICONWARNING);
}

/// Hands a result to the window that asked for it, if that still stands, and destroys it if it waited for this.
/// True if it was destroyed.
template <typename Take, typename Result>
bool handOver(HWND window, const Take &take, Result &&result) {
    if (!IsWindow(window) || !call(take, window, std::forward<Result>(result)))
        return false;
    DestroyWindow(window);
    return true;
}

void onSearchDone(LargeSearchDone done) {
    OperationState &state = operationState();
    const large::LargeSearchResult &result = done.result;
    HistoryEvent event;
    event.kind = HistoryKind::LargeSearch;
    event.files = result.entries.size();
    event.bytes = result.totalBytes;
    event.skipped = result.skipped;
    event.errors = result.errors;
    event.cancelled = result.cancelled;
    event.truncated = result.limited;
    event.text = result.errorText;
    appendHistory(event);
    joinWorker();
    handOver(done.window, operationHost().takeSearchResult, std::move(done.result));
    state.summaryKind = SummaryKind::Plain;
    state.resultLine = !event.text.empty() ? event.text : event.cancelled ? W("Поиск отменён") : W("Поиск завершён");
    showEnd();
    closeOrNotify(tr(W("Список ограничен. Увеличьте минимальный размер и повторите поиск.")), MB_ICONWARNING,
                  event.truncated && IsWindow(done.window) && call(operationHost().isLargeWindowShowing, done.window));
}

WString summaryOf(const large::RecycleResult &result) {
    WString text;
    if (result.cancelled)
        text = tr(cancelledMove) + W("\n");
    text += tr(movedLabel) + W(" ") + formatCount(result.moved) + W(" · ") + formatSize(result.movedBytes) + W("\n");
    text += tr(skippedLabel) + W(" ") + formatCount(result.kept) + W(" · ") + tr(errorsLabel) + W(" ") +
            formatCount(result.errors) + W("\n");
    return text + tr(result.errors > 0 ? W("Файлы с ошибками не включены в результат. Проверьте системную корзину.")
                                       : W("Недоступные и изменённые файлы оставлены на месте."));
}

void onRecycleDone(const RecycleDone &done) {
    OperationState &state = operationState();
    const large::RecycleResult &result = done.result;
    joinWorker();
    const WString summary = summaryOf(result);
    const bool destroyed = handOver(done.window, operationHost().takeRecycleResult, result);
    state.drives = listDrives();
    spendScan();
    HistoryEvent event;
    event.kind = HistoryKind::Recycle;
    event.files = result.moved;
    event.bytes = result.movedBytes;
    event.skipped = result.kept;
    event.errors = result.errors;
    event.cancelled = result.cancelled;
    appendHistory(event);
    state.summaryKind = SummaryKind::Plain;
    state.resultLine = result.cancelled ? cancelledMove : movedLabel;
    showEnd();
    closeOrNotify(summary, MB_ICONINFORMATION, !destroyed);
}

// The close.

/// Records that were posted and never fetched would go down with the window unfreed.
void dropPostedRecords() {
    MSG message;
    while (PeekMessageW(&message, operationHost().mainWindow, WM_APP_PROGRESS, WM_APP_RECYCLE_DONE, PM_REMOVE)) {
        switch (message.message) {
        case WM_APP_PROGRESS:
            recordIn<ProgressRecord>(message.lParam);
            break;
        case WM_APP_SCAN_DONE:
            recordIn<ScanResult>(message.lParam);
            break;
        case WM_APP_CLEAN_DONE:
            recordIn<CleanResult>(message.lParam);
            break;
        case WM_APP_WORKER_FAILED:
            recordIn<WString>(message.lParam);
            break;
        case WM_APP_SEARCH_DONE:
            recordIn<LargeSearchDone>(message.lParam);
            break;
        case WM_APP_RECYCLE_DONE:
            recordIn<RecycleDone>(message.lParam);
            break;
        default:
            return;
        }
    }
}

bool confirmsClose() {
    OperationState &state = operationState();
    call(operationHost().bringUpMainWindow);
    state.closeAsked = true;
    const bool yes = isYes(tr(W("Остановить текущую операцию и закрыть приложение?")), closeTitle,
                           MB_YESNO | MB_ICONQUESTION | MB_DEFBUTTON2);
    state.closeAsked = false;
    return yes;
}

void tearDown() {
    OperationState &state = operationState();
    OperationHost &host = operationHost();
    state.closing = true;
    state.closeDeferred = false;
    state.exitPending = false;
    if (state.worker.joinable())
        state.worker.join();
    if (host.settings) {
        try {
            saveSettings(host.settings());
        } catch (const std::exception &) {
            // What could not be stored is no reason to stay.
        }
    }
    call(host.destroySecondaryWindows);
    dropPostedRecords();
    DestroyWindow(host.mainWindow);
}

} // namespace

OperationState &operationState() {
    static OperationState state;
    return state;
}

OperationHost &operationHost() {
    static OperationHost host;
    return host;
}

void startScan() {
    if (!isIdle())
        return;
    auto failure = std::make_unique<WString>(W("Не удалось завершить анализ."));
    start(OperationKind::Scan, W("Анализ файлов…"), nullptr, 0,
          [failure = std::move(failure)]() mutable { scan(std::move(failure)); });
}

void startClean() {
    OperationState &state = operationState();
    const OperationHost &host = operationHost();
    if (!isIdle() || !state.hasScanResult)
        return;
    CleanInput input;
    input.settings = call(host.settings);
    input.selection = call(host.selection);
    input.sendUsage = host.sendUsage;
    if (!confirmsDeletion(input.selection) || !confirmsEmptying(input.selection) ||
        !confirmsClosing(input.selection, input.settings, input.closeBrowsers))
        return;
    // The questions let the message loop run.
    if (!isIdle() || !state.hasScanResult || !IsWindow(host.mainWindow))
        return;
    input.options.skipLockedFiles = input.settings.skipLocked;
    input.scan = state.scanResult;
    auto failure =
        std::make_unique<WString>(W("Очистка прервана из-за ошибки. Файлы, которые не удалось обработать, сохранены."));
    start(OperationKind::Clean, W("Очистка файлов…"), nullptr, 0,
          [input = std::move(input), failure = std::move(failure)]() mutable { clean(input, std::move(failure)); });
}

void startLargeSearch(HWND window) {
    if (!isIdle())
        return;
    std::optional<large::LargeSearchOptions> options = call(operationHost().searchInput, window);
    if (!options || !isIdle())
        return;
    auto done = std::make_unique<LargeSearchDone>();
    done->window = window;
    done->result.errors = 1;
    done->result.errorText = W("Не удалось завершить поиск.");
    start(OperationKind::LargeSearch, W("Поиск файлов…"), window, 0,
          [done = std::move(done), options = std::move(*options)]() mutable { search(std::move(done), options); });
}

void recycleLarge(HWND window) {
    if (!isIdle())
        return;
    std::optional<RecycleInput> input = call(operationHost().recycleInput, window);
    if (!input || !isIdle())
        return;
    auto done = std::make_unique<RecycleDone>();
    done->window = window;
    done->result.errors = 1;
    const std::uint64_t total = input->chosen.size();
    start(OperationKind::Recycle, W("Перемещение в корзину…"), window, total,
          [done = std::move(done), input = std::move(*input)]() mutable { recycle(std::move(done), input); });
}

void cancelOperation() {
    OperationState &state = operationState();
    state.cancelFlag.exchange(true);
    const bool deletes = state.operation == OperationKind::Clean;
    state.statusText = deletes ? W("Отмена… уже удалённые файлы восстановить нельзя.") : cancelling;
}

void joinWorker() {
    OperationState &state = operationState();
    if (state.worker.joinable())
        state.worker.join();
    state.busy = false;
    state.operation = OperationKind::None;
    state.ownerWindow = nullptr;
}

bool handleOperationMessage(UINT message, LPARAM lParam) {
    switch (message) {
    case WM_APP_PROGRESS:
        onProgress(*recordIn<ProgressRecord>(lParam));
        return true;
    case WM_APP_SCAN_DONE:
        onScanDone(std::move(*recordIn<ScanResult>(lParam)));
        return true;
    case WM_APP_CLEAN_DONE:
        onCleanDone(*recordIn<CleanResult>(lParam));
        return true;
    case WM_APP_WORKER_FAILED:
        onWorkerFailed(*recordIn<WString>(lParam));
        return true;
    case WM_APP_SEARCH_DONE:
        onSearchDone(std::move(*recordIn<LargeSearchDone>(lParam)));
        return true;
    case WM_APP_RECYCLE_DONE:
        onRecycleDone(*recordIn<RecycleDone>(lParam));
        return true;
    case WM_APP_CLOSE_RETRY:
        requestExit(false);
        return true;
    case WM_APP_AFTER_MODAL:
        if (operationState().modalDepth == 0 && operationState().closeDeferred)
            requestExit(false);
        return true;
    default:
        return false;
    }
}

void requestExit(bool force) {
    OperationState &state = operationState();
    if (state.closing)
        return;
    state.closeConfirmed = state.closeConfirmed || force;
    if (state.modalDepth > 0 || state.closeAsked) {
        state.closeDeferred = true;
        return;
    }
    state.closeDeferred = false;
    if (state.busy && !state.exitPending && !state.closeConfirmed) {
        if (!confirmsClose()) {
            state.closeDeferred = false;
            state.closeConfirmed = false;
            return;
        }
        state.closeConfirmed = true;
    }
    state.cancelFlag.exchange(true);
    if (state.busy) {
        state.exitPending = true;
        state.statusText = cancelling;
        call(operationHost().layoutMainWindow);
        return;
    }
    tearDown();
}

void rebuildResultLines() {
    OperationState &state = operationState();
    switch (state.summaryKind) {
    case SummaryKind::Scan:
        state.resultLine = state.lastScanCancelled
                               ? tr(W("Анализ отменён. Показано место, найденное до отмены."))
                               : tr(W("Анализ завершён")) + countersText(state.lastSkipped, state.lastErrors);
        break;
    case SummaryKind::Clean:
        state.resultLine = tr(deletedLabel) + W(" ") + formatSize(state.lastFreedBytes) +
                           countersText(state.lastSkipped, state.lastErrors);
        break;
    case SummaryKind::Plain:
        break;
    }
    state.lastScanLine = state.lastScanTime != 0
                             ? tr(W("Последний анализ:")) + W(" ") + formatDateTime(state.lastScanTime)
                             : tr(W("Анализ ещё не выполнялся"));
}

void reportProgress(WStringView text, std::uint64_t processed, std::uint64_t total) {
    thread_local ULONGLONG lastPost = 0;
    const ULONGLONG now = GetTickCount64();
    if (now - lastPost < progressMilliseconds && processed != total)
        return;
    lastPost = now;
    postRecord(WM_APP_PROGRESS, std::make_unique<ProgressRecord>(ProgressRecord{WString(text), processed, total}));
}

} // namespace dm
