#include "edit/nearest.h"

#include <algorithm>

namespace tumblewash::edit {

std::size_t editDistance(const std::string& a, const std::string& b) {
    std::vector<std::vector<std::size_t>> cost(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) cost[i][0] = i;
    for (std::size_t j = 0; j <= b.size(); ++j) cost[0][j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t change = a[i - 1] == b[j - 1] ? 0 : 1;
            cost[i][j] = std::min({cost[i - 1][j] + 1, cost[i][j - 1] + 1, cost[i - 1][j - 1] + change});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
        }
    }
    return cost[a.size()][b.size()];
}

std::string nearestWord(const std::string& typed, const std::vector<std::string>& words) {
    std::string best;
    std::size_t bestCost = 0;
    // Words far longer than any name of ours cannot be meant, and must not cost time.
    if (typed.size() > 64) return best;
    for (const std::string& word : words) {
        const std::size_t cost = editDistance(typed, word);
        const std::size_t allowed = std::max<std::size_t>(2, std::max(typed.size(), word.size()) / 3);
        if (cost <= allowed && (best.empty() || cost < bestCost)) {
            best = word;
            bestCost = cost;
        }
    }
    return best;
}

std::string didYouMean(const std::string& typed, const std::vector<std::string>& words) {
    const std::string word = nearestWord(typed, words);
    return word.empty() ? "" : " (did you mean " + word + "?)";
}

}  // namespace tumblewash::edit
