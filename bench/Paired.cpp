#include "bench/Paired.h"

#include <time.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace tumblewash::bench {

namespace {

double now(Clock clock) {
    timespec at{};
    clock_gettime(clock == Clock::wall ? CLOCK_MONOTONIC : CLOCK_THREAD_CPUTIME_ID, &at);
    return static_cast<double>(at.tv_sec) * 1.0e3 + static_cast<double>(at.tv_nsec) * 1.0e-6;
}

double milliseconds(const std::function<void()>& work, int repeats, Clock clock) {
    const double start = now(clock);
    for (int i = 0; i < repeats; ++i) work();
    return (now(clock) - start) / repeats;
}

/// How often to repeat work so that the clock's own steps do not matter.
int repeatsFor(const std::function<void()>& work, Clock clock) {
    work();
    const double once = milliseconds(work, 1, clock);
    return std::clamp(static_cast<int>(std::ceil(2.0 / std::max(once, 1.0e-5))), 1, 200000);
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// What the system calls its processor; empty where it does not say.
std::string processorName() {
    std::ifstream info("/proc/cpuinfo");
    for (std::string line; std::getline(info, line);) {
        const auto colon = line.find(": ");
        if (line.starts_with("model name") && colon != std::string::npos) return line.substr(colon + 2);
    }
    return "";
}

std::string today() {
    const std::time_t now = std::time(nullptr);
    std::tm day{};
    gmtime_r(&now, &day);
    char text[16];
    std::strftime(text, sizeof text, "%Y-%m-%d", &day);
    return text;
}

}  // namespace

Pair measurePair(const std::function<void()>& ours, const std::function<void()>& yardstick, int rounds,
                 Clock clock) {
    const int ourRepeats = repeatsFor(ours, clock);
    const int theirRepeats = repeatsFor(yardstick, clock);
    std::vector<double> a, b, ratios;
    for (int i = 0; i < rounds; ++i) {
        a.push_back(milliseconds(ours, ourRepeats, clock));
        b.push_back(milliseconds(yardstick, theirRepeats, clock));
        ratios.push_back(a.back() / b.back());
    }
    return {median(a), median(b), median(ratios)};
}

Table::Table(std::string only, int rounds) : only_(std::move(only)), rounds_(rounds) {
    std::printf("| %-50s | %9s | %-34s | %9s | %7s | %7s | %-7s |\n", "what", "ours ms", "yardstick",
                "its ms", "ratio", "target", "verdict");
    std::printf("|%s|\n", "---|---:|---|---:|---:|---:|---");
}

bool Table::wants(const std::string& row) const {
    return row.find(only_) != std::string::npos;
}

double Table::add(const std::string& row, const std::function<void()>& ours, const std::string& yardstickName,
                  const std::function<void()>& yardstick, Aim aim, double target, Clock clock) {
    if (!wants(row)) return 0.0;
    const Pair pair = measurePair(ours, yardstick, rounds_, clock);
    print(row, pair, yardstickName, aim, target);
    return pair.ours;
}

void Table::addFigures(const std::string& row, double ours, const std::string& yardstickName,
                       double yardstick, Aim aim, double target) {
    if (!wants(row) || yardstick <= 0.0) return;
    print(row, {ours, yardstick, ours / yardstick}, yardstickName, aim, target);
}

void Table::print(const std::string& row, const Pair& pair, const std::string& yardstickName, Aim aim,
                  double target) {
    const double shown = aim == Aim::atMost ? pair.ratio : 1.0 / pair.ratio;
    const bool good = aim == Aim::shown || (aim == Aim::atMost ? shown <= target : shown >= target);
    char aimed[32] = "";
    if (aim != Aim::shown) {
        std::snprintf(aimed, sizeof aimed, "%s %.2f", aim == Aim::atMost ? "<=" : ">=", target);
    }
    std::printf("| %-50s | %9.4f | %-34s | %9.4f | %6.2fx | %7s | %-7s |\n", row.c_str(), pair.ours,
                yardstickName.c_str(), pair.yardstick, shown, aimed,
                aim == Aim::shown ? "" : (good ? "met" : "MISSED"));
    std::fflush(stdout);
    missed_ += good ? 0 : 1;
    rows_.push_back({row, yardstickName, pair, aim, target, good});
}

void Table::writeJson(const std::string& path) const {
    const nlohmann::ordered_json head = {
        {"date", today()}, {"processor", processorName()}, {"compiler", __VERSION__}, {"rounds", rounds_}};
    std::string rows;
    for (const Row& row : rows_) {
        nlohmann::ordered_json record = {{"row", row.name},
                                         {"ours_ms", row.pair.ours},
                                         {"yardstick", row.yardstick},
                                         {"yardstick_ms", row.pair.yardstick},
                                         {"ours_in_yardsticks", row.pair.ratio}};
        if (row.aim != Aim::shown) {
            record[row.aim == Aim::fasterBy ? "times_faster_at_least" : "yardsticks_at_most"] = row.target;
            record["met"] = row.met;
        }
        rows += (rows.empty() ? "\n  " : ",\n  ") + record.dump();
    }
    std::string text = head.dump(1);
    text.replace(text.rfind("\n}"), 2, ",\n \"rows\": [" + rows + "\n ]\n}\n");
    std::ofstream file(path);
    file << text;
    if (!file.flush()) throw std::runtime_error(path + ": cannot be written");
}

}  // namespace tumblewash::bench
