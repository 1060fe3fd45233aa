// goldens TABLE        computes every case and compares with the table: 0 when all agree, 1 otherwise
// goldens --print      prints the table as this build computes it
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "tests/whole/goldens/Digest.h"

using tumblewash::goldens::Digests;

namespace {

Digests computed() {
    Digests list;
    tumblewash::goldens::arithmetic(list);
    tumblewash::goldens::convolution(list);
    tumblewash::goldens::sampling(list);
    tumblewash::goldens::metrics(list);
    tumblewash::goldens::motion(list);
    tumblewash::goldens::records(list);
    return list;
}

std::string hex(std::uint64_t v) {
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(v));
    return text;
}

// Name to hash; lines that begin with # are remarks.
std::map<std::string, std::string> tableAt(const char* path) {
    std::map<std::string, std::string> table;
    std::ifstream file(path);
    for (std::string line, name, hash; std::getline(file, line);) {
        std::istringstream words(line);
        if (line.rfind('#', 0) != 0 && words >> name >> hash) table[name] = hash;
    }
    return table;
}

int compare(const Digests& list, std::map<std::string, std::string> table) {
    int wrong = 0;
    for (const auto& [name, digest] : list) {
        const auto entry = table.find(name);
        const std::string expected = entry == table.end() ? "nothing" : entry->second;
        if (expected != hex(digest)) {
            std::printf("%s: computed %s, the table has %s\n", name.c_str(), hex(digest).c_str(),
                        expected.c_str());
            ++wrong;
        }
        if (entry != table.end()) table.erase(entry);
    }
    for (const auto& [name, hash] : table) {
        std::printf("%s: in the table, but no case computes it\n", name.c_str());
        ++wrong;
    }
    std::printf("%zu hashes computed, %d wrong\n", list.size(), wrong);
    return wrong == 0 && !list.empty() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: goldens TABLE | --print\n", stderr);
        return 2;
    }
    const Digests list = computed();
    if (std::strcmp(argv[1], "--print") != 0) return compare(list, tableAt(argv[1]));
    for (const auto& [name, digest] : list) std::printf("%s %s\n", name.c_str(), hex(digest).c_str());
    return 0;
}
