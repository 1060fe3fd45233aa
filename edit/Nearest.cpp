#include "edit/Nearest.h"

#include <algorithm>
#include <utility>

namespace tumblewash::edit {
namespace {

/// What people say who know other programs, and what they mean here.
constexpr std::pair<const char*, const char*> kSynonyms[] = {
    // commands
    {"concat", "join"},
    {"concatenate", "join"},
    {"combine", "join"},
    {"append", "join"},
    {"stitch", "join"},
    {"show", "slideshow"},
    {"photos", "slideshow"},
    {"diashow", "slideshow"},
    {"export", "render"},
    {"make", "render"},
    {"convert", "render"},
    {"preview", "sheet"},
    {"effects", "list"},
    {"transitions", "list"},
    // options
    {"--transition", "--effect"},
    {"--transitions", "--effect"},
    {"--effects", "--effect"},
    {"-t", "--duration"},
    {"--length", "--duration"},
    {"--transition-duration", "--duration"},
    {"--image-duration", "--hold"},
    {"--photo-duration", "--hold"},
    {"--slide-duration", "--hold"},
    {"--ken-burns", "--still-motion"},
    {"--motion", "--still-motion"},
    {"--zoom", "--still-motion"},
    {"--pan", "--still-motion"},
    {"-y", "--force"},
    {"--yes", "--force"},
    {"--overwrite", "--force"},
    {"--out", "--output"},
    {"--resolution", "--size"},
    {"--scale", "--size"},
    {"--geometry", "--size"},
    {"--framerate", "--fps"},
    {"--frame-rate", "--fps"},
    {"--rate", "--fps"},
    {"--quality", "--crf"},
    {"--vcodec", "--codec"},
    {"-c:v", "--codec"},
    {"--encoder", "--codec"},
    {"--aspect", "--fit"},
    {"--crop", "--fit"},
    {"--sound", "--audio"},
    {"--no-audio", "--audio"},
    {"--mute", "--audio"},
    {"-an", "--audio"},
    {"--soundtrack", "--music"},
    {"--song", "--music"},
    {"--bgm", "--music"},
    {"--volume", "--music-gain"},
    {"--music-volume", "--music-gain"},
    {"--normalize", "--loudness"},
    {"--normalise", "--loudness"},
    {"--limit", "--no-limiter"},
    {"--simulate", "--dry-run"},
    {"-n", "--dry-run"},
    {"--silent", "--quiet"},
    {"--random", "--effect"},
    // effects
    {"fade", "morph"},
    {"crossfade", "morph"},
    {"cross-fade", "morph"},
    {"dissolve", "morph"},
    {"xfade", "morph"},
    {"blend", "morph"},
    {"wipe", "wash-away"},
    {"slide", "tilt-away"},
    {"flip", "tilt-away"},
    {"cut", "none"},
    {"spin", "tumble-away"},
    {"rotate", "tumble-away"},
    {"random", "shuffle"},
    {"any", "shuffle"},
    // words
    {"pad", "contain"},
    {"letterbox", "contain"},
    {"bars", "contain"},
    {"crop", "cover"},
    {"fill", "cover"},
    {"5.1", "keep"},
    {"off", "none"},
    {"x264", "h264"},
    {"avc", "h264"},
    {"libx264", "h264"},
    {"h265", "hevc"},
    {"x265", "hevc"},
    {"libx265", "hevc"}};

}  // namespace

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

std::string synonymOf(const std::string& typed, const std::vector<std::string>& words) {
    for (const auto& [said, meant] : kSynonyms)
        if (typed == said && std::find(words.begin(), words.end(), meant) != words.end()) return meant;
    return {};
}

std::string didYouMean(const std::string& typed, const std::vector<std::string>& words) {
    std::string word = synonymOf(typed, words);
    if (word.empty()) word = nearestWord(typed, words);
    return word.empty() ? "" : " (did you mean " + word + "?)";
}

}  // namespace tumblewash::edit
