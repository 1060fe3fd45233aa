#include "media/detail/WholeFile.h"

#include <fstream>

#include "media/detail/Input.h"

namespace tumblewash::media {

std::vector<uint8_t> wholeFile(const std::string& path, size_t most) {
    checkReadable(path);
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    const std::streamoff size = file.tellg();
    if (!file || size < 0)
        throw MediaError(MediaErrorCode::unreadable, path, "cannot be opened; check the permissions");
    if (static_cast<size_t>(size) > most)
        throw MediaError(MediaErrorCode::undecodable, path,
                         "is larger than any picture this program takes; convert it to JPEG first");
    std::vector<uint8_t> out(static_cast<size_t>(size));
    file.seekg(0);
    if (!file.read(reinterpret_cast<char*>(out.data()), size))
        throw MediaError(MediaErrorCode::unreadable, path, "cannot be read to its end");
    return out;
}

}  // namespace tumblewash::media
