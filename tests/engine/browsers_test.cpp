#include "engine/browsers.h"

#include "core/handles.h"
#include "empty_machine.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include <xcb/xcb.h>

namespace {

using namespace dm;
using namespace dm::test;
using Names = std::vector<WString>;

/// In the private /tmp.
fs::path makeProgram(const std::string &name) {
    const fs::path program = fs::path("/tmp") / name;
    fs::copy_file("/bin/sleep", program, fs::copy_options::overwrite_existing);
    return program;
}

pid_t startProgram(const fs::path &program, const char *duration = "infinity") {
    return startProcess([&] {
        execl(program.c_str(), "sleep", duration, nullptr);
        _exit(127);
    });
}

/// A process that this user may not look into: all that it shows is its command name.
pid_t startSecretive(const char *commandName) {
    return startProcess([commandName] {
        prctl(PR_SET_NAME, commandName);
        prctl(PR_SET_DUMPABLE, 0);
    });
}

/// Waits until a child has ended without taking notice of it, so that it stays as a zombie.
void awaitZombie(pid_t process) {
    siginfo_t info;
    EXPECT_EQ(waitid(P_PID, static_cast<id_t>(process), &info, WEXITED | WNOWAIT), 0);
}

/// Starts a process of each name in turn; the shown name, or null for no browser.
void expectNames(const std::vector<std::pair<const char *, const WChar *>> &cases, pid_t (*start)(const char *name)) {
    ASSERT_TRUE(becomeOrdinaryUser());
    for (const auto &[name, shown] : cases) {
        const pid_t process = start(name);
        EXPECT_EQ(runningBrowserNames(), shown == nullptr ? Names{} : Names{shown}) << name;
        endProcess(process);
        EXPECT_EQ(runningBrowserNames(), Names{}) << name;
    }
}

TEST(Browsers, AreKnownByTheirExecutables) {
    runIsolated(Isolation::ProcessesAndPlaces, [] {
        expectNames({{"CHROME.EXE", W("Google Chrome")},
                     {"Chromium", W("Google Chrome")},
                     {"chromium-browser", W("Google Chrome")},
                     {"google-chrome-unstable", W("Google Chrome")},
                     {"msedge", W("Microsoft Edge")},
                     {"microsoft-edge-dev", W("Microsoft Edge")},
                     {"firefox-esr", W("Mozilla Firefox")},
                     {"Firefox-Bin", W("Mozilla Firefox")},
                     {"chromedriver", nullptr},
                     {"firefoxx", nullptr},
                     {"google-chrome-s", nullptr},
                     {"a\xFF: chrome", nullptr}},
                    [](const char *name) { return startProgram(makeProgram(name)); });
    });
}

TEST(Browsers, AreNamedOnceHoweverManyProcesses) {
    runIsolated(Isolation::ProcessesAndPlaces, [] {
        ASSERT_TRUE(becomeOrdinaryUser());
        startProgram(makeProgram("firefox"));
        const fs::path chrome = makeProgram("chrome");
        std::set<std::uint32_t> started;
        for (int i = 0; i < 20; ++i)
            started.insert(static_cast<std::uint32_t>(startProgram(chrome)));

        bool status = false;
        std::set<std::uint32_t> listed;
        for (const BrowserProcess &browser : listUserBrowsers(status))
            if (browser.displayName == W("Google Chrome"))
                listed.insert(browser.processId);
        EXPECT_TRUE(status);
        EXPECT_EQ(listed, started);
        EXPECT_EQ(runningBrowserNames(), (Names{W("Mozilla Firefox"), W("Google Chrome")}));
    });
}

TEST(Browsers, CountWhileTheirUpgradedExecutableRuns) {
    runIsolated(Isolation::ProcessesAndPlaces, [] {
        ASSERT_TRUE(becomeOrdinaryUser());
        const fs::path program = makeProgram("chrome");
        startProgram(program);
        fs::remove(program);
        EXPECT_EQ(runningBrowserNames(), Names{W("Google Chrome")});
        startProgram(makeProgram("firefox (deleted)"));
        EXPECT_EQ(runningBrowserNames(), (Names{W("Google Chrome"), W("Mozilla Firefox")}));
    });
}

TEST(Browsers, CountWhenOnlyTheirCommandNameShows) {
    runIsolated(Isolation::Processes, [] {
        expectNames({{"chrome", W("Google Chrome")},
                     {"chromium-browser", W("Google Chrome")}, // the kernel cuts the last letter
                     {"microsoft-edge-beta", W("Microsoft Edge")},
                     {"FIREFOX.EXE", W("Mozilla Firefox")},
                     {"chromium-brows", nullptr},
                     {"Web Content", nullptr},
                     {"a/b", nullptr},
                     {"", nullptr}},
                    startSecretive);
    });
}

TEST(Browsers, DoNotCountOnceTheyHaveEnded) {
    runIsolated(Isolation::ProcessesAndPlaces, [] {
        ASSERT_TRUE(becomeOrdinaryUser());
        const pid_t zombie = startProgram(makeProgram("chrome"), "0");
        awaitZombie(zombie);
        awaitZombie(startProgram(makeProgram("CHROME.EXE"), "0"));
        EXPECT_EQ(runningBrowserNames(), Names{});

        // The first thread has ended and looks like a zombie, but others go on.
        const pid_t headless = startProcess([] {
            prctl(PR_SET_NAME, "firefox");
            const int pidFolder = open("/proc/self", O_PATH);
            std::thread([pidFolder] {
                char name[8];
                while (readlinkat(pidFolder, "exe", name, sizeof name) >= 0)
                    std::this_thread::yield();
                for (int descriptor = 3; descriptor < 64; ++descriptor)
                    close(descriptor);
                for (;;)
                    pause();
            }).detach();
            syscall(SYS_exit, 0); // ends this thread alone
        });
        EXPECT_EQ(runningBrowserNames(), Names{W("Mozilla Firefox")});
        kill(headless, SIGKILL);
    });
}

TEST(Browsers, MayEndBetweenTheListAndTheLook) {
    runIsolated(Isolation::ProcessesAndPlaces, [] {
        ASSERT_TRUE(becomeOrdinaryUser());
        const pid_t browser = startProgram(makeProgram("chrome"));
        const OwnedHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
        endProcess(browser);

        PROCESSENTRY32W entry = {};
        entry.dwSize = sizeof entry;
        ASSERT_TRUE(Process32FirstW(snapshot.get(), &entry));
        while (entry.th32ProcessID != static_cast<DWORD>(browser))
            ASSERT_TRUE(Process32NextW(snapshot.get(), &entry));
        DWORD session = 0;
        EXPECT_TRUE(ProcessIdToSessionId(entry.th32ProcessID, &session)); // or it would count as doubtful
        EXPECT_EQ(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, entry.th32ProcessID), nullptr);
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
    });
}

TEST(Browsers, OfOtherUsersDoNotCount) {
    runIsolated(Isolation::ProcessesAndPlaces, [] {
        if (geteuid() != 0)
            GTEST_SKIP() << "Only root can start programs of other users.";
        constexpr uid_t thisUser = 65534;
        constexpr uid_t otherUser = 65533;
        const fs::path program = makeProgram("chrome");
        startProgram(program);
        startProcess([&] {
            becomeOrdinaryUser(otherUser);
            execl(program.c_str(), "sleep", "infinity", nullptr);
        });
        startProcess([] {
            becomeOrdinaryUser(otherUser);
            prctl(PR_SET_NAME, "chrome");
            prctl(PR_SET_DUMPABLE, 0);
        });
        startProcess([] { // started by this user, but running with the powers of another
            EXPECT_EQ(setresuid(thisUser, otherUser, otherUser), 0);
            prctl(PR_SET_NAME, "msedge");
        });
        ASSERT_TRUE(becomeOrdinaryUser(thisUser));
        EXPECT_EQ(runningBrowserNames(), Names{W("Microsoft Edge")});
    });
}

TEST(Browsers, OfOtherUsersMayBeHidden) {
    runIsolated(Isolation::ProcessesAndPlaces, [] {
        if (geteuid() != 0)
            GTEST_SKIP() << "Only root can start programs of other users.";
        const pid_t browser = startProgram(makeProgram("chrome"));
        ASSERT_EQ(mount("proc", "/proc", "proc", 0, "hidepid=noaccess"), 0);
        ASSERT_TRUE(becomeOrdinaryUser());
        ASSERT_EQ(access(("/proc/" + std::to_string(browser) + "/comm").c_str(), R_OK), -1);
        EXPECT_EQ(runningBrowserNames(), Names{});
        startProgram(makeProgram("firefox"));
        EXPECT_EQ(runningBrowserNames(), Names{W("Mozilla Firefox")});
    });
}

void makeListed(const std::string &process, const char *commandName) {
    fs::create_directory("/proc/" + process);
    std::ofstream("/proc/" + process + "/comm") << commandName << '\n';
    std::ofstream("/proc/" + process + "/stat") << process << " (" << commandName << ") S\n";
}

TEST(Browsers, CountAsRunningWhenNobodyKnows) {
    runIsolated(Isolation::Processes, [] {
        const Names unknown = {W("Browser status unavailable")};
        ASSERT_EQ(mount("tmpfs", "/proc", "tmpfs", 0, "mode=0777"), 0);
        ASSERT_TRUE(becomeOrdinaryUser());
        EXPECT_EQ(runningBrowserNames(), unknown);

        makeListed("1", "init");
        ASSERT_EQ(symlink("2", "/proc/self"), 0);
        EXPECT_EQ(runningBrowserNames(), unknown); // a list without this very process is that of another system
        makeListed("2", "test");
        EXPECT_EQ(runningBrowserNames(), Names{});

        makeListed("3", "chrome");
        makeListed("4", "unreadable");
        fs::permissions("/proc/4/comm", fs::perms::none);
        bool status = true;
        EXPECT_EQ(listUserBrowsers(status).size(), 1u);
        EXPECT_FALSE(status);
        EXPECT_EQ(runningBrowserNames(), unknown);
        EXPECT_FALSE(askBrowsersToClose());
    });
}

/// The windows of the desktop below, made and listened to by the test itself, with the process numbers of others.
class Desktop {
public:
    Desktop() : connection_(xcb_connect(nullptr, nullptr), xcb_disconnect) {
        screen_ = xcb_setup_roots_iterator(xcb_get_setup(connection_.get())).data;
    }

    bool connected() const { return xcb_connection_has_error(connection_.get()) == 0; }

    xcb_window_t makeWindow(pid_t process) {
        const xcb_window_t window = xcb_generate_id(connection_.get());
        xcb_create_window(connection_.get(), XCB_COPY_FROM_PARENT, window, screen_->root, 0, 0, 10, 10, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
        char host[256] = {};
        EXPECT_EQ(gethostname(host, sizeof host - 1), 0);
        setNumber(window, "_NET_WM_PID", XCB_ATOM_CARDINAL, static_cast<std::uint32_t>(process));
        setText(window, XCB_ATOM_WM_CLIENT_MACHINE, host);
        setNumber(window, "WM_PROTOCOLS", XCB_ATOM_ATOM, atom("WM_DELETE_WINDOW"));
        windows_.push_back(window);
        return window;
    }
    xcb_window_t makeShownWindow(pid_t process) {
        const xcb_window_t window = makeWindow(process);
        xcb_map_window(connection_.get(), window);
        return window;
    }
    void destroy(xcb_window_t window) { xcb_destroy_window(connection_.get(), window); }

    void setNumber(xcb_window_t window, const std::string &name, xcb_atom_t type, std::uint32_t value) {
        xcb_change_property(connection_.get(), XCB_PROP_MODE_REPLACE, window, atom(name), type, 32, 1, &value);
    }
    void setText(xcb_window_t window, xcb_atom_t name, const std::string &text) {
        xcb_change_property(connection_.get(), XCB_PROP_MODE_REPLACE, window, name, XCB_ATOM_STRING, 8,
                            static_cast<std::uint32_t>(text.size()), text.data());
    }
    void remove(xcb_window_t window, const std::string &name) {
        xcb_delete_property(connection_.get(), window, atom(name));
    }

    /// Lists all windows as a window manager does, asks the browsers, and gives the windows that were told to close.
    std::set<xcb_window_t> ask(bool &result) {
        xcb_change_property(connection_.get(), XCB_PROP_MODE_REPLACE, screen_->root, atom("_NET_CLIENT_LIST"),
                            XCB_ATOM_WINDOW, 32, static_cast<std::uint32_t>(windows_.size()), windows_.data());
        atom("WM_STATE"); // its answer means that the server has done all of the above
        result = askBrowsersToClose();
        atom("WM_STATE"); // and what was sent meanwhile has arrived
        std::set<xcb_window_t> asked;
        while (xcb_generic_event_t *event = xcb_poll_for_event(connection_.get())) {
            const auto *message = reinterpret_cast<xcb_client_message_event_t *>(event);
            if ((event->response_type & 0x7F) == XCB_CLIENT_MESSAGE && message->type == atom("WM_PROTOCOLS") &&
                message->data.data32[0] == atom("WM_DELETE_WINDOW"))
                asked.insert(message->window);
            std::free(event);
        }
        return asked;
    }

    xcb_atom_t atom(const std::string &name) {
        const auto asked = xcb_intern_atom(connection_.get(), 0, static_cast<std::uint16_t>(name.size()), name.c_str());
        xcb_intern_atom_reply_t *reply = xcb_intern_atom_reply(connection_.get(), asked, nullptr);
        const xcb_atom_t found = reply == nullptr ? xcb_atom_t{XCB_ATOM_NONE} : reply->atom;
        std::free(reply);
        return found;
    }

private:
    std::unique_ptr<xcb_connection_t, void (*)(xcb_connection_t *)> connection_;
    xcb_screen_t *screen_ = nullptr;
    std::vector<xcb_window_t> windows_;
};

/// Starts an X server, which does not start anew when its last client has left, and points DISPLAY to it. False where
/// none is installed.
bool startDesktop() {
    int display[2];
    EXPECT_EQ(pipe(display), 0);
    const pid_t server = fork();
    if (server == 0) {
        dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
        execlp("Xvfb", "Xvfb", "-displayfd", std::to_string(display[1]).c_str(), "-nolisten", "tcp", "-noreset",
               nullptr);
        _exit(127);
    }
    close(display[1]);
    std::string number;
    for (char digit; read(display[0], &digit, 1) == 1 && digit != '\n';)
        number.push_back(digit);
    close(display[0]);
    if (number.empty()) {
        int status = 0;
        waitpid(server, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 127) << "The X server does not start.";
        return false;
    }
    setenv("DISPLAY", (":" + number).c_str(), 1);
    return true;
}

TEST(Browsers, AreAskedThroughTheirVisibleMainWindows) {
    runIsolated(Isolation::ProcessesAndPlaces, [] {
        ASSERT_TRUE(becomeOrdinaryUser());
        EXPECT_TRUE(askBrowsersToClose()); // nobody runs
        const pid_t browser = startProgram(makeProgram("chrome"));
        EXPECT_FALSE(askBrowsersToClose()); // no desktop

        if (!startDesktop())
            GTEST_SKIP() << "Xvfb is not installed.";
        EXPECT_FALSE(askBrowsersToClose()); // a desktop that lists no windows
        Desktop desktop;
        ASSERT_TRUE(desktop.connected());
        bool result = true;

        const xcb_window_t withdrawn = desktop.makeWindow(browser);
        desktop.setNumber(withdrawn, "WM_STATE", desktop.atom("WM_STATE"), 0);
        desktop.setNumber(desktop.makeShownWindow(browser), "WM_TRANSIENT_FOR", XCB_ATOM_WINDOW, withdrawn);
        desktop.makeShownWindow(getpid());
        desktop.setText(desktop.makeShownWindow(browser), XCB_ATOM_WM_CLIENT_MACHINE, "elsewhere.invalid");
        desktop.remove(desktop.makeShownWindow(browser), "WM_CLIENT_MACHINE");
        desktop.remove(desktop.makeShownWindow(browser), "WM_PROTOCOLS");
        desktop.remove(desktop.makeShownWindow(browser), "_NET_WM_PID");
        desktop.setText(desktop.makeShownWindow(browser), desktop.atom("_NET_WM_PID"), std::to_string(browser));
        desktop.destroy(desktop.makeShownWindow(browser));
        EXPECT_EQ(desktop.ask(result), std::set<xcb_window_t>{});
        EXPECT_FALSE(result);

        const xcb_window_t shown = desktop.makeShownWindow(browser);
        const xcb_window_t minimised = desktop.makeWindow(browser);
        desktop.setNumber(minimised, "WM_STATE", desktop.atom("WM_STATE"), 3);
        EXPECT_EQ(desktop.ask(result), (std::set<xcb_window_t>{shown, minimised}));
        EXPECT_TRUE(result);

        endProcess(browser);
        EXPECT_EQ(desktop.ask(result), std::set<xcb_window_t>{});
        EXPECT_TRUE(result);
    });
}

} // namespace
