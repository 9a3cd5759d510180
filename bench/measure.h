// What every measurement prints and counts.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>

#include <sys/resource.h>

namespace dm::bench {

class Stopwatch {
public:
    double seconds() const { return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count(); }

private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

// One line of JSON: names and numbers.
class Line {
public:
    explicit Line(const char *phase) { text_ = std::string("{\"phase\":\"") + phase + '"'; }

    Line &add(const char *name, std::uint64_t value) { return addText(name, std::to_string(value)); }
    Line &addFlag(const char *name, bool value) { return addText(name, value ? "true" : "false"); }
    Line &addSeconds(const char *name, double value, int decimals = 6) {
        char seconds[32];
        std::snprintf(seconds, sizeof(seconds), "%.*f", decimals, value);
        return addText(name, seconds);
    }
    /// Adds the time until now and the memory that was needed.
    void print(const Stopwatch &stopwatch) { print(stopwatch.seconds()); }
    void print(double seconds) {
        addSeconds("seconds", seconds);
        rusage usage;
        getrusage(RUSAGE_SELF, &usage);
        add("peak_bytes", static_cast<std::uint64_t>(usage.ru_maxrss) * 1024);
        std::printf("%s}\n", text_.c_str());
        std::fflush(stdout);
    }

private:
    Line &addText(const char *name, const std::string &value) {
        text_ += std::string(",\"") + name + "\":" + value;
        return *this;
    }

    std::string text_;
};

} // namespace dm::bench
