// The controller on a real queue with real workers and real files; only what draws is missing.
#include "core/operations.h"

#include "data/history.h"
#include "empty_machine.h"
#include "failing_allocations.h"
#include "files.h"
#include "i18n/language.h"
#include "platform/linux/private_folder.h"
#include "platform/linux/volumes.h"

#include <algorithm>

namespace dm {
namespace {

using namespace test;

/// What a person saw, and what a person would do.
struct Person {
    std::vector<std::string> questions; ///< with title and flags
    std::vector<std::string> notices;
    std::function<int()> answer = [] { return IDYES; };
    Settings settings;
    CleanSelection selection{true, true, true};
    bool showing = true;
    int secondaryDestroyed = 0;
    std::vector<large::LargeSearchResult> searches;
    std::vector<large::RecycleResult> moves;
    bool closeLargeWindow = false;
    int usages = 0;
};
Person *person = nullptr;

std::string narrow(WStringView text) {
    std::string result;
    for (const WChar unit : text)
        result += unit < 128 ? static_cast<char>(unit) : '?';
    return result;
}

LRESULT CALLBACK mainProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (handleOperationMessage(message, lParam))
        return 0;
    if (message == WM_DESTROY)
        PostQuitMessage(0);
    return DefWindowProcW(window, message, wParam, lParam);
}

HWND makeWindow(const WChar *name, WNDPROC procedure) {
    WNDCLASSEXW windowClass = {};
    windowClass.cbSize = sizeof windowClass;
    windowClass.lpfnWndProc = procedure;
    windowClass.lpszClassName = name;
    RegisterClassExW(&windowClass);
    return CreateWindowExW(0, name, name, 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
}

/// The program without its windows, on a machine with nothing on it.
struct Program {
    Person user;
    HWND largeWindow = nullptr;

    Program() {
        person = &user;
        setLanguage("en");
        OperationHost &host = operationHost();
        host.mainWindow = makeWindow(W("main"), mainProcedure);
        largeWindow = makeWindow(W("large"), DefWindowProcW);
        host.settings = [] { return person->settings; };
        host.selection = [] { return person->selection; };
        host.askUser = [](const WString &text, const WString &title, UINT flags) {
            person->questions.push_back(narrow(title) + '|' + narrow(text) + '|' + std::to_string(flags));
            ++operationState().modalDepth;
            const int answer = person->answer();
            --operationState().modalDepth;
            return answer;
        };
        host.notify = [](const WString &text, UINT icon) {
            person->notices.push_back(narrow(text) + '|' + std::to_string(icon));
        };
        host.sendUsage = [](auto &, std::uint64_t, std::uint64_t, auto &) { ++person->usages; };
        host.isMainWindowShowing = [] { return person->showing; };
        host.isLargeWindowShowing = [](HWND) { return true; };
        host.takeSearchResult = [](HWND, large::LargeSearchResult &&result) {
            person->searches.push_back(std::move(result));
            return person->closeLargeWindow;
        };
        host.takeRecycleResult = [](HWND, const large::RecycleResult &result) {
            person->moves.push_back(result);
            return person->closeLargeWindow;
        };
        host.destroySecondaryWindows = [] { ++person->secondaryDestroyed; };
    }
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;
    ~Program() {
        if (IsWindow(operationHost().mainWindow))
            requestExit(true);
        run();
        platform::removePrivateFolders();
    }

    /// Until the operation has ended, or the program.
    void run() {
        MSG message;
        while (operationState().busy && GetMessageW(&message, nullptr, 0, 0) > 0)
            DispatchMessageW(&message);
    }
};

std::size_t historyRecords() {
    const std::string log = readFile(platform::linuxPath(historyPath()));
    EXPECT_TRUE(log.empty() || log.starts_with("@DM-HISTORY-1\t"));
    return static_cast<std::size_t>(std::count(log.begin(), log.end(), '\n'));
}

void inProgram(const std::function<void(Program &)> &body) {
    runIsolated(Isolation::ProcessesAndPlaces, [&] {
        enterEmptyMachine();
        Program program;
        body(program);
    });
}

/// A disk of the empty machine's, with two files; false where none can be had.
bool mountDisk() {
    if (!runIn("/home", "mkdir disk; truncate -s 16M image; mkfs.ext4 -q image; mount -o loop image disk"))
        return false;
    makeFile("/home/disk/large", std::string(2 << 20, 'x'));
    makeFile("/home/disk/small", "x");
    platform::refreshVolumes();
    operationHost().searchInput = [](HWND) {
        return large::LargeSearchOptions{platform::drivePath("/home/disk"), 1 << 20, 100};
    };
    return true;
}

TEST(Operations, TheRoadOfACleanUp) {
    inProgram([](Program &program) {
        makeFile("/tmp/old", "12345");
        makeFile("/tmp/young", "1", std::chrono::hours(1));
        makeFile("/home/user/.config/google-chrome/Default/Preferences");
        makeFile("/home/user/.cache/google-chrome/Default/Cache/data", "123");
        makeFile("/home/user/.local/share/Trash/files/gone", "1234");
        OperationState &state = operationState();
        startScan();
        EXPECT_TRUE(state.busy);
        EXPECT_EQ(state.statusText, W("Анализ файлов…"));
        program.run();
        EXPECT_EQ(narrow(state.resultLine), "Scan complete ? Skipped: 1 ? Errors: 0");
        EXPECT_NE(state.lastScanTime, 0);
        ASSERT_TRUE(state.hasScanResult);
        EXPECT_EQ(state.scanResult.entries.size(), 2U);

        program.user.settings.consent = true;
        startClean();
        program.run();
        ASSERT_EQ(program.user.questions.size(), 2U);
        EXPECT_EQ(program.user.questions[0],
                  "Confirm cleanup|Delete the selected files?\n\nScanned size: 8 B.\n\nDeletion is permanent. Files in "
                  "use or changed since the scan will be skipped.|308");
        EXPECT_EQ(program.user.questions[1],
                  "Empty Recycle Bin|Empty your entire Recycle Bin?\nFiles: 1. Size: 4 B.\nDeleted files cannot be "
                  "restored from the Recycle Bin.|308");
        EXPECT_EQ(program.user.notices,
                  std::vector<std::string>{"Cleanup complete.\nDeleted: 3 files; 12 B.\nSkipped: 0. Errors: 0\nRecycle "
                                           "Bin emptied.\n\nScan again to update the list.|64"});
        EXPECT_EQ(narrow(state.resultLine), "Deleted: 12 B ? Skipped: 0 ? Errors: 0");
        EXPECT_EQ(program.user.usages, 1);
        EXPECT_TRUE(!state.hasScanResult && state.scanResult.entries.empty());
        EXPECT_FALSE(state.drives.empty());
        platform::removePrivateFolders();
        EXPECT_EQ(filesBelow({"/tmp"}), std::set<std::string>{"/tmp/young"});
        EXPECT_EQ(historyRecords(), 2U);

        setLanguage("de");
        rebuildResultLines();
        EXPECT_NE(narrow(state.resultLine), "Deleted: 12 B ? Skipped: 0 ? Errors: 0");
    });
}

TEST(Operations, AnythingButAYesEndsACleanUp) {
    for (const int no : {1, 2, 3}) {
        inProgram([no](Program &program) {
            makeFile("/tmp/old");
            makeFile("/home/user/.config/google-chrome/Default/Preferences");
            makeFile("/home/user/.cache/google-chrome/Default/Cache/data");
            makeFile("/home/user/.local/share/Trash/files/gone");
            program.user.settings.closeBrowsers = true;
            fs::copy_file("/bin/sleep", "/home/user/chrome");
            const pid_t browser = startProcess([] { execl("/home/user/chrome", "chrome", "1000", nullptr); });
            startScan();
            program.run();
            const auto before = filesBelow({"/tmp", "/home"});
            program.user.answer = [&] { return static_cast<int>(program.user.questions.size()) == no ? IDNO : IDYES; };
            startClean();
            EXPECT_FALSE(operationState().busy);
            EXPECT_EQ(program.user.questions.size(), static_cast<std::size_t>(no));
            EXPECT_EQ(filesBelow({"/tmp", "/home"}), before);
            EXPECT_TRUE(operationState().hasScanResult);
            operationHost().askUser = {};
            startClean();
            EXPECT_FALSE(operationState().busy) << "nobody was asked";
            endProcess(browser);
        });
    }
}

TEST(Operations, TheRoadOfASearchAndAMove) {
    inProgram([](Program &program) {
        OperationState &state = operationState();
        OperationHost &host = operationHost();
        startLargeSearch(program.largeWindow);
        EXPECT_FALSE(state.busy) << "the window gave no input";
        if (!mountDisk())
            GTEST_SKIP() << "No file system can be mounted here.";
        startLargeSearch(program.largeWindow);
        EXPECT_EQ(state.ownerWindow, program.largeWindow);
        program.run();
        ASSERT_EQ(program.user.searches.size(), 1U);
        ASSERT_EQ(program.user.searches[0].entries.size(), 1U) << narrow(program.user.searches[0].errorText);
        EXPECT_EQ(state.resultLine, W("Поиск завершён"));

        host.recycleInput = [](HWND) { return RecycleInput{person->searches[0], {0}}; };
        program.user.closeLargeWindow = true;
        recycleLarge(program.largeWindow);
        EXPECT_EQ(state.total, 1U);
        program.run();
        ASSERT_EQ(program.user.moves.size(), 1U);
        EXPECT_EQ(program.user.moves[0].moved, 1U);
        EXPECT_FALSE(fs::exists("/home/disk/large"));
        EXPECT_FALSE(IsWindow(program.largeWindow));
        EXPECT_TRUE(program.user.notices.empty()) << "the window that asked is gone";
        EXPECT_EQ(historyRecords(), 2U);

        // A window that is gone by the time of the result.
        startLargeSearch(program.largeWindow);
        program.run();
        EXPECT_EQ(program.user.searches.size(), 1U);
        EXPECT_EQ(historyRecords(), 3U);
    });
}

TEST(Operations, StartersWaitForTheirTurn) {
    inProgram([](Program &program) {
        OperationState &state = operationState();
        startClean();
        EXPECT_FALSE(state.busy) << "nothing was scanned";
        operationHost().searchInput = [](HWND) { return large::LargeSearchOptions{W("C:\\nowhere"), 1, 1}; };
        for (int reason = 0; reason < 3; ++reason) { // a dialog, an exit, a close that waits for a dialog
            state.modalDepth = reason == 0;
            state.exitPending = reason == 1;
            state.closeDeferred = reason == 2;
            startScan();
            startLargeSearch(program.largeWindow);
            EXPECT_FALSE(state.busy) << reason;
        }
        state.closeDeferred = false;
        startScan();
        startLargeSearch(program.largeWindow);
        EXPECT_EQ(state.operation, OperationKind::Scan);
        EXPECT_EQ(state.ownerWindow, nullptr);
        program.run();
    });
}

TEST(Operations, ACloseAtAnyMoment) {
    enum Moment { Idle, Busy, Cancelled, Dialog, BusyDialog };
    const struct {
        Moment moment;
        bool force;
        int answer; ///< 0 where nothing is asked
        bool closes;
    } table[] = {
        {Idle, false, 0, true},   {Busy, false, IDYES, true},       {Busy, false, IDNO, false},
        {Busy, true, 0, true},    {Cancelled, false, IDYES, true},  {Cancelled, false, IDNO, false},
        {Dialog, false, 0, true}, {BusyDialog, false, IDNO, false}, {BusyDialog, true, 0, true},
    };
    for (const auto &row : table) {
        SCOPED_TRACE(&row - table);
        inProgram([&row](Program &program) {
            makeFile("/tmp/old");
            OperationState &state = operationState();
            const HWND window = operationHost().mainWindow;
            const bool inDialog = row.moment == Dialog || row.moment == BusyDialog;
            const bool busy = row.moment != Idle && row.moment != Dialog;
            program.user.answer = [&row] {
                requestExit(false); // a second close while it is asked
                return row.answer;
            };
            if (busy)
                startScan();
            if (row.moment == Cancelled)
                cancelOperation();
            state.modalDepth = inDialog;
            requestExit(row.force);
            EXPECT_EQ(state.closeDeferred, inDialog || row.answer == IDYES);
            MSG message;
            if (inDialog) {
                EXPECT_TRUE(IsWindow(window));
                state.modalDepth = 0;
                PostMessageW(window, WM_APP_AFTER_MODAL, 0, 0);
                GetMessageW(&message, nullptr, WM_APP_AFTER_MODAL, WM_APP_AFTER_MODAL);
                DispatchMessageW(&message);
            }
            if (row.closes && busy) {
                EXPECT_EQ(state.statusText, W("Отмена…"));
                EXPECT_TRUE(IsWindow(window)) << "it waits for its worker";
            }
            while ((row.closes || state.busy) && GetMessageW(&message, nullptr, 0, 0) > 0)
                DispatchMessageW(&message);
            EXPECT_EQ(IsWindow(window), !row.closes);
            EXPECT_EQ(program.user.secondaryDestroyed, row.closes ? 1 : 0);
            EXPECT_EQ(program.user.questions.size(), row.answer == 0 ? 0U : 1U);
            EXPECT_TRUE(row.closes || !state.closeConfirmed);
            EXPECT_FALSE(state.worker.joinable());
        });
    }
}

TEST(Operations, AMainWindowThatIsGoneLosesNothing) {
    inProgram([](Program &) {
        makeFile("/tmp/old");
        startScan();
        DestroyWindow(operationHost().mainWindow);
        joinWorker();
        EXPECT_FALSE(operationState().hasScanResult);
        reportProgress(W("C:\\path"), 1, 1);
    });
}

TEST(Operations, StartsAndCancelsOverAndOver) {
    inProgram([](Program &program) {
        for (int number = 0; number < 40; ++number)
            makeFile("/tmp/folder" + std::to_string(number % 4) + "/old" + std::to_string(number));
        OperationState &state = operationState();
        for (int round = 0; round < 2000; ++round) {
            startScan();
            if (round % 3 != 0)
                cancelOperation();
            program.run();
            ASSERT_TRUE(state.hasScanResult);
            ASSERT_TRUE(state.lastScanCancelled || state.scanResult.entries.size() == 40) << round;
        }
        EXPECT_EQ(historyRecords(), 2000U);
    });
}

/// Runs an operation over and over, each time with a later allocation of its worker failing, until none fails.
void failEverywhere(const std::function<void()> &prepare, const std::function<void()> &run) {
    long number = 0;
    for (bool failed = true; failed; number += 1 + number / 8) {
        prepare();
        failAllocationAfter(number);
        run();
        failed = hasFailed();
        ASSERT_FALSE(operationState().busy);
        ASSERT_FALSE(operationState().worker.joinable());
    }
    EXPECT_GT(number, 10);
}

TEST(Operations, AWorkerThatThrowsAnywhereEndsItsOperation) {
    inProgram([](Program &program) {
        OperationState &state = operationState();
        program.user.selection = {true, true, false};
        if (!mountDisk())
            GTEST_SKIP() << "No file system can be mounted here.";
        const auto scan = [&] {
            makeFile("/tmp/folder/old");
            startScan();
            program.run();
        };
        failEverywhere([] {}, scan);
        EXPECT_TRUE(state.hasScanResult);
        failEverywhere([] {},
                       [&] {
                           startLargeSearch(program.largeWindow);
                           program.run();
                       });
        EXPECT_EQ(program.user.searches.front().errorText, W("Не удалось завершить поиск."));
        EXPECT_EQ(program.user.searches.back().entries.size(), 1U);
        operationHost().recycleInput = [](HWND) { return RecycleInput{person->searches.back(), {0}}; };
        const auto bringBack = [] {
            fs::remove_all("/home/disk/.Trash-" + std::to_string(geteuid()));
            makeFile("/home/disk/large", std::string(2 << 20, 'x'));
        };
        failEverywhere(bringBack, [&] {
            startLargeSearch(program.largeWindow);
            program.run();
            recycleLarge(program.largeWindow);
            program.run();
        });
        EXPECT_EQ(program.user.moves.front().errors, 1U);
        EXPECT_EQ(program.user.moves.back().moved, 1U);
        failEverywhere(scan, [&] {
            startClean();
            program.run();
        });
        EXPECT_FALSE(fs::exists("/tmp/folder/old"));
    });
}

TEST(Operations, ProgressIsPosted) {
    inProgram([](Program &) {
        const HWND window = operationHost().mainWindow;
        const auto posted = [window] {
            std::vector<ProgressRecord> records;
            MSG message;
            while (PeekMessageW(&message, window, WM_APP_PROGRESS, WM_APP_PROGRESS, PM_REMOVE)) {
                records.push_back(*reinterpret_cast<ProgressRecord *>(message.lParam));
                handleOperationMessage(message.message, message.lParam);
            }
            return records;
        };
        std::uint64_t milliseconds = 0;
        std::thread([&] {
            const ULONGLONG start = GetTickCount64();
            for (std::uint64_t number = 1; number <= 100'000; ++number)
                reportProgress(W("C:\\home\\file"), number, 0);
            milliseconds = GetTickCount64() - start;
        }).join();
        const std::size_t seldom = posted().size();
        EXPECT_GE(seldom, 1U);
        EXPECT_LE(seldom, 2 + milliseconds / 80);
        EXPECT_EQ(narrow(operationState().statusText).substr(0, 15), "Files checked: ");
        EXPECT_TRUE(narrow(operationState().statusText).ends_with(" ? /home/file"));

        std::thread([] {
            reportProgress(W("C:\\a"), 1, 3);
            reportProgress(W("C:\\b"), 2, 3);
            reportProgress(W("Finished"), 3, 3);
            reportProgress(W("Recycle Bin"), 0, 0);
        }).join();
        const std::vector<ProgressRecord> records = posted();
        ASSERT_TRUE(records.size() == 3 || records.size() == 4) << "the second may come late";
        EXPECT_EQ(records.front().text, W("C:\\a"));
        EXPECT_EQ(records[records.size() - 2].text, W("Finished"));
        EXPECT_EQ(narrow(operationState().statusText), "Files checked: 0 ? Recycle Bin");
    });
}

} // namespace
} // namespace dm
