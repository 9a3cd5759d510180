#include "core/json_sanity.h"
#include "data/history.h"
#include "namespaces.h"
#include "platform/linux/fd.h"

#include <gtest/gtest.h>

#include <set>

using namespace dm;
using dm::platform::Fd;

namespace {

namespace fs = std::filesystem;

constexpr int cannotRun = 127;

/// The program beside the test binary, opened before anything is mounted over the folder that it lies in.
class Entry : public testing::Test {
protected:
    void SetUp() override {
        const fs::path path = fs::read_symlink("/proc/self/exe").parent_path() / "dustmere";
        program_ = Fd(open(path.c_str(), O_PATH | O_CLOEXEC));
        ASSERT_TRUE(program_) << path;
    }

    /// Runs the program with a temp folder and gives its exit code, or -1 where it did not end by itself. Its standard
    /// streams go to the file.
    int run(std::vector<std::string> arguments, const fs::path &temp, const fs::path &output,
            std::vector<std::string> environment = {}) {
        environment.push_back("TMPDIR=" + temp.string());
        for (const char *variable : {"HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_CONFIG_HOME", "XDG_RUNTIME_DIR"})
            environment.push_back(std::string(variable) + "=" + std::getenv(variable));
        arguments.insert(arguments.begin(), "dustmere");

        const pid_t child = fork();
        if (child == 0) {
            const int file = open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
            dup2(file, STDOUT_FILENO);
            dup2(file, STDERR_FILENO);
            execveat(program_.get(), "", pointersTo(arguments).data(), pointersTo(environment).data(), AT_EMPTY_PATH);
            _exit(cannotRun);
        }
        int status = 0;
        return waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    static std::vector<char *> pointersTo(std::vector<std::string> &texts) {
        std::vector<char *> pointers;
        pointers.reserve(texts.size() + 1);
        for (std::string &text : texts)
            pointers.push_back(text.data());
        pointers.push_back(nullptr);
        return pointers;
    }

    Fd program_;
};

std::set<fs::path> namesIn(const fs::path &folder) {
    std::set<fs::path> names;
    for (const fs::directory_entry &entry : fs::directory_iterator(folder))
        names.insert(entry.path().filename());
    return names;
}

} // namespace

TEST_F(Entry, SelfTestShowsNothingAndLeavesNothing) {
    // /tmp is a volume of its own here, with nothing in it but what the tests brought.
    test::runIsolated(test::Isolation::ProcessesAndPlaces, [this] {
        const fs::path temp = "/tmp/temporary files";
        fs::create_directory(temp);
        const std::set<fs::path> before = namesIn("/tmp");
        const std::vector<std::string> cases[] = {{"--self-test"},
                                                  {"x--self-test-y"},
                                                  {"--self-test", "--smoke-quit"},
                                                  {"--smoke-quit", "--self-test"},
                                                  {"\xFF \xD0\"", "", "--self-test"}};
        for (const std::vector<std::string> &arguments : cases) {
            EXPECT_EQ(run(arguments, temp, "/var/tmp/output"), 0) << testing::PrintToString(arguments);
            EXPECT_TRUE(fs::is_empty(temp)) << testing::PrintToString(arguments);
        }
        EXPECT_EQ(namesIn("/tmp"), before);
        EXPECT_EQ(fs::file_size("/var/tmp/output"), 0u);
    });
}

TEST_F(Entry, OtherCommandLinesOpenTheWindowOrFail) {
    test::runIsolated(test::Isolation::ProcessesAndPlaces, [this] {
        fs::create_directory("/tmp/temp");
        const std::vector<std::string> cases[] = {{}, {"--SELF-TEST"}, {"--self", "-test"}, {"--smoke-quit"}};
        for (const std::vector<std::string> &arguments : cases)
            EXPECT_EQ(run(arguments, "/tmp/temp", "/var/tmp/output"), 10) << testing::PrintToString(arguments);
        EXPECT_EQ(run({"--smoke-quit"}, "/tmp/temp", "/var/tmp/output", {"QT_QPA_PLATFORM=offscreen"}), 0);
        EXPECT_TRUE(fs::exists(fs::path(std::getenv("XDG_DATA_HOME")) / "Dustmere" / "state.dat"));
    });
}

TEST_F(Entry, EachSelfTestLeavesOneRecordAndAFailedOneItsOwnCode) {
    test::runIsolated(test::Isolation::ProcessesAndPlaces, [this] {
        fs::create_directory("/tmp/real");
        fs::create_directory_symlink("real", "/tmp/link");
        EXPECT_EQ(run({"--self-test"}, "/tmp/real", "/var/tmp/output"), 0);
        EXPECT_EQ(run({"--self-test"}, "/tmp/link", "/var/tmp/output"), 11);
        EXPECT_TRUE(fs::is_empty("/tmp/real"));
        EXPECT_EQ(fs::file_size("/var/tmp/output"), 0u);

        std::ifstream log(fs::path(std::getenv("XDG_DATA_HOME")) / "Dustmere" / "history.log", std::ios::binary);
        std::vector<HistoryEvent> events;
        for (std::string line; std::getline(log, line);) {
            std::int64_t time = 0;
            ASSERT_TRUE(parseHistoryRecord(line.substr(0, line.find('\r')), events.emplace_back(), time)) << line;
        }
        ASSERT_EQ(events.size(), 2u);
        HistoryEvent passed;
        passed.text = W("Самопроверка пройдена.");
        EXPECT_TRUE(events[0] == passed);
        EXPECT_TRUE(events[1].text == W("Самопроверка не пройдена.") && !events[1].literalText);
        EXPECT_FALSE(events[1].detail.empty());
    });
}

TEST(JsonSanity, ReaderPasses) {
    EXPECT_TRUE(checkJsonSanity());
}
