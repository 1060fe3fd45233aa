#include "edit/NaturalOrder.h"

#include <cstddef>

namespace tumblewash::edit {
namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

unsigned char folded(char c) {
    return static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
}

/// The run of digits at the front, taken off.
std::string_view takeDigits(std::string_view& text) {
    std::size_t end = 0;
    while (end < text.size() && isDigit(text[end])) ++end;
    const std::string_view run = text.substr(0, end);
    text.remove_prefix(end);
    return run;
}

std::size_t zerosOf(std::string_view run) {
    std::size_t zeros = 0;
    while (zeros + 1 < run.size() && run[zeros] == '0') ++zeros;
    return zeros;
}

}  // namespace

bool comesBefore(std::string_view a, std::string_view b) {
    const std::string_view wholeA = a;
    const std::string_view wholeB = b;
    int zeros = 0;  // the first difference in leading zeros: below 0 where a has fewer
    while (!a.empty() && !b.empty()) {
        if (isDigit(a.front()) && isDigit(b.front())) {
            std::string_view runA = takeDigits(a);
            std::string_view runB = takeDigits(b);
            const std::size_t zerosA = zerosOf(runA);
            const std::size_t zerosB = zerosOf(runB);
            if (zeros == 0 && zerosA != zerosB) zeros = zerosA < zerosB ? -1 : 1;
            runA.remove_prefix(zerosA);
            runB.remove_prefix(zerosB);
            if (runA.size() != runB.size()) return runA.size() < runB.size();
            if (runA != runB) return runA < runB;
            continue;
        }
        if (folded(a.front()) != folded(b.front())) return folded(a.front()) < folded(b.front());
        a.remove_prefix(1);
        b.remove_prefix(1);
    }
    if (a.empty() != b.empty()) return a.empty();
    return zeros != 0 ? zeros < 0 : wholeA < wholeB;
}

}  // namespace tumblewash::edit
