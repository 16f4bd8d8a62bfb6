// Small helpers shared by the end-to-end benchmarks: the clock, this and another process's CPU
// time, percentiles, the totals the scrawlet program prints, and the one `name value` line each
// result is printed as.
#pragma once

#include <sys/resource.h>
#include <sys/types.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace scrawlet::bench {

// CLOCK_MONOTONIC in seconds.
inline double monotonicSeconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// Until a monotonicSeconds() time, signals or not.
inline void sleepUntil(double seconds) {
    timespec until{};
    until.tv_sec = static_cast<time_t>(seconds);
    until.tv_nsec = static_cast<long>((seconds - static_cast<double>(until.tv_sec)) * 1e9);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) != 0) {
    }
}

// User plus system time of this process, every thread, in seconds.
inline double ownCpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& t) {
        return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) * 1e-6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// User plus system time of a process in seconds; nothing if it has gone.
inline std::optional<double> cpuSecondsOf(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string text;
    if (!std::getline(file, text)) {
        return std::nullopt;
    }
    // The command name may hold spaces; the fields that follow it do not.
    const auto close = text.rfind(')');
    if (close == std::string::npos) {
        return std::nullopt;
    }
    std::istringstream fields(text.substr(close + 2));
    std::string field;
    unsigned long long utime = 0, stime = 0;
    // utime and stime are the 14th and 15th fields, the 12th and 13th after the name.
    for (int i = 3; i <= 15 && fields >> field; ++i) {
        if (i == 14) {
            utime = std::stoull(field);
        } else if (i == 15) {
            stime = std::stoull(field);
        }
    }
    return static_cast<double>(utime + stime) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

// Linear interpolation between the closest ranks; NaN for no values.
inline double percentile(std::vector<double> values, double fraction) {
    if (values.empty()) {
        return NAN;
    }
    std::sort(values.begin(), values.end());
    const double rank = fraction * static_cast<double>(values.size() - 1);
    const auto below = static_cast<std::size_t>(std::floor(rank));
    const auto above = std::min(below + 1, values.size() - 1);
    return values[below] + (values[above] - values[below]) * (rank - static_cast<double>(below));
}

// The event count of the first totals line ("draw: <events> events / …", printed on SIGPWR) in
// `text` at or after `from`.
inline std::optional<std::uint64_t> drawnEventsIn(const std::string& text, std::size_t from) {
    const std::string prefix = "draw: ";
    // Other "draw: " messages may come first; the totals start with a number.
    for (auto at = text.find(prefix, from); at != std::string::npos;
         at = text.find(prefix, at + 1)) {
        const std::size_t digits = at + prefix.size();
        if (digits < text.size() && std::isdigit(static_cast<unsigned char>(text[digits]))) {
            return std::stoull(text.substr(digits));
        }
    }
    return std::nullopt;
}

// Flushed at once, so a run that later hangs still shows what it measured.
inline void print(const std::string& name, double value) {
    std::printf("%s %.3f\n", name.c_str(), value);
    std::fflush(stdout);
}

}  // namespace scrawlet::bench
