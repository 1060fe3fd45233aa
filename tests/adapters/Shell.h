// What a shell command prints. It is no expectation: callers judge the lines.
#pragma once

#include <array>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace tumblewash::test {

/// The lines of a command's standard output, each with its end. Throws std::runtime_error without a shell.
inline std::vector<std::string> printedBy(const std::string& command) {
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    if (pipe == nullptr) throw std::runtime_error("no shell: " + command);
    std::vector<std::string> lines;
    std::array<char, 256> line{};
    while (std::fgets(line.data(), static_cast<int>(line.size()), pipe.get()) != nullptr)
        lines.emplace_back(line.data());
    return lines;
}

}  // namespace tumblewash::test
