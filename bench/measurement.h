// Small helpers shared by the end-to-end benchmarks: another process's CPU time, percentiles,
// and the one `name value` line each result is printed as.
#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace scrawlet::bench {

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

// Flushed at once, so a run that later hangs still shows what it measured.
inline void print(const std::string& name, double value) {
    std::printf("%s %.3f\n", name.c_str(), value);
    std::fflush(stdout);
}

}  // namespace scrawlet::bench
